// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "decode/FrameDecoder.h"

/// Decodes frames of a DICOM Part 10 input, each from a stream of its own.
class DICOMFrameDecoder final : public FrameDecoder
{
public:
    DICOMFrameDecoder(const InputSource& theSource, int theScale) : itsSource(theSource), itsScale(theScale)
    {
    }

    /// Number of Frames of the data set that was read with theFrame; 1 for a set without it.
    int GetNumberOfFrames(const DecodedFrame& theFrame) const override;

protected:
    void DecodeInto(DecodedFrame& theResult) override;

private:
    const InputSource& itsSource;
    int itsScale;
};
