// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

/// Rows of 12-bit colour out of the samples of three components, as the IJG library's 12-bit build makes
/// them, to the bit: chroma of half the width, or of half the width and height, is interpolated, and YCbCr
/// becomes RGB if wanted. One image; not thread-safe.
class JPEGTurboColour
{
public:
    struct Plane
    {
        std::size_t itsBlocks = 0;  ///< in a row of blocks
        std::size_t itsWidth = 0;   ///< samples, without what fills up blocks
        std::size_t itsHeight = 0;  ///< likewise
        bool itsIsHalfWide = false; ///< as the image is
        bool itsIsHalfHigh = false; ///< only if half wide, too
        /// Writes the samples of a row of blocks, 0 … 4095, eight rows that are itsBlocks * 8 apart.
        std::function<void(std::size_t theBlockRow, std::uint16_t* theOutput)> itsTransform;
    };
    using Planes = std::array<Plane, 3>;

    /// theWidth: pixels of a row. isConverted: from YCbCr to RGB.
    JPEGTurboColour(Planes thePlanes, std::size_t theWidth, bool isConverted);

    /// Writes a row of interleaved pixels. Rows come one after the other, from 0 on.
    void MakeRow(std::size_t theRow, std::uint16_t* theOutput);

private:
    /// Of a component, as much as two rows next to each other are made of.
    struct Window
    {
        std::vector<std::uint16_t> itsSamples; ///< two rows of blocks
        std::size_t itsBlockRows = 0;          ///< transformed so far
        std::vector<std::uint16_t> itsSums;    ///< of samples above each other, and one on either side
        std::vector<std::uint16_t> itsWide;    ///< a row of twice the samples
    };

    const std::uint16_t* GetSamples(std::size_t theComponent, std::size_t theRow);
    const std::uint16_t* GetWide(std::size_t theComponent, std::size_t theRow);

    const Planes itsPlanes;
    const std::size_t itsWidth;
    const bool itsIsConverted;
    std::array<Window, 3> itsWindows;
};
