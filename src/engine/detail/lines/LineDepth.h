// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace j2k
{
class Subband;

/// Reversible samples of more bits do not fit 32-bit lines: the component transform adds one bit to them, the
/// transform's HH coefficients two more, and there is a sign.
constexpr unsigned int kDeepestLines = 28;

/// Reports an error when theLL is the lowest subband of a component that is too deep. Reversible only.
void CheckLineDepth(const Subband& theLL);

} // namespace j2k
