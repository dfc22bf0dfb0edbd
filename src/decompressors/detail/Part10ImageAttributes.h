// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "image/Renderable.h"
#include "toolkit/base/BaseTypes.h"

class DICOMDataObject;

/// What a data set says about its pixels: the attributes that decoding a frame of a Part 10 stream needs.
///
/// Values come as the data set has them, of any size and sign; only GetFrameSize judges them. A plain
/// record: copy it, one copy a frame.
struct Part10ImageAttributes
{
    std::int32_t itsRows = 0;
    std::int32_t itsColumns = 0;
    std::int32_t itsSamplesPerPixel = 0;
    std::int32_t itsBitsAllocated = 0;
    std::int32_t itsBitsStored = 0;
    std::int32_t itsHighBit = 0;
    std::int32_t itsPixelRepresentation = 0; ///< 1 is signed
    RWCString itsPhotometricInterpretation;
    bool itsPlanar = false;         ///< colour-by-plane
    bool itsLossy = false;          ///< Lossy Image Compression says so
    bool itsForcedLossless = false; ///< the private lossless flag is 1
    std::int32_t itsNumberOfFrames = 1;

    /// Reads everything. What an earlier decode kept in the scratch pad goes before the attributes it
    /// rewrote. Throws StreamIOException (code 38) that names the last attribute missing.
    void Read(const DICOMDataObject& theDataSet);

    /// Reads again what a codec rewrites: Rows, Columns, Samples per Pixel, Bits Allocated, Bits Stored,
    /// High Bit, Pixel Representation. Throws as Read does.
    void ReadDecoded(const DICOMDataObject& theDataSet);

    /// What Number of Frames begins with as a number, brought into 1 … 2^31 − 1; 1 where it is absent.
    static std::int32_t ReadNumberOfFrames(const DICOMDataObject& theDataSet);

    /// Bytes of one frame, see Renderable::calculateRequiredBufferSize. Throws BadAllocException where
    /// that figure, taken in 32 bits, would be smaller than the pixels really are, and for dimensions
    /// that are no dimensions: no buffer is ever allocated from a size that has wrapped.
    std::uint64_t GetFrameSize(Renderable::PhotometricInterpretation theInterpretation) const;
};
