// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// One component of an image as numbers, whatever its depth, on its own grid.
struct PlanarComponent
{
    std::uint32_t itsWidth = 0;
    std::uint32_t itsHeight = 0;
    int itsDepth = 8;
    bool itsSigned = false;
    std::uint32_t itsXRsiz = 1;
    std::uint32_t itsYRsiz = 1;
    std::vector<std::int32_t> itsSamples; ///< row by row

    std::int32_t GetLowest() const { return itsSigned ? -(1 << (itsDepth - 1)) : 0; }
    std::int32_t GetHighest() const { return itsSigned ? (1 << (itsDepth - 1)) - 1 : (1 << itsDepth) - 1; }
};

/// An image on the reference grid of T.800 Annex B.
struct PlanarImage
{
    std::uint32_t itsX0 = 0;
    std::uint32_t itsY0 = 0;
    std::uint32_t itsX1 = 0;
    std::uint32_t itsY1 = 0;
    std::vector<PlanarComponent> itsComponents;
};

/// The first thing that differs by more than theTolerance; empty when nothing does.
std::string DescribeDifference(const PlanarImage& theActual, const PlanarImage& theExpected,
                               std::int32_t theTolerance);
std::string DescribeDifference(const PlanarComponent& theActual, const PlanarComponent& theExpected,
                               std::int32_t theTolerance);
