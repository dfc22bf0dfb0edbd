// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "engine/detail/Reports.h"
#include "engine/detail/markers/CodingSegments.h"
#include "engine/detail/markers/TileCoding.h"

namespace j2k
{

/// How a tile is coded, by the precedence of T.800 A.6: COC of the tile, COD of the tile, COC of the main
/// header, COD of the main header; likewise for quantization and regions of interest. Progressions
/// are left out.
///
/// theMain must have COD and QCD. Fewer step sizes than a component's levels need are an error of theReports;
/// where that is null they stay 0.
TileCoding MergeCoding(const CodingSegments& theMain, const CodingSegments& theTile,
                       std::size_t theComponents, Reports* theReports);

} // namespace j2k
