// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <utility>
#include <vector>

#include "engine/kdu_compressed_source.h"

/// A compressed source over its own bytes that delivers them as awkwardly as wanted and counts its use.
class ByteSource final : public kdu_compressed_source
{
public:
    explicit ByteSource(std::vector<std::uint8_t> theBytes,
                        int theLargestRead = std::numeric_limits<int>::max())
        : itsBytes(std::move(theBytes)), itsLargestRead(theLargestRead)
    {
    }

    /// What read() does once the bytes are used up, instead of answering 0; it may throw.
    void AtEnd(std::function<int()> theAnswer) { itsAtEnd = std::move(theAnswer); }

    int read(kdu_byte* theBuffer, int theCount) override
    {
        ++itsReads;
        const auto aLeft = static_cast<int>(itsBytes.size() - itsPosition);
        if (aLeft == 0)
        {
            return itsAtEnd ? itsAtEnd() : 0;
        }
        const int aCount = std::min({theCount, aLeft, itsLargestRead});
        std::memcpy(theBuffer, itsBytes.data() + itsPosition, static_cast<std::size_t>(aCount));
        itsPosition += static_cast<std::size_t>(aCount);
        return aCount;
    }

    bool close() override
    {
        ++itsCloses;
        return true;
    }

    int get_capabilities() override { return KDU_SOURCE_CAP_SEQUENTIAL; }

    int GetReads() const { return itsReads; }
    int GetCloses() const { return itsCloses; }
    std::size_t GetPosition() const { return itsPosition; }

private:
    std::vector<std::uint8_t> itsBytes;
    int itsLargestRead;
    std::function<int()> itsAtEnd;
    std::size_t itsPosition = 0;
    int itsReads = 0;
    int itsCloses = 0;
};
