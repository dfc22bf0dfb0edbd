// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/lines/Synthesis.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "engine/detail/lines/LiftingKernels.h"

namespace j2k
{
namespace
{
/// Towards zero; only the encoder's even numbers are without loss.
template <class Sample>
Sample Halve(Sample theSample)
{
    return std::is_floating_point_v<Sample> ? theSample : static_cast<Sample>(theSample / 2);
}
} // namespace

AxisScale::AxisScale(std::uint32_t theBegin, std::uint32_t theEnd)
    : itsLow(LiftingKernels::kK), itsHigh(1.0f / LiftingKernels::kK)
{
    if (theEnd - theBegin == 1)
    {
        itsLow = 1.0f;
        itsHigh = 0.5f;
    }
}

template <class Sample>
Synthesis<Sample>::Synthesis(const Rect& theArea, const Rect& theWindow, SynthesisInputs<Sample> theInputs,
                             kdu_sample_allocator& theAllocator)
    : itsInputs(std::move(theInputs)), itsWidth(theArea.GetWidth()),
      itsFirstSample(theWindow.itsX0 - theArea.itsX0), itsFirstColumnIsHigh(theArea.itsX0 % 2 != 0),
      itsFirst(theArea.itsY0 % 2 == 0 ? 0 : -1), itsEnd(itsFirst + theArea.GetHeight()),
      itsLines(theAllocator, itsWidth, kRing),
      itsScratch(theAllocator, LiftingKernels::GetScratchSize(itsWidth),
                 std::is_floating_point_v<Sample> ? 1 : 0),
      itsFilled(itsFirst), itsFinished(itsFirst), itsNext(itsFirst + (theWindow.itsY0 - theArea.itsY0))
{
}

template <class Sample>
const Sample* Synthesis<Sample>::Pull()
{
    if (!itsLines.IsTaken())
    {
        TakeMemory();
    }
    while (itsNext >= itsFinished)
    {
        RunStep();
    }
    return GetLine(itsNext++) + itsFirstSample;
}

template <class Sample>
void Synthesis<Sample>::TakeMemory()
{
    itsLines.Take();
    itsScratch.Take();
    // Padding takes part in vertical lifting.
    std::memset(itsLines.GetLine(0), 0, itsLines.GetBytes());
}

template <class Sample>
void Synthesis<Sample>::RunStep()
{
    const std::int64_t anEnd = std::min(itsStep + 2, itsEnd);
    while (itsFilled < anEnd)
    {
        FillLine(itsFilled++);
    }
    if (itsEnd - itsFirst == 1)
    {
        FinishSingleLine();
    }
    else
    {
        LiftLines();
    }
    itsStep += 2;
}

template <class Sample>
void Synthesis<Sample>::FillLine(std::int64_t theLine)
{
    if (theLine % 2 == 0)
    {
        FillRow(itsInputs.itsLL.get(), itsInputs.itsHL.get(), GetLine(theLine));
    }
    else
    {
        FillRow(itsInputs.itsLH.get(), itsInputs.itsHH.get(), GetLine(theLine));
    }
}

template <class Sample>
void Synthesis<Sample>::FillRow(LineSource<Sample>* theLow, LineSource<Sample>* theHigh, Sample* theRow)
{
    if (itsWidth == 1)
    {
        // A single sample is not filtered; at an odd place it is halved, floats by their scale.
        const Sample aSample = *(itsFirstColumnIsHigh ? theHigh : theLow)->Pull();
        *theRow = itsFirstColumnIsHigh ? Halve(aSample) : aSample;
        return;
    }
    const Sample* const aLow = theLow->Pull();
    const Sample* const aHigh = theHigh->Pull();
    if constexpr (std::is_floating_point_v<Sample>)
    {
        LiftingKernels::SynthesizeRow(aLow, aHigh, theRow, itsWidth, itsFirstColumnIsHigh,
                                      itsScratch.GetLine(0));
    }
    else
    {
        LiftingKernels::SynthesizeRow(aLow, aHigh, theRow, itsWidth, itsFirstColumnIsHigh);
    }
}

template <class Sample>
void Synthesis<Sample>::FinishSingleLine()
{
    if (itsFirst < 0)
    {
        Sample* const aLine = GetLine(itsFirst);
        std::transform(aLine, aLine + itsWidth, aLine, Halve<Sample>);
    }
    itsFinished = itsEnd;
}

template <class Sample>
Sample* Synthesis<Sample>::GetNeighbour(std::int64_t theLine) const
{
    if (theLine < itsFirst)
    {
        return GetLine(itsFirst + 1);
    }
    return GetLine(theLine < itsEnd ? theLine : itsEnd - 2);
}

template <class Sample>
void Synthesis<Sample>::LiftLine(std::int64_t theLine, float theFactor)
{
    if (!Exists(theLine))
    {
        return;
    }
    Sample* const aLine = GetLine(theLine);
    const Sample* const aBefore = GetNeighbour(theLine - 1);
    const Sample* const anAfter = GetNeighbour(theLine + 1);
    if constexpr (std::is_floating_point_v<Sample>)
    {
        LiftingKernels::Lift(aLine, aBefore, anAfter, theFactor, itsWidth);
    }
    else if (theLine % 2 == 0)
    {
        LiftingKernels::LiftLow(aLine, aBefore, anAfter, itsWidth);
    }
    else
    {
        LiftingKernels::LiftHigh(aLine, aBefore, anAfter, itsWidth);
    }
}

template <class Sample>
void Synthesis<Sample>::LiftLines()
{
    // The ring holds the lines from aTop to itsStep + 1, the last two of them just filled in.
    const std::int64_t aTop = itsStep + 2 - kRing;
    const bool isEachThere = aTop >= itsFirst && itsStep + 1 < itsEnd;
    if constexpr (std::is_floating_point_v<Sample>)
    {
        if (isEachThere)
        {
            float* const aLines[] = {GetLine(aTop),     GetLine(aTop + 1), GetLine(aTop + 2),
                                     GetLine(aTop + 3), GetLine(aTop + 4), GetLine(aTop + 5)};
            LiftingKernels::LiftFour(aLines, itsWidth);
        }
        else
        {
            LiftLine(itsStep, LiftingKernels::kDelta);
            LiftLine(itsStep - 1, LiftingKernels::kGamma);
            LiftLine(itsStep - 2, LiftingKernels::kBeta);
            LiftLine(itsStep - 3, LiftingKernels::kAlpha);
        }
    }
    else if (isEachThere)
    {
        LiftingKernels::LiftBoth(GetLine(aTop), GetLine(aTop + 1), GetLine(aTop + 2), GetLine(aTop + 3),
                                 itsWidth);
    }
    else
    {
        LiftLine(itsStep, 0);
        LiftLine(itsStep - 1, 0);
    }
    // The last step went to line aTop + 1; the line below it had all of its steps before that.
    itsFinished = std::clamp(aTop + 3, itsFirst, itsEnd);
}

template class Synthesis<std::int16_t>;
template class Synthesis<std::int32_t>;
template class Synthesis<float>;

} // namespace j2k
