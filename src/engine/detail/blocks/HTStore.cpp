// SPDX-License-Identifier: Apache-2.0
// Words of samples turned into rows of numbers, compiled once for each instruction set.

// Scalable vectors (SVE) are left to NEON: a row is walked in vectors of a length known beforehand.
#define HWY_DISABLED_TARGETS (HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/detail/blocks/HTStore.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <type_traits>

#include "engine/detail/blocks/HTState.h"

HWY_BEFORE_NAMESPACE();
namespace j2k
{
namespace HWY_NAMESPACE
{
namespace hn = hwy::HWY_NAMESPACE;

/// The largest vectors of samples of 32 bits.
using Wide = hn::ScalableTag<std::uint32_t>;
using Signed = hn::RebindToSigned<Wide>;

/// Words out of narrow or wide ones.
HWY_INLINE hn::Vec<Wide> LoadWords(const std::uint32_t* theWords)
{
    return hn::LoadU(Wide(), theWords);
}
HWY_INLINE hn::Vec<Wide> LoadWords(const std::uint16_t* theWords)
{
    return hn::PromoteTo(Wide(), hn::LoadU(hn::Rebind<std::uint16_t, Wide>(), theWords));
}

/// The sign of theWords to magnitudes.
template <class Tag>
HWY_INLINE hn::Vec<hn::RebindToSigned<Tag>> Negate(Tag theTag, hn::Vec<Tag> theMagnitudes,
                                                   hn::Vec<Tag> theWords)
{
    const auto aSign = hn::Sub(hn::Zero(theTag), hn::And(theWords, hn::Set(theTag, 1)));
    return hn::BitCast(hn::RebindToSigned<Tag>(), hn::Sub(hn::Xor(theMagnitudes, aSign), aSign));
}

/// A sample that is kept as twice its value.
struct Doubled
{
    std::int32_t itsValue;
};

HWY_INLINE void StoreSamples(hn::Vec<Wide> theDoubled, hn::Vec<Wide> theWords, float, Doubled* theRow)
{
    hn::StoreU(Negate(Wide(), theDoubled, theWords), Signed(), &theRow->itsValue);
}

HWY_INLINE void StoreSamples(hn::Vec<Wide> theDoubled, hn::Vec<Wide> theWords, float theHalfStep,
                             float* theRow)
{
    const hn::Rebind<float, Wide> aTag;
    const auto aSamples = hn::ConvertTo(aTag, Negate(Wide(), theDoubled, theWords));
    hn::StoreU(hn::Mul(aSamples, hn::Set(aTag, theHalfStep)), aTag, theRow);
}

HWY_INLINE void StoreSamples(hn::Vec<Wide> theDoubled, hn::Vec<Wide> theWords, float, std::int32_t* theRow)
{
    hn::StoreU(Negate(Wide(), hn::ShiftRight<1>(theDoubled), theWords), Signed(), theRow);
}

HWY_INLINE void StoreSamples(hn::Vec<Wide> theDoubled, hn::Vec<Wide> theWords, float, std::int16_t* theRow)
{
    const hn::Rebind<std::int16_t, Wide> aTag;
    hn::StoreU(hn::DemoteTo(aTag, Negate(Wide(), hn::ShiftRight<1>(theDoubled), theWords)), aTag, theRow);
}

/// One vector of samples.
template <class Word, class Sample>
struct WordConverter
{
    static constexpr std::size_t kLanes = hn::MaxLanes(Wide());

    HWY_INLINE void Convert(const Word* theWords, Sample* theRow) const
    {
        const Wide aTag;
        const auto aWords = LoadWords(theWords);
        const auto anOdd = hn::ShiftLeftSame(hn::Or(aWords, hn::Set(aTag, 1)), itsPlane);
        const auto aDoubled = hn::IfThenZeroElse(hn::Eq(aWords, hn::Zero(aTag)), anOdd);
        StoreSamples(itsIsRefined ? hn::ShiftRight<1>(aWords) : aDoubled, aWords, itsHalfStep, theRow);
    }

    int itsPlane;
    bool itsIsRefined;
    float itsHalfStep;
};

/// Narrow words of plane 0: half of twice a sample is its magnitude.
struct ShortConverter
{
    using Tag = hn::ScalableTag<std::uint16_t>;
    static constexpr std::size_t kLanes = hn::MaxLanes(Tag());

