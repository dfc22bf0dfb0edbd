// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/SlideDecode.h"

#include <algorithm>
#include <string>
#include <utility>

#include "decoding/CodecTable.h"
#include "decoding/Decoder.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/detail/AbsentPixel.h"
#include "decompressors/detail/ImageDescription.h"
#include "decompressors/detail/Part10FrameLoader.h"
#include "decompressors/detail/Part10FrontEnd.h"
#include "decompressors/detail/RegionCut.h"
#include "image/Renderable.h"
#include "toolkit/base/Exceptions.h"

namespace
{
/// What both regions have; empty where that is nothing.
PixelRegion Intersect(const PixelRegion& theOne, const PixelRegion& theOther)
{
    const std::uint64_t aX = std::max(theOne.itsX, theOther.itsX);
    const std::uint64_t aY = std::max(theOne.itsY, theOther.itsY);
    const std::uint64_t aRight = std::min(theOne.itsX + theOne.itsWidth, theOther.itsX + theOther.itsWidth);
    const std::uint64_t aBottom =
        std::min(theOne.itsY + theOne.itsHeight, theOther.itsY + theOther.itsHeight);
    return {aX, aY, std::max(aRight, aX) - aX, std::max(aBottom, aY) - aY};
}
} // namespace

SlideDecode::SlideDecode(Part10FrontEnd& theFrontEnd, Part10FrameLoader& theLoader,
                         TotalPixelMatrix theMatrix)
    : itsFrontEnd(theFrontEnd), itsLoader(theLoader), itsMatrix(std::move(theMatrix)),
      itsRegion(theFrontEnd.GetRequest().getRegion().value_or(itsMatrix.GetArea())),
      itsFrame(std::max(theFrontEnd.GetRequest().getFrameIndex(), 0))
{
}

SlideDecode::~SlideDecode() = default;

std::unique_ptr<Renderable> SlideDecode::Run()
{
    Decoder::CheckRegion(itsRegion, itsMatrix.GetArea());
    constexpr int kMostLevels = 30;
    const int aWanted = CanReduce() ? itsFrontEnd.GetRequest().getScaleFactor() - 1 : 0;
    itsLevels = itsMatrix.FindLevels(itsFrame, itsRegion, std::clamp(aWanted, 0, kMostLevels));
    std::uint64_t aPixels = 0;
    itsMatrix.ForEachTile(itsFrame, itsRegion,
                          [&](const TotalPixelMatrix::Tile& theTile)
                          {
                              Place(theTile);
                              const PixelRegion aShown = Intersect(theTile.itsArea, itsRegion);
                              aPixels += aShown.itsWidth * aShown.itsHeight;
                          });
    if (itsImage == nullptr)
    {
        // What the pixels would have been like any other tile tells.
        Begin(*Load(itsFrame, {0, 0, 1, 1}));
    }
    WarnOfAbsent(aPixels);
    RegionCut::WriteDimensions(itsFrontEnd.GetDataSet(), itsTarget.itsHeight, itsTarget.itsWidth);
    itsImage->setTimeTakenToOpenStream(itsFrontEnd.GetTimeToOpen());
    itsImage->setTimeTakenToLoadHeader(itsFrontEnd.GetTimeToParse());
    itsImage->setTimeTakenToLoadPixelData(itsTimer.Lap() * 1000.0);
    return std::move(itsImage);
}

bool SlideDecode::CanReduce() const
{
    const CodecRow* const aRow = itsFrontEnd.GetCodec();
    return itsFrontEnd.GetPixelData()->GetPixelInputStream() == nullptr && aRow != nullptr &&
           aRow->itsCanReduce;
}

std::unique_ptr<Renderable> SlideDecode::Load(int theFrame, const PixelRegion& theRegion)
{
    itsLoader.Want(theRegion, itsLevels + 1);
    return itsLoader.Load(theFrame);
}

void SlideDecode::Place(const TotalPixelMatrix::Tile& theTile)
{
    // The pixels at full size that stand behind the region's halved ones, as far as the tile has them.
    const PixelRegion aHalved = itsRegion.Reduced(itsLevels);
    const PixelRegion aSource{aHalved.itsX << itsLevels, aHalved.itsY << itsLevels,
                              aHalved.itsWidth << itsLevels, aHalved.itsHeight << itsLevels};
    PixelRegion aPart = Intersect(theTile.itsArea, aSource);
    const std::uint64_t aX = aPart.itsX;
    const std::uint64_t aY = aPart.itsY;
    aPart.itsX -= theTile.itsArea.itsX;
    aPart.itsY -= theTile.itsArea.itsY;
    const std::unique_ptr<Renderable> aTile = Load(theTile.itsFrame, aPart);
    if (itsImage == nullptr)
    {
        Begin(*aTile);
    }
    const PixelRegion aDecoded = aPart.Reduced(itsLevels);
    CheckLike(*aTile, theTile.itsFrame);
    if (static_cast<std::uint64_t>(aTile->getColumns()) != aDecoded.itsWidth ||
        static_cast<std::uint64_t>(aTile->getRows()) != aDecoded.itsHeight)
    {
        throw StreamIOException("frame " + std::to_string(theTile.itsFrame) +
                                    " of the slide has another size than the data set says",
                                DLRC_DECODER_ERROR, 0);
    }
    Copy(*aTile, aX >> itsLevels, aY >> itsLevels);
}

