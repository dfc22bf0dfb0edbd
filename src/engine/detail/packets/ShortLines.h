// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

#include "engine/detail/packets/TileComponent.h"

namespace j2k
{

/// Proves that reversible samples stay within 16 bits, from bounds on their magnitudes. Once something may
/// leave 16 bits, the proof has failed for good.
///
/// A step of the 5/3 synthesis (T.800 F.3.8.1) over low-pass values up to L and high-pass values up to H:
/// - even results are L and a quarter of two neighbours, L + (2H + 2) / 4 at most;
/// - odd results, the rounding left aside, are low-pass values with weights that add up to 1 and high-pass
///   values with weights 3/4, -1/8 and -1/8: L + H; each of the two roundings is off by at most a half.
/// Sums of two neighbours need not fit: the kernels work out averages without them.
class ShortLines
{
public:
    bool Fits() const { return itsFits; }

    /// The bound of a component's samples at the resolution that is decoded, out of the bit-planes that its
    /// code-blocks have. Rows are synthesized before columns.
    std::uint64_t Synthesize(const TileComponent& theComponent);

    /// One step of the synthesis: the bound of its results.
    std::uint64_t Lift(std::uint64_t theLow, std::uint64_t theHigh);

    /// The inverse RCT (T.800 G.2.2).
    void Transform(const std::array<std::uint64_t, 3>& theBounds);

private:
    void Require(std::uint64_t theMagnitude);
    std::uint64_t GetBound(const Subband& theSubband);

    bool itsFits = true;
};

} // namespace j2k