    HWY_INLINE void Convert(const std::uint16_t* theWords, std::int16_t* theRow) const
    {
        const auto aWords = hn::LoadU(Tag(), theWords);
        hn::StoreU(Negate(Tag(), hn::ShiftRight<1>(aWords), aWords), hn::RebindToSigned<Tag>(), theRow);
    }
};

/// theWords: the first of rows that may be read to the next multiple of a vector.
template <class Converter, class Word, class Sample>
void ConvertRows(const HTState& theState, const Converter& theConverter, const Word* theWords,
                 Sample* theRows, std::ptrdiff_t theStride)
{
    constexpr std::size_t kLanes = Converter::kLanes;
    const std::size_t aWidth = theState.itsWidth;
    for (std::uint32_t y = 0; y < theState.itsHeight;
         ++y, theRows += theStride, theWords += theState.GetWordStride())
    {
        std::size_t x = 0;
        for (; x + kLanes <= aWidth; x += kLanes)
        {
            theConverter.Convert(theWords + x, theRows + x);
        }
        if (x < aWidth)
        {
            std::array<Sample, kLanes> aBuffer;
            theConverter.Convert(theWords + x, aBuffer.data());
            std::copy_n(aBuffer.data(), aWidth - x, theRows + x);
        }
    }
}

template <class Sample>
void Convert(const HTState& theState, Sample* theRows, std::ptrdiff_t theStride, float theHalfStep)
{
    const int aPlane = static_cast<int>(theState.itsPlane);
    if (!theState.itsIsNarrow)
    {
        const WordConverter<std::uint32_t, Sample> aConverter{aPlane, theState.itsIsRefined, theHalfStep};
        ConvertRows(theState, aConverter, theState.GetWords(0), theRows, theStride);
        return;
    }
    if constexpr (std::is_same_v<Sample, std::int16_t>)
    {
        if (aPlane == 0)
        {
            ConvertRows(theState, ShortConverter(), theState.GetNarrowWords(0), theRows, theStride);
            return;
        }
    }
    const WordConverter<std::uint16_t, Sample> aConverter{aPlane, false, theHalfStep};
    ConvertRows(theState, aConverter, theState.GetNarrowWords(0), theRows, theStride);
}

void ConvertToInt16(const HTState& theState, std::int16_t* theRows, std::ptrdiff_t theStride,
                    float theHalfStep)
{
    Convert(theState, theRows, theStride, theHalfStep);
}

void ConvertToInt32(const HTState& theState, std::int32_t* theRows, std::ptrdiff_t theStride,
                    float theHalfStep)
{
    Convert(theState, theRows, theStride, theHalfStep);
}

void ConvertToFloat(const HTState& theState, float* theRows, std::ptrdiff_t theStride, float theHalfStep)
{
    Convert(theState, theRows, theStride, theHalfStep);
}

void ConvertToDoubled(const HTState& theState, std::int32_t* theSamples)
{
    static_assert(sizeof(Doubled) == sizeof(std::int32_t));
    Convert(theState, reinterpret_cast<Doubled*>(theSamples), theState.itsWidth, 0);
}

} // namespace HWY_NAMESPACE
} // namespace j2k
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace j2k
{
HWY_EXPORT(ConvertToInt16);
HWY_EXPORT(ConvertToInt32);
HWY_EXPORT(ConvertToFloat);
HWY_EXPORT(ConvertToDoubled);

void StoreHTBlock(const HTState& theState, std::int16_t* theRows, std::ptrdiff_t theStride, float theHalfStep)
{
    HWY_DYNAMIC_DISPATCH(ConvertToInt16)(theState, theRows, theStride, theHalfStep);
}

void StoreHTBlock(const HTState& theState, std::int32_t* theRows, std::ptrdiff_t theStride, float theHalfStep)
{
    HWY_DYNAMIC_DISPATCH(ConvertToInt32)(theState, theRows, theStride, theHalfStep);
}

void StoreHTBlock(const HTState& theState, float* theRows, std::ptrdiff_t theStride, float theHalfStep)
{
    HWY_DYNAMIC_DISPATCH(ConvertToFloat)(theState, theRows, theStride, theHalfStep);
}

void StoreHTDoubled(const HTState& theState, std::int32_t* theSamples)
{
    HWY_DYNAMIC_DISPATCH(ConvertToDoubled)(theState, theSamples);
}
} // namespace j2k
#endif
