// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/TilePartReader.h"

#include <algorithm>
#include <array>
#include <utility>

namespace j2k
{

namespace
{

constexpr std::size_t kFirstChunkBytes = std::size_t(64) << 10;
constexpr std::size_t kLargestChunkBytes = std::size_t(1) << 20;
constexpr std::uint8_t kMarkerPrefix = 0xFF;
constexpr std::uint8_t kSotCode = 0x90;
constexpr std::uint8_t kEocCode = 0xD9;
constexpr std::uint32_t kSotAndLength = 0xFF90000A;
constexpr std::uint32_t kEoc = 0xFFD9;

/// Appends single bytes to chunks of bounded size.
class ChunkWriter
{
public:
    ChunkWriter(std::vector<BodyChunk>& theBody, std::uint64_t theOffset, bool isTilePartStart)
        : itsBody(theBody), itsOffset(theOffset), itsStartsTilePart(isTilePartStart)
    {
    }

    void Append(std::uint8_t theByte)
    {
        if (itsRoom == 0)
        {
            itsBody.push_back({{}, itsOffset, std::exchange(itsStartsTilePart, false)});
            itsRoom = kLargestChunkBytes;
        }
        itsBody.back().itsBytes.push_back(theByte);
        --itsRoom;
        ++itsOffset;
    }

private:
    std::vector<BodyChunk>& itsBody;
    std::uint64_t itsOffset;
    std::size_t itsRoom = 0;
    bool itsStartsTilePart;
};

/// The number of bytes before the first SOT, with its length, or EOC in the chunks from theFirst on.
bool FindMarker(const std::vector<BodyChunk>& theBody, std::size_t theFirst, std::uint64_t& theKept)
{
    std::uint32_t aWindow = 0;
    theKept = 0;
    for (std::size_t aNumber = theFirst; aNumber < theBody.size(); ++aNumber)
    {
        for (const std::uint8_t aByte : theBody[aNumber].itsBytes)
        {
            aWindow = (aWindow << 8) | aByte;
            ++theKept;
            const bool isSot = aWindow == kSotAndLength;
            if (isSot || (aWindow & 0xFFFF) == kEoc)
            {
                theKept -= isSot ? 4 : 2;
                return true;
            }
        }
    }
    return false;
}

} // namespace

bool BodyReader::ReadCounted(std::uint64_t theCount, std::vector<BodyChunk>& theBody)
{
    std::size_t aSize = kFirstChunkBytes;
    bool isFirst = true;
    while (theCount > 0)
    {
        BodyChunk aChunk;
        aChunk.itsOffset = itsBytes.GetOffset();
        aChunk.itsStartsTilePart = std::exchange(isFirst, false);
        aChunk.itsBytes.resize(static_cast<std::size_t>(std::min<std::uint64_t>(theCount, aSize)));
        const std::size_t aWanted = aChunk.itsBytes.size();
        const std::size_t aRead = itsBytes.Read(aChunk.itsBytes.data(), aWanted);
        if (aRead < aWanted)
        {
            aChunk.itsBytes.resize(aRead);
            aChunk.itsBytes.shrink_to_fit();
        }
        if (aRead > 0)
        {
            theBody.push_back(std::move(aChunk));
        }
        if (aRead < aWanted)
        {
            return false;
        }
        theCount -= aRead;
        aSize = std::min(2 * aSize, kLargestChunkBytes);
    }
    return true;
}

bool BodyReader::IsTilePartNext()
{
    constexpr std::size_t kLengthBytes = 2;
    constexpr std::uint8_t kSotLength = 10;
    return itsBytes.Fetch(kLengthBytes) && itsBytes.GetAvailable()[0] == 0 &&
           itsBytes.GetAvailable()[1] == kSotLength;
}

void BodyReader::ReadToMarker(bool isTilePartStart, std::vector<BodyChunk>& theBody)
{
    ChunkWriter aWriter(theBody, itsBytes.GetOffset(), isTilePartStart);
    bool isPrefixHeld = false;
    for (;;)
    {
        // Two bytes at most are sure to be the codestream's own: it ends with EOC.
        std::array<std::uint8_t, 2> someBytes{};
        const std::size_t aCount = itsBytes.Read(someBytes.data(), isPrefixHeld ? 1 : 2);
        for (std::size_t anIndex = 0; anIndex < aCount; ++anIndex)
        {
            const std::uint8_t aByte = someBytes[anIndex];
            if (isPrefixHeld)
            {
                if (aByte == kEocCode || (aByte == kSotCode && IsTilePartNext()))
                {
                    itsBytes.PutBack(std::array<std::uint8_t, 2>{kMarkerPrefix, aByte});
                    return;
                }
                aWriter.Append(kMarkerPrefix);
            }
            isPrefixHeld = aByte == kMarkerPrefix;
            if (!isPrefixHeld)
            {
                aWriter.Append(aByte);
            }
        }
        if (aCount == 0)
        {
            if (isPrefixHeld)
            {
                aWriter.Append(kMarkerPrefix);
            }
            return;
        }
    }
}

bool BodyReader::CutAtMarker(std::vector<BodyChunk>& theBody, std::size_t theFirst)
{
    std::uint64_t aKept = 0;
    if (!FindMarker(theBody, theFirst, aKept))
    {
        return false;
    }
    std::vector<std::uint8_t> aTail;
    for (std::size_t aNumber = theFirst; aNumber < theBody.size(); ++aNumber)
    {
        std::vector<std::uint8_t>& someBytes = theBody[aNumber].itsBytes;
        const auto aKeptHere = static_cast<std::size_t>(std::min<std::uint64_t>(aKept, someBytes.size()));
        const auto aRest = someBytes.begin() + static_cast<std::ptrdiff_t>(aKeptHere);
        aTail.insert(aTail.end(), aRest, someBytes.end());
        someBytes.erase(aRest, someBytes.end());
        aKept -= aKeptHere;
    }
    while (theBody.size() > theFirst && theBody.back().itsBytes.empty())
    {
        theBody.pop_back();
    }
    itsBytes.PutBack(aTail);
    return true;
}

} // namespace j2k
