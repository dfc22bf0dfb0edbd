// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>

namespace j2k
{

/// Which filter outputs a subband holds: horizontally, then vertically.
enum class Band : std::uint8_t
{
    LL = 0,
    HL = 1,
    LH = 2,
    HH = 3
};

/// One codeword segment of a code-block: bytes that one arithmetic or raw decoder reads from start to end.
///
/// At least theLead bytes before itsData are readable, and theTail bytes behind its end are writable
/// and hold 0xFF: a decoder may run into them without asking.
struct CodedSegment
{
    static constexpr std::uint32_t kLead = 8;
    static constexpr std::uint32_t kTail = 16;

    const std::uint8_t* itsData = nullptr;
    std::uint32_t itsLength = 0;
    std::uint32_t itsPasses = 0; ///< at least 1
};

/// A code-block as the packets brought it.
struct CodedBlock
{
    std::uint32_t itsWidth = 0;  ///< 1 to 1024
    std::uint32_t itsHeight = 0; ///< 1 to 1024, the area at most 4096
    Band itsBand = Band::LL;
    std::uint8_t itsStyle = 0; ///< CodeBlockStyle bits
    /// Magnitude bit-planes that are coded, from the most significant one down to plane 0: 0 to
    /// kMaxBitPlanes.
    std::uint32_t itsBitPlanes = 0;
    std::span<const CodedSegment> itsSegments;

    /// A plane for half a step is needed below plane 0, and the sign above.
    static constexpr std::uint32_t kMaxBitPlanes = 30;
};

} // namespace j2k
