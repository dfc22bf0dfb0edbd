// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include <gtest/gtest.h>
#include <hwy/highway.h>

/// The instruction sets that this machine can run, the plain loops included.
inline std::vector<std::int64_t> ListTargets()
{
    std::vector<std::int64_t> aTargets = hwy::SupportedAndGeneratedTargets();
    aTargets.push_back(HWY_SCALAR);
    return aTargets;
}

/// Runs theTest on one of them.
inline void OnTarget(std::int64_t theTarget, const std::function<void()>& theTest)
{
    SCOPED_TRACE(hwy::TargetName(theTarget));
    hwy::SetSupportedTargetsForTest(theTarget);
    hwy::GetChosenTarget().Update(theTarget);
    theTest();
    hwy::SetSupportedTargetsForTest(0);
    hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

/// Runs theTest once on each of them.
inline void ForEachTarget(const std::function<void()>& theTest)
{
    for (const std::int64_t aTarget : ListTargets())
    {
        OnTarget(aTarget, theTest);
    }
}
