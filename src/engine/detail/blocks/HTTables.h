// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

namespace j2k
{

/// What a look-up says of a quad, one word. Samples of a quad are numbered top left, bottom left, top right,
/// bottom right; bit n of each mask is sample n.
///
/// Bits 0 to 5 are the code word's length, so that a shift by the word is a shift by them. Bits 7 to 9 are
/// what the quad contributes to the context of the one on its right, in place of the next look-up's index. A
/// decoded quad has its residual u in bits 0 to 9 instead of both.
struct HTQuad
{
    static constexpr unsigned int kLengthMask = 0x3F;
    static constexpr unsigned int kContextShift = 7;
    static constexpr std::uint32_t kContextMask = 7U << kContextShift;
    static constexpr std::uint32_t kResidualMask = 0x3FF;
    static constexpr unsigned int kKnownCountShift = 10; ///< number of bits in e_k
    static constexpr unsigned int kHasResidualShift = 13;
    static constexpr std::uint32_t kHasResidual = 1U << kHasResidualShift;
    static constexpr unsigned int kRhoShift = 16;   ///< significant samples
    static constexpr unsigned int kOnesShift = 20;  ///< e_1: the value of the top bit where it is known
    static constexpr unsigned int kKnownShift = 24; ///< e_k: samples with a known top bit
    static constexpr unsigned int kRhoCountShift = 28;

    /// What stays when the residual comes in.
    static constexpr std::uint32_t kKeptMask = 0xFFFF1C00U;
};

/// Words of HTQuad by context (bits 7 to 9) and the next seven bits; every bit pattern is some code.
using HTCodeTable = std::array<std::uint32_t, 1024>;
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
extern const HTResidualTable kHTFirstRowResiduals;
extern const HTResidualTable kHTOtherRowResiduals;
constexpr std::uint32_t kHTLongResiduals = 1U << 31;

/// Reads them bit by bit. theBits: the next 24 at least, the first in bit 0.
HTResiduals ReadHTResiduals(std::uint64_t theBits, unsigned int theMode, bool isFirstRow);

/// Exponents of the MEL automaton's states.
constexpr std::array<std::uint8_t, 13> kMELExponents{0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 4, 5};

} // namespace j2k