/// The first tile tells what an image this is, and how often its codec can halve it.
void SlideDecode::Begin(const Renderable& theTile)
{
    itsLevels = CanReduce() ? theTile.getScaleFactor() - 1 : 0;
    itsTarget = itsRegion.Reduced(itsLevels);
    ImageDescription aDescription;
    aDescription.itsInterpretation = theTile.getPhotometricInterpretation();
    aDescription.itsRows = static_cast<std::int32_t>(itsTarget.itsHeight);
    aDescription.itsColumns = static_cast<std::int32_t>(itsTarget.itsWidth);
    aDescription.itsSamplesPerPixel = theTile.getSamplesPerPixel();
    aDescription.itsBitsAllocated = theTile.getBitsAllocated();
    aDescription.itsBitsStored = theTile.getBitsStored();
    aDescription.itsHighBit = theTile.getHighBit();
    aDescription.itsIsSigned = theTile.isSigned();
    aDescription.itsIsLossy = theTile.isLossyImageCompression();
    aDescription.itsScaleFactor = theTile.getScaleFactor();
    aDescription.itsCompressionRatio = theTile.getCompressionRatio();
    aDescription.itsIsLittleEndian = theTile.isPixelDataLittleEndian();
    Part10ImageAttributes aSize = itsFrontEnd.GetAttributes();
    aSize.itsRows = aDescription.itsRows;
    aSize.itsColumns = aDescription.itsColumns;
    aSize.itsSamplesPerPixel = aDescription.itsSamplesPerPixel;
    aSize.itsBitsAllocated = aDescription.itsBitsAllocated;
    const std::uint64_t aBytes = aSize.GetFrameSize(Renderable::RGB);
    itsImage = std::make_unique<Renderable>(itsFrontEnd.GetMemoryAllocator());
    itsImage->setPixelData(itsFrontEnd.GetMemoryAllocator().Allocate(aBytes), aBytes);
    aDescription.WriteTo(*itsImage);
    itsImage->setRescale(theTile.getRescale());
    AbsentPixel(itsFrontEnd.GetDataSet()).FillImage(*itsImage);
}

/// Grey samples of one tile may use more bits than those of another; all else is the same of all.
void SlideDecode::CheckLike(const Renderable& theTile, int theFrame)
{
    if (theTile.getSamplesPerPixel() != itsImage->getSamplesPerPixel() ||
        theTile.getBitsAllocated() != itsImage->getBitsAllocated() ||
        theTile.getPhotometricInterpretation() != itsImage->getPhotometricInterpretation() ||
        theTile.isSigned() != itsImage->isSigned() || theTile.isPlanarConfiguration() ||
        theTile.isPixelDataLittleEndian() != itsImage->isPixelDataLittleEndian() ||
        theTile.getScaleFactor() != itsImage->getScaleFactor())
    {
        throw StreamIOException("frame " + std::to_string(theFrame) +
                                    " of the slide has samples of another kind than those before it",
                                DLRC_DECODER_ERROR, 0);
    }
    itsImage->setBitsStored(std::max(itsImage->getBitsStored(), theTile.getBitsStored()));
    itsImage->setHighBit(std::max(itsImage->getHighBit(), theTile.getHighBit()));
    itsImage->setLossyImageCompression(itsImage->isLossyImageCompression() ||
                                       theTile.isLossyImageCompression());
    if (theTile.getRescale() != itsImage->getRescale())
    {
        itsImage->setRescale({});
    }
}

/// theTile's first pixel stands at theX, theY of the halved matrix.
void SlideDecode::Copy(const Renderable& theTile, std::uint64_t theX, std::uint64_t theY)
{
    const auto aColumns = static_cast<std::uint64_t>(theTile.getColumns());
    const PixelRegion aShown =
        Intersect({theX, theY, aColumns, static_cast<std::uint64_t>(theTile.getRows())}, itsTarget);
    const auto aBits = static_cast<std::uint64_t>(theTile.getBitsAllocated()) *
                       static_cast<std::uint64_t>(theTile.getSamplesPerPixel());
    const auto* const aSource = static_cast<const std::uint8_t*>(theTile.getPixelData());
    auto* const aTarget = static_cast<std::uint8_t*>(itsImage->getPixelData());
    for (std::uint64_t aRow = aShown.itsY; aRow < aShown.itsY + aShown.itsHeight; ++aRow)
    {
        const std::uint64_t aFrom = ((aRow - theY) * aColumns + aShown.itsX - theX) * aBits;
        const std::uint64_t aTo =
            ((aRow - itsTarget.itsY) * itsTarget.itsWidth + aShown.itsX - itsTarget.itsX) * aBits;
        RegionCut::CopyBits(aTarget, aTo, aSource, aFrom, aShown.itsWidth * aBits);
    }
}

/// thePixels: of the region, at full size, that tiles show.
void SlideDecode::WarnOfAbsent(std::uint64_t thePixels)
{
    const std::uint64_t anAll = itsRegion.itsWidth * itsRegion.itsHeight;
    if (thePixels >= anAll)
    {
        return;
    }
    const std::uint64_t aShare = (anAll - thePixels) * 100 / anAll;
    itsFrontEnd.GetReadingContext().SetFrame(itsFrame);
    itsFrontEnd.GetReadingContext().Warn(WarningIdentifier::kAbsent,
                                         (aShare == 0 ? "less than 1" : std::to_string(aShare)) +
                                             " % of the region have no tile and are filled");
}
