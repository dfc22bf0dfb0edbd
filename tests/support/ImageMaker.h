// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "image/Renderable.h"
#include "support/CountingAllocator.h"
#include "support/Words.h"

using Bytes = std::vector<std::uint8_t>;

/// What a test image looks like; the defaults are a 2 x 1 image of interleaved 8-bit RGB.
struct ImageSpec
{
    Renderable::PhotometricInterpretation itsInterpretation = Renderable::RGB;
    int itsSamples = 3;
    int itsBits = 8;
    int itsRows = 1;
    int itsColumns = 2;
    bool itsPlanar = false;
    bool itsSigned = false;
    bool itsLittleEndian = true;
    int itsBitsStored = 0; ///< 0: all of itsBits
    int itsHighBit = 0;    ///< 0: the highest of itsBits
};

/// An image on theAllocator whose buffer holds exactly thePixels.
inline std::unique_ptr<Renderable> MakeImage(CountingAllocator& theAllocator, const ImageSpec& theSpec,
                                             const Bytes& thePixels)
{
    auto anImage = std::make_unique<Renderable>(theAllocator);
    anImage->setPhotometricInterpretation(theSpec.itsInterpretation);
    anImage->setSamplesPerPixel(theSpec.itsSamples);
    anImage->setBitsAllocated(static_cast<std::int16_t>(theSpec.itsBits));
    const auto choose = [](int theValue, int theDefault)
    { return static_cast<std::int16_t>(theValue != 0 ? theValue : theDefault); };
    anImage->setBitsStored(choose(theSpec.itsBitsStored, theSpec.itsBits));
    anImage->setHighBit(choose(theSpec.itsHighBit, theSpec.itsBits - 1));
    anImage->setRows(theSpec.itsRows);
    anImage->setColumns(theSpec.itsColumns);
    anImage->setPlanarConfiguration(theSpec.itsPlanar);
    anImage->setSigned(theSpec.itsSigned);
    anImage->setPixelDataLittleEndian(theSpec.itsLittleEndian);
    anImage->setScaleFactor(1);
    void* const aBuffer = theAllocator.Allocate(thePixels.size());
    std::copy(thePixels.begin(), thePixels.end(), static_cast<std::uint8_t*>(aBuffer));
    anImage->setPixelData(aBuffer, thePixels.size());
    return anImage;
}

inline Bytes GetPixels(const Renderable& theImage)
{
    const auto* const aData = static_cast<const std::uint8_t*>(theImage.getPixelData());
    return aData == nullptr ? Bytes() : Bytes(aData, aData + theImage.getPixelDataSize());
}

/// An image's description in one line: interpretation, rows x columns x samples, bits allocated/stored/high,
/// what else holds of it, scale factor and compression ratio.
inline std::string Describe(const Renderable& theImage)
{
    std::ostringstream aText;
    aText << Renderable::photometricInterpretationTypeToString(theImage.getPhotometricInterpretation()) << " "
          << theImage.getRows() << " x " << theImage.getColumns() << " x " << theImage.getSamplesPerPixel()
          << ", " << theImage.getBitsAllocated() << "/" << theImage.getBitsStored() << "/"
          << theImage.getHighBit() << (theImage.isSigned() ? " signed" : "")
          << (theImage.isPlanarConfiguration() ? " planar" : "")
          << (theImage.isPixelDataLittleEndian() ? "" : " big-endian")
          << (theImage.isLossyImageCompression() ? " lossy" : "") << ", scale " << theImage.getScaleFactor()
          << ", ratio " << theImage.getCompressionRatio();
    return aText.str();
}
