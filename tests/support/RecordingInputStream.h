// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <utility>
#include <vector>

#include "toolkit/base/Exceptions.h"
#include "toolkit/io/InputStream.h"

/// A stream over its own bytes that can be made as awkward as real ones are, and that counts its use.
class RecordingInputStream final : public InputStream
{
public:
    struct Manner
    {
        bool itsCanSeek = true;
        bool itsKnowsLength = true;
        std::size_t itsLargestRead = std::numeric_limits<std::size_t>::max();
        bool itsFailsAtItsEnd = false; ///< throws "no more paper", code 67, system error 42
    };

    /// What was asked of a stream; outlives it, so that streams given away can be watched.
    struct Record
    {
        std::uint64_t itsBytesRead = 0;
        std::uint64_t itsReads = 0;
        std::uint64_t itsSeeks = 0;
        std::function<void()> itsBeforeRead = [] {}; ///< may throw
    };

    RecordingInputStream(std::vector<std::uint8_t> theBytes, Manner theManner, Record& theRecord)
        : itsBytes(std::move(theBytes)), itsManner(theManner), itsRecord(theRecord)
    {
    }

    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override
    {
        itsRecord.itsBeforeRead();
        const std::size_t aCount =
            std::min({theLength, itsManner.itsLargestRead, itsBytes.size() - itsPosition});
        if (aCount == 0 && itsManner.itsFailsAtItsEnd)
        {
            throw StreamIOException("no more paper", DLRC_IO_ERROR, 42);
        }
        if (aCount > 0)
        {
            std::memcpy(theBuffer, itsBytes.data() + itsPosition, aCount);
        }
        itsPosition += aCount;
        itsRecord.itsBytesRead += aCount;
        ++itsRecord.itsReads;
        return aCount;
    }

    std::size_t Skip(std::size_t theLength) override
    {
        if (!itsManner.itsCanSeek)
        {
            return InputStream::Skip(theLength);
        }
        const std::size_t aCount = std::min(theLength, itsBytes.size() - itsPosition);
        itsPosition += aCount;
        return aCount;
    }

    void Seek(std::size_t thePosition) override
    {
        if (!itsManner.itsCanSeek || thePosition > itsBytes.size())
        {
            throw StreamIOException("RecordingInputStream::Seek", DLRC_IO_ERROR, 0);
        }
        ++itsRecord.itsSeeks;
        itsPosition = thePosition;
    }

    int CanSeek() const override { return itsManner.itsCanSeek ? 1 : 0; }
    long long Length() const override
    {
        return itsManner.itsKnowsLength ? static_cast<long long>(itsBytes.size()) : -1;
    }
    std::size_t GetStreamPosition() const override { return itsPosition; }

private:
    std::vector<std::uint8_t> itsBytes;
    Manner itsManner;
    Record& itsRecord;
    std::size_t itsPosition = 0;
};
