// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/detail/JPEGLosslessScan.h"

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

#if HWY_TARGET != HWY_SCALAR
using Tag = hn::Full128<std::uint16_t>;
using Vector = hn::VFromD<Tag>;

/// What a prediction from above is, or adds to the sample to the left, modulo 65536.
template <int Selection>
Vector FromAbove(Tag theTag, const std::uint16_t* theAbove)
{
    const Vector anAbove = hn::LoadU(theTag, theAbove);
    const Vector aCorner = hn::LoadU(theTag, theAbove - 1);
    if constexpr (Selection == 5)
    {
        // Half the difference, rounded down, though the difference has 17 bits.
        const Vector aBorrow = hn::And(hn::AndNot(anAbove, aCorner), hn::Set(theTag, std::uint16_t{1}));
        return hn::Sub(hn::Sub(hn::ShiftRight<1>(anAbove), hn::ShiftRight<1>(aCorner)), aBorrow);
    }
    return Selection == 2 ? anAbove : Selection == 3 ? aCorner : hn::Sub(anAbove, aCorner);
}

/// Each lane becomes the sum of itself and those before it.
Vector RunningSums(Tag theTag, Vector theValues)
{
    theValues = hn::Add(theValues, hn::ShiftLeftLanes<1>(theTag, theValues));
    theValues = hn::Add(theValues, hn::ShiftLeftLanes<2>(theTag, theValues));
    return hn::Add(theValues, hn::ShiftLeftLanes<4>(theTag, theValues));
}

/// One component, whole vectors from sample 1 on, for the predictions that are sums. Returns the index of
/// the first sample that is left.
template <int Selection>
std::size_t UndoVectors(const std::uint16_t* theDifferences, const std::uint16_t* theAbove,
                        std::uint16_t* theRow, std::size_t theWidth)
{
    const Tag aTag;
    constexpr std::size_t kLanes = 8;
    Vector aLeft = hn::Set(aTag, theRow[0]);
    std::size_t i = 1;
    for (; i + kLanes <= theWidth; i += kLanes)
    {
        Vector aValue = hn::LoadU(aTag, theDifferences + i);
        if constexpr (Selection != 1)
        {
            aValue = hn::Add(aValue, FromAbove<Selection>(aTag, theAbove + i));
        }
        if constexpr (Selection != 2 && Selection != 3)
        {
            aValue = hn::Add(RunningSums(aTag, aValue), aLeft);
            aLeft = hn::Broadcast<kLanes - 1>(aValue);
        }
        hn::StoreU(aValue, aTag, theRow + i);
    }
    return i;
}
#endif

/// One component or several, whose chains of additions the processor works on side by side.
template <int Selection, std::size_t Components>
void Undo(const std::uint16_t* theDifferences, const std::uint16_t* theAbove, std::uint16_t* theRow,
          std::size_t theWidth)
{
    std::array<int, Components> aLeft{};
    for (std::size_t c = 0; c < Components; ++c)
    {
        theRow[c] = static_cast<std::uint16_t>(theDifferences[c] + theAbove[c]);
        aLeft[c] = theRow[c];
    }
    std::size_t i = Components;
#if HWY_TARGET != HWY_SCALAR
    if constexpr (Components == 1 && Selection <= 5)
    {
        i = UndoVectors<Selection>(theDifferences, theAbove, theRow, theWidth);
        aLeft[0] = theRow[i - 1];
    }
#endif
    for (; i < theWidth * Components; i += Components)
    {
        for (std::size_t c = 0; c < Components; ++c)
        {
            theRow[i + c] = static_cast<std::uint16_t>(Sum<Selection>(
                theDifferences[i + c], aLeft[c], theAbove[i + c], theAbove[i + c - Components]));
            aLeft[c] = theRow[i + c];
        }
    }
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

} // namespace HWY_NAMESPACE
} // namespace quorix_jpeg_lossless
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace quorix_jpeg_lossless
{
HWY_EXPORT(UndoRow);
} // namespace quorix_jpeg_lossless

void JPEGLosslessPredictor::UndoRow(int theSelection, const std::uint16_t* theDifferences,
                                    const std::uint16_t* theAbove, std::uint16_t* theRow,
                                    std::size_t theWidth, std::size_t theComponents)
{
    using namespace quorix_jpeg_lossless;
    HWY_DYNAMIC_DISPATCH(UndoRow)(theSelection, theDifferences, theAbove, theRow, theWidth, theComponents);
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
