// SPDX-License-Identifier: Apache-2.0
// Bitmaps of bit-planes turned into rows of numbers, compiled once for each instruction set.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/detail/blocks/BlockStore.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "engine/detail/blocks/BlockState.h"
#include "engine/detail/blocks/RegionStore-inl.h"

HWY_BEFORE_NAMESPACE();
namespace j2k
{
namespace HWY_NAMESPACE
{
namespace hn = hwy::HWY_NAMESPACE;

constexpr unsigned int kColumns = BlockState::kWordColumns;

/// Where one word's samples come from and what they are multiplied by.
struct WordSource
{
    const BlockState* itsState;
    std::size_t itsIndex;
    unsigned int itsFirstPlane; ///< becomes bit 0, or above it when lower planes are not stored
    unsigned int itsLowest;     ///< the lowest plane that is stored
    float itsStep;
};

#if HWY_TARGET == HWY_SCALAR

/// Lane is the type that a magnitude fits into.
template <class Lane, class Sample>
void ConvertWord(const WordSource& theSource, Sample* theRows, std::ptrdiff_t theStride)
{
    const BlockState& aState = *theSource.itsState;
    for (unsigned int b = 0; b < 64; ++b)
    {
        std::uint32_t aMagnitude = 0;
        for (unsigned int p = theSource.itsLowest; p <= aState.itsBitPlanes; ++p)
        {
            const std::uint64_t aWord = aState.GetPlane(p)[theSource.itsIndex];
            aMagnitude |= static_cast<std::uint32_t>(aWord >> b & 1) << (p - theSource.itsFirstPlane);
        }
        std::int32_t aValue = static_cast<std::int32_t>(aMagnitude);
        aValue = (aState.itsNegative[theSource.itsIndex] >> b & 1) != 0 ? -aValue : aValue;
        Sample& aSample = theRows[static_cast<std::ptrdiff_t>(b % 4) * theStride + b / 4];
        if constexpr (std::is_same_v<Sample, float>)
        {
            aSample = static_cast<float>(aValue) * theSource.itsStep;
        }
        else
        {
            aSample = static_cast<Sample>(aValue);
        }
    }
}

#else

/// For each column the two bytes of a word that hold it, as often as a lane has room for them.
template <class Lane>
constexpr std::array<std::uint8_t, kColumns * sizeof(Lane)> MakeColumnBytes()
{
    std::array<std::uint8_t, kColumns * sizeof(Lane)> aBytes{};
    for (unsigned int i = 0; i < aBytes.size(); ++i)
    {
        aBytes[i] = static_cast<std::uint8_t>(2 * (i / (4 * sizeof(Lane))) + i % 2);
    }
    return aBytes;
}

/// The bit of row 0 in each column's two bytes.
template <class Lane>
constexpr std::array<Lane, kColumns> MakeColumnBits()
{
    std::array<Lane, kColumns> aBits{};
    for (unsigned int i = 0; i < kColumns; ++i)
    {
        aBits[i] = static_cast<Lane>(1U << (4 * (i % 4)));
    }
    return aBits;
}

/// Values in two's complement, as lanes of 16 or 32 bits, stored as samples.
template <class D, class V>
HWY_INLINE void StoreSamples(D, V theValues, float, std::int16_t* theRow)
{
    const hn::RebindToSigned<D> aTag;
    if constexpr (sizeof(hn::TFromD<D>) == 2)
    {
        hn::StoreU(hn::BitCast(aTag, theValues), aTag, theRow);
    }
    else
    {
        const hn::Rebind<std::int16_t, D> aNarrow;
        hn::StoreU(hn::DemoteTo(aNarrow, hn::BitCast(aTag, theValues)), aNarrow, theRow);
    }
}

template <class D, class V>
HWY_INLINE void StoreSamples(D, V theValues, float, std::int32_t* theRow)
{
    const hn::RebindToSigned<D> aTag;
    const auto aSigned = hn::BitCast(aTag, theValues);
    if constexpr (sizeof(hn::TFromD<D>) == 2)
    {
        const hn::Half<decltype(aTag)> aHalf;
        const hn::Rebind<std::int32_t, decltype(aHalf)> aWide;
        hn::StoreU(hn::PromoteTo(aWide, hn::LowerHalf(aHalf, aSigned)), aWide, theRow);
        hn::StoreU(hn::PromoteTo(aWide, hn::UpperHalf(aHalf, aSigned)), aWide, theRow + hn::Lanes(aHalf));
    }
    else
    {
        hn::StoreU(aSigned, aTag, theRow);
    }
}

template <class D, class V>
HWY_INLINE void StoreSamples(D, V theValues, float theStep, float* theRow)
{
    const hn::RebindToSigned<D> aTag;
    const auto aSigned = hn::BitCast(aTag, theValues);
    if constexpr (sizeof(hn::TFromD<D>) == 2)
    {
        const hn::Half<decltype(aTag)> aHalf;
        const hn::Rebind<std::int32_t, decltype(aHalf)> aWide;
        StoreSamples(aWide, hn::PromoteTo(aWide, hn::LowerHalf(aHalf, aSigned)), theStep, theRow);
        StoreSamples(aWide, hn::PromoteTo(aWide, hn::UpperHalf(aHalf, aSigned)), theStep,
                     theRow + hn::Lanes(aHalf));
    }
    else
    {
        const hn::Rebind<float, D> aFloats;
        hn::StoreU(hn::Mul(hn::ConvertTo(aFloats, aSigned), hn::Set(aFloats, theStep)), aFloats, theRow);
    }
}

/// The 16 by 4 samples of a word. Lane is a type that holds magnitudes and their sign.
template <class Lane, class Sample>
HWY_INLINE void ConvertWord(const WordSource& theSource, Sample* theRows, std::ptrdiff_t theStride)
{
    alignas(64) static constexpr auto kColumnBytes = MakeColumnBytes<Lane>();
    alignas(64) static constexpr auto kColumnBits = MakeColumnBits<Lane>();
    const hn::CappedTag<Lane, kColumns> aTag;
    const hn::Repartition<std::uint8_t, decltype(aTag)> aBytes;
    const hn::Repartition<std::uint64_t, decltype(aTag)> aWords;
    const BlockState& aState = *theSource.itsState;
    for (std::size_t c = 0; c < kColumns; c += hn::Lanes(aTag))
    {
        const auto aPattern = hn::Load(aBytes, kColumnBytes.data() + c * sizeof(Lane));
        const auto aRow0 = hn::Load(aTag, kColumnBits.data() + c);
        const auto aRow1 = hn::ShiftLeft<1>(aRow0);
        const auto aRow2 = hn::ShiftLeft<2>(aRow0);
        const auto aRow3 = hn::ShiftLeft<3>(aRow0);
        const auto aSpread = [&](std::uint64_t theWord) HWY_ATTR {
            return hn::BitCast(aTag,
                               hn::TableLookupBytes(hn::BitCast(aBytes, hn::Set(aWords, theWord)), aPattern));
        };
        auto aValue0 = hn::Zero(aTag);
        auto aValue1 = hn::Zero(aTag);
        auto aValue2 = hn::Zero(aTag);
        auto aValue3 = hn::Zero(aTag);
        for (unsigned int p = theSource.itsLowest; p <= aState.itsBitPlanes; ++p)
        {
            const auto aPlane = aSpread(aState.GetPlane(p)[theSource.itsIndex]);
            const auto aBit = hn::Set(aTag, static_cast<Lane>(Lane{1} << (p - theSource.itsFirstPlane)));
            aValue0 = hn::Or(aValue0, hn::IfThenElseZero(hn::TestBit(aPlane, aRow0), aBit));
            aValue1 = hn::Or(aValue1, hn::IfThenElseZero(hn::TestBit(aPlane, aRow1), aBit));
            aValue2 = hn::Or(aValue2, hn::IfThenElseZero(hn::TestBit(aPlane, aRow2), aBit));
            aValue3 = hn::Or(aValue3, hn::IfThenElseZero(hn::TestBit(aPlane, aRow3), aBit));
        }
        const auto aSigns = aSpread(aState.itsNegative[theSource.itsIndex]);
        const auto anEmit = [&](auto theValue, auto theRowBit, std::ptrdiff_t theRow) HWY_ATTR
        {
            const auto aNegated = hn::Sub(hn::Zero(aTag), theValue);
            StoreSamples(aTag, hn::IfThenElse(hn::TestBit(aSigns, theRowBit), aNegated, theValue),
                         theSource.itsStep, theRows + theRow * theStride + static_cast<std::ptrdiff_t>(c));
        };
        anEmit(aValue0, aRow0, 0);
        anEmit(aValue1, aRow1, 1);
        anEmit(aValue2, aRow2, 2);
        anEmit(aValue3, aRow3, 3);
    }
}

#endif

/// Word after word; words at the block's right and lower edge go through a buffer.
template <class Lane, class Sample>
void ConvertBlock(const BlockState& theState, Sample* theRows, std::ptrdiff_t theStride,
                  unsigned int theFirstPlane, float theStep)
{
    WordSource aSource{&theState, 0, theFirstPlane, std::max(theState.itsLowestPlane, theFirstPlane),
                       theStep};
    for (std::uint32_t aStripe = 0; aStripe < theState.itsStripes; ++aStripe)
    {
        const std::uint32_t aRowCount = std::min(4U, theState.itsHeight - 4 * aStripe);
        Sample* aRow = theRows + static_cast<std::ptrdiff_t>(4 * aStripe) * theStride;
        for (std::uint32_t w = 0; w < theState.itsWords; ++w, ++aSource.itsIndex)
        {
            const std::uint32_t aColumnCount = std::min(kColumns, theState.itsWidth - kColumns * w);
            Sample* aFirst = aRow + static_cast<std::ptrdiff_t>(kColumns * w);
            if (aRowCount == 4 && aColumnCount == kColumns)
            {
                ConvertWord<Lane>(aSource, aFirst, theStride);
                continue;
            }
            alignas(64) std::array<Sample, 4 * kColumns> aBuffer;
            ConvertWord<Lane>(aSource, aBuffer.data(), kColumns);
            for (std::uint32_t r = 0; r < aRowCount; ++r)
            {
                std::memcpy(aFirst + static_cast<std::ptrdiff_t>(r) * theStride,
                            aBuffer.data() + r * kColumns, aColumnCount * sizeof(Sample));
            }
        }
    }
}

/// Magnitudes, doubled for floats: 16 bits hold them and their sign up to plane 15.
template <class Sample>
void Convert(const BlockState& theState, Sample* theRows, std::ptrdiff_t theStride, float theStep)
{
    const unsigned int aFirstPlane = std::is_same_v<Sample, float> ? 0 : 1;
    if (theState.itsBitPlanes - aFirstPlane < 15 || theState.itsBitPlanes == 0)
    {
        ConvertBlock<std::uint16_t>(theState, theRows, theStride, aFirstPlane, theStep);
    }
    else
    {
        ConvertBlock<std::uint32_t>(theState, theRows, theStride, aFirstPlane, theStep);
    }
}

void ConvertToInt16(const BlockState& theState, std::int16_t* theRows, std::ptrdiff_t theStride)
{
    Convert(theState, theRows, theStride, 0);
}

void ConvertToInt32(const BlockState& theState, std::int32_t* theRows, std::ptrdiff_t theStride)
{
    Convert(theState, theRows, theStride, 0);
}

void ConvertToDoubled(const BlockState& theState, std::int32_t* theRows, std::ptrdiff_t theStride)
{
    ConvertBlock<std::uint32_t>(theState, theRows, theStride, 0, 0);
}

void ConvertToFloat(const BlockState& theState, float* theRows, std::ptrdiff_t theStride, float theStep)
{
    Convert(theState, theRows, theStride, theStep);
}

} // namespace HWY_NAMESPACE
} // namespace j2k
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace j2k
{
HWY_EXPORT(ConvertToInt16);
HWY_EXPORT(ConvertToInt32);
HWY_EXPORT(ConvertToDoubled);
HWY_EXPORT(ConvertToFloat);

namespace
{
template <class Sample>
void StoreRegionOf(const BlockState& theState, Sample* theRows, const StoreTarget& theTarget)
{
    std::vector<std::int32_t> aDoubled(std::size_t{theState.itsWidth} * theState.itsHeight);
    HWY_DYNAMIC_DISPATCH(ConvertToDoubled)(theState, aDoubled.data(), theState.itsWidth);
    StoreRegion(aDoubled, theState.itsWidth, theRows, theTarget);
}
} // namespace

void StoreBlock(const BlockState& theState, std::int16_t* theRows, const StoreTarget& theTarget)
{
    if (theTarget.itsRegion.itsShift > 0)
    {
        StoreRegionOf(theState, theRows, theTarget);
        return;
    }
    HWY_DYNAMIC_DISPATCH(ConvertToInt16)(theState, theRows, theTarget.itsStride);
}

void StoreBlock(const BlockState& theState, std::int32_t* theRows, const StoreTarget& theTarget)
{
    if (theTarget.itsRegion.itsShift > 0)
    {
        StoreRegionOf(theState, theRows, theTarget);
        return;
    }
    HWY_DYNAMIC_DISPATCH(ConvertToInt32)(theState, theRows, theTarget.itsStride);
}

void StoreBlock(const BlockState& theState, float* theRows, const StoreTarget& theTarget)
{
    if (theTarget.itsRegion.itsShift > 0)
    {
        StoreRegionOf(theState, theRows, theTarget);
        return;
    }
    HWY_DYNAMIC_DISPATCH(ConvertToFloat)(theState, theRows, theTarget.itsStride, theTarget.itsStep / 2);
}
} // namespace j2k
#endif
