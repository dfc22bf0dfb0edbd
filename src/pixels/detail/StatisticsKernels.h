// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

/// The inner loop of the value range, in the best vector form that the running processor has.
class StatisticsKernels
{
public:
    StatisticsKernels() = delete;

    /// Lowers theMin and raises theMax to the samples at theData, which needs no alignment. Samples that
    /// equal *thePadding are left out; null leaves none out. Returns how many samples were looked at:
    /// whole vectors only, the rest is the caller's. Thread-safe.
    static std::size_t Scan(const std::uint8_t* theData, std::size_t theCount, const std::uint8_t* thePadding,
                            std::uint8_t& theMin, std::uint8_t& theMax);
    static std::size_t Scan(const std::uint8_t* theData, std::size_t theCount, const std::int8_t* thePadding,
                            std::int8_t& theMin, std::int8_t& theMax);
    static std::size_t Scan(const std::uint8_t* theData, std::size_t theCount,
                            const std::uint16_t* thePadding, std::uint16_t& theMin, std::uint16_t& theMax);
    static std::size_t Scan(const std::uint8_t* theData, std::size_t theCount, const std::int16_t* thePadding,
                            std::int16_t& theMin, std::int16_t& theMax);
};
