// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

/// 8-bit Y, Cb, Cr pixels to RGB as the standard writes it down (PS3.3 C.7.6.3.1.2): one after the other, in
/// single precision, truncated and clamped.
inline std::vector<std::uint8_t> PlainYBRToRGB(const std::vector<std::uint8_t>& theYBR)
{
    const auto aClamp = [](float theValue)
    { return static_cast<std::uint8_t>(std::clamp(static_cast<int>(theValue), 0, 255)); };
    std::vector<std::uint8_t> anRGB;
    for (std::size_t i = 0; i + 2 < theYBR.size(); i += 3)
    {
        const auto aY = static_cast<float>(theYBR[i]);
        const auto aCb = static_cast<float>(theYBR[i + 1] - 128);
        const auto aCr = static_cast<float>(theYBR[i + 2] - 128);
        anRGB.push_back(aClamp(aY + 1.402F * aCr));
        anRGB.push_back(aClamp(aY - 0.344136F * aCb - 0.714136F * aCr));
        anRGB.push_back(aClamp(aY + 1.772F * aCb));
    }
    return anRGB;
}
