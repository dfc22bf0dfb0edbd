// SPDX-License-Identifier: Apache-2.0
#include "outputs/OutputNames.h"

#include <cstdio>

std::string OutputNames::FrameSuffix(int theFrame)
{
    char aText[16];
    std::snprintf(aText, sizeof(aText), "_f%04d", theFrame);
    return aText;
}
