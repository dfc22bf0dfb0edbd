// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

/// Writes byte planes as pixels: byte i of plane p goes to theOutput[i * thePlaneCount + p].
///
/// thePlanes: thePlaneCount pointers to thePixelCount bytes each, none of them inside theOutput, which
/// takes thePlaneCount * thePixelCount bytes. Exactly these bytes are read and written.
void RLEInterleave(const std::uint8_t* const* thePlanes, std::size_t thePlaneCount, std::size_t thePixelCount,
                   std::uint8_t* theOutput);

/// Writes one byte plane only: theOutput[i * theStride] becomes thePlane[i].
void RLEScatter(const std::uint8_t* thePlane, std::size_t thePixelCount, std::size_t theStride,
                std::uint8_t* theOutput);
