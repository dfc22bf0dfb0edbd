// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>

/// A rectangle of pixels, counted from the first pixel of an image. A plain record.
struct PixelRegion
{
    std::uint64_t itsX = 0;      ///< first column
    std::uint64_t itsY = 0;      ///< first row
    std::uint64_t itsWidth = 0;  ///< columns
    std::uint64_t itsHeight = 0; ///< rows

    /// Whether both are the same pixels, empty ones by their numbers.
    bool operator==(const PixelRegion&) const = default;

    /// Whether all of theOther lies inside this one.
    bool Contains(const PixelRegion& theOther) const
    {
        const auto isWithin = [](std::uint64_t theStart, std::uint64_t theLength, std::uint64_t theOuterStart,
                                 std::uint64_t theOuterLength)
        {
            return theStart >= theOuterStart && theLength <= theOuterLength &&
                   theStart - theOuterStart <= theOuterLength - theLength;
        };
        return isWithin(theOther.itsX, theOther.itsWidth, itsX, itsWidth) &&
               isWithin(theOther.itsY, theOther.itsHeight, itsY, itsHeight);
    }

    /// The pixels of an image halved theLevels times (0 to 62) that stand for any pixel of this region: from
    /// the start divided and rounded down to the end divided and rounded up. The region fits 63 bits.
    PixelRegion Reduced(int theLevels) const
    {
        const std::uint64_t aRest = (std::uint64_t{1} << theLevels) - 1;
        const std::uint64_t aX = itsX >> theLevels;
        const std::uint64_t aY = itsY >> theLevels;
        return {aX, aY, ((itsX + itsWidth + aRest) >> theLevels) - aX,
                ((itsY + itsHeight + aRest) >> theLevels) - aY};
    }

    /// What of this region lies in an image of theWidth by theHeight pixels. An image that is halved from
    /// an odd place may end a pixel before the region does; the region then keeps the image's last pixel.
    PixelRegion ClippedTo(std::uint64_t theWidth, std::uint64_t theHeight) const
    {
        const std::uint64_t aX = std::min(itsX, theWidth == 0 ? 0 : theWidth - 1);
        const std::uint64_t aY = std::min(itsY, theHeight == 0 ? 0 : theHeight - 1);
        return {aX, aY, std::min(itsX + itsWidth, theWidth) - aX, std::min(itsY + itsHeight, theHeight) - aY};
    }
};
