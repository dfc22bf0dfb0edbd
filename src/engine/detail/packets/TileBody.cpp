// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/packets/TileBody.h"

#include <algorithm>
#include <cstring>

namespace j2k
{

TileBody::TileBody(const std::vector<BodyChunk>& theChunks)
{
    itsChunks.reserve(theChunks.size());
    for (const BodyChunk& aChunk : theChunks)
    {
        if (aChunk.itsStartsTilePart)
        {
            itsTileParts.push_back(itsSize);
        }
        Add(aChunk.itsBytes, aChunk.itsOffset);
    }
}

TileBody::TileBody(const std::vector<std::uint8_t>& theHeaders, std::uint64_t theOffset)
{
    Add(theHeaders, theOffset);
}

void TileBody::Add(const std::vector<std::uint8_t>& theBytes, std::uint64_t theOffset)
{
    if (!theBytes.empty())
    {
        itsChunks.push_back({theBytes.data(), itsSize, itsSize + theBytes.size(), theOffset});
        itsSize += theBytes.size();
    }
}

std::size_t TileBody::FindChunk(std::uint64_t thePosition) const
{
    const auto aFound =
        std::partition_point(itsChunks.begin(), itsChunks.end(),
                             [thePosition](const Chunk& theChunk) { return theChunk.itsEnd <= thePosition; });
    const std::size_t anIndex = static_cast<std::size_t>(aFound - itsChunks.begin());
    return anIndex == itsChunks.size() && anIndex > 0 ? anIndex - 1 : anIndex;
}

void TileBody::Copy(std::uint64_t thePosition, std::size_t theCount, std::uint8_t* theBytes) const
{
    std::size_t aChunkIndex = theCount == 0 ? 0 : FindChunk(thePosition);
    while (theCount > 0)
    {
        const Chunk& aChunk = itsChunks[aChunkIndex++];
        const std::size_t aPart =
            static_cast<std::size_t>(std::min<std::uint64_t>(theCount, aChunk.itsEnd - thePosition));
        std::memcpy(theBytes, aChunk.itsData + (thePosition - aChunk.itsStart), aPart);
        theBytes += aPart;
        thePosition += aPart;
        theCount -= aPart;
    }
}

const std::uint8_t* TileBody::Find(std::uint64_t thePosition, std::size_t theCount) const
{
    if (itsChunks.empty())
    {
        return nullptr;
    }
    const Chunk& aChunk = itsChunks[FindChunk(thePosition)];
    return aChunk.itsEnd - thePosition < theCount ? nullptr
                                                  : aChunk.itsData + (thePosition - aChunk.itsStart);
}

std::uint64_t TileBody::GetOffset(std::uint64_t thePosition) const
{
    if (itsChunks.empty())
    {
        return 0;
    }
    const Chunk& aChunk = itsChunks[FindChunk(thePosition)];
    return aChunk.itsOffset + (thePosition - aChunk.itsStart);
}

bool BodyCursor::Peek(std::uint8_t* theBytes, std::size_t theCount) const
{
    if (std::size_t(itsEnd - itsNext) >= theCount)
    {
        std::memcpy(theBytes, itsNext, theCount);
        return true;
    }
    if (GetLeft() < theCount)
    {
        return false;
    }
    itsBody->Copy(GetPosition(), theCount, theBytes);
    return true;
}

void BodyCursor::Skip(std::uint64_t theCount)
{
    if (theCount <= std::uint64_t(itsEnd - itsNext))
    {
        itsNext += theCount;
        return;
    }
    Seek(GetPosition() + std::min(theCount, GetLeft()));
}

bool BodyCursor::SkipTo(std::uint8_t theValue)
{
    while (itsNext != itsEnd || EnterNextChunk())
    {
        const void* const aFound = std::memchr(itsNext, theValue, std::size_t(itsEnd - itsNext));
        if (aFound != nullptr)
        {
            itsNext = static_cast<const std::uint8_t*>(aFound);
            return true;
        }
        itsNext = itsEnd;
    }
    return false;
}

void BodyCursor::Seek(std::uint64_t thePosition)
{
    if (itsBody->itsChunks.empty())
    {
        return;
    }
    itsChunk = itsBody->FindChunk(thePosition);
    const TileBody::Chunk& aChunk = itsBody->itsChunks[itsChunk];
    itsChunkStart = aChunk.itsStart;
    itsData = aChunk.itsData;
    itsNext = itsData + (thePosition - aChunk.itsStart);
    itsEnd = itsData + (aChunk.itsEnd - aChunk.itsStart);
}

bool BodyCursor::EnterNextChunk()
{
    if (GetLeft() == 0)
    {
        return false;
    }
    Seek(GetPosition());
    return true;
}

} // namespace j2k
