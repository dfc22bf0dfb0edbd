// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

namespace j2k
{

/// Contexts as T.800 table D.7 numbers them.
enum BlockContext : std::uint8_t
{
    CONTEXT_ZERO = 0,              ///< zero coding: 0 to 8
    CONTEXT_SIGN = 9,              ///< 9 to 13
    CONTEXT_REFINE_ALONE = 14,     ///< first refinement, no significant neighbour
    CONTEXT_REFINE_NEIGHBOUR = 15, ///< first refinement, some significant neighbour
    CONTEXT_REFINE_AGAIN = 16,
    CONTEXT_RUN = 17,
    CONTEXT_UNIFORM = 18
};
constexpr unsigned int kContextCount = 19;

/// The state of one adaptive context is one word, so that a decision costs one load: Qe in bits 48 to 62,
/// where the decoder's registers have their integer part, the more probable symbol in bit 32, and below it
/// where the state's MQState is, in bytes from the first one. Bit 63 is the decision that led here.
struct alignas(32) MQState
{
    static constexpr std::uint64_t kQeMask = 0x7FFF000000000000U;
    static constexpr unsigned int kMpsShift = 32;
    static constexpr unsigned int kDecisionShift = 63;

    /// The words that follow a more probable symbol without and with a renormalisation, and a less probable
    /// symbol.
    std::uint64_t itsKept;
    std::uint64_t itsNextMps;
    std::uint64_t itsNextLps;
};

/// The states (T.800 table C.2): number 2 * row + more probable symbol.
extern const std::array<MQState, 94> kMQStates;

/// The words that the contexts start with (T.800 table D.7).
extern const std::array<std::uint64_t, kContextCount> kInitialContexts;

/// A sample's significant neighbours in one byte.
enum Neighbour : std::uint8_t
{
    NEIGHBOUR_N = 1,
    NEIGHBOUR_S = 2,
    NEIGHBOUR_W = 4,
    NEIGHBOUR_E = 8,
    NEIGHBOUR_NW = 16,
    NEIGHBOUR_NE = 32,
    NEIGHBOUR_SW = 64,
    NEIGHBOUR_SE = 128
};

/// Zero-coding contexts (T.800 table D.1) by band and by a byte of neighbours.
extern const std::array<std::array<std::uint8_t, 256>, 4> kZeroContexts;

/// Sign contexts (T.800 tables D.2 and D.3): by a byte with the four nearest neighbours in the lower half
/// and, in the upper half in the same order, which of them are negative. The flip of the decoded bit is in
/// bit 7.
extern const std::array<std::uint8_t, 256> kSignContexts;
constexpr unsigned int kSignFlipShift = 7;
constexpr unsigned int kSignContextMask = 0x1F;

/// A group is 8 columns of a stripe of four rows with a border of one all around, in one word: bit
/// 6 * column + row, of which columns 1 to 8 and rows 1 to 4 are its own.
constexpr std::uint32_t kGroupColumns = 8;

/// Columns theFirst to theLast of a group that are all like theColumn.
constexpr std::uint64_t RepeatColumn(std::uint64_t theColumn, std::uint32_t theFirst, std::uint32_t theLast)
{
    std::uint64_t aGroup = 0;
    for (std::uint32_t i = theFirst; i <= theLast; ++i)
    {
        aGroup |= theColumn << (6 * i);
    }
    return aGroup;
}
constexpr std::uint64_t kGroupOwn = RepeatColumn(0x1E, 1, 8);
constexpr std::uint64_t kGroupRow0 = RepeatColumn(0x02, 1, 8);
constexpr std::uint64_t kGroupAbove = RepeatColumn(0x01, 0, 9); ///< last row of the stripe above
constexpr std::uint64_t kGroupBelow = RepeatColumn(0x20, 0, 9); ///< first row of the stripe below

/// A sample's neighbours, seen from bit b in the group shifted right by b - 7. What is extracted by them has
/// them in the order NW W SW N S NE E SE, and W N S E.
constexpr std::uint64_t kGroupNeighbours = 0x7147;
constexpr std::uint64_t kGroupNearest = 0x2142;

/// Byte offsets of contexts among words of 64 bits. For zero coding by band and by extracted neighbours, plus
/// 256 where a run starts; for signs by the nearest neighbours that are significant and, times 16, those that
/// are negative, with the flip in bit 63.
extern const std::array<std::array<std::uint16_t, 512>, 4> kGroupZeroContexts;
extern const std::array<std::uint64_t, 256> kGroupSignContexts;

} // namespace j2k
