// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/packets/PacketReader.h"

#include <algorithm>
#include <string>
#include <utility>

namespace j2k
{

std::optional<SopFinder::Segment> SopFinder::Find(std::uint64_t thePosition)
{
    if (itsFound && itsFound->itsPosition >= thePosition)
    {
        return itsFound;
    }
    itsFound.reset();
    itsCursor.Seek(std::max(itsCursor.GetPosition(), thePosition));
    std::uint8_t aBytes[kSegmentSize];
    while (itsCursor.SkipTo(0xFF) && itsCursor.Peek(aBytes, kSegmentSize))
    {
        if (aBytes[0] == 0xFF && aBytes[1] == 0x91 && aBytes[2] == 0 && aBytes[3] == 4)
        {
            itsFound = {itsCursor.GetPosition(), static_cast<std::uint16_t>((aBytes[4] << 8) | aBytes[5])};
            return itsFound;
        }
        itsCursor.Skip(1);
    }
    return itsFound;
}

namespace
{
using Components = std::vector<std::unique_ptr<TileComponent>>;

// A header with something in it visits every code-block of its precinct, and one bit of a tag tree can stand
// for very many that are not in it. So the bytes of a tile pay for many more visits than they have bits, for
// 64 each; with those that cost nothing that is beyond what the layers of real images ask for.
constexpr std::uint64_t kBlocksPerByte = 512;

// Each packet that is lost was there once, with at least a byte of header and the six of its SOP. Sixteen for
// each byte that is left let about a hundred go missing at every SOP that survived; the base is for a gap in
// a tile of which little is left. It is small, because there may be 65,535 tiles.
constexpr std::uint64_t kFreeLosses = std::uint64_t(1) << 12;
constexpr std::uint64_t kLossesPerByte = 16;

// A byte of a picture stands for some dozen samples in coding passes, of one that is nearly empty or nearly
// all thrown away for a thousand. A block that declares all its passes and brings a byte asks for a hundred
// thousand.
constexpr std::uint64_t kPassesPerByte = 1536;

std::uint64_t MakeBudget(std::uint64_t theBase, std::uint64_t thePerByte, const TileData& theData)
{
    return theBase + thePerByte * (theData.itsBodyBytes + theData.itsPackedHeaders.size());
}

/// So many visits to code-blocks cost a tile no bytes: kVisits for each that it has, which is as many quality
/// layers of headers that say little more than that nothing comes. No more than that, because there may be
/// 65,535 tiles; at least kLeast, because small tiles may have hundreds of layers; and never more than kMost,
/// however many blocks a short file claims to have.
std::uint64_t GetFreeBlocks(const Components& theComponents)
{
    constexpr std::uint64_t kLeast = std::uint64_t(1) << 18;
    constexpr std::uint64_t kMost = std::uint64_t(1) << 23;
    constexpr std::uint64_t kVisits = 8;
    std::uint64_t aCount = kLeast;
    for (const std::unique_ptr<TileComponent>& aComponent : theComponents)
    {
        for (unsigned int aLevel = 0; aLevel <= aComponent->GetLevels() && aCount < kMost; ++aLevel)
        {
            const Resolution& aResolution = aComponent->GetResolution(aLevel);
            for (unsigned int aBand = 0; aBand < aResolution.GetSubbandCount(); ++aBand)
            {
                const Subband& aSubband = aResolution.GetSubband(aBand);
                const std::uint64_t aBlocks =
                    std::uint64_t(aSubband.GetBlockColumns()) * aSubband.GetBlockRows();
                aCount += kVisits * std::min(aBlocks, kMost);
            }
        }
    }
    return std::min(aCount, kMost);
}

/// The passes of a share of which theLength bytes are there. Passes grow with every bit-plane, so the bytes'
/// share of a cut segment's passes is most likely whole. High-throughput segments are read from both ends,
/// and good for nothing without the last one.
std::uint32_t CountWholePasses(const PacketShare& theShare, std::uint64_t theLength, bool isHighThroughput)
{
    if (theLength == theShare.itsLength)
    {
        return theShare.itsPasses;
    }
    return isHighThroughput ? 0
                            : static_cast<std::uint32_t>(theShare.itsPasses * theLength / theShare.itsLength);
}
} // namespace

PacketReader::PacketReader(const TileData& theData, const TileBody& theBody, const Components& theComponents,
                           std::size_t theComponentCount, std::uint32_t theLayers, Arena& theArena,
                           CodePieces& thePieces, WorkBudget& thePasses, Reports& theReports)
    : itsData(theData), itsBody(theBody), itsComponents(theComponents), itsComponentCount(theComponentCount),
      itsLayers(theLayers), itsArena(theArena), itsPieces(thePieces), itsReports(theReports),
      itsVisits(theData.GetMostVisits(),
                "POC marker segments repeat far more packets than the tile has bytes", theReports),
      itsBlocks(MakeBudget(GetFreeBlocks(theComponents), kBlocksPerByte, theData),
                "Packets name far more code-blocks than the tile has bytes", theReports),
      itsLosses(MakeBudget(kFreeLosses, kLossesPerByte, theData),
                "SOP marker segments skip far more packets than the tile has bytes", theReports),
      itsPasses(thePasses), itsHeader(theArena, itsBlocks, theReports),
      itsPacked(theData.itsPackedHeaders, theBody.GetOffset(0)), itsCursor(theBody),
      itsPackedCursor(itsPacked), itsHeaderCursor(theData.itsHasPackedHeaders ? itsPackedCursor : itsCursor),
      itsSops(theBody), itsMayRecover(theReports.GetTolerance() == Tolerance::Resilient &&
                                      theData.itsCoding.itsMayHaveSOP && !theData.itsHasPackedHeaders)
{
    itsPasses.Earn(MakeBudget(0, kPassesPerByte, theData));
    ListWanted();
}

void PacketReader::ListWanted()
{
    for (std::size_t aComponent = 0; aComponent < itsComponentCount; ++aComponent)
    {
        const TileComponent& aTileComponent = *itsComponents[aComponent];
        itsResolutions = std::max(itsResolutions, aTileComponent.GetResolutionCount());
        for (unsigned int aLevel = 0; aLevel < aTileComponent.GetResolutionCount(); ++aLevel)
        {
            const Resolution& aResolution = aTileComponent.GetResolution(aLevel);
            itsHasRegion = itsHasRegion || aResolution.GetArea() != aResolution.GetRect();
            itsPrecincts += aResolution.GetPrecincts().CountIn(aResolution.GetArea());
        }
    }
}

std::uint64_t PacketReader::ReadAll()
{
    PacketSequence(itsComponents, itsData.itsCoding, itsVisits).Run(*this);
    if (!itsIsCut && !itsCursor.IsAtEnd())
    {
        Depart("Bytes follow the last packet");
    }
    return itsCursor.GetLeft();
}

bool PacketReader::VisitPacket(const PacketPlace& thePlace)
{
    if (IsBehindAllDecoded(thePlace))
    {
        itsIsCut = true;
        return false;
    }
    if (itsHeaderCursor.IsAtEnd())
    {
        itsIsCut = true;
        Depart("Data ends before the last packet", Reports::Effect::Truncation);
        return false;
    }
    const bool canGoOn = itsMayRecover ? ReadResilient(thePlace) : ReadPlain(thePlace);
    itsIsCut = itsIsCut || !canGoOn;
    ++itsNumber;
    return canGoOn;
}

bool PacketReader::ReadPlain(const PacketPlace& thePlace)
{
    const std::uint64_t aStart = itsCursor.GetPosition();
    std::uint16_t aNumber = 0;
    if (ReadSop(aNumber) && aNumber != (itsNumber & 0xFFFFU))
    {
        Depart("SOP has the number of another packet");
    }
    if (!ReadHeader(thePlace))
    {
        Depart("Packet header contradicts itself or the data", Reports::Effect::Damage);
        return false;
    }
    const bool canGoOn = TakeBody(thePlace);
    CheckTileParts(aStart);
    return canGoOn;
}

// How reading finds its way again.
//
// SOP marker segments number the packets of a tile from 0 on, modulo 65536, and nothing else in the body
// looks like one (see SopFinder). So an SOP is believed more than what was read before it. It says two
// things:
//
// - Which packet follows. An SOP at hand whose number is ahead of the packet that is due, by less than half
// of
//   all numbers, means that the packets between are gone: they are lost one by one as the sequence comes to
//   them, for only the sequence knows whose they are, and reading goes on at that SOP when the sequence has
//   caught up with it. Any other number is no reason to move: to follow it backwards would give a precinct
//   the same layers twice.
// - Where the packet before it ends. A packet whose lengths lead behind the next SOP was not read right, and
//   neither was one that stops short of it where that SOP has the very next number. Where its number is a
//   later one the packets between may stand there without SOP, which is allowed, and nothing is known against
//   this one.
//
// A packet that was not read right is lost: none of its bytes are taken, and reading goes on at the next SOP,
// or is over where there is none. What a later header of a precinct means depends on all before it (tag
// trees, lengths), so a precinct that lost a packet keeps what it has and takes no more: its further packets
// are passed by from SOP to SOP.
//
// Callers rely on this being linear: the finder never goes back, and what an SOP makes the sequence lose is
// spent from a budget, because each lost packet makes a precinct and six bytes can name 32,767 of them.
bool PacketReader::ReadResilient(const PacketPlace& thePlace)
{
    if (itsNumber < itsResumeAt)
    {
        Lose(thePlace);
        return true;
    }
    std::uint64_t aStart = itsCursor.GetPosition();
    std::uint16_t aNumber = 0;
    if (ReadSop(aNumber))
    {
        const std::uint64_t aDistance = (aNumber - itsNumber) & 0xFFFFU;
        if (aDistance > 0 && aDistance < 0x8000 && itsLosses.TrySpend(aDistance))
        {
            itsCursor.Seek(aStart);
            itsResumeAt = itsNumber + aDistance;
            Lose(thePlace);
            return true;
        }
        aStart += SopFinder::kSegmentSize;
    }
    const Precinct* const aPrecinct = thePlace.itsResolution->FindPrecinct(thePlace.itsPrecinct);
    const bool isReadable = aPrecinct == nullptr || !aPrecinct->itsIsDamaged;
    const auto aNext = itsSops.Find(std::min(aStart, itsBody.GetSize()));
    if (isReadable && ReadHeader(thePlace))
    {
        const std::uint64_t anEnd = itsCursor.GetPosition() + itsHeader.GetBodyLength();
        const bool isNextMissed =
            aNext && anEnd != aNext->itsPosition &&
            (anEnd > aNext->itsPosition || aNext->itsNumber == ((itsNumber + 1) & 0xFFFFU));
        if (!isNextMissed)
        {
            return TakeBody(thePlace);
        }
    }
    if (!aNext || !itsLosses.TrySpend(1))
    {
        return false;
    }
    Lose(thePlace);
    itsCursor.Seek(aNext->itsPosition);
    return true;
}

bool PacketReader::ReadSop(std::uint16_t& theNumber)
{
    std::uint8_t aBytes[SopFinder::kSegmentSize] = {};
    if (!itsCursor.Peek(aBytes, 2) || aBytes[0] != 0xFF || aBytes[1] != 0x91)
    {
        return false;
    }
    if (!itsData.itsCoding.itsMayHaveSOP)
    {
        Depart("SOP where COD announces none");
    }
    const bool isWhole = itsCursor.Peek(aBytes, sizeof(aBytes));
    itsCursor.Skip(sizeof(aBytes));
    theNumber = static_cast<std::uint16_t>((aBytes[4] << 8) | aBytes[5]);
    if (isWhole && (aBytes[2] != 0 || aBytes[3] != 4))
    {
        Depart("SOP has a length other than 4");
    }
    return isWhole;
}

bool PacketReader::ReadHeader(const PacketPlace& thePlace)
{
    PacketBits aBits(itsHeaderCursor);
    if (!itsHeader.Read(aBits, thePlace, itsBody.GetOffset(itsCursor.GetPosition())))
    {
        return false;
    }
    ReadEph();
    return true;
}

void PacketReader::ReadEph()
{
    std::uint8_t aBytes[2];
    const bool isThere = itsHeaderCursor.Peek(aBytes, 2) && aBytes[0] == 0xFF && aBytes[1] == 0x92;
    if (isThere)
    {
        itsHeaderCursor.Skip(2);
    }
    if (isThere != itsData.itsCoding.itsHasEPH)
    {
        Depart(isThere ? "EPH where COD announces none" : "EPH is missing behind a packet header");
    }
}

bool PacketReader::TakeBody(const PacketPlace& thePlace)
{
    const bool isCut = itsHeader.GetBodyLength() > itsCursor.GetLeft();
    const bool isDecoded = IsDecoded(thePlace);
    itsPrecincts -= isDecoded && thePlace.itsLayer + 1 == itsLayers ? 1 : 0;
    for (const PacketShare& aShare : itsHeader.GetShares())
    {
        const std::uint64_t aLength = std::min<std::uint64_t>(aShare.itsLength, itsCursor.GetLeft());
        if (isDecoded)
        {
            AddPiece(aShare, aLength);
        }
        itsCursor.Skip(aLength);
        if (aLength < aShare.itsLength)
        {
            break;
        }
    }
    if (isCut)
    {
        Depart("Data ends within a packet", Reports::Effect::Truncation);
    }
    return !isCut;
}

void PacketReader::AddPiece(const PacketShare& theShare, std::uint64_t theLength)
{
    CodeBlock& aBlock = *theShare.itsBlock;
    const bool isHighThroughput = theShare.itsSubband->IsHighThroughput(aBlock);
    const std::uint32_t aPasses = CountWholePasses(theShare, theLength, isHighThroughput);
    if (aPasses == 0 || aBlock.itsBitPlanes == 0)
    {
        return;
    }
    const std::uint64_t aPosition = itsCursor.GetPosition();
    // The zero bit-planes of a high-throughput block tell where its first clean-up pass ends, and nothing of
    // its magnitudes.
    const std::uint32_t aBitPlanes =
        isHighThroughput ? theShare.itsSubband->GetMostBitPlanes() : aBlock.itsBitPlanes;
    if (aBitPlanes > CodedBlock::kMaxBitPlanes)
    {
        itsReports.Error("Code-block needs more than 30 magnitude bit-planes", itsBody.GetOffset(aPosition));
    }
    SpendPasses(theShare, aPasses);
    if (!itsPieces.Add(aBlock, {static_cast<std::uint32_t>(aPosition), static_cast<std::uint32_t>(theLength),
                                0, static_cast<std::uint8_t>(aPasses), theShare.itsStartsSegment}))
    {
        itsReports.Error("Tile has too many codeword segments", itsBody.GetOffset(aPosition));
    }
    theShare.itsSubband->NoteBitPlanes(aBitPlanes);
}

// Passes that a high-throughput block leaves out cost nothing, and what it brings in one piece is a clean-up
// pass or the two that refine it. Where blocks are mixed this one may yet turn out to be of the other kind.
void PacketReader::SpendPasses(const PacketShare& theShare, std::uint32_t thePasses)
{
    const Subband& aSubband = *theShare.itsSubband;
    const bool isCheap =
        (aSubband.GetBlockStyle() & (CBS_HIGH_THROUGHPUT | CBS_MIXED)) == CBS_HIGH_THROUGHPUT;
    const std::uint64_t aPasses = isCheap ? std::min(thePasses, 2U) : thePasses;
    itsPasses.Spend(aPasses * aSubband.GetMostBlockSamples());
}

void PacketReader::Lose(const PacketPlace& thePlace)
{
    if (itsReports.GetFirstDamage().empty())
    {
        Depart("Packets are lost", Reports::Effect::Damage);
    }
    thePlace.itsResolution->MakePrecinct(thePlace.itsPrecinct, itsArena).itsIsDamaged = true;
}

bool PacketReader::IsDecoded(const PacketPlace& thePlace) const
{
    return thePlace.itsLayer < itsLayers && thePlace.itsComponent < itsComponentCount &&
           thePlace.itsResolution->GetLevel() < itsComponents[thePlace.itsComponent]->GetResolutionCount() &&
           thePlace.itsResolution->GetPrecincts().Meets(thePlace.itsPrecinct,
                                                        thePlace.itsResolution->GetArea());
}

// Whether neither this packet nor any after it is decoded.
bool PacketReader::IsBehindAllDecoded(const PacketPlace& thePlace) const
{
    if (itsHasRegion && itsPrecincts == 0)
    {
        return true;
    }
    if (!itsData.itsCoding.itsProgressions.empty())
    {
        return false;
    }
    switch (itsData.itsCoding.itsOrder)
    {
    case ProgressionOrder::LRCP:
        return thePlace.itsLayer >= itsLayers;
    case ProgressionOrder::RLCP:
    case ProgressionOrder::RPCL:
        return thePlace.itsResolution->GetLevel() >= itsResolutions;
    case ProgressionOrder::CPRL:
        return thePlace.itsComponent >= itsComponentCount;
    case ProgressionOrder::PCRL:
        break;
    }
    return false;
}

void PacketReader::CheckTileParts(std::uint64_t theStart)
{
    const std::vector<std::uint64_t>& aParts = itsBody.GetTileParts();
    while (itsTilePart < aParts.size() && aParts[itsTilePart] <= theStart)
    {
        ++itsTilePart;
    }
    if (itsTilePart < aParts.size() && aParts[itsTilePart] < itsCursor.GetPosition())
    {
        Depart("Packet goes on in the next tile-part");
    }
}

void PacketReader::Depart(const char* theText, Reports::Effect theEffect)
{
    if (theEffect == Reports::Effect::Truncation && !std::exchange(itsIsTruncated, true))
    {
        itsReports.NoteTruncatedTile(itsData.itsMissingShare);
    }
    // In the other modes only the first non-conformance is ever of interest, but for what it costs.
    if (!itsHasDeparted || theEffect == Reports::Effect::Damage ||
        itsReports.GetTolerance() == Tolerance::Fussy)
    {
        itsHasDeparted = true;
        itsReports.NonConformance(std::string(theText) + " in tile " + std::to_string(itsData.itsIndex),
                                  itsBody.GetOffset(itsCursor.GetPosition()), theEffect);
    }
}

} // namespace j2k
