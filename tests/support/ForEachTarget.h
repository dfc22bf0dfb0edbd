// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include <gtest/gtest.h>
#include <hwy/highway.h>

/// Runs theTest once on each instruction set that this machine can run, the plain loops included.
inline void ForEachTarget(const std::function<void()>& theTest)
{
    std::vector<std::int64_t> aTargets = hwy::SupportedAndGeneratedTargets();
    aTargets.push_back(HWY_SCALAR);
    for (const std::int64_t aTarget : aTargets)
    {
        SCOPED_TRACE(hwy::TargetName(aTarget));
        hwy::SetSupportedTargetsForTest(aTarget);
        hwy::GetChosenTarget().Update(aTarget);
        theTest();
    }
    hwy::SetSupportedTargetsForTest(0);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}
