// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "support/PlanarImage.h"

/// OpenJPEG as the encoder of test images and as the independent decoder they are compared with. One thread.
namespace OpenJpeg
{
using Bytes = std::vector<std::uint8_t>;

/// One entry of a POC marker segment.
struct ProgressionChange
{
    std::string itsOrder = "LRCP";
    std::uint32_t itsFirstResolution = 0;
    std::uint32_t itsFirstComponent = 0;
    std::uint32_t itsEndLayer = 1;
    std::uint32_t itsEndResolution = 33;
    std::uint32_t itsEndComponent = 1;
};

struct Options
{
    bool itsIrreversible = false;
    bool itsComponentTransform = false;
    int itsResolutions = 6;
    int itsBlockWidth = 64;
    int itsBlockHeight = 64;
    int itsBlockStyle = 0; ///< bits of T.800 table A.19
    std::string itsOrder = "LRCP";
    std::vector<ProgressionChange> itsProgressionChanges; ///< for every tile
    /// Compression ratio of each layer, falling; 1 for everything there is.
    std::vector<float> itsRates{1};
    std::vector<std::pair<int, int>> itsPrecincts; ///< from the highest resolution down
    int itsTileWidth = 0;                          ///< 0: one tile
    int itsTileHeight = 0;
    int itsTileX = 0;
    int itsTileY = 0;
    bool itsSOP = false;
    bool itsEPH = false;
    bool itsPLT = false;
    bool itsTLM = false;
    int itsRoiComponent = -1;
    int itsRoiShift = 0;
    float itsStep = 1.0F / 256; ///< of OpenJPH alone: quantization step, as a share of the samples' range
};

/// Throws std::runtime_error with the library's complaint when it cannot encode that.
Bytes Encode(const PlanarImage& theImage, const Options& theOptions);

struct DecodeOptions
{
    unsigned int itsDiscardLevels = 0;
    unsigned int itsMaxLayers = 0; ///< 0 for all
};

/// A codestream. Nothing on an error. With levels discarded and the image off the origin, OpenJPEG's
/// components may have a column or a row more than T.800 B-15 gives them: those are cut off.
std::optional<PlanarImage> Decode(const Bytes& theStream, const DecodeOptions& theOptions = {});
} // namespace OpenJpeg
