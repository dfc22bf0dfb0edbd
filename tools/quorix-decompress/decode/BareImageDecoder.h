// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "decode/FrameDecoder.h"
#include "inputs/JPEGHeader.h"

/// Decodes a bare JPEG or JPEG 2000 input, which is one frame.
///
/// A JPEG stream of up to 8 bits goes the way of all bare streams. One of more bits would be refused
/// there; it goes through the codestream driver with the transfer syntax and bits that its own frame
/// header calls for, and keeps its values, colour included.
class BareImageDecoder final : public FrameDecoder
{
public:
    BareImageDecoder(InputKind theKind, const InputSource& theSource, int theScale)
        : itsKind(theKind), itsSource(theSource), itsScale(theScale)
    {
    }

    int GetNumberOfFrames(const DecodedFrame&) const override { return 1; }

protected:
    void DecodeInto(DecodedFrame& theResult) override;

private:
    void DecodeStream(DecodedFrame& theResult, const JPEGHeader* theHeader) const;
    void DecodeDeepJPEG(DecodedFrame& theResult, const JPEGHeader& theHeader) const;

    InputKind itsKind;
    const InputSource& itsSource;
    int itsScale;
};
