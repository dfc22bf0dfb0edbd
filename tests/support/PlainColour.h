// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <vector>

// Colour arithmetic as the standard writes it down, one pixel after the other, to hold real conversions
// against. Samples are interleaved; words are little-endian.

/// 8-bit Y, Cb, Cr to RGB (PS3.3 C.7.6.3.1.2) in single precision, truncated and clamped.
std::vector<std::uint8_t> PlainYBRToRGB(const std::vector<std::uint8_t>& theYBR);

/// Y0 Y1 Cb Cr groups to Y, Cb, Cr pixels, 8 bits.
std::vector<std::uint8_t> PlainUnpack422(const std::vector<std::uint8_t>& theGroups);

/// The high byte of every 16-bit word.
std::vector<std::uint8_t> PlainHighBytes(const std::vector<std::uint8_t>& theWords);

/// One byte, 0 or 1, for each of the first theCount bits, lowest bit of a byte first.
std::vector<std::uint8_t> PlainUnpackBits(const std::vector<std::uint8_t>& theBytes, std::size_t theCount);

/// The 16-bit entries that discrete, linear and indirect segments (PS3.3 C.7.9.2) describe.
std::vector<std::uint8_t> PlainExpandSegments(const std::vector<std::uint8_t>& theSegments);

/// A lookup table of 16-bit entries as it stands in a little-endian data set.
struct PlainPalette
{
    std::vector<std::uint8_t> itsDescriptor;
    std::array<std::vector<std::uint8_t>, 3> itsChannels;

    /// The RGB words of unsigned indices of theIndexBytes (1 or 2) bytes each.
    std::vector<std::uint8_t> Apply(const std::vector<std::uint8_t>& theIndices, int theIndexBytes) const;
};
