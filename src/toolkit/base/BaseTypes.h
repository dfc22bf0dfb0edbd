// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// The words of every interface: what is exported, the string class, byte orders.

#include <bit>
#include <cstdint>
#include <string>

/// Marks what the shared library exports; everything else is hidden.
#if defined(__GNUC__)
#define QUORIX_API __attribute__((visibility("default")))
#else
#define QUORIX_API
#endif

/// The 8-bit string of all interfaces and messages. Bytes are kept as they are: text that comes from a
/// data set stays in the data set's own character set.
using RWCString = std::string;

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
