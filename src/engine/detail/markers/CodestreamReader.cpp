// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/CodestreamReader.h"

#include <algorithm>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include "engine/detail/markers/CodingSegments.h"
#include "engine/detail/markers/MainHeader.h"
#include "engine/detail/markers/TilePartReader.h"

namespace j2k
{

FewestLevels::FewestLevels(const TileCoding& theMain, std::uint32_t theTiles)
    : itsFewestOfMain(kMaxLevels), itsComponents(theMain.itsComponents.size()), itsTilesOnMain(theTiles)
{
    for (const ComponentCoding& aComponent : theMain.itsComponents)
    {
        itsFewestOfMain = std::min<unsigned int>(itsFewestOfMain, aComponent.itsLevels);
    }
}

void FewestLevels::AddTile(const CodingSegments& theTile)
{
    const bool isEachNamed = theTile.itsComponentStyles.size() == itsComponents;
    for (const auto& [aComponent, aStyle] : theTile.itsComponentStyles)
    {
        itsFewestOfTiles = std::min<unsigned int>(itsFewestOfTiles, aStyle.itsLevels);
    }
    if (theTile.itsStyle && !isEachNamed)
    {
        itsFewestOfTiles = std::min<unsigned int>(itsFewestOfTiles, theTile.itsStyle->itsLevels);
    }
    if (theTile.itsStyle || isEachNamed)
    {
        --itsTilesOnMain;
    }
}

unsigned int FewestLevels::Get() const
{
    return itsTilesOnMain > 0 ? std::min(itsFewestOfMain, itsFewestOfTiles) : itsFewestOfTiles;
}

struct CodestreamReader::Implementation
{
    Implementation(kdu_compressed_source& theSource, Reports& theReports)
        : itsReports(theReports), itsBytes(theSource, theReports), itsMarkers(itsBytes, theReports)
    {
    }

    void ReadTilePart();
    void DropUnlessKept(std::uint32_t theNumber, CollectedTile& theTile) const;
    bool IsComplete(std::uint32_t theTile) const;
    bool IsTruncated(const CollectedTile& theTile) const;
    void SetProgressions(const CollectedTile& theTile, TileData& theData) const;

