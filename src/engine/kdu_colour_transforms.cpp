// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_colour_transforms.h"

#include <cstddef>

// This file is compiled once for each instruction set; the best one is chosen when the program runs.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/kdu_colour_transforms.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace ComponentTransforms
{
namespace HWY_NAMESPACE
{
namespace hn = hwy::HWY_NAMESPACE;

/// The lines' memory as the numbers it holds.
template <class Number, class Sample>
HWY_INLINE Number* ToNumbers(Sample* theSamples)
{
    static_assert(sizeof(Number) == sizeof(Sample));
    return reinterpret_cast<Number*>(theSamples);
}

// Three vectors come back through references: a scalable vector (SVE) cannot be the member of a struct.

/// RCT (T.800 G.2.2).
struct ReversibleTransform
{
    template <class Tag, class Vector = hn::Vec<Tag>>
    HWY_INLINE void operator()(Tag, Vector theY, Vector theU, Vector theV, Vector& theRed, Vector& theGreen,
                               Vector& theBlue) const
    {
        // floor((U + V) / 4), also where the sum does not fit.
        const auto anAverage = hn::Add(hn::And(theU, theV), hn::ShiftRight<1>(hn::Xor(theU, theV)));
        theGreen = hn::Sub(theY, hn::ShiftRight<1>(anAverage));
        theRed = hn::Add(theV, theGreen);
        theBlue = hn::Add(theU, theGreen);
    }
};

/// ICT (T.800 G.3.2). Products and sums stay apart: fused, they would round differently from machine to
/// machine.
struct IrreversibleTransform
{
    template <class Tag, class Vector = hn::Vec<Tag>>
    HWY_INLINE void operator()(Tag theTag, Vector theY, Vector theCb, Vector theCr, Vector& theRed,
                               Vector& theGreen, Vector& theBlue) const
    {
        theRed = hn::Add(theY, hn::Mul(hn::Set(theTag, 1.402f), theCr));
        theGreen = hn::Sub(hn::Sub(theY, hn::Mul(hn::Set(theTag, 0.344136f), theCb)),
                           hn::Mul(hn::Set(theTag, 0.714136f), theCr));
        theBlue = hn::Add(theY, hn::Mul(hn::Set(theTag, 1.772f), theCb));
    }
};

/// Numbers that are computed with as they are stored.
struct StoredDirectly
{
    template <class Tag, class Number>
    HWY_INLINE hn::Vec<Tag> Load(Tag theTag, const Number* theNumbers) const
    {
        return hn::LoadU(theTag, theNumbers);
    }
    template <class Tag, class Number>
    HWY_INLINE void Store(Tag theTag, hn::Vec<Tag> theVector, Number* theNumbers) const
    {
        hn::StoreU(theVector, theTag, theNumbers);
    }
};

/// 16-bit integers that are computed with as floats; results are rounded and saturate.
struct StoredAsShorts
{
    template <class Tag>
    HWY_INLINE hn::Vec<Tag> Load(Tag theTag, const int16_t* theNumbers) const
    {
        const auto aShorts = hn::LoadU(hn::Rebind<int16_t, Tag>(), theNumbers);
        return hn::ConvertTo(theTag, hn::PromoteTo(hn::Rebind<int32_t, Tag>(), aShorts));
    }
    template <class Tag>
    HWY_INLINE void Store(Tag, hn::Vec<Tag> theVector, int16_t* theNumbers) const
    {
        const hn::Rebind<int16_t, Tag> aTag;
        hn::StoreU(hn::DemoteTo(aTag, hn::NearestInt(theVector)), aTag, theNumbers);
    }
};

template <class Tag, class Transform, class Storage, class Number>
HWY_INLINE size_t ConvertVectors(Tag theTag, Number* theFirst, Number* theSecond, Number* theThird,
                                 size_t theBegin, size_t theEnd)
{
    const Storage aStorage;
    size_t i = theBegin;
    for (; i + hn::Lanes(theTag) <= theEnd; i += hn::Lanes(theTag))
    {
        hn::Vec<Tag> aRed, aGreen, aBlue;
        Transform()(theTag, aStorage.Load(theTag, theFirst + i), aStorage.Load(theTag, theSecond + i),
                    aStorage.Load(theTag, theThird + i), aRed, aGreen, aBlue);
        aStorage.Store(theTag, aRed, theFirst + i);
        aStorage.Store(theTag, aGreen, theSecond + i);
        aStorage.Store(theTag, aBlue, theThird + i);
    }
    return i;
}

/// Computed: the type that is computed with.
template <class Computed, class Transform, class Storage, class Number>
HWY_INLINE void Convert(Number* theFirst, Number* theSecond, Number* theThird, int theWidth)
{
    const size_t anEnd = theWidth > 0 ? static_cast<size_t>(theWidth) : 0;
    const size_t aDone = ConvertVectors<hn::ScalableTag<Computed>, Transform, Storage>(
        hn::ScalableTag<Computed>(), theFirst, theSecond, theThird, 0, anEnd);
    // What is left: the same operations on one sample.
    ConvertVectors<hn::CappedTag<Computed, 1>, Transform, Storage>(hn::CappedTag<Computed, 1>(), theFirst,
                                                                   theSecond, theThird, aDone, anEnd);
}

void ConvertReversible16(kdu_sample16* theFirst, kdu_sample16* theSecond, kdu_sample16* theThird,
                         int theWidth)
{
    Convert<int16_t, ReversibleTransform, StoredDirectly>(
        ToNumbers<int16_t>(theFirst), ToNumbers<int16_t>(theSecond), ToNumbers<int16_t>(theThird), theWidth);
}

void ConvertReversible32(kdu_sample32* theFirst, kdu_sample32* theSecond, kdu_sample32* theThird,
                         int theWidth)
{
    Convert<int32_t, ReversibleTransform, StoredDirectly>(
        ToNumbers<int32_t>(theFirst), ToNumbers<int32_t>(theSecond), ToNumbers<int32_t>(theThird), theWidth);
}

void ConvertIrreversible16(kdu_sample16* theFirst, kdu_sample16* theSecond, kdu_sample16* theThird,
                           int theWidth)
{
    Convert<float, IrreversibleTransform, StoredAsShorts>(
        ToNumbers<int16_t>(theFirst), ToNumbers<int16_t>(theSecond), ToNumbers<int16_t>(theThird), theWidth);
}

void ConvertIrreversible32(kdu_sample32* theFirst, kdu_sample32* theSecond, kdu_sample32* theThird,
                           int theWidth)
{
    Convert<float, IrreversibleTransform, StoredDirectly>(
        ToNumbers<float>(theFirst), ToNumbers<float>(theSecond), ToNumbers<float>(theThird), theWidth);
}
} // namespace HWY_NAMESPACE
} // namespace ComponentTransforms
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace ComponentTransforms
{
HWY_EXPORT(ConvertReversible16);
HWY_EXPORT(ConvertReversible32);
HWY_EXPORT(ConvertIrreversible16);
HWY_EXPORT(ConvertIrreversible32);
} // namespace ComponentTransforms

