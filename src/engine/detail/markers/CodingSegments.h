// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "engine/detail/markers/TileCoding.h"

namespace j2k
{

/// The part of COD and COC that concerns single components (T.800 table A.20).
struct CodingStyle
{
    std::uint8_t itsLevels = 0;
    std::uint8_t itsLog2BlockWidth = 6;
    std::uint8_t itsLog2BlockHeight = 6;
    std::uint8_t itsBlockStyle = 0;
    bool itsReversible = true;
    std::array<std::uint8_t, kMaxLevels + 1> itsPrecinctSizes{};
};

/// The part of COD that concerns all components (T.800 table A.14).
struct ProgressionStyle
{
    ProgressionOrder itsOrder = ProgressionOrder::LRCP;
    std::uint16_t itsLayers = 1;
    bool itsComponentTransform = false;
    bool itsMayHaveSOP = false;
    bool itsHasEPH = false;
};

/// QCD or QCC.
struct Quantization
{
    std::uint64_t itsOffset = 0; ///< of the marker
    QuantizationStyle itsStyle = QuantizationStyle::None;
    std::uint8_t itsGuardBits = 0;
    /// As ComponentCoding has them; not more than kMaxSubbands.
    std::vector<std::uint16_t> itsSteps;
};

/// What the coding marker segments of one header said, main or tile. Memory grows with those segments, not
/// with the number of components.
struct CodingSegments
{
    std::optional<ProgressionStyle> itsProgressionStyle; ///< COD
    std::optional<CodingStyle> itsStyle;                 ///< COD
    std::map<std::uint16_t, CodingStyle> itsComponentStyles;
    std::optional<Quantization> itsQuantization;
    std::map<std::uint16_t, Quantization> itsComponentQuantizations;
    std::map<std::uint16_t, std::uint8_t> itsRoiShifts;
    std::vector<Progression> itsProgressions;
};

} // namespace j2k
