// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <vector>

/// Samples on a part of a grid. x0 and y0 may be any coordinates, the extent may be empty.
struct PlainPlane
{
    std::int64_t itsX0 = 0;
    std::int64_t itsY0 = 0;
    std::int64_t itsWidth = 0;
    std::int64_t itsHeight = 0;
    std::vector<double> itsSamples = {};

    /// theX and theY on the grid.
    double& At(std::int64_t theX, std::int64_t theY)
    {
        return itsSamples.at(static_cast<std::size_t>((theY - itsY0) * itsWidth + theX - itsX0));
    }
};

// The wavelet transforms as ISO/IEC 15444-1 Annex F writes them down, on whole planes in double precision, to
// hold real ones against. Integers are exact.

/// The four bands LL, HL, LH, HH of thePlane's extent, zero.
std::array<PlainPlane, 4> PlainBands(const PlainPlane& thePlane);

/// 2D_SR over one level: fills thePlane. 5/3 when theReversible, otherwise 9/7.
void PlainSynthesize(PlainPlane& thePlane, std::array<PlainPlane, 4> theBands, bool theReversible);

/// 2D_SD over one level, 5/3.
std::array<PlainPlane, 4> PlainAnalyze(PlainPlane thePlane);
