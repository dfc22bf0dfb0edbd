// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "engine/detail/Reports.h"

class kdu_compressed_source;

namespace j2k
{

/// Bytes of a sequential source, with a look ahead that is never longer than its user asks for.
///
/// Borrows the source and the reports. An exception of the source passes; a negative answer of it is an
/// error.
class ByteReader
{
public:
    ByteReader(kdu_compressed_source& theSource, Reports& theReports)
        : itsSource(theSource), itsReports(theReports)
    {
    }

    /// Makes theCount bytes available, fewer only where the source ends. What they are is in GetAvailable().
    bool Fetch(std::size_t theCount);

    /// Bytes that were fetched or put back and not taken yet; valid until the next call.
    std::span<const std::uint8_t> GetAvailable() const
    {
        return std::span<const std::uint8_t>(itsBuffer).subspan(itsPosition);
    }

    /// Leaves available bytes behind.
    void Skip(std::size_t theCount) { itsPosition += theCount; }

    /// Takes theCount bytes, fewer only where the source ends. Returns their number.
    std::size_t Read(std::uint8_t* theBytes, std::size_t theCount);

    /// Makes bytes that were taken last available again.
    void PutBack(std::span<const std::uint8_t> theBytes);

    /// Position in the codestream of the next byte.
    std::uint64_t GetOffset() const { return itsBytesRead - GetAvailable().size(); }

private:
    std::size_t ReadSource(std::uint8_t* theBytes, std::size_t theCount);

    kdu_compressed_source& itsSource;
    Reports& itsReports;
    std::vector<std::uint8_t> itsBuffer;
    std::size_t itsPosition = 0;
    std::uint64_t itsBytesRead = 0;
    bool itsIsAtEnd = false;
};

} // namespace j2k
