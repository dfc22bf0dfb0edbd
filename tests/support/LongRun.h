// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdlib>
#include <string_view>

/// How often a seeded test repeats itself: theUsual, and ten times that in a long run (scripts/test --long).
inline int Rounds(int theUsual)
{
    const char* const aSetting = std::getenv("QUORIX_TEST_LONG");
    return aSetting != nullptr && std::string_view(aSetting) == "1" ? theUsual * 10 : theUsual;
}
