// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

namespace j2k
{

/// The arithmetic of the inverse wavelet transforms (T.800 F.3.8) on whole lines, with the vectors of the
/// machine. Thread-safe.
///
/// Results are the same on every machine: integers wrap, and floats are never fused. The 5/3 filters average
/// without overflow, so that results are exact whenever samples and coefficients fit their type.
///
/// The 9/7 filters leave out the scaling by K and 1/K; it belongs to the coefficients, see Synthesis.
class LiftingKernels
{
public:
    /// Factors of the 9/7 lifting steps (T.800 table F.4).
    static constexpr float kAlpha = -1.586134342059924f;
    static constexpr float kBeta = -0.052980118572961f;
    static constexpr float kGamma = 0.882911075530934f;
    static constexpr float kDelta = 0.443506852043971f;
    static constexpr float kK = 1.230174104914001f;

    /// Interleave and filter one row. theWidth is at least 2; isFirstHigh where the row begins at an odd
    /// coordinate. theLow and theHigh hold the row's even and odd coordinates and need no padding. The row
    /// overlaps none of them.
    static void SynthesizeRow(const std::int16_t* theLow, const std::int16_t* theHigh, std::int16_t* theRow,
                              std::size_t theWidth, bool isFirstHigh);
    static void SynthesizeRow(const std::int32_t* theLow, const std::int32_t* theHigh, std::int32_t* theRow,
                              std::size_t theWidth, bool isFirstHigh);

    /// theScratch: room for GetScratchSize(theWidth) samples.
    static void SynthesizeRow(const float* theLow, const float* theHigh, float* theRow, std::size_t theWidth,
                              bool isFirstHigh, float* theScratch);
    static constexpr std::size_t GetScratchSize(std::size_t theWidth) { return theWidth + 1; }

    // The steps below work on whole lines, one above the other. Lines are aligned and padded as those of
    // LineMemory are, and the padding takes part. A line and its neighbours are different lines; both
    // neighbours may be the same one.

    /// The 5/3 step of an even line (T.800 F.3.8.2).
    static void LiftLow(std::int16_t* theLow, const std::int16_t* theHighBefore,
                        const std::int16_t* theHighAfter, std::size_t theWidth);
    static void LiftLow(std::int32_t* theLow, const std::int32_t* theHighBefore,
                        const std::int32_t* theHighAfter, std::size_t theWidth);

    /// The 5/3 step of an odd line, its neighbours being finished.
    static void LiftHigh(std::int16_t* theHigh, const std::int16_t* theLowBefore,
                         const std::int16_t* theLowAfter, std::size_t theWidth);
    static void LiftHigh(std::int32_t* theHigh, const std::int32_t* theLowBefore,
                         const std::int32_t* theLowAfter, std::size_t theWidth);

    /// LiftLow of theLow, then LiftHigh of theHighBefore, in one pass. The lines from top to bottom:
    /// theLowBefore (finished), theHighBefore, theLow, theHighAfter. All are different.
    static void LiftBoth(const std::int16_t* theLowBefore, std::int16_t* theHighBefore, std::int16_t* theLow,
                         const std::int16_t* theHighAfter, std::size_t theWidth);
    static void LiftBoth(const std::int32_t* theLowBefore, std::int32_t* theHighBefore, std::int32_t* theLow,
                         const std::int32_t* theHighAfter, std::size_t theWidth);

    /// One 9/7 step: theLine less theFactor times the sum of its neighbours.
    static void Lift(float* theLine, const float* theBefore, const float* theAfter, float theFactor,
                     std::size_t theWidth);

    /// Six consecutive lines, an even one first, all different.
    using SixLines = float* const (&)[6];

    /// The four 9/7 steps in one pass, each on the line above the last step's: delta on line 4, gamma on 3,
    /// beta on 2, alpha on 1. Line 1 is then finished, line 0 was before.
    static void LiftFour(SixLines theLines, std::size_t theWidth);
};

} // namespace j2k
