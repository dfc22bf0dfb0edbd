// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/TotalPixelMatrix.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <map>
#include <utility>

#include "decompressors/detail/Part10ImageAttributes.h"
#include "toolkit/dicom/DICOMDataObject.h"

namespace
{
/// A count of the data set; 0 where it tells none.
std::uint64_t ReadCount(const DICOMDataObject& theDataSet, DICOMTag theTag)
{
    std::int32_t aCount = 0;
    theDataSet.GetInteger(theTag, aCount);
    return static_cast<std::uint64_t>(std::max(aCount, 0));
}

/// A place that is counted from 1. False where theText has none, or one outside of any matrix.
bool ReadPlace(const RWCString& theText, std::uint64_t& thePlace)
{
    std::int32_t aPlace = 0;
    const char* const anEnd = theText.c_str() + theText.size();
    const auto aResult = std::from_chars(theText.c_str(), anEnd, aPlace);
    if (aResult.ec != std::errc() || aResult.ptr != anEnd || aPlace < 1)
    {
        return false;
    }
    thePlace = static_cast<std::uint64_t>(aPlace) - 1;
    return true;
}

std::uint64_t DivideUp(std::uint64_t theCount, std::uint64_t theDivisor)
{
    return (theCount + theDivisor - 1) / theDivisor;
}
} // namespace

std::optional<TotalPixelMatrix> TotalPixelMatrix::Read(const DICOMDataObject& theDataSet,
                                                       const Part10ImageAttributes& theImage)
{
    TotalPixelMatrix aMatrix;
    aMatrix.itsColumns = ReadCount(theDataSet, DICOMTags::TotalPixelMatrixColumns);
    aMatrix.itsRows = ReadCount(theDataSet, DICOMTags::TotalPixelMatrixRows);
    if (aMatrix.itsColumns == 0 || aMatrix.itsRows == 0 || theImage.itsColumns < 1 || theImage.itsRows < 1)
    {
        return std::nullopt;
    }
    aMatrix.itsTileColumns = static_cast<std::uint64_t>(theImage.itsColumns);
    aMatrix.itsTileRows = static_cast<std::uint64_t>(theImage.itsRows);
    aMatrix.itsFrames = static_cast<std::uint64_t>(theImage.itsNumberOfFrames);
    aMatrix.itsFirstFrame = ReadCount(theDataSet, DICOMTags::ConcatenationFrameOffsetNumber);
    RWCString aType;
    theDataSet.GetString(DICOMTags::DimensionOrganizationType, aType);
    aMatrix.itsIsFull = aType == "TILED_FULL";
    if (!aMatrix.itsIsFull)
    {
        aMatrix.ReadPositions(theDataSet);
        const bool isKnown = std::any_of(aMatrix.itsPositions.begin(), aMatrix.itsPositions.end(),
                                         [](const Position& thePosition) { return thePosition.itsIsKnown; });
        if (!isKnown && aType != "TILED_SPARSE")
        {
            return std::nullopt;
        }
    }
    return aMatrix;
}

void TotalPixelMatrix::ReadPositions(const DICOMDataObject& theDataSet)
{
    using namespace DICOMTags;
    theDataSet.ForEachSequenceItem(PerFrameFunctionalGroupsSequence,
                                   {{PlanePositionSlideSequence, ColumnPositionInTotalImagePixelMatrix},
                                    {PlanePositionSlideSequence, RowPositionInTotalImagePixelMatrix},
                                    {PlanePositionSlideSequence, ZOffsetInSlideCoordinateSystem},
                                    {OpticalPathIdentificationSequence, OpticalPathIdentifier},
                                    {SegmentIdentificationSequence, ReferencedSegmentNumber}},
                                   [this](const std::vector<RWCString>& theTexts)
                                   {
                                       Position aPosition;
                                       aPosition.itsIsKnown = ReadPlace(theTexts[0], aPosition.itsX) &&
                                                              ReadPlace(theTexts[1], aPosition.itsY);
                                       aPosition.itsZ = std::strtod(theTexts[2].c_str(), nullptr);
                                       aPosition.itsOpticalPath = theTexts[3];
                                       aPosition.itsSegment = theTexts[4];
                                       itsPositions.push_back(std::move(aPosition));
                                   });
    itsPositions.resize(std::min<std::size_t>(itsPositions.size(), itsFrames));
}

void TotalPixelMatrix::ForEachTile(int theFrame, const PixelRegion& theRegion,
                                   const Receiver& theReceiver) const
{
    if (itsIsFull)
    {
        PassInOrder(theFrame, theRegion, theReceiver);
        return;
    }
    const std::vector<Tile> aTiles = FindByPosition(theFrame, theRegion);
    std::for_each(aTiles.begin(), aTiles.end(), theReceiver);
}

