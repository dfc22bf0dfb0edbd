// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

/// A point or an extent on one of the codestream's grids. y comes first in the standard's tables, x here.
struct kdu_coords
{
    int x = 0;
    int y = 0;
};

/// A rectangle: its upper left corner and its extent, which may be empty.
struct kdu_dims
{
    kdu_coords pos;
    kdu_coords size;

    bool is_empty() const { return size.x <= 0 || size.y <= 0; }
};

/// One sample of a 16-bit line: an integer centred on 0, or fixed point with 13 fractional bits.
struct kdu_sample16
{
    std::int16_t ival;
};

/// One sample of a 32-bit line: an integer centred on 0, or a number nominally in [-0.5, 0.5).
union kdu_sample32
{
    float fval;
    std::int32_t ival;
};

/// Fractional bits of fixed-point lines.
constexpr int KDU_FIXED_POINT = 13;
