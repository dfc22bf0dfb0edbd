// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "engine/detail/Reports.h"
#include "engine/detail/packets/Tile.h"

/// An image of one tile and what its tile-parts brought, without any codestream around: to be bent by a test
/// and opened.
class TileMaker
{
public:
    using Bytes = std::vector<std::uint8_t>;

    /// Components of 8 bits, no decomposition, one layer.
    explicit TileMaker(std::uint32_t theWidth = 16, std::uint32_t theHeight = 16,
                       std::size_t theComponents = 1)
    {
        itsImage.itsImage = {0, 0, theWidth, theHeight};
        itsImage.itsTileWidth = theWidth;
        itsImage.itsTileHeight = theHeight;
        itsImage.itsTilesAcross = 1;
        itsImage.itsTilesDown = 1;
        itsImage.itsComponents.assign(theComponents, {8, false, 1, 1});
        j2k::ComponentCoding aCoding;
        aCoding.itsPrecinctSizes.fill(0xFF);
        aCoding.itsGuardBits = 2;
        aCoding.itsSteps.fill(8 << 11);
        itsData.itsCoding.itsComponents.assign(theComponents, aCoding);
    }

    /// The same for all components.
    void ForAll(void (*theChange)(j2k::ComponentCoding&))
    {
        for (j2k::ComponentCoding& aCoding : itsData.itsCoding.itsComponents)
        {
            theChange(aCoding);
        }
    }

    void AddBody(Bytes theBytes, bool theStartsTilePart = false)
    {
        const std::uint64_t anOffset = kFirstOffset + itsData.itsBodyBytes;
        itsData.itsBodyBytes += theBytes.size();
        itsData.itsBody.push_back({std::move(theBytes), anOffset, theStartsTilePart});
    }

    /// As often as wanted.
    std::unique_ptr<j2k::Tile> Open()
    {
        return std::make_unique<j2k::Tile>(itsImage, std::make_unique<j2k::TileData>(itsData),
                                           itsRestrictions, itsReports);
    }

    static constexpr std::uint64_t kFirstOffset = 100; ///< of the body in the codestream

    j2k::ImageSize itsImage;
    j2k::TileData itsData;
    j2k::TileRestrictions itsRestrictions;
    j2k::Reports itsReports;
};
