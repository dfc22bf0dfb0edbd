// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <thread>
#include <vector>

/// Does theWork in four threads at once; each is told its number.
inline void RunSideBySide(const std::function<void(int theThread)>& theWork)
{
    std::vector<std::jthread> aThreads; // joined with the end
    for (int i = 0; i < 4; ++i)
    {
        aThreads.emplace_back(theWork, i);
    }
}
