// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "toolkit/base/PixelRegion.h"

class DICOMDataObject;
class Decoder;
class Renderable;

/// The last step of a request for a window of interest: what was decoded beyond it goes.
class RegionCut
{
public:
    RegionCut() = delete;

    /// theRegion, which is in pixels at full size, as it lies in the image that theCodec, which has read its
    /// header, delivers. canReduce: whether the codec has applied its scale factor.
    static PixelRegion ForCodec(const PixelRegion& theRegion, const Decoder& theCodec, bool canReduce);

    /// Bits and order of the samples in a buffer: packed bits, bytes or words.
    struct Layout
    {
        int itsBitsAllocated = 0;
        int itsSamplesPerPixel = 0;
        bool itsIsPlanar = false;
    };

    /// Leaves of theImage's pixels, theHeld of the whole, theWanted alone, in a buffer of their size, which
    /// is the answer. Of the record nothing else changes. Throws StreamIOException code 6 where theWanted is
    /// not inside theHeld.
    static std::uint64_t Run(Renderable& theImage, const Layout& theLayout, const PixelRegion& theHeld,
                             const PixelRegion& theWanted);

    /// The same for a finished image: its record has rows and columns of theWanted then.
    static void Run(Renderable& theImage, const PixelRegion& theHeld, const PixelRegion& theWanted);

    /// Copies theCount bits, the lowest of a byte first, and leaves those around the copy as they are.
    static void CopyBits(std::uint8_t* theTarget, std::uint64_t theTargetBit, const std::uint8_t* theSource,
                         std::uint64_t theSourceBit, std::uint64_t theCount);

    /// Makes theDataSet say so many rows and columns, as far as it can count.
    static void WriteDimensions(DICOMDataObject& theDataSet, std::uint64_t theRows, std::uint64_t theColumns);
};
