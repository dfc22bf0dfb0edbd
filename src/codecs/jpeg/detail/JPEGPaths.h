// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "codecs/jpeg/detail/JPEGLibrary.h"

/// The one place that decides which decoder an image takes once its header has been read. Every image can
/// take the library's own loop; the others exist for speed and take only what they decode to the bit alike.
class JPEGPaths
{
public:
    enum class Way
    {
        LIBRARY,       ///< the IJG library's own loop
        TURBO,         ///< libjpeg-turbo, from the first byte of the image on
        LOSSLESS_SCAN, ///< the library's markers and tables, our own decoder for the entropy-coded data
    };

    /// theRows: how many are wanted.
    static Way Choose(const JPEGFrameHeader& theHeader, JPEGPath thePath, std::uint32_t theRows);

private:
    static bool IsUsualDct(const JPEGFrameHeader& theHeader);
    static bool HasUsualColour(const JPEGFrameHeader& theHeader);
    static bool HasUsualSampling(const JPEGFrameHeader& theHeader);
    static bool IsUsualLossless(const JPEGFrameHeader& theHeader);
};
