// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
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
/// At least kLead bytes before itsData are readable, and kTail bytes behind its end are writable and hold
/// 0xFF: a decoder may run into them without asking. But for those of high-throughput blocks.
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
    /// Coded as T.814 says. itsBitPlanes is then one more than the plane that the clean-up pass of its first
    /// set goes down to, and magnitudes have up to itsMostBitPlanes.
    bool itsIsHighThroughput = false;
    std::uint32_t itsMostBitPlanes = 0;

    /// A plane for half a step is needed below plane 0, and the sign above.
    static constexpr std::uint32_t kMaxBitPlanes = 30;
};

enum class HTFinding : std::uint8_t;

/// What a block's bytes showed beyond its samples.
struct BlockFindings
{
    bool itsBadSegmentationSymbol = false;
    bool itsBadTermination = false; ///< predictable termination was announced and not found
    bool itsMissingPasses = false;  ///< more passes than bit-planes have
    HTFinding itsHighThroughput{};  ///< what the bytes of a high-throughput block showed
};

/// Where a region of interest was scaled up by itsShift planes (T.800 Annex H), magnitudes of at least
/// 2^itsBackgroundPlanes are scaled down again when samples are stored.
struct RegionOfInterest
{
    std::uint32_t itsShift = 0;
    std::uint32_t itsBackgroundPlanes = 0;
};

/// Decodes code-blocks (T.800 Annexes C and D, and T.814). Holds scratch memory for the largest block and is
/// used for one block after another. Safe against any bytes. Not thread-safe.
///
/// Coefficients are reconstructed at the middle of the interval that the last decoded bit-plane left open
/// (r = 1/2 of E-6); coefficients whose plane 0 is decoded are exact in integer stores.
class BlockDecoder
{
public:
    BlockDecoder();
    ~BlockDecoder();

    /// Decodes all passes of theBlock; the samples stay here until the next call.
    BlockFindings Decode(const CodedBlock& theBlock);

    /// Decodes theFirst here and theSecond in theOther: the same as two calls, and quicker where the
    /// processor gains by having two blocks in turn.
    std::array<BlockFindings, 2> DecodeWith(const CodedBlock& theFirst, BlockDecoder& theOther,
                                            const CodedBlock& theSecond);

    /// Write the block's samples row by row; theStride in samples. Integers drop the half step below plane 0.
    void Store(std::int16_t* theRows, std::ptrdiff_t theStride, const RegionOfInterest& theRegion) const;
    void Store(std::int32_t* theRows, std::ptrdiff_t theStride, const RegionOfInterest& theRegion) const;

    /// theStep: what one unit of plane 0 is worth.
    void Store(float* theRows, std::ptrdiff_t theStride, const RegionOfInterest& theRegion,
               float theStep) const;

private:
    struct Implementation;
    std::unique_ptr<Implementation> itsImplementation;
};

} // namespace j2k
