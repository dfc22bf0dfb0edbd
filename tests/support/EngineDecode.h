// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "engine/kdu_types.h"
#include "support/PlanarImage.h"

enum class EngineMode
{
    Fast,
    Resilient,
    Fussy
};
constexpr EngineMode kEngineModes[] = {EngineMode::Fast, EngineMode::Resilient, EngineMode::Fussy};

struct EngineOptions
{
    EngineMode itsMode = EngineMode::Fast;
    int itsDiscardLevels = 0;
    int itsMaxLayers = 0;
    std::optional<kdu_dims> itsRegion = std::nullopt;
    int itsLargestRead = 1 << 20; ///< bytes the source delivers at once
    bool itsTakesShorts = true;   ///< 16-bit lines where they are exact
    /// After the first tile has been opened, more samples than these, all components together, are an error.
    std::uint64_t itsMostSamples = std::uint64_t{1} << 28;
};

/// Decodes a codestream through the engine's own interface: any number of components, any subsampling.
/// Numbers are rounded and clamped to the component's range. Throws what the engine reports as an
/// EngineReport.
PlanarImage EngineDecode(const std::vector<std::uint8_t>& theStream, const EngineOptions& theOptions = {});