int TotalPixelMatrix::FindLevels(int theFrame, const PixelRegion& theRegion, int theMost) const
{
    int aLevels = theMost;
    const auto isWhole = [&](std::uint64_t theStart, std::uint64_t theLength, std::uint64_t theEnd)
    {
        const std::uint64_t aMask = (std::uint64_t{1} << aLevels) - 1;
        return (theStart & aMask) == 0 && ((theLength & aMask) == 0 || theStart + theLength >= theEnd);
    };
    const auto aCheck = [&](const Tile& theTile)
    {
        const PixelRegion& aPlace = theTile.itsArea;
        while (!isWhole(aPlace.itsX, aPlace.itsWidth, itsColumns) ||
               !isWhole(aPlace.itsY, aPlace.itsHeight, itsRows))
        {
            --aLevels;
        }
    };
    if (itsIsFull)
    {
        aCheck({0, {0, 0, itsTileColumns, itsTileRows}}); // the others are multiples of its size away
    }
    else
    {
        ForEachTile(theFrame, theRegion, aCheck);
    }
    return aLevels;
}

/// From left to right, from top to bottom, one focal plane after the other, and then all that again for the
/// next optical path: so theFrame's are as many frames as fill the matrix.
void TotalPixelMatrix::PassInOrder(int theFrame, const PixelRegion& theRegion,
                                   const Receiver& theReceiver) const
{
    const std::uint64_t anAcross = DivideUp(itsColumns, itsTileColumns);
    const std::uint64_t aPlaneTiles = anAcross * DivideUp(itsRows, itsTileRows);
    const std::uint64_t aPlane =
        (itsFirstFrame + static_cast<std::uint64_t>(theFrame)) / aPlaneTiles * aPlaneTiles;
    const std::uint64_t aLeft = theRegion.itsX / itsTileColumns;
    const std::uint64_t aRight = DivideUp(theRegion.itsX + theRegion.itsWidth, itsTileColumns);
    const std::uint64_t aBottom = DivideUp(theRegion.itsY + theRegion.itsHeight, itsTileRows);
    for (std::uint64_t y = theRegion.itsY / itsTileRows; y < aBottom; ++y)
    {
        for (std::uint64_t x = aLeft; x < aRight; ++x)
        {
            const std::uint64_t aFrame = aPlane + y * anAcross + x;
            if (aFrame >= itsFirstFrame + itsFrames)
            {
                return;
            }
            if (aFrame >= itsFirstFrame)
            {
                theReceiver({static_cast<int>(aFrame - itsFirstFrame),
                             {x * itsTileColumns, y * itsTileRows, itsTileColumns, itsTileRows}});
            }
        }
    }
}

std::vector<TotalPixelMatrix::Tile> TotalPixelMatrix::FindByPosition(int theFrame,
                                                                     const PixelRegion& theRegion) const
{
    const auto aWanted = static_cast<std::size_t>(theFrame);
    if (aWanted >= itsPositions.size())
    {
        return {};
    }
    const Position& aModel = itsPositions[aWanted];
    std::map<std::pair<std::uint64_t, std::uint64_t>, int> aFrames;
    for (std::size_t i = 0; i < itsPositions.size(); ++i)
    {
        const Position& aPosition = itsPositions[i];
        const bool isTouched = aPosition.itsIsKnown && aPosition.itsX < theRegion.itsX + theRegion.itsWidth &&
                               aPosition.itsX + itsTileColumns > theRegion.itsX &&
                               aPosition.itsY < theRegion.itsY + theRegion.itsHeight &&
                               aPosition.itsY + itsTileRows > theRegion.itsY;
        if (isTouched && aPosition.itsOpticalPath == aModel.itsOpticalPath &&
            aPosition.itsSegment == aModel.itsSegment && aPosition.itsZ == aModel.itsZ)
        {
            aFrames[{aPosition.itsX, aPosition.itsY}] = static_cast<int>(i);
        }
    }
    std::vector<Tile> aTiles;
    aTiles.reserve(aFrames.size());
    for (const auto& [aPlace, aFrame] : aFrames)
    {
        aTiles.push_back({aFrame, {aPlace.first, aPlace.second, itsTileColumns, itsTileRows}});
    }
    std::sort(aTiles.begin(), aTiles.end(),
              [](const Tile& theLeft, const Tile& theRight) { return theLeft.itsFrame < theRight.itsFrame; });
    return aTiles;
}
