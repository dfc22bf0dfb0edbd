// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

/// Small JPEG 2000 codestreams that an independent encoder (OpenJPEG 2.5.0) made of images that are known by
/// formula.
namespace Jpeg2000Streams
{
using Bytes = std::vector<std::uint8_t>;

/// One behind the other.
Bytes Join(std::initializer_list<Bytes> theParts);

/// Two digits a byte.
Bytes FromHex(const std::string& theText);

/// One component, signed, 12 bits, 13 x 11, three levels of the 5/3 transform, four tiles of 8 x 8 with the
/// image at (3, 1).
Bytes Grey12();
constexpr int kGreyWidth = 13;
constexpr int kGreyHeight = 11;
int GreyValue(int theX, int theY);

/// The same image in one tile at the origin, with high-throughput code-blocks; by OpenJPH 0.9.0.
Bytes HighThroughput();

/// 4 x 4 samples of 8 bits that are a single high-throughput code-block; likewise.
Bytes HighThroughputBlock();

/// The words of the grey image, as theCode makes them of the values, low byte first.
Bytes GreyWords(const std::function<int(int)>& theCode);

/// Three components of 8 bits, 11 x 9, 5/3: with the component transform, and without.
Bytes Colour();
Bytes PlainColour();
constexpr int kColourWidth = 11;
constexpr int kColourHeight = 9;
Bytes ColourPixels();

/// One component of 8 bits, 4 x 4: its samples count from 0.
Bytes Indices();

/// Two components of 8 bits, 4 x 4.
Bytes Pair();

/// Three components of 12 bits, 4 x 4.
Bytes DeepColour();

/// Three components of 8 bits, 16 x 16, 9/7 with the component transform, at a high rate.
Bytes Lossy();
constexpr int kLossySize = 16;
int LossyValue(int theComponent, int theX, int theY);

/// The bytes at thePosition replaced, without a change of length.
Bytes Patch(Bytes theStream, std::size_t thePosition, const Bytes& theBytes);

// Positions in the SIZ marker segment of all these streams.
constexpr std::size_t kCapabilities = 6;
constexpr std::size_t kDepthOfComponent0 = 42; ///< Ssiz, then XRsiz and YRsiz; 3 bytes a component

/// A box of a JP2 file.
Bytes Box(const char* theType, const Bytes& theContents);

/// The box that says grey (17) or another enumerated colour space.
Bytes ColourBox(std::uint8_t theSpace = 17);

/// A JP2 file around a codestream, with the boxes there must be. theBoxes: those behind the image header.
Bytes MakeJp2(const Bytes& theStream, const Bytes& theBoxes = ColourBox());
} // namespace Jpeg2000Streams
