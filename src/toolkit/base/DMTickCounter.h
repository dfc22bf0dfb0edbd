// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "toolkit/base/Export.h"

/// A lap timer on the monotonic clock. Starts when constructed. Not thread-safe.
class QUORIX_API DMTickCounter
{
public:
    DMTickCounter();

    /// Back to zero: the next lap and the total count from now.
    void Reset();

    /// Seconds since the last lap (or since the start), and begins a new lap.
    double Lap();

    /// Seconds since the start; laps are not disturbed.
    double Total() const;

private:
    std::int64_t itsStart;
    std::int64_t itsLapStart;
};
