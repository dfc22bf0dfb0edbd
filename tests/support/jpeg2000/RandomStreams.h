// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <random>

#include "support/PlanarImage.h"
#include "support/jpeg2000/OpenJpeg.h"

/// Seeded choices, the same on every machine.
class Dice
{
public:
    explicit Dice(std::uint32_t theSeed) : itsGenerator(theSeed) {}

    /// A number from theLowest to theHighest, both included.
    int Roll(int theLowest, int theHighest)
    {
        return theLowest +
               static_cast<int>(itsGenerator() % static_cast<std::uint32_t>(theHighest - theLowest + 1));
    }

    bool Chance(int thePercent) { return Roll(1, 100) <= thePercent; }

private:
    std::mt19937 itsGenerator;
};

/// An image and a way to encode it.
struct RandomStream
{
    PlanarImage itsImage;
    OpenJpeg::Options itsOptions;

    bool IsLossless() const;
};

/// A small image with any of the properties that an encoder offers.
RandomStream MakeRandomStream(Dice& theDice);

/// An image whose components all have the depth and the extent, drawn.
PlanarImage MakeImage(std::uint32_t theWidth, std::uint32_t theHeight, std::size_t theComponents,
                      int theDepth, bool theIsSigned, Dice& theDice);
