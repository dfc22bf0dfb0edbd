// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/blocks/CodingTables.h"

#include <algorithm>

namespace j2k
{
namespace
{
struct Row
{
    std::uint16_t itsQe;
    std::uint8_t itsNextMps;
    std::uint8_t itsNextLps;
    std::uint8_t itsSwitch;
};

/// T.800 table C.2.
constexpr std::array<Row, 47> kRows = {
    {{0x5601, 1, 1, 1},   {0x3401, 2, 6, 0},   {0x1801, 3, 9, 0},   {0x0AC1, 4, 12, 0},  {0x0521, 5, 29, 0},
     {0x0221, 38, 33, 0}, {0x5601, 7, 6, 1},   {0x5401, 8, 14, 0},  {0x4801, 9, 14, 0},  {0x3801, 10, 14, 0},
     {0x3001, 11, 17, 0}, {0x2401, 12, 18, 0}, {0x1C01, 13, 20, 0}, {0x1601, 29, 21, 0}, {0x5601, 15, 14, 1},
     {0x5401, 16, 14, 0}, {0x5101, 17, 15, 0}, {0x4801, 18, 16, 0}, {0x3801, 19, 17, 0}, {0x3401, 20, 18, 0},
     {0x3001, 21, 19, 0}, {0x2801, 22, 19, 0}, {0x2401, 23, 20, 0}, {0x2201, 24, 21, 0}, {0x1C01, 25, 22, 0},
     {0x1801, 26, 23, 0}, {0x1601, 27, 24, 0}, {0x1401, 28, 25, 0}, {0x1201, 29, 26, 0}, {0x1101, 30, 27, 0},
     {0x0AC1, 31, 28, 0}, {0x09C1, 32, 29, 0}, {0x08A1, 33, 30, 0}, {0x0521, 34, 31, 0}, {0x0441, 35, 32, 0},
     {0x02A1, 36, 33, 0}, {0x0221, 37, 34, 0}, {0x0141, 38, 35, 0}, {0x0111, 39, 36, 0}, {0x0085, 40, 37, 0},
     {0x0049, 41, 38, 0}, {0x0025, 42, 39, 0}, {0x0015, 43, 40, 0}, {0x0009, 44, 41, 0}, {0x0005, 45, 42, 0},
     {0x0001, 45, 43, 0}, {0x5601, 46, 46, 0}}};

constexpr std::uint64_t MakeWord(unsigned int theState, unsigned int theDecision)
{
    return std::uint64_t{theDecision} << MQState::kDecisionShift |
           std::uint64_t{kRows[theState / 2].itsQe} << 48 |
           std::uint64_t{theState % 2} << MQState::kMpsShift | theState * sizeof(MQState);
}

constexpr std::array<MQState, 94> MakeStates()
{
    std::array<MQState, 94> aStates{};
    for (unsigned int i = 0; i < aStates.size(); ++i)
    {
        const Row& aRow = kRows[i / 2];
        const unsigned int aMps = i % 2;
        aStates[i].itsKept = MakeWord(i, aMps);
        aStates[i].itsNextMps = MakeWord(2U * aRow.itsNextMps + aMps, aMps);
        aStates[i].itsNextLps = MakeWord(2U * aRow.itsNextLps + (aMps ^ aRow.itsSwitch), aMps ^ 1);
    }
    return aStates;
}

constexpr unsigned int Count(unsigned int theNeighbours, unsigned int theOne, unsigned int theOther)
{
    return ((theNeighbours & theOne) != 0 ? 1U : 0U) + ((theNeighbours & theOther) != 0 ? 1U : 0U);
}

/// The columns of table D.1 for the bands LL and LH.
constexpr unsigned int GetStraightContext(unsigned int theH, unsigned int theV, unsigned int theD)
{
    if (theH == 2)
    {
        return 8;
    }
    if (theH == 1)
    {
        return theV > 0 ? 7 : theD > 0 ? 6 : 5;
    }
    return theV > 0 ? 2 + theV : std::min(theD, 2U);
}

/// The columns of table D.1 for the band HH.
constexpr unsigned int GetDiagonalContext(unsigned int theHV, unsigned int theD)
{
    if (theD >= 3)
    {
        return 8;
    }
    if (theD == 2)
    {
        return theHV > 0 ? 7 : 6;
    }
    return 3 * theD + std::min(theHV, 2U);
}

constexpr std::array<std::array<std::uint8_t, 256>, 4> MakeZeroContexts()
{
    std::array<std::array<std::uint8_t, 256>, 4> aTables{};
    for (unsigned int i = 0; i < 256; ++i)
    {
        const unsigned int aH = Count(i, NEIGHBOUR_W, NEIGHBOUR_E);
        const unsigned int aV = Count(i, NEIGHBOUR_N, NEIGHBOUR_S);
        const unsigned int aD = Count(i, NEIGHBOUR_NW, NEIGHBOUR_NE) + Count(i, NEIGHBOUR_SW, NEIGHBOUR_SE);
        const auto aStraight = static_cast<std::uint8_t>(GetStraightContext(aH, aV, aD));
        aTables[0][i] = aStraight;
        aTables[1][i] = static_cast<std::uint8_t>(GetStraightContext(aV, aH, aD)); // HL: turned
        aTables[2][i] = aStraight;
        aTables[3][i] = static_cast<std::uint8_t>(GetDiagonalContext(aH + aV, aD));
    }
    return aTables;
}

/// What two opposite neighbours contribute together: -1, 0 or 1 (T.800 table D.2).
constexpr int GetContribution(unsigned int theNeighbours, unsigned int theOne, unsigned int theOther)
{
    int aSum = 0;
    for (const unsigned int aFlag : {theOne, theOther})
    {
        if ((theNeighbours & aFlag) != 0)
        {
            aSum += (theNeighbours & (aFlag << 4)) != 0 ? -1 : 1;
        }
    }
    return std::clamp(aSum, -1, 1);
}

constexpr std::array<std::uint8_t, 256> MakeSignContexts()
{
    std::array<std::uint8_t, 256> aTable{};
    for (unsigned int i = 0; i < 256; ++i)
    {
        int aH = GetContribution(i, NEIGHBOUR_W, NEIGHBOUR_E);
        int aV = GetContribution(i, NEIGHBOUR_N, NEIGHBOUR_S);
        const bool isFlipped = aH < 0 || (aH == 0 && aV < 0);
        aH = isFlipped ? -aH : aH;
        aV = isFlipped ? -aV : aV;
        const int aContext = CONTEXT_SIGN + (aH > 0 ? 3 + aV : aV);
        aTable[i] = static_cast<std::uint8_t>(aContext | (isFlipped ? 1 << kSignFlipShift : 0));
    }
    return aTable;
}

constexpr std::array<std::uint8_t, 8> kGroupOrder = {NEIGHBOUR_NW, NEIGHBOUR_W,  NEIGHBOUR_SW, NEIGHBOUR_N,
                                                     NEIGHBOUR_S,  NEIGHBOUR_NE, NEIGHBOUR_E,  NEIGHBOUR_SE};
constexpr std::array<std::uint8_t, 4> kNearestOrder = {NEIGHBOUR_W, NEIGHBOUR_N, NEIGHBOUR_S, NEIGHBOUR_E};

/// The Neighbour flags of bits that are in the order of theFlags.
template <std::size_t kCount>
constexpr unsigned int Reorder(unsigned int theBits, const std::array<std::uint8_t, kCount>& theFlags)
{
    unsigned int aFlags = 0;
    for (unsigned int i = 0; i < kCount; ++i)
    {
        aFlags |= (theBits >> i & 1) != 0 ? theFlags[i] : 0U;
    }
    return aFlags;
}

constexpr std::array<std::array<std::uint16_t, 512>, 4>
MakeGroupZeroContexts(const std::array<std::array<std::uint8_t, 256>, 4>& theContexts)
{
    std::array<std::array<std::uint16_t, 512>, 4> aTables{};
    for (unsigned int aBand = 0; aBand < 4; ++aBand)
    {
        for (unsigned int i = 0; i < 256; ++i)
        {
            aTables[aBand][i] = static_cast<std::uint16_t>(8 * theContexts[aBand][Reorder(i, kGroupOrder)]);
            aTables[aBand][i + 256] = 8 * CONTEXT_RUN;
        }
    }
    return aTables;
}

constexpr std::array<std::uint64_t, 256>
MakeGroupSignContexts(const std::array<std::uint8_t, 256>& theContexts)
{
    std::array<std::uint64_t, 256> aTable{};
    for (unsigned int i = 0; i < 256; ++i)
    {
        const std::uint64_t aSign =
            theContexts[Reorder(i & 15, kNearestOrder) | Reorder(i >> 4, kNearestOrder) << 4];
        aTable[i] = 8 * (aSign & kSignContextMask) | (aSign >> kSignFlipShift) << 63;
    }
    return aTable;
}

constexpr std::array<std::uint64_t, kContextCount> MakeInitialContexts()
{
    std::array<std::uint64_t, kContextCount> aContexts{};
    aContexts.fill(MakeWord(0, 0));
    aContexts[CONTEXT_ZERO] = MakeWord(2 * 4, 0);
    aContexts[CONTEXT_RUN] = MakeWord(2 * 3, 0);
    aContexts[CONTEXT_UNIFORM] = MakeWord(2 * 46, 0);
    return aContexts;
}
} // namespace

constexpr std::array<MQState, 94> kMQStates = MakeStates();
constexpr std::array<std::uint64_t, kContextCount> kInitialContexts = MakeInitialContexts();
constexpr std::array<std::array<std::uint8_t, 256>, 4> kZeroContexts = MakeZeroContexts();
constexpr std::array<std::uint8_t, 256> kSignContexts = MakeSignContexts();
constexpr std::array<std::array<std::uint16_t, 512>, 4> kGroupZeroContexts =
    MakeGroupZeroContexts(kZeroContexts);
constexpr std::array<std::uint64_t, 256> kGroupSignContexts = MakeGroupSignContexts(kSignContexts);

} // namespace j2k
