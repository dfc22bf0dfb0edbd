// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/detail/markers/TileData.h"

namespace j2k
{

/// A tile's bytes as one row: positions run from 0 over all its tile-parts, whatever chunks they came in.
/// Borrows the bytes.
class TileBody
{
public:
    /// The bodies of the tile-parts.
    explicit TileBody(const std::vector<BodyChunk>& theChunks);

    /// The packed packet headers; theOffset is given for every position in them.
    TileBody(const std::vector<std::uint8_t>& theHeaders, std::uint64_t theOffset);

    std::uint64_t GetSize() const { return itsSize; }

    /// Copies theCount bytes from thePosition on; both must lie within the size.
    void Copy(std::uint64_t thePosition, std::size_t theCount, std::uint8_t* theBytes) const;

    /// Where theCount bytes from thePosition on lie together; null where they do not.
    const std::uint8_t* Find(std::uint64_t thePosition, std::size_t theCount) const;

    /// The offset from the start of the codestream, for reports.
    std::uint64_t GetOffset(std::uint64_t thePosition) const;

    /// Where tile-parts begin, in ascending order.
    const std::vector<std::uint64_t>& GetTileParts() const { return itsTileParts; }

private:
    friend class BodyCursor;

    struct Chunk
    {
        const std::uint8_t* itsData;
        std::uint64_t itsStart;
        std::uint64_t itsEnd;
        std::uint64_t itsOffset;
    };

    void Add(const std::vector<std::uint8_t>& theBytes, std::uint64_t theOffset);
    /// The chunk that holds thePosition, or the last one.
    std::size_t FindChunk(std::uint64_t thePosition) const;

    std::vector<Chunk> itsChunks; ///< none of them empty
    std::vector<std::uint64_t> itsTileParts;
    std::uint64_t itsSize = 0;
};

/// Reads a TileBody from one end to the other. Borrows it.
class BodyCursor
{
public:
    explicit BodyCursor(const TileBody& theBody) : itsBody(&theBody) { Seek(0); }

    std::uint64_t GetPosition() const { return itsChunkStart + std::uint64_t(itsNext - itsData); }
    std::uint64_t GetLeft() const { return itsBody->itsSize - GetPosition(); }
    bool IsAtEnd() const { return itsNext == itsEnd && GetLeft() == 0; }

    /// The next byte, or -1 at the end.
    int Read()
    {
        if (itsNext == itsEnd && !EnterNextChunk())
        {
            return -1;
        }
        return *itsNext++;
    }

    /// Whether theCount bytes are left, which are copied without moving on.
    bool Peek(std::uint8_t* theBytes, std::size_t theCount) const;

    /// Moves on; not beyond the end.
    void Skip(std::uint64_t theCount);

    /// Moves on to the next byte of theValue, be it this one; false, at the end, when there is none.
    bool SkipTo(std::uint8_t theValue);

    /// Goes to any position up to the end.
    void Seek(std::uint64_t thePosition);

private:
    bool EnterNextChunk();

    const TileBody* itsBody;
    const std::uint8_t* itsData = nullptr;
    const std::uint8_t* itsNext = nullptr;
    const std::uint8_t* itsEnd = nullptr;
    std::size_t itsChunk = 0;
    std::uint64_t itsChunkStart = 0;
};

} // namespace j2k
