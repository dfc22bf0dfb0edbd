// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstring>

#include "engine/detail/lines/LineMemory.h"
#include "engine/detail/lines/LineSource.h"

namespace j2k
{

/// Lines of zeros, in the place of subbands that no packet brought anything of. Costs one line.
template <class Sample>
class ZeroSource final : public LineSource<Sample>
{
public:
    ZeroSource(kdu_sample_allocator& theAllocator, std::uint32_t theWidth)
        : itsMemory(theAllocator, theWidth, 1)
    {
    }

    const Sample* Pull() override
    {
        if (!itsMemory.IsTaken())
        {
            itsMemory.Take();
            std::memset(itsMemory.GetLine(0), 0, itsMemory.GetBytes());
        }
        return itsMemory.GetLine(0);
    }

private:
    LineMemory<Sample> itsMemory;
};

} // namespace j2k
