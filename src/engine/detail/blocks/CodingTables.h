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

} // namespace j2k
