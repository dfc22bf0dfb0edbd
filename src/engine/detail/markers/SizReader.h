// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/detail/Reports.h"
#include "engine/detail/markers/ImageSize.h"
#include "engine/detail/markers/MarkerReader.h"

namespace j2k
{

/// Reads and checks a SIZ marker segment (T.800 A.5.1). What cannot be decoded is an error.
ImageSize ReadSiz(const MarkerSegment& theSegment, Reports& theReports);

} // namespace j2k
