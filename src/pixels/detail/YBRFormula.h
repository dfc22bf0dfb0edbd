// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

/// The plain YBR_FULL formula (PS3.3 C.7.6.3.1.2, inverted), the measure of every faster form.
///
/// Single precision, evaluated from left to right without fused operations, truncated toward zero and
/// clamped. Sample is std::uint8_t (chroma centred on 128) or std::uint16_t (on 32768).
template <class Sample>
struct YBRFormula
{
    static constexpr std::int32_t kMaximum = std::numeric_limits<Sample>::max();
    static constexpr std::int32_t kCentre = (kMaximum + 1) / 2;

    static Sample Clamp(float theValue)
    {
        return static_cast<Sample>(std::clamp(static_cast<std::int32_t>(theValue), 0, kMaximum));
    }

    static void Convert(Sample theY, Sample theCb, Sample theCr, Sample* theRGB)
    {
        const float aY = static_cast<float>(theY);
        const float aCb = static_cast<float>(theCb - kCentre);
        const float aCr = static_cast<float>(theCr - kCentre);
        theRGB[0] = Clamp(aY + 1.402f * aCr);
        theRGB[1] = Clamp((aY - 0.344136f * aCb) - 0.714136f * aCr);
        theRGB[2] = Clamp(aY + 1.772f * aCb);
    }
};
