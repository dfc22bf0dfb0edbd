// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>

#include "engine/kdu_types.h"

// One sample of a decoded line as a DICOM sample of theBits bits. All four come to an unsigned code first;
// the signed one differs from it in the highest of its bits only: two's complement within theBits bits.

/// Integers centred on 0: 16-bit and 32-bit lines of the reversible path. 1 <= theBits <= 16.
struct IntegerFormula
{
    IntegerFormula(int theBits, bool isSigned)
        : itsHalf(1 << (theBits - 1)), itsFlip(static_cast<std::uint16_t>(isSigned ? itsHalf : 0))
    {
    }

    std::uint16_t GetCode(std::int32_t theValue) const
    {
        const std::int32_t aCode = std::clamp(theValue, -itsHalf, itsHalf - 1) + itsHalf;
        return static_cast<std::uint16_t>(aCode ^ itsFlip);
    }
    std::uint16_t GetCode(kdu_sample16 theSample) const { return GetCode(std::int32_t{theSample.ival}); }
    std::uint16_t GetCode(kdu_sample32 theSample) const { return GetCode(theSample.ival); }

    std::int32_t itsHalf; ///< the level that is added: the code of 0
    std::uint16_t itsFlip;
};

/// Fixed-point lines: -4096 to 4095 stand for -0.5 to 0.5. 1 <= theBits <= KDU_FIXED_POINT.
struct FixedPointFormula
{
    FixedPointFormula(int theBits, bool isSigned)
        : itsShift(KDU_FIXED_POINT - theBits), itsLow(-(1 << (KDU_FIXED_POINT - 1))),
          itsHigh((1 << (KDU_FIXED_POINT - 1)) - (1 << itsShift)),
          itsOffset(((1 << itsShift) + (1 << KDU_FIXED_POINT)) / 2),
          itsFlip(static_cast<std::uint16_t>(isSigned ? 1 << (theBits - 1) : 0))
    {
    }

    std::uint16_t GetCode(kdu_sample16 theSample) const
    {
        const std::int32_t aValue = std::clamp(std::int32_t{theSample.ival}, itsLow, itsHigh);
        return static_cast<std::uint16_t>(((aValue + itsOffset) >> itsShift) ^ itsFlip);
    }

    std::int32_t itsShift;
    std::int32_t itsLow;
    std::int32_t itsHigh;
    std::int32_t itsOffset; ///< half a step for rounding, and the level
    std::uint16_t itsFlip;
};

/// Float lines of the irreversible path, nominally in [-0.5, 0.5). What is no number becomes the lowest code.
/// 1 <= theBits <= 16. Every product and sum is rounded by itself, on every machine alike.
struct FloatFormula
{
    FloatFormula(int theBits, bool isSigned)
        : itsScale(static_cast<float>(1 << theBits)), itsHigh(0.5F - 1.0F / itsScale),
          itsOffset(0.5F * itsScale + 0.5F),
          itsFlip(static_cast<std::uint16_t>(isSigned ? 1 << (theBits - 1) : 0))
    {
    }

    std::uint16_t GetCode(kdu_sample32 theSample) const
    {
        const float aValue = theSample.fval > -0.5F ? std::min(theSample.fval, itsHigh) : -0.5F;
        const float aScaled = aValue * itsScale;
        // At least 0.5 and less than the scale: truncation rounds to the nearest code.
        return static_cast<std::uint16_t>(static_cast<std::int32_t>(aScaled + itsOffset) ^ itsFlip);
    }

    float itsScale;
    float itsHigh;
    float itsOffset; ///< the level, and a half for rounding
    std::uint16_t itsFlip;
};
