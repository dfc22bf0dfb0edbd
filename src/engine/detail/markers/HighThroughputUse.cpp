// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/HighThroughputUse.h"

#include <algorithm>
#include <bit>
#include <string>

namespace j2k
{

namespace
{

constexpr unsigned int kPart15 = 15;

/// Part n of the standard is bit n of Pcap, counted from 1 at the most significant one.
constexpr std::uint32_t GetPcapBit(unsigned int thePart)
{
    return std::uint32_t{1} << (32 - thePart);
}

} // namespace

void HighThroughputUse::ReadCap(const MarkerSegment& theSegment, Reports& theReports)
{
    constexpr unsigned int kReservedBits = 0x07C0;
    SegmentCursor aCursor(theSegment, theReports);
    if (itsHasCap)
    {
        aCursor.NonConformance("a second one in the same header");
    }
    itsHasCap = true;
    const std::uint32_t aParts = aCursor.TakeLong();
    // Part 1 is what all codestreams need.
    const std::uint32_t aForeign = aParts & ~(GetPcapBit(1) | GetPcapBit(kPart15));
    if (aForeign != 0)
    {
        aCursor.Error("the codestream needs ISO/IEC 15444-" + std::to_string(std::countl_zero(aForeign) + 1) +
                      ", which is not supported");
    }
    if ((aParts & GetPcapBit(1)) != 0)
    {
        aCursor.TakeWord();
    }
    if ((aParts & GetPcapBit(kPart15)) != 0)
    {
        const unsigned int aWord = aCursor.TakeWord();
        itsSet = static_cast<Set>(aWord >> 14);
        if (aWord >> 14 == 1 || (aWord & kReservedBits) != 0)
        {
            aCursor.NonConformance("reserved values for high-throughput code-blocks");
            itsSet = Set::Mixed;
        }
    }
    aCursor.ExpectEnd();
}

void HighThroughputUse::CheckAnnouncement(std::uint16_t theRsiz, std::uint64_t theOffset, Reports& theReports)
{
    const bool isAnnounced = (theRsiz & kRsizBit) != 0;
    if (isAnnounced == itsHasCap)
    {
        return;
    }
    theReports.NonConformance(isAnnounced ? "CAP: missing in the main header" : "CAP: not announced by SIZ",
                              theOffset);
    itsSet = itsHasCap ? itsSet : Set::Mixed;
}

bool HighThroughputUse::Allows(const TileCoding& theTile) const
{
    const auto isAllowed = [this](const ComponentCoding& theCoding)
    {
        const unsigned int aStyle = theCoding.itsBlockStyle & (CBS_HIGH_THROUGHPUT | CBS_MIXED);
        switch (itsSet)
        {
        case Set::All:
            return aStyle == CBS_HIGH_THROUGHPUT;
        case Set::ByComponent:
            return (aStyle & CBS_MIXED) == 0;
        case Set::Mixed:
            return true;
        case Set::None:
            break;
        }
        return aStyle == 0;
    };
    return std::all_of(theTile.itsComponents.begin(), theTile.itsComponents.end(), isAllowed);
}

} // namespace j2k
