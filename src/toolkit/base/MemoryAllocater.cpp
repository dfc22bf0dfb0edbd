// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/MemoryAllocater.h"

MemoryAllocater::~MemoryAllocater() = default;

bool MemoryAllocater::IsMemoryZeroed() const
{
    return false;
}
