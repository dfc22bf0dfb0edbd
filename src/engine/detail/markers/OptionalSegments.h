// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include "engine/detail/Reports.h"
#include "engine/detail/markers/MarkerReader.h"

namespace j2k
{

/// Which of the two kinds of header a marker segment stands in.
enum class HeaderKind
{
    Main,
    TilePart
};

/// Judges a marker segment that decoding does without: TLM, PLM, PLT, CRG, COM, PRF, unknown ones, and ones
/// that do not belong into this header. A wrong length or a wrong place is a non-conformance; one that
/// announces coding that this engine does not decode is an error.
void CheckOptionalSegment(const MarkerSegment& theSegment, HeaderKind theHeader, std::size_t theComponents,
                          Reports& theReports);

} // namespace j2k
