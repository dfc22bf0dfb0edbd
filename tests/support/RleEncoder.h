// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// DICOM RLE (PS3.5 Annex G) for tests and benchmarks: a plain encoder, and the parts to put frames, wrong
/// ones included, together by hand.
namespace RleEncoder
{
using Bytes = std::vector<std::uint8_t>;

/// PackBits of one byte plane. Runs do not cross rows of theRowLength bytes; 0 means one single row.
Bytes PackBits(const Bytes& thePlane, std::size_t theRowLength = 0);

/// The 64-byte header: the count, fifteen offsets, zeros where none is given.
Bytes Header(std::uint32_t theCount, const std::vector<std::uint32_t>& theOffsets);

/// Header and segments, each padded to even length with a zero.
Bytes Frame(const std::vector<Bytes>& theSegments);

/// A frame of little-endian, colour-by-pixel samples: one segment for each byte of a pixel.
Bytes Encode(const Bytes& thePixels, std::size_t theBytesPerSample, std::size_t theSamplesPerPixel,
             std::size_t theColumns);
} // namespace RleEncoder
