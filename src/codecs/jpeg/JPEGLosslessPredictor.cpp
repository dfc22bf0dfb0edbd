// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/detail/JPEGLosslessScan.h"

#include <algorithm>
#include <array>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "codecs/jpeg/JPEGLosslessPredictor.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace quorix_jpeg_lossless
{
namespace HWY_NAMESPACE
{
namespace hn = hwy::HWY_NAMESPACE;

/// A difference and its prediction from the samples to the left, above, and above to the left.
template <int Selection>
int Sum(int theDifference, int theLeft, int theAbove, int theCorner)
{
    switch (Selection)
    {
    case 1:
        return theDifference + theLeft;
    case 2:
        return theDifference + theAbove;
    case 3:
        return theDifference + theCorner;
    case 4:
        return theDifference + theLeft + theAbove - theCorner;
    case 5:
        return theDifference + theLeft + ((theAbove - theCorner) >> 1);
    // Halved last, so that little has to wait for the sample to the left.
    case 6:
        return (theLeft + (2 * (theDifference + theAbove) - theCorner)) >> 1;
    default:
        return (theLeft + (2 * theDifference + theAbove)) >> 1;
    }
}

/// Samples theFirst to theEnd of a row, the pixel before them known. The chains of additions of several
/// components are worked on side by side.
template <int Selection, std::size_t Components>
void UndoSamples(const std::uint16_t* theDifferences, const std::uint16_t* theAbove, std::uint16_t* theRow,
                 std::size_t theFirst, std::size_t theEnd)
{
    std::array<int, Components> aLeft{};
    std::copy_n(theRow + theFirst - Components, Components, aLeft.begin());
    for (std::size_t i = theFirst; i < theEnd; i += Components)
    {
        for (std::size_t c = 0; c < Components; ++c)
        {
            theRow[i + c] = static_cast<std::uint16_t>(Sum<Selection>(
                theDifferences[i + c], aLeft[c], theAbove[i + c], theAbove[i + c - Components]));
            aLeft[c] = theRow[i + c];
        }
    }
}

#if HWY_TARGET != HWY_SCALAR
// A vector holds samples of one component, or one pixel of several. What else is in it then belongs behind
// the pixel, and is written over with what is right.

template <std::size_t Components>
using WordTag = hn::FixedTag<std::uint16_t, Components == 1 ? 8 : 4>;
template <std::size_t Components>
using Words = hn::VFromD<WordTag<Components>>;

/// What a prediction from above is, or adds to the sample to the left, modulo 65536.
template <int Selection, std::size_t Components>
HWY_INLINE Words<Components> FromAbove(const std::uint16_t* theAbove)
{
    const WordTag<Components> aTag;
    const auto anAbove = hn::LoadU(aTag, theAbove);
    const auto aCorner = hn::LoadU(aTag, theAbove - Components);
    if constexpr (Selection == 5)
    {
        // Half the difference, rounded down, though the difference has 17 bits.
        const auto aBorrow = hn::And(hn::AndNot(anAbove, aCorner), hn::Set(aTag, std::uint16_t{1}));
        return hn::Sub(hn::Sub(hn::ShiftRight<1>(anAbove), hn::ShiftRight<1>(aCorner)), aBorrow);
    }
    return Selection == 2 ? anAbove : Selection == 3 ? aCorner : hn::Sub(anAbove, aCorner);
}

/// Each lane becomes the sum of itself and those before it.
HWY_INLINE Words<1> RunningSums(Words<1> theValues)
{
    const WordTag<1> aTag;
    theValues = hn::Add(theValues, hn::ShiftLeftLanes<1>(aTag, theValues));
    theValues = hn::Add(theValues, hn::ShiftLeftLanes<2>(aTag, theValues));
    return hn::Add(theValues, hn::ShiftLeftLanes<4>(aTag, theValues));
}

/// Whole vectors from the second pixel on, for the predictions that are sums. Returns the index of the first
/// sample that is left.
template <int Selection, std::size_t Components>
std::size_t UndoSums(const std::uint16_t* theDifferences, const std::uint16_t* theAbove,
                     std::uint16_t* theRow, std::size_t theSamples)
{
    const WordTag<Components> aTag;
    constexpr std::size_t kLanes = hn::MaxLanes(aTag);
    if (theSamples < kLanes)
    {
        return Components;
    }
    auto aLeft = hn::LoadU(aTag, theRow);
    if constexpr (Components == 1)
    {
        aLeft = hn::Broadcast<0>(aLeft);
    }
    std::size_t i = Components;
    for (; i + kLanes <= theSamples; i += Components == 1 ? kLanes : Components)
    {
        auto aValue = hn::LoadU(aTag, theDifferences + i);
        if constexpr (Selection != 1)
        {
            aValue = hn::Add(aValue, FromAbove<Selection, Components>(theAbove + i));
        }
        if constexpr (Selection != 2 && Selection != 3)
        {
            auto aSum = aValue;
            if constexpr (Components == 1)
            {
                // Only one addition waits for the vector before.
                aValue = RunningSums(aValue);
                aSum = hn::Broadcast<kLanes - 1>(aValue);
            }
            aValue = hn::Add(aValue, aLeft);
            aLeft = hn::Add(aSum, aLeft);
        }
        hn::StoreU(aValue, aTag, theRow + i);
    }
    return i;
}

template <std::size_t Components>
using IntTag = hn::CappedTag<std::int32_t, (Components > 1 || HWY_HAVE_SCALABLE) ? 4 : 8>;
template <std::size_t Components>
using Ints = hn::VFromD<IntTag<Components>>;

template <std::size_t Components>
HWY_INLINE Ints<Components> LoadInts(const std::uint16_t* theWords)
{
    const IntTag<Components> aTag;
    return hn::PromoteTo(aTag, hn::LoadU(hn::Rebind<std::uint16_t, decltype(aTag)>(), theWords));
}

template <std::size_t Components>
HWY_INLINE Ints<Components> LoadDifferences(const std::uint16_t* theDifferences)
{
    const IntTag<Components> aTag;
    const auto aWords = hn::LoadU(hn::Rebind<std::uint16_t, decltype(aTag)>(), theDifferences);
    return hn::PromoteTo(aTag, hn::BitCast(hn::Rebind<std::int16_t, decltype(aTag)>(), aWords));
}

/// Predictor 6 halves by how much the sample to the left exceeds the one above it.
template <int Selection, std::size_t Components>
HWY_INLINE Ints<Components> Base(const std::uint16_t* theAbove)
{
    return Selection == 6 ? LoadInts<Components>(theAbove) : hn::Zero(IntTag<Components>());
}

/// What the pixel behind this one halves; of one component, in all lanes.
template <int Selection, std::size_t Components>
HWY_INLINE Ints<Components> Halvable(const std::uint16_t* theRow, const std::uint16_t* theAbove)
{
    if constexpr (Components == 1)
    {
        return hn::Set(IntTag<1>(), theRow[0] - (Selection == 6 ? theAbove[0] : 0));
    }
    else
    {
        return hn::Sub(LoadInts<Components>(theRow), Base<Selection, Components>(theAbove));
    }
}

/// One pixel, without its base.
template <int Selection, std::size_t Components>
HWY_INLINE Ints<Components> Halve(Ints<Components>& theLeft, const std::uint16_t* theDifferences,
                                  const std::uint16_t* theAbove)
{
    const auto aSum = Selection == 6 ? theLeft : hn::Add(theLeft, LoadInts<Components>(theAbove));
    theLeft = hn::Add(LoadDifferences<Components>(theDifferences), hn::ShiftRight<1>(aSum));
    return theLeft;
}

/// Samples of one component, without their base. Half of a half, each rounded down, is a quarter rounded
/// down: so each is a sum with the one sample before the vector, shifted by one place, two, three …
template <int Selection>
HWY_INLINE Ints<1> HalveVector(Ints<1>& theLeft, const std::uint16_t* theDifferences,
                               const std::uint16_t* theAbove)
{
    const IntTag<1> aTag;
    constexpr int kLanes = hn::MaxLanes(aTag);
    const Ints<1> aPlaces = hn::Iota(aTag, 1);
    Ints<1> aSum = hn::Shl(LoadDifferences<1>(theDifferences), aPlaces);
    if constexpr (Selection == 7)
    {
        aSum = hn::Add(aSum, hn::Shl(LoadInts<1>(theAbove), hn::Iota(aTag, 0)));
    }
    aSum = hn::Add(aSum, hn::ShiftLeftLanes<1>(aTag, aSum));
    aSum = hn::Add(aSum, hn::ShiftLeftLanes<2>(aTag, aSum));
    Ints<1> aLast = hn::Broadcast<3>(aSum);
    if constexpr (kLanes == 8)
    {
        aSum = hn::Add(aSum, hn::ConcatLowerLower(aTag, aLast, hn::Zero(aTag)));
        aLast = hn::Broadcast<3>(aSum);
        aLast = hn::ConcatUpperUpper(aTag, aLast, aLast);
    }
    const Ints<1> aValue = hn::Shr(hn::Add(aSum, theLeft), aPlaces);
    theLeft = hn::ShiftRight<kLanes>(hn::Add(aLast, theLeft));
    return aValue;
}

/// Some vectors. Returns whether no sample wrapped around; what follows one that did is wrong.
template <int Selection, std::size_t Components>
HWY_INLINE bool HalveBatch(Ints<Components>& theLeft, const std::uint16_t* theDifferences,
                           const std::uint16_t* theAbove, std::uint16_t* theRow, std::size_t theSamples)
{
    const IntTag<Components> aTag;
    const hn::Rebind<std::uint16_t, decltype(aTag)> aWordTag;
    constexpr std::size_t kStep = Components == 1 ? hn::MaxLanes(aTag) : Components;
    auto aBits = hn::Zero(aTag);
    for (std::size_t i = 0; i < theSamples; i += kStep)
    {
        auto aSample = Base<Selection, Components>(theAbove + i);
        if constexpr (Components == 1)
        {
            aSample = hn::Add(aSample, HalveVector<Selection>(theLeft, theDifferences + i, theAbove + i));
        }
        else
        {
            aSample =
                hn::Add(aSample, Halve<Selection, Components>(theLeft, theDifferences + i, theAbove + i));
        }
        hn::StoreU(hn::DemoteTo(aWordTag, aSample), aWordTag, theRow + i);
        aBits = hn::Or(aBits, aSample);
    }
    const auto aBeyond = hn::IfThenElseZero(hn::FirstN(aTag, kStep), hn::ShiftRight<16>(aBits));
    return hn::AllTrue(aTag, hn::Eq(aBeyond, hn::Zero(aTag)));
}

/// As UndoSums, for the predictions that are halved.
template <int Selection, std::size_t Components>
std::size_t UndoHalves(const std::uint16_t* theDifferences, const std::uint16_t* theAbove,
                       std::uint16_t* theRow, std::size_t theSamples)
{
    constexpr std::size_t kBatch = Components == 1 ? 16 : 4 * Components;
    constexpr std::size_t kTouched = Components == 1 ? kBatch : kBatch + 4 - Components;
    constexpr std::size_t kWrapped = Components == 1 ? 4 * kBatch : 32 * kBatch;
    std::size_t i = Components;
    while (i + kTouched <= theSamples)
    {
        auto aLeft = Halvable<Selection, Components>(theRow + i - Components, theAbove + i - Components);
        bool isWrapped = false;
        while (!isWrapped && i + kTouched <= theSamples)
        {
            isWrapped = !HalveBatch<Selection, Components>(aLeft, theDifferences + i, theAbove + i,
                                                           theRow + i, kBatch);
            i += kBatch;
        }
        if (isWrapped)
        {
            // A sample that wraps around is another one to halve. More of them are likely to follow: where
            // all do, the batches in vain may cost a few hundredths of the time.
            const std::size_t anEnd = std::min(i + kWrapped, theSamples);
            UndoSamples<Selection, Components>(theDifferences, theAbove, theRow, i - kBatch, anEnd);
            i = anEnd;
        }
    }
    return i;
}
#endif

template <int Selection, std::size_t Components>
void Undo(const std::uint16_t* theDifferences, const std::uint16_t* theAbove, std::uint16_t* theRow,
          std::size_t theWidth)
{
    for (std::size_t c = 0; c < Components; ++c)
    {
        theRow[c] = static_cast<std::uint16_t>(theDifferences[c] + theAbove[c]);
    }
    const std::size_t aSamples = theWidth * Components;
    std::size_t i = Components;
#if HWY_TARGET != HWY_SCALAR
    if constexpr (Selection <= 5)
    {
        i = UndoSums<Selection, Components>(theDifferences, theAbove, theRow, aSamples);
    }
    // SSSE3 cannot shift each lane by places of its own.
    else if constexpr (Components > 1 || HWY_TARGET != HWY_SSSE3)
    {
        i = UndoHalves<Selection, Components>(theDifferences, theAbove, theRow, aSamples);
    }
#endif
    UndoSamples<Selection, Components>(theDifferences, theAbove, theRow, i, aSamples);
}

using Function = void (*)(const std::uint16_t*, const std::uint16_t*, std::uint16_t*, std::size_t);

template <int Selection>
Function Select(std::size_t theComponents)
{
    constexpr std::array kFunctions = {&Undo<Selection, 1>, &Undo<Selection, 2>, &Undo<Selection, 3>,
                                       &Undo<Selection, 4>};
    return kFunctions.at(theComponents - 1);
}

void UndoRow(int theSelection, const std::uint16_t* theDifferences, const std::uint16_t* theAbove,
             std::uint16_t* theRow, std::size_t theWidth, std::size_t theComponents)
{
    constexpr std::array kSelects = {&Select<1>, &Select<2>, &Select<3>, &Select<4>,
                                     &Select<5>, &Select<6>, &Select<7>};
    const Function aFunction = kSelects.at(static_cast<std::size_t>(theSelection - 1))(theComponents);
    aFunction(theDifferences, theAbove, theRow, theWidth);
}

void StoreBytes(const std::uint16_t* theSamples, std::size_t theCount, int theShift, std::uint8_t* theBytes)
{
    const hn::ScalableTag<std::uint16_t> aTag;
    const hn::Rebind<std::uint8_t, decltype(aTag)> aBytes;
    std::size_t i = 0;
    for (; i + hn::Lanes(aTag) <= theCount; i += hn::Lanes(aTag))
    {
        const auto aSamples = hn::ShiftLeftSame(hn::LoadU(aTag, theSamples + i), theShift);
        hn::StoreU(hn::TruncateTo(aBytes, aSamples), aBytes, theBytes + i);
    }
    for (; i < theCount; ++i)
    {
        theBytes[i] = static_cast<std::uint8_t>(theSamples[i] << theShift);
    }
}

} // namespace HWY_NAMESPACE
} // namespace quorix_jpeg_lossless
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace quorix_jpeg_lossless
{
HWY_EXPORT(UndoRow);
HWY_EXPORT(StoreBytes);
} // namespace quorix_jpeg_lossless

