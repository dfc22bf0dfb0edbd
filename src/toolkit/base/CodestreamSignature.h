// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// The bytes that compressed images begin with, for everybody who tells them by their first bytes.

#include <algorithm>
#include <cstddef>
#include <string_view>

/// First bytes of compressed images, spelled once. All operations are stateless and thread-safe.
namespace CodestreamSignature
{
/// SOI, and the first byte of the marker that follows.
inline constexpr std::string_view kJPEG{"\xff\xd8\xff", 3};
/// SOC and SIZ.
inline constexpr std::string_view kJPEG2000{"\xff\x4f\xff\x51", 4};
/// The signature box of JP2 files: length, type and contents, four bytes each.
inline constexpr std::string_view kJP2{"\0\0\0\x0cjP  \r\n\x87\n", 12};

/// Bytes of a fragment that BeginsCodestream looks at.
inline constexpr std::size_t kFragmentStartLength = 8;

/// Whether theBytes, theCount of them, begin with theSignature.
inline bool Begins(const unsigned char* theBytes, std::size_t theCount, std::string_view theSignature)
{
    return theCount >= theSignature.size() &&
           std::equal(theSignature.begin(), theSignature.end(), theBytes,
                      [](char theLeft, unsigned char theRight)
                      { return static_cast<unsigned char>(theLeft) == theRight; });
}

/// Whether a compressed frame begins with theBytes, a fragment of pixel data. The first marker alone or the
/// head of the signature box is enough: fragments are told from each other here, not images from other files.
inline bool BeginsCodestream(const unsigned char* theBytes, std::size_t theCount)
{
    constexpr std::size_t kMarkerLength = 2;
    return Begins(theBytes, theCount, kJPEG.substr(0, kMarkerLength)) ||
           Begins(theBytes, theCount, kJPEG2000.substr(0, kMarkerLength)) ||
           Begins(theBytes, theCount, kJP2.substr(0, kFragmentStartLength));
}
} // namespace CodestreamSignature
