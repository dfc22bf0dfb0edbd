// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <type_traits>

#include "engine/detail/Rect.h"
#include "engine/detail/lines/LineSource.h"

namespace j2k
{

/// The four inputs of one level of the inverse wavelet transform.
template <class Sample>
struct SynthesisInputs
{
    std::unique_ptr<LineSource<Sample>> itsLL;
    std::unique_ptr<LineSource<Sample>> itsHL; ///< horizontally high, vertically low
    std::unique_ptr<LineSource<Sample>> itsLH;
    std::unique_ptr<LineSource<Sample>> itsHH;
};

/// What coefficients are multiplied by along one axis of a level, so that the 9/7 filters need not: K for low
/// ones and 1/K for high ones (T.800 F.3.8.1). A single sample is not filtered, and halved at an odd place.
struct AxisScale
{
    /// theBegin and theEnd: the resolution's coordinates.
    AxisScale(std::uint32_t theBegin, std::uint32_t theEnd);

    float itsLow;
    float itsHigh;
};

/// One level of the inverse wavelet transform (T.800 F.3), line by line: 5/3 for integers, 9/7 for floats.
///
/// Rows of the four inputs are interleaved and filtered horizontally, then lines vertically, in place in a
/// ring of a few lines. Float coefficients are expected to be scaled as AxisScale tells, on both axes.
template <class Sample>
class Synthesis final : public LineSource<Sample>
{
public:
    /// theArea, not empty: the part of the resolution that the inputs hold, with a margin around theWindow,
    /// the part that is delivered, wherever the resolution goes on there: see Resolution::GetArea. An input
    /// that has no samples is not used and may be null.
    Synthesis(const Rect& theArea, const Rect& theWindow, SynthesisInputs<Sample> theInputs,
              kdu_sample_allocator& theAllocator);

    const Sample* Pull() override;

private:
    /// Lines that one step works on.
    static constexpr std::int64_t kRing = std::is_floating_point_v<Sample> ? 6 : 4;

    void TakeMemory();
    void FillLine(std::int64_t theLine);
    void FillRow(LineSource<Sample>* theLow, LineSource<Sample>* theHigh, Sample* theRow);
    void FinishSingleLine();
    void RunStep();
    void LiftLines();
    void LiftLine(std::int64_t theLine, float theFactor);

    bool Exists(std::int64_t theLine) const { return theLine >= itsFirst && theLine < itsEnd; }

    /// A line in the ring.
    Sample* GetLine(std::int64_t theLine) const
    {
        return itsLines.GetLine(static_cast<std::size_t>((theLine + kRing) % kRing));
    }

    /// The neighbour at theLine; beyond the ends that is the mirrored one.
    Sample* GetNeighbour(std::int64_t theLine) const;

    SynthesisInputs<Sample> itsInputs;
    std::uint32_t itsWidth;
    std::uint32_t itsFirstSample; ///< of the window, in a line
    bool itsFirstColumnIsHigh;

    // Lines are counted so that the low ones are even: from 0, or from -1 where the first is a high one.
    std::int64_t itsFirst;
    std::int64_t itsEnd;

    LineMemory<Sample> itsLines;
    LineMemory<Sample> itsScratch;
    std::int64_t itsStep = 0; ///< the low line that is to be lifted next
    std::int64_t itsFilled;   ///< lines before this one have been filled in
    std::int64_t itsFinished; ///< lines before this one need no more lifting
    std::int64_t itsNext;     ///< to be delivered
};

} // namespace j2k
