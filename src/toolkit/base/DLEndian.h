// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <bit>
#include <cstdint>

/// Byte orders. The numbers are visible to callers: 1 is little-endian.
class DLEndian
{
public:
    /// The order of the bytes of a word.
    enum Endian : std::int32_t
    {
        BIG_ENDIAN_ORDER = 0,
        LITTLE_ENDIAN_ORDER = 1
    };

    /// The byte order of this machine.
    static constexpr Endian NativeEndian()
    {
        return std::endian::native == std::endian::little ? LITTLE_ENDIAN_ORDER : BIG_ENDIAN_ORDER;
    }
};
