// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "engine/detail/Reports.h"
#include "engine/detail/markers/MarkerReader.h"

namespace j2k
{

/// Reads the numbers of one marker segment; one that is not there any more is an error naming the segment.
class SegmentCursor
{
public:
    SegmentCursor(const MarkerSegment& theSegment, Reports& theReports)
        : itsSegment(theSegment), itsReports(theReports), itsRest(theSegment.itsBody)
    {
    }

    std::uint8_t TakeByte() { return static_cast<std::uint8_t>(Take(1)); }
    std::uint16_t TakeWord() { return static_cast<std::uint16_t>(Take(2)); }
    std::uint32_t TakeLong() { return Take(4); }

    /// One byte, or two where a codestream of theComponents components uses two for a component's index.
    std::uint16_t TakeComponent(std::size_t theComponents)
    {
        return static_cast<std::uint16_t>(Take(theComponents < 257 ? 1 : 2));
    }

    std::span<const std::uint8_t> GetRest() const { return itsRest; }

    /// Reports beginning with the marker's name, at its offset.
    [[noreturn]] void Error(const std::string& theText) const;
    void NonConformance(const std::string& theText) const;

    /// A non-conformance unless everything was taken.
    void ExpectEnd() const;

private:
    std::uint32_t Take(std::size_t theBytes);

    const MarkerSegment& itsSegment;
    Reports& itsReports;
    std::span<const std::uint8_t> itsRest;
};

} // namespace j2k
