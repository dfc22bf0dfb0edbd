// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "engine/detail/Reports.h"
#include "engine/detail/markers/TileData.h"
#include "engine/detail/packets/Arena.h"
#include "engine/detail/packets/CodePieces.h"
#include "engine/detail/packets/PacketHeader.h"
#include "engine/detail/packets/PacketSequence.h"
#include "engine/detail/packets/TileBody.h"
#include "engine/detail/packets/TileComponent.h"

namespace j2k
{

/// Finds SOP marker segments (T.800 A.8.1) in a tile's body. Nothing else in it looks like one: neither
/// packet headers nor code-blocks have a value above 0xFF8F. Borrows the body.
class SopFinder
{
public:
    static constexpr std::uint64_t kSegmentSize = 6;

    struct Segment
    {
        std::uint64_t itsPosition = 0;
        std::uint16_t itsNumber = 0; ///< Nsop
    };

    explicit SopFinder(const TileBody& theBody) : itsCursor(theBody) {}

    /// The first one at or behind thePosition, which never decreases from call to call: all calls together
    /// read the body once.
    std::optional<Segment> Find(std::uint64_t thePosition);

private:
    BodyCursor itsCursor;
    std::optional<Segment> itsFound;
};

/// Reads all packets of a tile: headers, SOP and EPH, and where in the body each code-block's bytes are.
///
/// Stops where the data ends, or behind a header that makes no sense; what came until then counts, a packet
/// that is cut included. In resilient mode it goes on at the next SOP marker segment, whose number tells
/// which packet follows. Borrows everything.
class PacketReader final : private PacketVisitor
{
public:
    /// thePasses: what the codestream may spend on samples in coding passes; the tile's bytes are added.
    /// theLayers: quality layers that are used; components from theComponentCount on are not decoded.
    PacketReader(const TileData& theData, const TileBody& theBody,
                 const std::vector<std::unique_ptr<TileComponent>>& theComponents,
                 std::size_t theComponentCount, std::uint32_t theLayers, Arena& theArena,
                 CodePieces& thePieces, WorkBudget& thePasses, Reports& theReports);

    /// Returns the bytes of the body that were not read.
    std::uint64_t ReadAll();

private:
    bool VisitPacket(const PacketPlace& thePlace) override;

    // These return false when no packet can follow.
    bool ReadPlain(const PacketPlace& thePlace);
    bool ReadResilient(const PacketPlace& thePlace);
    bool TakeBody(const PacketPlace& thePlace);

    bool ReadSop(std::uint16_t& theNumber);
    void ReadEph();
    bool ReadHeader(const PacketPlace& thePlace);
    void Lose(const PacketPlace& thePlace);
    void AddPiece(const PacketShare& theShare, std::uint64_t theLength);
    void SpendPasses(const PacketShare& theShare, std::uint32_t thePasses);
    void ListWanted();
    bool IsDecoded(const PacketPlace& thePlace) const;
    bool IsBehindAllDecoded(const PacketPlace& thePlace) const;
    void CheckTileParts(std::uint64_t theStart);
    void Depart(const char* theText, Reports::Effect theEffect = Reports::Effect::None);

    const TileData& itsData;
    const TileBody& itsBody;
    const std::vector<std::unique_ptr<TileComponent>>& itsComponents;
    std::size_t itsComponentCount;
    std::uint32_t itsLayers;
    unsigned int itsResolutions = 0; ///< that any component decodes
    bool itsHasRegion = false;       ///< not all of their samples are wanted
    std::uint64_t itsPrecincts = 0;  ///< that are wanted, and whose last layer is still to come
    Arena& itsArena;
    CodePieces& itsPieces;
    Reports& itsReports;

    WorkBudget itsVisits;
    WorkBudget itsBlocks;
    WorkBudget itsLosses;
    WorkBudget& itsPasses;
    PacketHeader itsHeader;
    TileBody itsPacked;
    BodyCursor itsCursor;
    BodyCursor itsPackedCursor;
    BodyCursor& itsHeaderCursor; ///< one of the two
    SopFinder itsSops;
    bool itsMayRecover;            ///< at SOP marker segments
    std::uint64_t itsNumber = 0;   ///< of the packet that is read
    std::uint64_t itsResumeAt = 0; ///< packets before this one are lost
    std::size_t itsTilePart = 0;
    bool itsIsCut = false; ///< packets are missing or not wanted
    bool itsHasDeparted = false;
    bool itsIsTruncated = false; ///< its data end before the last packet that is wanted
};

} // namespace j2k
