// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
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
    bool Contains(std::uint32_t theX, std::uint32_t theY) const
    {
        return theX >= itsX0 && theX < itsX1 && theY >= itsY0 && theY < itsY1;
    }
    bool operator==(const Rect&) const = default;
    std::uint64_t GetArea() const { return std::uint64_t(GetWidth()) * GetHeight(); }

    /// The part inside theLimits; empty where there is none.
    Rect CutTo(const Rect& theLimits) const
    {
        return {std::clamp(itsX0, theLimits.itsX0, theLimits.itsX1),
                std::clamp(itsY0, theLimits.itsY0, theLimits.itsY1),
                std::clamp(itsX1, theLimits.itsX0, theLimits.itsX1),
                std::clamp(itsY1, theLimits.itsY0, theLimits.itsY1)};
    }

    /// On the grid that theLevels decompositions leave (T.800 B-14).
    Rect Reduce(unsigned int theLevels) const
    {
        return {static_cast<std::uint32_t>(CeilDivPow2(itsX0, theLevels)),
                static_cast<std::uint32_t>(CeilDivPow2(itsY0, theLevels)),
                static_cast<std::uint32_t>(CeilDivPow2(itsX1, theLevels)),
                static_cast<std::uint32_t>(CeilDivPow2(itsY1, theLevels))};
    }

    /// theMargin more on each side.
    Rect Grow(std::uint32_t theMargin) const
    {
        return {itsX0 - std::min(itsX0, theMargin), itsY0 - std::min(itsY0, theMargin), itsX1 + theMargin,
                itsY1 + theMargin};
    }
};

} // namespace j2k
