// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// Coordinates and samples of JPEG 2000.

#include <cstdint>

/// A point or an extent on one of the codestream's grids. y comes first in the standard's tables, x here.
struct kdu_coords
{
    int x = 0; ///< columns, to the right
    int y = 0; ///< rows, downwards
};

/// A rectangle: its upper left corner and its extent, which may be empty.
struct kdu_dims
{
    kdu_coords pos;  ///< upper left corner
    kdu_coords size; ///< columns and rows

    /// Whether there is nothing inside.
    bool is_empty() const { return size.x <= 0 || size.y <= 0; }
};

/// One sample of a 16-bit line: an integer centred on 0, or fixed point with 13 fractional bits.
struct kdu_sample16
{
    std::int16_t ival; ///< either of them
};

/// One sample of a 32-bit line: an integer centred on 0, or a number nominally in [-0.5, 0.5).
union kdu_sample32
{
    float fval;        ///< of a line that is not absolute
    std::int32_t ival; ///< of an absolute line
};

/// Fractional bits of fixed-point lines.
constexpr int KDU_FIXED_POINT = 13;
