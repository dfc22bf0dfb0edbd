// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "engine/detail/Reports.h"

namespace j2k
{

/// Bounds one kind of work that a tile may ask for by the bytes that it brought: a few bytes can name very
/// many packets and code-blocks. Borrows the reports and the text.
///
/// A budget is so much for nothing and so much for each byte. The part for each byte is several times what an
/// encoder ever needs, so that no stream is refused that was meant to be decoded, and still keeps the time in
/// proportion to the length of the file. The part for nothing lets small tiles be odd; it is paid for every
/// tile anew, so it must stay bearable 65,535 times over. Where the numbers stand their reasons stand too:
/// TileData::GetMostVisits for packets, PacketReader.cpp for code-blocks and for packets that are lost,
/// CodestreamState.h for coding passes, whose budget all tiles share.
class WorkBudget
{
public:
    WorkBudget(std::uint64_t theBudget, const char* theText, const Reports& theReports)
        : itsLeft(theBudget), itsText(theText), itsReports(theReports)
    {
    }

    /// An error of the codestream when the budget is used up.
    void Spend(std::uint64_t theWork)
    {
        if (theWork > itsLeft)
        {
            itsReports.Error(itsText);
        }
        itsLeft -= theWork;
    }

    /// For bytes that came later than the budget was made.
    void Earn(std::uint64_t theWork) { itsLeft += theWork; }

    /// False, and nothing spent, when there is not enough left.
    bool TrySpend(std::uint64_t theWork)
    {
        const bool isFit = theWork <= itsLeft;
        itsLeft -= isFit ? theWork : 0;
        return isFit;
    }

private:
    std::uint64_t itsLeft;
    const char* itsText;
    const Reports& itsReports;
};

} // namespace j2k
