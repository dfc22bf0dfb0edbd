// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/MemoryAllocater.h"

MemoryAllocater::~MemoryAllocater() = default;