    Reports& itsReports;
    ByteReader itsBytes;
    MarkerReader itsMarkers;
    MainHeader itsHeader;
    FewestLevels itsFewestLevels;
    std::optional<TilePartReader> itsTileParts;
    std::map<std::uint32_t, CollectedTile> itsTiles;
    std::vector<bool> itsIsTaken;
    Rect itsKept; ///< columns and rows of tiles
};

/// Tile-parts of tiles that are not there, or were taken already, are read and dropped.
void CodestreamReader::Implementation::ReadTilePart()
{
    const TilePartStart aStart = *itsTileParts->GetNext();
    CollectedTile aDropped;
    CollectedTile* aTile = &aDropped;
    if (aStart.itsTile >= itsIsTaken.size())
    {
        itsReports.NonConformance("SOT: there is no tile " + std::to_string(aStart.itsTile),
                                  aStart.itsOffset);
    }
    else if (itsIsTaken[aStart.itsTile])
    {
        itsReports.NonConformance("SOT: tile " + std::to_string(aStart.itsTile) + " was complete before",
                                  aStart.itsOffset);
    }
    else
    {
        aTile = &itsTiles[aStart.itsTile];
    }
    const bool isFirst = aTile != &aDropped && aTile->itsTileParts == 0;
    itsTileParts->Read(*aTile);
    if (isFirst)
    {
        itsFewestLevels.AddTile(aTile->itsCoding);
    }
    DropUnlessKept(aStart.itsTile, *aTile);
}

void CodestreamReader::Implementation::DropUnlessKept(std::uint32_t theNumber, CollectedTile& theTile) const
{
    const std::uint32_t anAcross = itsHeader.itsImage.itsTilesAcross;
    if (!itsKept.Contains(theNumber % anAcross, theNumber / anAcross))
    {
        theTile.itsIsDropped = true;
        theTile.itsBody = {};
        theTile.itsPackedHeaders = {};
    }
}

/// Encoders exist that announce a tile-part too few. So where tile-parts of several tiles are mixed, the
/// announced number alone ends nothing; a tile whose tile-parts stand together ends where another begins.
bool CodestreamReader::Implementation::IsComplete(std::uint32_t theTile) const
{
    const auto aPlace = itsTiles.find(theTile);
    const TilePartStart* aNext = itsTileParts->GetNext();
    return aPlace != itsTiles.end() && aPlace->second.HasAllParts() &&
           (aNext == nullptr || (aNext->itsTile != theTile && aNext->itsPart == 0));
}

bool CodestreamReader::Implementation::IsTruncated(const CollectedTile& theTile) const
{
    if (theTile.itsIsCutShort || theTile.itsTileParts == 0)
    {
        return true;
    }
    return theTile.itsExpectedParts > 0 ? !theTile.HasAllParts() : !itsTileParts->HasSeenEnd();
}

/// One more than the tile may use is enough to find that they are too many. Where nothing came, none matters.
void CodestreamReader::Implementation::SetProgressions(const CollectedTile& theTile, TileData& theData) const
{
    const std::vector<Progression>& aMain = itsHeader.itsCoding.itsProgressions;
    const std::vector<Progression>& aSource =
        theTile.itsCoding.itsProgressions.empty() ? aMain : theTile.itsCoding.itsProgressions;
    const std::uint64_t aMost = theTile.itsTileParts > 0 ? theData.GetMostVisits() + 1 : 0;
    const auto aCount = static_cast<std::ptrdiff_t>(std::min<std::uint64_t>(aSource.size(), aMost));
    theData.itsCoding.itsProgressions.assign(aSource.begin(), aSource.begin() + aCount);
}

CodestreamReader::CodestreamReader(kdu_compressed_source& theSource, Reports& theReports)
    : itsImplementation(std::make_unique<Implementation>(theSource, theReports))
{
}

CodestreamReader::~CodestreamReader() = default;

void CodestreamReader::ReadMainHeader()
{
    Implementation& anOwn = *itsImplementation;
    anOwn.itsHeader = j2k::ReadMainHeader(anOwn.itsMarkers, anOwn.itsReports);
    const ImageSize& anImage = anOwn.itsHeader.itsImage;
    anOwn.itsFewestLevels = FewestLevels(
        MergeCoding(anOwn.itsHeader.itsCoding, CodingSegments(), anImage.itsComponents.size(), nullptr),
        anImage.GetTileCount());
    anOwn.itsKept = anImage.FindTiles(anImage.itsImage);
    anOwn.itsIsTaken.assign(anImage.GetTileCount(), false);
    anOwn.itsTileParts.emplace(anOwn.itsMarkers, anOwn.itsHeader, anOwn.itsReports);
    anOwn.itsTileParts->ReadFirstStart();
}

const ImageSize& CodestreamReader::GetImageSize() const
{
    return itsImplementation->itsHeader.itsImage;
}

void CodestreamReader::ReadAll()
{
    while (itsImplementation->itsTileParts->GetNext() != nullptr)
    {
        itsImplementation->ReadTilePart();
    }
}

unsigned int CodestreamReader::GetFewestLevels() const
{
    return itsImplementation->itsFewestLevels.Get();
}

void CodestreamReader::KeepOnly(const Rect& theTiles)
{
    itsImplementation->itsKept = theTiles;
    for (auto& [aNumber, aTile] : itsImplementation->itsTiles)
    {
        itsImplementation->DropUnlessKept(aNumber, aTile);
    }
}

std::unique_ptr<TileData> CodestreamReader::TakeTile(std::uint32_t theTile)
{
    Implementation& anOwn = *itsImplementation;
    if (anOwn.itsIsTaken.at(theTile))
    {
        anOwn.itsReports.Error("Tile " + std::to_string(theTile) + " was opened before");
    }
    while (anOwn.itsTileParts->GetNext() != nullptr && !anOwn.IsComplete(theTile))
    {
        anOwn.ReadTilePart();
    }
    CollectedTile& aTile = anOwn.itsTiles[theTile];
    if (aTile.itsIsDropped)
    {
        anOwn.itsReports.Error("Tile " + std::to_string(theTile) + " was outside of the region when it came");
    }
    auto aResult = std::make_unique<TileData>();
    aResult->itsIndex = theTile;
    aResult->itsTruncated = anOwn.IsTruncated(aTile);
    if (aResult->itsTruncated)
    {
        aResult->itsMissingShare = aTile.GetMissingShare();
        anOwn.itsReports.NonConformance("Tile " + std::to_string(theTile) + " is not complete",
                                        anOwn.itsBytes.GetOffset());
    }
    aResult->itsCoding = MergeCoding(anOwn.itsHeader.itsCoding, aTile.itsCoding,
                                     anOwn.itsHeader.itsImage.itsComponents.size(), &anOwn.itsReports);
    if (!anOwn.itsHeader.itsHighThroughput.Allows(aResult->itsCoding))
    {
        anOwn.itsReports.NonConformance("Tile " + std::to_string(theTile) +
                                            " has code-blocks of a kind that CAP does not announce",
                                        anOwn.itsBytes.GetOffset());
    }
    aResult->itsBody = std::move(aTile.itsBody);
    for (const BodyChunk& aChunk : aResult->itsBody)
    {
        aResult->itsBodyBytes += aChunk.itsBytes.size();
    }
    aResult->itsHasPackedHeaders = aTile.itsHasPackedHeaders;
    aResult->itsPackedHeaders = std::move(aTile.itsPackedHeaders);
    anOwn.SetProgressions(aTile, *aResult);
    anOwn.itsIsTaken[theTile] = true;
    anOwn.itsTiles.erase(theTile);
    return aResult;
}

} // namespace j2k
