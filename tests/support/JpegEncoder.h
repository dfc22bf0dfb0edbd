// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <utility>

#include "support/JpegFixtures.h"

/// Markers and contents of the segments before the frame header.
using JpegMarkers = std::vector<std::pair<int, std::vector<std::uint8_t>>>;

/// The encoders of the IJG library's builds for samples of 8, 12 and 16 bits; the last one is lossless only.
/// Precisions, process numbers and ends of images are as the build writes them.
std::vector<std::uint8_t> EncodeJpeg8(const JpegSpec& theSpec, const JpegMarkers& theMarkers,
                                      const std::vector<std::uint16_t>& theSamples);
std::vector<std::uint8_t> EncodeJpeg12(const JpegSpec& theSpec, const JpegMarkers& theMarkers,
                                       const std::vector<std::uint16_t>& theSamples);
std::vector<std::uint8_t> EncodeJpeg16(const JpegSpec& theSpec, const JpegMarkers& theMarkers,
                                       const std::vector<std::uint16_t>& theSamples);
