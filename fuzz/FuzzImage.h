// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <memory>

#include "FuzzInput.h"
#include "image/Renderable.h"

/// An image of any description over pixels that repeat thePixels. Mostly its buffer has the size that the
/// description asks for, sometimes a little more or less.
inline std::unique_ptr<Renderable> MakeFuzzImage(FuzzInput& theInput, const Bytes& thePixels,
                                                 MemoryAllocater& theAllocator)
{
    auto anImage = std::make_unique<Renderable>(theAllocator);
    anImage->setPhotometricInterpretation(
        static_cast<Renderable::PhotometricInterpretation>(theInput.TakeNumber(0, 10)));
    anImage->setSamplesPerPixel(theInput.TakeOne({3, 1, 3, 1, 2, 4}));
    anImage->setBitsAllocated(static_cast<std::int16_t>(theInput.TakeOne({8, 16, 8, 16, 1, 32, 12})));
    anImage->setBitsStored(static_cast<std::int16_t>(theInput.TakeNumber(0, 17)));
    anImage->setHighBit(static_cast<std::int16_t>(theInput.TakeNumber(-1, 16)));
    anImage->setRows(theInput.TakeNumber(0, 70));
    anImage->setColumns(theInput.TakeNumber(0, 70));
    anImage->setPlanarConfiguration(theInput.TakeFlag());
    anImage->setSigned(theInput.TakeFlag());
    anImage->setPixelDataLittleEndian(theInput.TakeFlag());
    anImage->setCompressionRatio(theInput.TakeNumber(0, 255) * 100000);
    anImage->setScaleFactor(1);
    const auto aSlack = static_cast<std::int64_t>(theInput.TakeOne({0, 0, 0, 0, 1, -1, 64, -64}));
    const std::int64_t aSize = static_cast<std::int64_t>(anImage->getRequiredPixelDataBufferSize()) + aSlack;
    if (aSize > 0)
    {
        auto* const aBuffer =
            static_cast<std::uint8_t*>(theAllocator.Allocate(static_cast<std::uint64_t>(aSize)));
        for (std::size_t i = 0; i < static_cast<std::size_t>(aSize); ++i)
        {
            aBuffer[i] = thePixels.empty() ? static_cast<std::uint8_t>(i) : thePixels[i % thePixels.size()];
        }
        anImage->setPixelData(aBuffer, static_cast<std::uint64_t>(aSize));
    }
    return anImage;
}
