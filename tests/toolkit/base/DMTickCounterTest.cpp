// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/DMTickCounter.h"

#include <thread>

#include <gtest/gtest.h>

namespace
{
constexpr double kNap = 0.02;

void Nap()
{
    std::this_thread::sleep_for(std::chrono::duration<double>(kNap));
}

TEST(DMTickCounter, CountsSecondsAndLapsApart)
{
    DMTickCounter aCounter;
    Nap();
    const double aFirstLap = aCounter.Lap();
    Nap();
    const double aSecondLap = aCounter.Lap();
    const double aTotal = aCounter.Total();
    EXPECT_GE(aFirstLap, kNap);
    EXPECT_GE(aSecondLap, kNap);
    EXPECT_GE(aTotal, aFirstLap + aSecondLap) << "a lap disturbed the total, or was counted twice";
    EXPECT_LT(aTotal, 60.0) << "not seconds";
    aCounter.Reset();
    const double anAfter = aCounter.Lap();
    EXPECT_GE(anAfter, 0.0);
    EXPECT_LT(anAfter, aTotal);
}

} // namespace
