// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <ctime>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/EngineDecode.h"
#include "support/EngineReports.h"

/// Decodes a hostile stream. Anything but pixels or a report, a warning in a mode that takes
/// non-conformances, or more than some seconds of the processor's time fail the test. Returns whether there
/// were pixels.
inline bool Survives(const std::vector<std::uint8_t>& theStream, const EngineOptions& theOptions)
{
    // A sanitized program on a slow machine keeps this a hundred times over.
    constexpr double kMostSeconds = 10;
    const std::clock_t aStart = std::clock();
    const std::string aReport = ReportOf([&] { EngineDecode(theStream, theOptions); });
    EXPECT_TRUE(!aReport.starts_with("warning") || theOptions.itsMode == EngineMode::Fussy) << aReport;
    EXPECT_LT(static_cast<double>(std::clock() - aStart) / CLOCKS_PER_SEC, kMostSeconds);
    return aReport.empty();
}