void kdu_convert_ycc_to_rgb_rev16(kdu_sample16* theFirst, kdu_sample16* theSecond, kdu_sample16* theThird,
                                  int theWidth)
{
    using namespace ComponentTransforms;
    HWY_DYNAMIC_DISPATCH(ConvertReversible16)(theFirst, theSecond, theThird, theWidth);
}

void kdu_convert_ycc_to_rgb_rev32(kdu_sample32* theFirst, kdu_sample32* theSecond, kdu_sample32* theThird,
                                  int theWidth)
{
    using namespace ComponentTransforms;
    HWY_DYNAMIC_DISPATCH(ConvertReversible32)(theFirst, theSecond, theThird, theWidth);
}

void kdu_convert_ycc_to_rgb_irrev16(kdu_sample16* theFirst, kdu_sample16* theSecond, kdu_sample16* theThird,
                                    int theWidth)
{
    using namespace ComponentTransforms;
    HWY_DYNAMIC_DISPATCH(ConvertIrreversible16)(theFirst, theSecond, theThird, theWidth);
}

void kdu_convert_ycc_to_rgb_irrev32(kdu_sample32* theFirst, kdu_sample32* theSecond, kdu_sample32* theThird,
                                    int theWidth)
{
    using namespace ComponentTransforms;
    HWY_DYNAMIC_DISPATCH(ConvertIrreversible32)(theFirst, theSecond, theThird, theWidth);
}
#endif
