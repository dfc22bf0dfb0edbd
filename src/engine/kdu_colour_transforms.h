// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// The inverse component transforms (T.800 Annex G), in place over theWidth samples of three lines. Lines
/// may not overlap. Thread-safe. Integers wrap where they do not fit.

#include "engine/kdu_types.h"
#include "toolkit/base/BaseTypes.h"

/// RCT over integers: the lines hold Y, Cb (U), Cr (V) and become R, G, B.
/// @{
QUORIX_API void kdu_convert_ycc_to_rgb_rev16(kdu_sample16* theFirst, kdu_sample16* theSecond,
                                             kdu_sample16* theThird, int theWidth);
QUORIX_API void kdu_convert_ycc_to_rgb_rev32(kdu_sample32* theFirst, kdu_sample32* theSecond,
                                             kdu_sample32* theThird, int theWidth);
/// @}

/// ICT over fixed-point samples with KDU_FIXED_POINT fractional bits; results are rounded and saturate.
QUORIX_API void kdu_convert_ycc_to_rgb_irrev16(kdu_sample16* theFirst, kdu_sample16* theSecond,
                                               kdu_sample16* theThird, int theWidth);

/// ICT over floats.
QUORIX_API void kdu_convert_ycc_to_rgb_irrev32(kdu_sample32* theFirst, kdu_sample32* theSecond,
                                               kdu_sample32* theThird, int theWidth);