void JPEGLosslessPredictor::UndoRow(int theSelection, const std::uint16_t* theDifferences,
                                    const std::uint16_t* theAbove, std::uint16_t* theRow,
                                    std::size_t theWidth, std::size_t theComponents)
{
    using namespace quorix_jpeg_lossless;
    HWY_DYNAMIC_DISPATCH(UndoRow)(theSelection, theDifferences, theAbove, theRow, theWidth, theComponents);
}

void JPEGLosslessPredictor::StoreBytes(const std::uint16_t* theSamples, std::size_t theCount, int theShift,
                                       std::uint8_t* theBytes)
{
    using namespace quorix_jpeg_lossless;
    HWY_DYNAMIC_DISPATCH(StoreBytes)(theSamples, theCount, theShift, theBytes);
}

void JPEGLosslessPredictor::UndoFirstRow(std::uint16_t theInitial, const std::uint16_t* theDifferences,
                                         std::uint16_t* theRow, std::size_t theWidth,
                                         std::size_t theComponents)
{
    for (std::size_t c = 0; c < theComponents; ++c)
    {
        std::uint16_t aLeft = theInitial;
        for (std::size_t i = c; i < theWidth * theComponents; i += theComponents)
        {
            aLeft = static_cast<std::uint16_t>(aLeft + theDifferences[i]);
            theRow[i] = aLeft;
        }
    }
}
#endif
