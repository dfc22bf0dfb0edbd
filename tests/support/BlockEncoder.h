// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "engine/detail/blocks/CodedBlock.h"

/// A JPEG 2000 code-block made in code: encodes samples (T.800 Annexes C and D) and owns the bytes, laid out
/// as the packets lay them out.
class BlockEncoder
{
public:
    struct Request
    {
        std::uint32_t itsWidth = 0;
        std::uint32_t itsHeight = 0;
        j2k::Band itsBand = j2k::Band::LL;
        std::uint8_t itsStyle = 0;
        std::uint32_t itsBitPlanes = 0;       ///< every magnitude is below two to this power
        std::vector<std::int32_t> itsSamples; ///< row by row
        std::uint32_t itsPasses = 0xFFFFFFFF; ///< at most this many are coded
    };

    struct Segment
    {
        std::vector<std::uint8_t> itsBytes;
        std::uint32_t itsPasses = 0;
    };

    /// Encodes.
    explicit BlockEncoder(const Request& theRequest);

    /// Takes segments as they are: for damaged and invented ones.
    BlockEncoder(const Request& theRequest, std::vector<Segment> theSegments);

    BlockEncoder(const BlockEncoder&) = delete;
    BlockEncoder& operator=(const BlockEncoder&) = delete;

    const std::vector<Segment>& GetSegments() const { return itsSegments; }

    /// Refers to this object's bytes.
    const j2k::CodedBlock& GetBlock() const { return itsBlock; }

private:
    void LayOut(const Request& theRequest);

    std::vector<Segment> itsSegments;
    std::vector<std::vector<std::uint8_t>> itsBytes;
    std::vector<j2k::CodedSegment> itsCodedSegments;
    j2k::CodedBlock itsBlock;
};
