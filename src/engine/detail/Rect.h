// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

namespace j2k
{

/// Ceiling and floor of divisions by positive numbers, as ISO/IEC 15444-1 uses them throughout.
constexpr std::uint64_t CeilDiv(std::uint64_t theValue, std::uint64_t theDivisor)
{
    return (theValue + theDivisor - 1) / theDivisor;
}

constexpr std::uint64_t CeilDivPow2(std::uint64_t theValue, unsigned int theShift)
{
    return (theValue + (std::uint64_t(1) << theShift) - 1) >> theShift;
}

/// A rectangle that includes its upper left corner and excludes its lower right one.
struct Rect
{
    std::uint32_t itsX0 = 0;
    std::uint32_t itsY0 = 0;
    std::uint32_t itsX1 = 0;
    std::uint32_t itsY1 = 0;

    std::uint32_t GetWidth() const { return itsX1 > itsX0 ? itsX1 - itsX0 : 0; }
    std::uint32_t GetHeight() const { return itsY1 > itsY0 ? itsY1 - itsY0 : 0; }
    bool IsEmpty() const { return itsX1 <= itsX0 || itsY1 <= itsY0; }
    bool operator==(const Rect&) const = default;
    std::uint64_t GetArea() const { return std::uint64_t(GetWidth()) * GetHeight(); }
};

} // namespace j2k
