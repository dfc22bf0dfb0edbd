// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

/// Colour that comes plane by plane. Stateless and thread-safe.
struct PlanarSamples
{
    /// Writes the samples of three planes of equal size pixel by pixel. theSampleBytes: 1, 2 or 4. thePixels
    /// holds as many bytes as thePlanes and does not overlap them.
    static void Interleave(std::span<const std::uint8_t> thePlanes, std::size_t theSampleBytes,
                           std::uint8_t* thePixels);
};
