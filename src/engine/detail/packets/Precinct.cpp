// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/packets/Precinct.h"

namespace j2k
{
namespace
{
// A border at or behind the tile's start: before its end, because samples follow it, so 32 bits hold it.
std::uint32_t ToReference(std::uint64_t theIndex, unsigned int theLog2Size, unsigned int theLevels,
                          std::uint32_t theSubsampling)
{
    return static_cast<std::uint32_t>(((theIndex << theLog2Size) << theLevels) * theSubsampling);
}

std::uint32_t CountAlong(std::uint32_t theBegin, std::uint32_t theEnd, unsigned int theLog2Size)
{
    return static_cast<std::uint32_t>(CeilDivPow2(theEnd, theLog2Size) - (theBegin >> theLog2Size));
}
} // namespace

PrecinctGrid::PrecinctGrid(const Rect& theResolution, unsigned int theLog2Width, unsigned int theLog2Height,
                           const ReferenceScale& theScale)
    : itsFirstColumn(theResolution.itsX0 >> theLog2Width), itsFirstRow(theResolution.itsY0 >> theLog2Height),
      itsLog2Width(static_cast<std::uint8_t>(theLog2Width)),
      itsLog2Height(static_cast<std::uint8_t>(theLog2Height)),
      itsStartsInColumn((itsFirstColumn << theLog2Width) != theResolution.itsX0),
      itsStartsInRow((itsFirstRow << theLog2Height) != theResolution.itsY0), itsScale(theScale)
{
    if (!theResolution.IsEmpty())
    {
        itsColumns = CountAlong(theResolution.itsX0, theResolution.itsX1, theLog2Width);
        itsRows = CountAlong(theResolution.itsY0, theResolution.itsY1, theLog2Height);
    }
}

bool PrecinctGrid::Meets(std::uint64_t theNumber, const Rect& theArea) const
{
    const auto isMet =
        [](std::uint64_t theIndex, unsigned int theLog2Size, std::uint32_t theBegin, std::uint32_t theEnd)
    { return theIndex << theLog2Size < theEnd && (theIndex + 1) << theLog2Size > theBegin; };
    return !theArea.IsEmpty() &&
           isMet(itsFirstColumn + theNumber % itsColumns, itsLog2Width, theArea.itsX0, theArea.itsX1) &&
           isMet(itsFirstRow + theNumber / itsColumns, itsLog2Height, theArea.itsY0, theArea.itsY1);
}

std::uint64_t PrecinctGrid::CountIn(const Rect& theArea) const
{
    return theArea.IsEmpty() ? 0
                             : std::uint64_t(CountAlong(theArea.itsX0, theArea.itsX1, itsLog2Width)) *
                                   CountAlong(theArea.itsY0, theArea.itsY1, itsLog2Height);
}

std::uint32_t PrecinctGrid::GetX(std::uint32_t theColumn) const
{
    return theColumn == 0 && itsStartsInColumn
               ? itsScale.itsTileX0
               : ToReference(std::uint64_t(itsFirstColumn) + theColumn, itsLog2Width, itsScale.itsLevels,
                             itsScale.itsXRsiz);
}

std::uint32_t PrecinctGrid::GetY(std::uint32_t theRow) const
{
    return theRow == 0 && itsStartsInRow ? itsScale.itsTileY0
                                         : ToReference(std::uint64_t(itsFirstRow) + theRow, itsLog2Height,
                                                       itsScale.itsLevels, itsScale.itsYRsiz);
}

} // namespace j2k
