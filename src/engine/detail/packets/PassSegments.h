// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "engine/detail/markers/TileCoding.h"

namespace j2k
{

/// How a code-block's coding passes fall into codeword segments (T.800 D.4.2, D.6, table D.9). Passes count
/// from 0, which is the clean-up pass of the first bit-plane.
class PassSegments
{
public:
    static constexpr std::uint32_t kUnlimited = 0xFFFFFFFFU;

    explicit PassSegments(std::uint8_t theStyle)
        : itsBypass((theStyle & CBS_BYPASS) != 0), itsTerminateAll((theStyle & CBS_TERMINATE_ALL) != 0)
    {
    }

    /// Passes from thePass to the end of the segment that it belongs to, itself included.
    std::uint32_t GetPassesToEnd(std::uint32_t thePass) const
    {
        if (itsTerminateAll)
        {
            return 1;
        }
        if (!itsBypass)
        {
            return kUnlimited;
        }
        return thePass < kFirstRawPass ? kFirstRawPass - thePass : (IsFirstRaw(thePass) ? 2 : 1);
    }

    /// Whether thePass begins a segment.
    bool IsStart(std::uint32_t thePass) const
    {
        if (itsTerminateAll || thePass == 0)
        {
            return true;
        }
        return itsBypass && thePass >= kFirstRawPass && (thePass - kFirstRawPass) % 3 != 1;
    }

private:
    /// Four bit-planes are arithmetically coded: a clean-up pass and three times three passes.
    static constexpr std::uint32_t kFirstRawPass = 10;

    /// From then on the raw significance and refinement passes are one segment, the clean-up pass the next.
    static bool IsFirstRaw(std::uint32_t thePass) { return (thePass - kFirstRawPass) % 3 == 0; }

    bool itsBypass;
    bool itsTerminateAll;
};

} // namespace j2k
