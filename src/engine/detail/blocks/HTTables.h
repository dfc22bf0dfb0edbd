// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

namespace j2k
{

/// What a look-up says of a quad, one word. Samples of a quad are numbered top left, bottom left, top right,
/// bottom right; bit n of each mask is sample n.
///
/// The lowest bits are the code word's length, so that a shift by the word is a shift by it. What the next
/// look-ups depend on lies where it is an offset in bytes without being shifted. A decoded quad has its
/// residual u in place of the length.
struct HTQuad
{
    static constexpr std::uint32_t kLengthMask = 0x3F;
    static constexpr std::uint32_t kResidualMask = 0x7F;
    static constexpr int kKnownCountShift = 7; ///< number of bits in e_k
    static constexpr std::uint32_t kCountMask = 7;
    /// What the quad is to the context of the one on its right, but for those of the first row.
    static constexpr std::uint32_t kIsWest = 1U << 10;
    static constexpr std::uint32_t kHasResidual = 1U << 11;
    static constexpr int kFirstRowContextShift = 13; ///< of the one on its right, first row
    static constexpr int kRhoShift = 16;             ///< significant samples
    static constexpr int kOnesShift = 20;            ///< e_1: the value of the top bit where it is known
    static constexpr int kKnownShift = 24;           ///< e_k: samples with a known top bit
    static constexpr int kRhoCountShift = 28;

    /// What stays when the residual comes in.
    static constexpr std::uint32_t kKeptMask = 0xFFFF0000U | kCountMask << kKnownCountShift;
};

/// Words of HTQuad by context and the next seven bits; every bit pattern is some code. A context is the
/// offset of its words in bytes.
using HTCodeTable = std::array<std::uint32_t, 8 * 128>;
constexpr int kHTContextShift = 9;
extern const HTCodeTable kHTFirstRowCodes;
extern const HTCodeTable kHTOtherRowCodes;

/// The residuals of a pair of quads.
struct HTResiduals
{
    std::uint32_t itsLength; ///< bits taken, at most 24
    std::uint32_t itsFirst;  ///< at most 98
    std::uint32_t itsSecond;
    bool itsIsLong; ///< a suffix of five bits was there
};

/// Which quads of a pair have a residual. In the first row an event says whether both are above 2.
enum HTResidualMode : std::uint8_t
{
    RESIDUALS_NONE = 0,
    RESIDUALS_FIRST = 1,
    RESIDUALS_SECOND = 2,
    RESIDUALS_BOTH = 3,
    RESIDUALS_BOTH_LARGE = 4 ///< first row only
};

/// The residuals by mode (times 256) and the next eight bits, one word each: length in bits 0 to 5, then the
/// first's in bits 8 to 15 and the second's in bits 16 to 23. kHTLongResiduals where eight bits do not say
/// it.
using HTResidualTable = std::array<std::uint32_t, 5 * 256>;
constexpr std::uint32_t kHTModeSize = 1024;
extern const HTResidualTable kHTFirstRowResiduals;
extern const HTResidualTable kHTOtherRowResiduals;
constexpr std::uint32_t kHTLongResiduals = 1U << 31;

/// Reads them bit by bit. theBits: the next 24 at least, the first in bit 0.
HTResiduals ReadHTResiduals(std::uint64_t theBits, unsigned int theMode, bool isFirstRow);

/// The runs of the MEL automaton by state (bits 6 to 9) and the next six bits, the first the highest: how
/// many bits a run takes, how many events it is, and the next state where the index has it. Events are zeros
/// but for the last one where the first bit is 0.
struct HTRun
{
    std::uint8_t itsBits;   ///< 1 to 6
    std::uint8_t itsEvents; ///< 1 to 32
    std::uint16_t itsState;
};
using HTRunTable = std::array<HTRun, 13 * 64>;
extern const HTRunTable kHTRuns;

} // namespace j2k
