// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <limits>
#include <memory>
#include <new>
#include <string>

#include <zlib.h>

#include "codecs/stored/StoredFrameDecoder.h"
#include "engine/kdu_compressed_source.h"

namespace
{
/// 258 bytes of two bits are the most that RFC 1951 has.
constexpr std::uint64_t kMostRatio = 258 * 8 / 2;

/// A raw deflate stream read from a source.
class Inflation
{
public:
    explicit Inflation(kdu_compressed_source& theSource) : itsSource(theSource)
    {
        constexpr int kRawWithLargestWindow = -15;
        if (inflateInit2(&itsState, kRawWithLargestWindow) != Z_OK)
        {
            throw std::bad_alloc();
        }
    }
    ~Inflation() { inflateEnd(&itsState); }
    Inflation(const Inflation&) = delete;
    Inflation& operator=(const Inflation&) = delete;

    /// Inflates up to theCount bytes; fewer where the stream or the source ends, or the stream is damaged.
    std::uint64_t Read(std::uint8_t* theBytes, std::uint64_t theCount)
    {
        std::uint64_t aLeft = theCount;
        itsState.next_out = theBytes;
        while (aLeft > 0 && itsStatus == Z_OK)
        {
            if (itsState.avail_in == 0)
            {
                itsState.next_in = itsChunk;
                itsState.avail_in = static_cast<uInt>(std::max(itsSource.read(itsChunk, kChunk), 0));
            }
            const auto aStep = static_cast<uInt>(std::min(aLeft, kMostAtOnce));
            itsState.avail_out = aStep;
            itsStatus = inflate(&itsState, Z_NO_FLUSH); // Z_BUF_ERROR where the source has ended
            aLeft -= aStep - itsState.avail_out;
        }
        return theCount - aLeft;
    }

    bool HasEnded() const { return itsStatus == Z_STREAM_END; }
    bool IsDamaged() const { return itsStatus == Z_DATA_ERROR || itsStatus == Z_NEED_DICT; }
    bool IsOutOfMemory() const { return itsStatus == Z_MEM_ERROR; }

    /// Bytes behind the stream, counted as far as 2.
    std::uint64_t CountRest()
    {
        const std::uint64_t aHeld = itsState.avail_in;
        return aHeld + static_cast<std::uint64_t>(std::max(itsSource.read(itsChunk, 2), 0));
    }

private:
    static constexpr std::uint64_t kMostAtOnce = std::numeric_limits<uInt>::max();
    static constexpr int kChunk = 0x8000;

    kdu_compressed_source& itsSource;
    z_stream itsState{};
    int itsStatus = Z_OK;
    kdu_byte itsChunk[kChunk];
};
} // namespace

DeflatedFrameDecoder::DeflatedFrameDecoder() : StoredFrameDecoder("DeflatedFrameDecoder") {}

std::uint64_t DeflatedFrameDecoder::GetLeastSize() const
{
    return GetOutputSize() / kMostRatio;
}

void DeflatedFrameDecoder::ReadFrame(std::uint8_t* theFrame, std::uint64_t theSize)
{
    Inflation anInflation(GetSource());
    const std::uint64_t aCount = anInflation.Read(theFrame, theSize);
    const bool isCut = aCount == theSize && theSize < GetOutputSize();
    std::uint8_t aSpare = 0;
    const bool isLonger = !isCut && anInflation.Read(&aSpare, 1) == 1;
    if (anInflation.IsOutOfMemory())
    {
        throw std::bad_alloc();
    }
    if (anInflation.IsDamaged())
    {
        Fail("Decode: the deflated frame is damaged behind byte " + std::to_string(aCount) + " of " +
             std::to_string(theSize));
    }
    if (isLonger)
    {
        Fail("Decode: the deflated frame has more than " + std::to_string(theSize) + " bytes");
    }
    if (aCount < theSize)
    {
        FailShort(aCount);
    }
    if (isCut)
    {
        return;
    }
    if (!anInflation.HasEnded())
    {
        Fail("Decode: the deflated frame does not end", DLRC_PIXEL_DATA_TOO_SHORT);
    }
    CheckPadding(anInflation.CountRest());
}
