// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/lines/LiftingKernels.h"

#include <algorithm>

// This file is compiled once for each instruction set; the best one is chosen when the program runs.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/detail/lines/LiftingKernels.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace j2k
{
namespace HWY_NAMESPACE
{
namespace hn = hwy::HWY_NAMESPACE;

/// Whole lines: vectors up to the padding of LineMemory.
template <class Sample>
using Wide = hn::CappedTag<Sample, 64 / sizeof(Sample)>;
/// Rows too short for those.
template <class Sample>
using Narrow = hn::CappedTag<Sample, 16 / sizeof(Sample)>;
/// What is left: the same operations on one sample.
template <class Sample>
using Single = hn::CappedTag<Sample, 1>;

/// The 5/3 filters.
struct ReversibleRule
{
    /// floor((a + b) / 2), also where a + b does not fit.
    template <class Tag>
    static HWY_INLINE hn::Vec<Tag> Average(Tag, hn::Vec<Tag> theA, hn::Vec<Tag> theB)
    {
        return hn::Add(hn::And(theA, theB), hn::ShiftRight<1>(hn::Xor(theA, theB)));
    }

    template <class Tag>
    HWY_INLINE hn::Vec<Tag> Low(Tag theTag, hn::Vec<Tag> theLow, hn::Vec<Tag> theBefore,
                                hn::Vec<Tag> theAfter) const
    {
        // floor((a + b + 2) / 4) is half the average, rounded up: the average less half of it.
        const auto anAverage = Average(theTag, theBefore, theAfter);
        return hn::Add(hn::Sub(theLow, anAverage), hn::ShiftRight<1>(anAverage));
    }

    template <class Tag>
    HWY_INLINE hn::Vec<Tag> High(Tag theTag, hn::Vec<Tag> theHigh, hn::Vec<Tag> theBefore,
                                 hn::Vec<Tag> theAfter) const
    {
        return hn::Add(theHigh, Average(theTag, theBefore, theAfter));
    }
};

/// Product and difference stay apart: fused, they would round differently from machine to machine.
template <class Tag>
HWY_INLINE hn::Vec<Tag> LiftVector(Tag theTag, hn::Vec<Tag> theValue, hn::Vec<Tag> theBefore,
                                   hn::Vec<Tag> theAfter, float theFactor)
{
    return hn::Sub(theValue, hn::Mul(hn::Set(theTag, theFactor), hn::Add(theBefore, theAfter)));
}

/// Two of the four steps of the 9/7 filters.
struct IrreversibleRule
{
    template <class Tag>
    HWY_INLINE hn::Vec<Tag> Low(Tag theTag, hn::Vec<Tag> theLow, hn::Vec<Tag> theBefore,
                                hn::Vec<Tag> theAfter) const
    {
        return LiftVector(theTag, theLow, theBefore, theAfter, itsLowFactor);
    }

    template <class Tag>
    HWY_INLINE hn::Vec<Tag> High(Tag theTag, hn::Vec<Tag> theHigh, hn::Vec<Tag> theBefore,
                                 hn::Vec<Tag> theAfter) const
    {
        return LiftVector(theTag, theHigh, theBefore, theAfter, itsHighFactor);
    }

    float itsLowFactor;
    float itsHighFactor;
};

/// Puts even and odd samples side by side. Pair i begins at sample 2i.
template <class Sample>
struct Interleaved
{
    template <class Tag>
    HWY_INLINE void Put(Tag theTag, ptrdiff_t thePair, hn::Vec<Tag> theLow, hn::Vec<Tag> theHigh) const
    {
        hn::StoreInterleaved2(theLow, theHigh, theTag, itsRow + 2 * thePair);
    }
    HWY_INLINE void PutLow(ptrdiff_t thePair, Sample theSample) const { itsRow[2 * thePair] = theSample; }
    HWY_INLINE void PutHigh(ptrdiff_t thePair, Sample theSample) const
    {
        itsRow[2 * thePair + 1] = theSample;
    }

    Sample* itsRow;
};

/// Keeps even and odd samples apart.
template <class Sample>
struct Apart
{
    template <class Tag>
    HWY_INLINE void Put(Tag theTag, ptrdiff_t thePair, hn::Vec<Tag> theLow, hn::Vec<Tag> theHigh) const
    {
        hn::StoreU(theLow, theTag, itsLow + thePair);
        hn::StoreU(theHigh, theTag, itsHigh + thePair);
    }
    HWY_INLINE void PutLow(ptrdiff_t thePair, Sample theSample) const { itsLow[thePair] = theSample; }
    HWY_INLINE void PutHigh(ptrdiff_t thePair, Sample theSample) const { itsHigh[thePair] = theSample; }

    Sample* itsLow;
    Sample* itsHigh;
};

/// A row's even and odd samples as pairs: odd sample i stands right of even sample i. Where the row begins
/// with an odd sample, its pair is -1. Beyond the ends the row is mirrored, which leads to the neighbour on
/// the other side: the first or last sample of its kind.
template <class Sample>
struct RowInput
{
    RowInput(const Sample* theLow, const Sample* theHigh, size_t theWidth, bool isFirstHigh)
        : itsLow(theLow), itsHigh(theHigh + isFirstHigh), itsFirstHigh(isFirstHigh ? -1 : 0),
          itsEndLow(static_cast<ptrdiff_t>((theWidth + !isFirstHigh) / 2)),
          itsEndHigh(static_cast<ptrdiff_t>(theWidth) - itsEndLow + itsFirstHigh)
    {
    }

    HWY_INLINE hn::Vec<Single<Sample>> GetLow(ptrdiff_t thePair) const
    {
        return hn::Set(Single<Sample>(), itsLow[std::clamp<ptrdiff_t>(thePair, 0, itsEndLow - 1)]);
    }
    HWY_INLINE hn::Vec<Single<Sample>> GetHigh(ptrdiff_t thePair) const
    {
        return hn::Set(Single<Sample>(), itsHigh[std::clamp(thePair, itsFirstHigh, itsEndHigh - 1)]);
    }

    const Sample* itsLow;
    const Sample* itsHigh;
    ptrdiff_t itsFirstHigh;
    ptrdiff_t itsEndLow;
    ptrdiff_t itsEndHigh;
};

/// One low and one high step over a row.
template <class Sample, class Rule, class Output>
class RowLifter
{
public:
    RowLifter(const RowInput<Sample>& theInput, const Rule& theRule, const Output& theOutput)
        : itsInput(theInput), itsRule(theRule), itsOutput(theOutput)
    {
    }

    HWY_INLINE void Run() const
    {
        // Inside, every neighbour up to one pair further on exists.
        const ptrdiff_t aBegin = itsInput.itsFirstHigh + 1;
        const ptrdiff_t anEnd = std::min(itsInput.itsEndLow, itsInput.itsEndHigh) - 1;
        ptrdiff_t aDone = RunVectors(Wide<Sample>(), aBegin, anEnd);
        if (aDone == aBegin)
        {
            aDone = RunVectors(Narrow<Sample>(), aBegin, anEnd);
        }
        RunPairs(itsInput.itsFirstHigh, aBegin);
        RunPairs(aDone, std::max(itsInput.itsEndLow, itsInput.itsEndHigh));
    }

private:
    /// Returns where it stopped: at theBegin where not even one vector fits, otherwise at theEnd. The last
    /// vector may do some pairs again.
    template <class Tag>
    HWY_INLINE ptrdiff_t RunVectors(Tag theTag, ptrdiff_t theBegin, ptrdiff_t theEnd) const
    {
        const ptrdiff_t aStep = static_cast<ptrdiff_t>(hn::Lanes(theTag));
        if (theEnd - theBegin < aStep)
        {
            return theBegin;
        }
        for (ptrdiff_t i = theBegin; i < theEnd; i += aStep)
        {
            RunVector(theTag, std::min(i, theEnd - aStep));
        }
        return theEnd;
    }

    template <class Tag>
    HWY_INLINE void RunVector(Tag theTag, ptrdiff_t thePair) const
    {
        const Sample* const aLow = itsInput.itsLow + thePair;
        const Sample* const aHigh = itsInput.itsHigh + thePair;
        const auto aHighHere = hn::LoadU(theTag, aHigh);
        // The next pair's even sample is worked out twice, which is cheaper than moving it over.
        const auto aLowHere =
            itsRule.Low(theTag, hn::LoadU(theTag, aLow), hn::LoadU(theTag, aHigh - 1), aHighHere);
        const auto aLowNext =
            itsRule.Low(theTag, hn::LoadU(theTag, aLow + 1), aHighHere, hn::LoadU(theTag, aHigh + 1));
        itsOutput.Put(theTag, thePair, aLowHere, itsRule.High(theTag, aHighHere, aLowHere, aLowNext));
    }

    /// The lifted even sample of a pair, at the ends that of the nearest pair.
    HWY_INLINE hn::Vec<Single<Sample>> LiftLowAt(ptrdiff_t thePair) const
    {
        const ptrdiff_t aPair = std::clamp<ptrdiff_t>(thePair, 0, itsInput.itsEndLow - 1);
        return itsRule.Low(Single<Sample>(), itsInput.GetLow(aPair), itsInput.GetHigh(aPair - 1),
                           itsInput.GetHigh(aPair));
    }

    HWY_INLINE void RunPairs(ptrdiff_t theBegin, ptrdiff_t theEnd) const
    {
        for (ptrdiff_t i = theBegin; i < theEnd; ++i)
        {
            const auto aLow = LiftLowAt(i);
            if (i >= 0 && i < itsInput.itsEndLow)
            {
                itsOutput.PutLow(i, hn::GetLane(aLow));
            }
            if (i < itsInput.itsEndHigh)
            {
                const auto aHigh =
                    itsRule.High(Single<Sample>(), itsInput.GetHigh(i), aLow, LiftLowAt(i + 1));
                itsOutput.PutHigh(i, hn::GetLane(aHigh));
            }
        }
    }

    const RowInput<Sample> itsInput;
    const Rule itsRule;
    const Output itsOutput;
};

template <class Sample>
HWY_INLINE void SynthesizeReversible(const Sample* theLow, const Sample* theHigh, Sample* theRow,
                                     size_t theWidth, bool isFirstHigh)
{
    const RowInput<Sample> anInput(theLow, theHigh, theWidth, isFirstHigh);
    const Interleaved<Sample> anOutput{theRow + isFirstHigh};
    RowLifter(anInput, ReversibleRule(), anOutput).Run();
}

void SynthesizeRow16(const int16_t* theLow, const int16_t* theHigh, int16_t* theRow, size_t theWidth,
                     bool isFirstHigh)
{
    SynthesizeReversible(theLow, theHigh, theRow, theWidth, isFirstHigh);
}

void SynthesizeRow32(const int32_t* theLow, const int32_t* theHigh, int32_t* theRow, size_t theWidth,
                     bool isFirstHigh)
{
    SynthesizeReversible(theLow, theHigh, theRow, theWidth, isFirstHigh);
}

void SynthesizeRowFloat(const float* theLow, const float* theHigh, float* theRow, size_t theWidth,
                        bool isFirstHigh, float* theScratch)
{
    float* const aScratchHigh = theScratch + (theWidth + 1) / 2;
    const RowInput<float> anInput(theLow, theHigh, theWidth, isFirstHigh);
    RowLifter(anInput, IrreversibleRule{LiftingKernels::kDelta, LiftingKernels::kGamma},
              Apart<float>{theScratch, aScratchHigh + isFirstHigh})
        .Run();
    const RowInput<float> aHalfway(theScratch, aScratchHigh, theWidth, isFirstHigh);
    RowLifter(aHalfway, IrreversibleRule{LiftingKernels::kBeta, LiftingKernels::kAlpha},
              Interleaved<float>{theRow + isFirstHigh})
        .Run();
}

template <class Sample>
HWY_INLINE void LiftLowLine(Sample* theLow, const Sample* theHighBefore, const Sample* theHighAfter,
                            size_t theWidth)
{
    const Wide<Sample> aTag;
    for (size_t i = 0; i < theWidth; i += hn::Lanes(aTag))
    {
        const auto aLow =
            ReversibleRule().Low(aTag, hn::Load(aTag, theLow + i), hn::Load(aTag, theHighBefore + i),
                                 hn::Load(aTag, theHighAfter + i));
        hn::Store(aLow, aTag, theLow + i);
    }
}

template <class Sample>
HWY_INLINE void LiftHighLine(Sample* theHigh, const Sample* theLowBefore, const Sample* theLowAfter,
                             size_t theWidth)
{
    const Wide<Sample> aTag;
    for (size_t i = 0; i < theWidth; i += hn::Lanes(aTag))
    {
        const auto aHigh =
            ReversibleRule().High(aTag, hn::Load(aTag, theHigh + i), hn::Load(aTag, theLowBefore + i),
                                  hn::Load(aTag, theLowAfter + i));
        hn::Store(aHigh, aTag, theHigh + i);
    }
}

template <class Sample>
HWY_INLINE void LiftBothLines(const Sample* theLowBefore, Sample* HWY_RESTRICT theHighBefore,
                              Sample* HWY_RESTRICT theLow, const Sample* theHighAfter, size_t theWidth)
{
    const Wide<Sample> aTag;
    for (size_t i = 0; i < theWidth; i += hn::Lanes(aTag))
    {
        const auto aHigh = hn::Load(aTag, theHighBefore + i);
        const auto aLow =
            ReversibleRule().Low(aTag, hn::Load(aTag, theLow + i), aHigh, hn::Load(aTag, theHighAfter + i));
        hn::Store(aLow, aTag, theLow + i);
        hn::Store(ReversibleRule().High(aTag, aHigh, hn::Load(aTag, theLowBefore + i), aLow), aTag,
                  theHighBefore + i);
    }
}

void LiftLow16(int16_t* theLow, const int16_t* theHighBefore, const int16_t* theHighAfter, size_t theWidth)
{
    LiftLowLine(theLow, theHighBefore, theHighAfter, theWidth);
}
void LiftLow32(int32_t* theLow, const int32_t* theHighBefore, const int32_t* theHighAfter, size_t theWidth)
{
    LiftLowLine(theLow, theHighBefore, theHighAfter, theWidth);
}
void LiftHigh16(int16_t* theHigh, const int16_t* theLowBefore, const int16_t* theLowAfter, size_t theWidth)
{
    LiftHighLine(theHigh, theLowBefore, theLowAfter, theWidth);
}
void LiftHigh32(int32_t* theHigh, const int32_t* theLowBefore, const int32_t* theLowAfter, size_t theWidth)
{
    LiftHighLine(theHigh, theLowBefore, theLowAfter, theWidth);
}
void LiftBoth16(const int16_t* theLowBefore, int16_t* theHighBefore, int16_t* theLow,
                const int16_t* theHighAfter, size_t theWidth)
{
    LiftBothLines(theLowBefore, theHighBefore, theLow, theHighAfter, theWidth);
}
void LiftBoth32(const int32_t* theLowBefore, int32_t* theHighBefore, int32_t* theLow,
                const int32_t* theHighAfter, size_t theWidth)
{
    LiftBothLines(theLowBefore, theHighBefore, theLow, theHighAfter, theWidth);
}

void LiftFloat(float* theLine, const float* theBefore, const float* theAfter, float theFactor,
               size_t theWidth)
{
    const Wide<float> aTag;
    for (size_t i = 0; i < theWidth; i += hn::Lanes(aTag))
    {
        const auto aLine = LiftVector(aTag, hn::Load(aTag, theLine + i), hn::Load(aTag, theBefore + i),
                                      hn::Load(aTag, theAfter + i), theFactor);
        hn::Store(aLine, aTag, theLine + i);
    }
}

void LiftFourFloat(LiftingKernels::SixLines theLines, size_t theWidth)
{
    const Wide<float> aTag;
    const float* const aLine0 = theLines[0];
    float* const HWY_RESTRICT aLine1 = theLines[1];
    float* const HWY_RESTRICT aLine2 = theLines[2];
    float* const HWY_RESTRICT aLine3 = theLines[3];
    float* const HWY_RESTRICT aLine4 = theLines[4];
    const float* const aLine5 = theLines[5];
    for (size_t i = 0; i < theWidth; i += hn::Lanes(aTag))
    {
        const auto aHigh3 = hn::Load(aTag, aLine3 + i);
        const auto aLow2 = hn::Load(aTag, aLine2 + i);
        const auto aHigh1 = hn::Load(aTag, aLine1 + i);
        const auto aDelta = LiftVector(aTag, hn::Load(aTag, aLine4 + i), aHigh3, hn::Load(aTag, aLine5 + i),
                                       LiftingKernels::kDelta);
        const auto aGamma = LiftVector(aTag, aHigh3, aLow2, aDelta, LiftingKernels::kGamma);
        const auto aBeta = LiftVector(aTag, aLow2, aHigh1, aGamma, LiftingKernels::kBeta);
        const auto anAlpha =
            LiftVector(aTag, aHigh1, hn::Load(aTag, aLine0 + i), aBeta, LiftingKernels::kAlpha);
        hn::Store(aDelta, aTag, aLine4 + i);
        hn::Store(aGamma, aTag, aLine3 + i);
        hn::Store(aBeta, aTag, aLine2 + i);
        hn::Store(anAlpha, aTag, aLine1 + i);
    }
}
} // namespace HWY_NAMESPACE
} // namespace j2k
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace j2k
{
HWY_EXPORT(SynthesizeRow16);
HWY_EXPORT(SynthesizeRow32);
HWY_EXPORT(SynthesizeRowFloat);
HWY_EXPORT(LiftLow16);
HWY_EXPORT(LiftLow32);
HWY_EXPORT(LiftHigh16);
HWY_EXPORT(LiftHigh32);
HWY_EXPORT(LiftBoth16);
HWY_EXPORT(LiftBoth32);
HWY_EXPORT(LiftFloat);
HWY_EXPORT(LiftFourFloat);

void LiftingKernels::SynthesizeRow(const std::int16_t* theLow, const std::int16_t* theHigh,
                                   std::int16_t* theRow, std::size_t theWidth, bool isFirstHigh)
{
    HWY_DYNAMIC_DISPATCH(SynthesizeRow16)(theLow, theHigh, theRow, theWidth, isFirstHigh);
}

void LiftingKernels::SynthesizeRow(const std::int32_t* theLow, const std::int32_t* theHigh,
                                   std::int32_t* theRow, std::size_t theWidth, bool isFirstHigh)
{
    HWY_DYNAMIC_DISPATCH(SynthesizeRow32)(theLow, theHigh, theRow, theWidth, isFirstHigh);
}

void LiftingKernels::SynthesizeRow(const float* theLow, const float* theHigh, float* theRow,
                                   std::size_t theWidth, bool isFirstHigh, float* theScratch)
{
    HWY_DYNAMIC_DISPATCH(SynthesizeRowFloat)(theLow, theHigh, theRow, theWidth, isFirstHigh, theScratch);
}

void LiftingKernels::LiftLow(std::int16_t* theLow, const std::int16_t* theHighBefore,
                             const std::int16_t* theHighAfter, std::size_t theWidth)
{
    HWY_DYNAMIC_DISPATCH(LiftLow16)(theLow, theHighBefore, theHighAfter, theWidth);
}

void LiftingKernels::LiftLow(std::int32_t* theLow, const std::int32_t* theHighBefore,
                             const std::int32_t* theHighAfter, std::size_t theWidth)
{
    HWY_DYNAMIC_DISPATCH(LiftLow32)(theLow, theHighBefore, theHighAfter, theWidth);
}

void LiftingKernels::LiftHigh(std::int16_t* theHigh, const std::int16_t* theLowBefore,
                              const std::int16_t* theLowAfter, std::size_t theWidth)
{
    HWY_DYNAMIC_DISPATCH(LiftHigh16)(theHigh, theLowBefore, theLowAfter, theWidth);
}

void LiftingKernels::LiftHigh(std::int32_t* theHigh, const std::int32_t* theLowBefore,
                              const std::int32_t* theLowAfter, std::size_t theWidth)
{
    HWY_DYNAMIC_DISPATCH(LiftHigh32)(theHigh, theLowBefore, theLowAfter, theWidth);
}

void LiftingKernels::LiftBoth(const std::int16_t* theLowBefore, std::int16_t* theHighBefore,
                              std::int16_t* theLow, const std::int16_t* theHighAfter, std::size_t theWidth)
{
    HWY_DYNAMIC_DISPATCH(LiftBoth16)(theLowBefore, theHighBefore, theLow, theHighAfter, theWidth);
}

void LiftingKernels::LiftBoth(const std::int32_t* theLowBefore, std::int32_t* theHighBefore,
                              std::int32_t* theLow, const std::int32_t* theHighAfter, std::size_t theWidth)
{
    HWY_DYNAMIC_DISPATCH(LiftBoth32)(theLowBefore, theHighBefore, theLow, theHighAfter, theWidth);
}

void LiftingKernels::Lift(float* theLine, const float* theBefore, const float* theAfter, float theFactor,
                          std::size_t theWidth)
{
    HWY_DYNAMIC_DISPATCH(LiftFloat)(theLine, theBefore, theAfter, theFactor, theWidth);
}

void LiftingKernels::LiftFour(SixLines theLines, std::size_t theWidth)
{
    HWY_DYNAMIC_DISPATCH(LiftFourFloat)(theLines, theWidth);
}
} // namespace j2k
#endif
