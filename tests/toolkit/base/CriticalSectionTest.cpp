// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/System.h"

#include <thread>

#include <gtest/gtest.h>

namespace
{
// Objects that lock call each other while they hold the lock: with a plain mutex this test would hang.
TEST(CriticalSection, IsRecursiveAndKeepsOthersOut)
{
    CriticalSection aSection;
    int aCounter = 0;
    const auto anIncrement = [&]
    {
        for (int aRound = 0; aRound < 20000; ++aRound)
        {
            const CriticalSectionWhileInScope anOuter(aSection);
            const CriticalSectionWhileInScope anInner(aSection);
            ++aCounter;
        }
    };
    std::thread anOther(anIncrement);
    anIncrement();
    anOther.join();
    EXPECT_EQ(aCounter, 40000);
}
} // namespace
