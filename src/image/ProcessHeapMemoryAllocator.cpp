// SPDX-License-Identifier: Apache-2.0
#include "image/ProcessHeapMemoryAllocator.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "toolkit/base/Exceptions.h"
#include "toolkit/base/System.h"

namespace
{
constinit NeverDestroyed<ProcessHeapMemoryAllocator> theDefaultInstance;
} // namespace

constinit ProcessHeapMemoryAllocator& ProcessHeapMemoryAllocator::itsDefaultInstance =
    theDefaultInstance.itsObject;

void* ProcessHeapMemoryAllocator::Allocate(std::uint64_t theSize)
{
    if (theSize > std::numeric_limits<std::size_t>::max())
    {
        throw BadAllocException(theSize);
    }
    // malloc may answer a request for 0 bytes with null, which is no failure here.
    void* const aBlock = std::malloc(std::max<std::size_t>(static_cast<std::size_t>(theSize), 1));
    if (aBlock == nullptr)
    {
        throw BadAllocException(theSize);
    }
    return aBlock;
}

void ProcessHeapMemoryAllocator::Free(void* theBlock)
{
    std::free(theBlock);
}
