// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

/// The inverse DCT of the IJG library's 12-bit build, which no other library offers: the accurate integer
/// method, to the bit, wrap-around of damaged coefficients included.
class JPEGTurboTransform
{
public:
    JPEGTurboTransform() = delete;

    /// Blocks that lie side by side, each of 64 quantised coefficients row by row, with the 64 steps of their
    /// quantisation. Writes eight rows of eight samples a block, of 0 … 4095, the rows theStride samples
    /// apart.
    static void Run(const std::int16_t* theCoefficients, std::size_t theBlocks, const std::uint16_t* theSteps,
                    std::uint16_t* theOutput, std::size_t theStride);
};
