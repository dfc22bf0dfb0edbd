// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/detail/Reports.h"
#include "engine/detail/markers/CodingSegments.h"
#include "engine/detail/markers/ImageSize.h"
#include "engine/detail/markers/MarkerReader.h"
#include "engine/detail/markers/PackedHeaders.h"

namespace j2k
{

/// What the main header says.
struct MainHeader
{
    ImageSize itsImage;
    CodingSegments itsCoding;
    MainPackedHeaders itsPackedHeaders;
};

/// Reads a main header from SOC up to and including the first SOT marker. One that ends before, or lacks SIZ,
/// COD or QCD, is an error.
MainHeader ReadMainHeader(MarkerReader& theReader, Reports& theReports);

} // namespace j2k
