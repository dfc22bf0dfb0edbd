// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "decode/FrameDecoder.h"

/// Decodes a bare JPEG or JPEG 2000 input, which is one frame.
class BareImageDecoder final : public FrameDecoder
{
public:
    BareImageDecoder(JImageType theKind, const InputSource& theSource, int theScale)
        : itsKind(theKind), itsSource(theSource), itsScale(theScale)
    {
    }

    int GetNumberOfFrames(const DecodedFrame&) const override { return 1; }

protected:
    void DecodeInto(DecodedFrame& theResult) override;

private:
    JImageType itsKind;
    const InputSource& itsSource;
    int itsScale;
};
