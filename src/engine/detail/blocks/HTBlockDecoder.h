// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "engine/detail/blocks/BlockDecoder.h"

namespace j2k
{

/// One HT set of a code-block (T.814): what is decoded of it. Sides are 1 to 1024, their product at most
/// 4096.
struct HTBlock
{
    std::uint32_t itsWidth = 0;
    std::uint32_t itsHeight = 0;
    std::span<const std::uint8_t> itsCleanup;    ///< segment of the clean-up pass
    std::span<const std::uint8_t> itsRefinement; ///< of both refinement passes; may be empty
    std::uint32_t itsPasses = 1;                 ///< 1 to 3
    /// The bit-plane that the clean-up pass goes down to: magnitude bit-planes of the subband less one, less
    /// those that are missing, less one for each earlier set.
    std::uint32_t itsPlane = 0;
    /// Missing planes and one: magnitudes of the clean-up pass are below two to this power. At least 1; plane
    /// and bits together at most CodedBlock::kMaxBitPlanes.
    std::uint32_t itsBits = 1;
    bool itsIsCausal = false;
};

/// What a set's bytes showed to be wrong. The block is zero then, but for the last one.
enum class HTFinding : std::uint8_t
{
    None,
    BadLength,    ///< of the clean-up segment, or of the suffix that it ends with
    BadCode,      ///< more code words than the suffix has bits for
    BadMagnitude, ///< more bits in a magnitude than itsBits
    OutsideBlock, ///< a significant sample outside the block
    BadRefinement ///< refinement passes without bytes, or below plane 0; the clean-up pass was decoded
};

/// Decodes high-throughput code-blocks (T.814 clause 7). Holds scratch memory for the largest block and is
/// used for one block after another. Safe against any bytes. Not thread-safe.
///
/// Samples and findings are the same on every machine. What is stored follows the rules of BlockDecoder: the
/// middle of the interval below the last decoded plane, integers without the half step below plane 0.
class HTBlockDecoder
{
public:
    HTBlockDecoder();
    ~HTBlockDecoder();

    /// The samples stay here until the next call; no byte of theBlock is needed any more.
    HTFinding Decode(const HTBlock& theBlock);

    /// Write the samples of the block last decoded row by row; theStride in samples. Values that do not fit
    /// become the nearest that does.
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
