// SPDX-License-Identifier: Apache-2.0
// The second step of a clean-up pass, magnitudes and signs of all samples, compiled once for each instruction
// set.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/detail/blocks/HTMagnitudes.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>

#include "engine/detail/blocks/HTState.h"

HWY_BEFORE_NAMESPACE();
namespace j2k
{
namespace HWY_NAMESPACE
{
namespace hn = hwy::HWY_NAMESPACE;

/// Reads the magnitudes of one row of quads after the other, samples of any size.
struct WideReader
{
    /// 2m - 1 of a sample, 0 where m is 0: as wide as its exponent.
    static std::uint32_t GetPredictor(std::uint32_t theWord) { return theWord > 1 ? (theWord | 1) - 2 : 0; }

    /// U (T.814 7.3.7): the residual, and one less than the largest exponent in the line above from one
    /// column left of the quad to one right of it, where more than one sample is significant.
    static std::uint32_t GetLength(std::uint32_t theQuad, const std::uint32_t* theAbove)
    {
        const std::uint32_t aLargest = GetPredictor(theAbove[-1]) | GetPredictor(theAbove[0]) |
                                       GetPredictor(theAbove[1]) | GetPredictor(theAbove[2]);
        const auto aKappa = static_cast<std::uint32_t>(std::bit_width(aLargest | 2)) - 1;
        return (theQuad & HTQuad::kResidualMask) + (theQuad >> HTQuad::kRhoCountShift > 1 ? aKappa : 1);
    }

    std::uint32_t ReadWord(std::uint32_t theQuad, unsigned int theSample, std::uint32_t theLength)
    {
        if ((theQuad >> (HTQuad::kRhoShift + theSample) & 1) == 0)
        {
            return 0;
        }
        const std::uint32_t aLength = theLength - (theQuad >> (HTQuad::kKnownShift + theSample) & 1);
        const std::uint64_t aBits = itsBits.Load(itsPosition) & ((std::uint64_t{1} << aLength) - 1);
        const std::uint64_t aTop = std::uint64_t{theQuad >> (HTQuad::kOnesShift + theSample) & 1} << aLength;
        itsPosition += aLength;
        return static_cast<std::uint32_t>(aBits + aTop + 2);
    }

    /// theTop: the words of the upper one of the row's two lines; the others are theStride apart.
    bool ReadRow(const std::uint32_t* theQuads, std::size_t theColumns, std::uint32_t* theTop,
                 std::size_t theStride)
    {
        std::uint32_t* const aBottom = theTop + theStride;
        const std::uint32_t* const anAbove = theTop - theStride;
        std::uint32_t anAll = 0;
        itsPosition = std::min(itsPosition, itsBits.GetEnd()); // what follows is all the same
        for (std::size_t q = 0; q < theColumns; ++q)
        {
            const std::uint32_t aQuad = theQuads[q];
            const std::uint32_t aLength = GetLength(aQuad, anAbove + 2 * q);
            if (aQuad >> HTQuad::kRhoCountShift != 0 && aLength > itsMost)
            {
                return false;
            }
            theTop[2 * q] = ReadWord(aQuad, 0, aLength);
            aBottom[2 * q] = ReadWord(aQuad, 1, aLength);
            theTop[2 * q + 1] = ReadWord(aQuad, 2, aLength);
            aBottom[2 * q + 1] = ReadWord(aQuad, 3, aLength);
            anAll |= theTop[2 * q] | aBottom[2 * q] | theTop[2 * q + 1] | aBottom[2 * q + 1];
        }
        aBottom[-1] = 0;
        aBottom[2 * theColumns] = 0;
        return std::uint64_t{anAll} >> itsMost == 0;
    }

    const HTBits& itsBits;
    std::uint32_t itsMost; ///< bits of a word, its sign included
    std::size_t itsPosition = 0;
};

bool ReadWide(HTState& theState)
{
    WideReader aReader{theState.itsMagSgn, theState.itsBits + 1};
    const std::size_t aStride = theState.GetWordStride();
    std::fill_n(theState.GetWords(0) - aStride - 1, 2 * theState.itsQuadColumns + 2, 0U);
    theState.itsIsNarrow = false;
    for (std::size_t r = 0; r < theState.itsQuadRows; ++r)
    {
        if (!aReader.ReadRow(theState.GetQuads(r), theState.itsQuadColumns, theState.GetWords(2 * r),
                             aStride))
        {
            return false;
        }
    }
    return true;
}

#if HWY_TARGET == HWY_SCALAR

bool ReadMagnitudes(HTState& theState)
{
    return ReadWide(theState);
}

#else

/// A pair of quads is eight lanes of 16 bits: the samples of the first, then those of the second. Its bits
/// fit one window of 128 bits where no sample has more than kMostBits.
class NarrowReader
{
public:
    static constexpr std::uint32_t kMostBits = 15;

    explicit NarrowReader(HTState& theState)
        : itsBits(theState.itsMagSgn), itsStride(theState.GetWordStride()), itsPairs(theState.itsStride / 2)
    {
        // A window begins at least one bit before its first sample.
        itsBegin = itsBits.GetBytes() - 1;
        itsPosition = 7;
        // The bytes and bits where pairs begin, spread like windows; then the lengths of quads, and their
        // words.
        theState.itsPlaces.resize(std::max(theState.itsPlaces.size(), (4 + 2 + 2) * itsPairs));
        itsPlaces = theState.itsPlaces.data();
        itsLengths = itsPlaces + 4 * itsPairs;
        itsQuads = itsLengths + 2 * itsPairs;
    }

    /// Returns the largest U. If it is more than kMostBits nothing was read, otherwise all but the border of
    /// theQuads.
    std::uint32_t ReadRow(const std::uint32_t* theQuads, std::uint16_t* theTop);

    /// All words by or.
    std::uint16_t GetAll() const { return itsAll; }

private:
    static constexpr std::size_t kLanes = HWY_MAX_BYTES / sizeof(std::uint16_t);
    using Lanes = hn::FixedTag<std::uint16_t, kLanes>;
    using Bytes = hn::Repartition<std::uint8_t, Lanes>;
    using Halves = hn::Repartition<std::uint64_t, Lanes>;
    using Quads = hn::Repartition<std::uint32_t, Lanes>;
    using Words = hn::Vec<Lanes>;

    std::uint32_t FindLengths(const std::uint32_t* theQuads, const std::uint16_t* theAbove);
    void FindPlaces();
    HWY_INLINE Words LoadWindows(std::size_t thePair) const;
    HWY_INLINE Words ReadGroup(std::size_t thePair) const;

    const HTBits& itsBits;
    const std::uint8_t* itsBegin;
    std::size_t itsPosition;
    std::size_t itsStride;
    std::size_t itsPairs;
    std::uint32_t* itsPlaces;
    std::uint32_t* itsLengths;
    std::uint32_t* itsQuads; ///< with U in place of the residual
    std::uint16_t itsAll = 0;
};

/// Each quad's residual becomes its U, see WideReader::GetLength, and its bits are counted.
std::uint32_t NarrowReader::FindLengths(const std::uint32_t* theQuads, const std::uint16_t* theAbove)
{
    const Quads aTag;
    const Lanes aLanes;
    const hn::RebindToSigned<Quads> aSigned;
    const hn::RebindToFloat<Quads> aFloats;
    const auto anOne = hn::Set(aLanes, 1);
    const auto aPredictors = [&](const std::uint16_t* theWords) HWY_ATTR
    { return hn::SaturatedSub(hn::Or(hn::LoadU(aLanes, theWords), anOne), hn::Set(aLanes, 2)); };
    auto aMost = hn::Zero(aTag);
    for (std::size_t q = 0; q < 2 * itsPairs; q += hn::Lanes(aTag))
    {
        const auto aQuad = hn::LoadU(aTag, theQuads + q);
        const auto aNear =
            hn::BitCast(aTag, hn::Or(aPredictors(theAbove + 2 * q - 1), aPredictors(theAbove + 2 * q + 1)));
        const auto aLargest = hn::And(hn::Or(hn::Or(aNear, hn::ShiftRight<16>(aNear)), hn::Set(aTag, 2)),
                                      hn::Set(aTag, 0xFFFF));
        const auto aFloat = hn::ConvertTo(aFloats, hn::BitCast(aSigned, aLargest));
        const auto aKappa = hn::Sub(hn::ShiftRight<23>(hn::BitCast(aTag, aFloat)), hn::Set(aTag, 127));
        const auto aCount = hn::ShiftRight<HTQuad::kRhoCountShift>(aQuad);
        const auto hasMany = hn::Gt(hn::BitCast(aSigned, aCount), hn::Set(aSigned, 1));
        const auto hasNone = hn::Eq(aCount, hn::Zero(aTag));
        const auto aU = hn::IfThenZeroElse(
            hasNone, hn::Add(hn::And(aQuad, hn::Set(aTag, HTQuad::kResidualMask)),
                             hn::IfThenElse(hn::RebindMask(aTag, hasMany), aKappa, hn::Set(aTag, 1))));
        aMost = hn::Max(aMost, aU);
        const auto aKnown = hn::And(hn::ShiftRight<HTQuad::kKnownCountShift>(aQuad), hn::Set(aTag, 7));
        const auto aSum = hn::BitCast(aTag, hn::Mul(hn::BitCast(aLanes, aU), hn::BitCast(aLanes, aCount)));
        hn::StoreU(hn::Sub(aSum, aKnown), aTag, itsLengths + q);
        hn::StoreU(hn::Or(aU, hn::And(aQuad, hn::Set(aTag, 0xFFFF0000U))), aTag, itsQuads + q);
    }
    return hn::GetLane(hn::MaxOfLanes(aTag, aMost));
}

void NarrowReader::FindPlaces()
{
    std::size_t aPosition = std::min(itsPosition, itsBits.GetEnd() + 7); // what follows is all the same
    for (std::size_t p = 0; p < itsPairs; ++p)
    {
        itsPlaces[4 * p] = static_cast<std::uint32_t>(aPosition);
        aPosition += itsLengths[2 * p] + itsLengths[2 * p + 1];
    }
    itsPosition = aPosition;
}

HWY_INLINE NarrowReader::Words NarrowReader::LoadWindows(std::size_t thePair) const
{
    const Lanes aTag;
    const hn::FixedTag<std::uint8_t, 16> aBlock;
    const auto aLoad = [&](std::size_t thePlace) HWY_ATTR
    { return hn::LoadU(aBlock, itsBegin + itsPlaces[4 * thePlace] / 8); };
#if HWY_MAX_BYTES == 16
    return hn::BitCast(aTag, aLoad(thePair));
#else
    const hn::FixedTag<std::uint8_t, 32> aDouble;
    const auto aLow = hn::Combine(aDouble, aLoad(thePair + 1), aLoad(thePair));
#if HWY_MAX_BYTES == 32
    return hn::BitCast(aTag, aLow);
#else
    const auto aHigh = hn::Combine(aDouble, aLoad(thePair + 3), aLoad(thePair + 2));
    return hn::BitCast(aTag, hn::Combine(Bytes(), aHigh, aLow));
#endif
#endif
}

/// 2 to the power of theCounts, which are 0 to 15.
template <class Tag>
HWY_INLINE hn::Vec<Tag> GetPowers(Tag theTag, hn::Vec<Tag> theCounts)
{
#if HWY_TARGET == HWY_SSSE3 || HWY_TARGET == HWY_SSE4 || HWY_TARGET == HWY_AVX2
    // No shifts of 16 bits by lane: a table for either byte.
    alignas(16) static constexpr std::uint8_t kPowers[16] = {0, 0, 0, 0, 0,  0,  0,  0,
                                                             1, 2, 4, 8, 16, 32, 64, 128};
    const hn::Repartition<std::uint8_t, Tag> aBytes;
    const auto aTable = hn::LoadDup128(aBytes, kPowers);
    const auto anIndex = hn::Or(hn::Xor(theCounts, hn::Set(theTag, 8)), hn::ShiftLeft<8>(theCounts));
    return hn::BitCast(theTag, hn::TableLookupBytes(aTable, hn::BitCast(aBytes, anIndex)));
#else
    return hn::Shl(hn::Set(theTag, 1), theCounts);
#endif
}

/// Lanes of a pattern of 128 bits, repeated.
template <class Tag>
HWY_INLINE hn::Vec<Tag> Repeat(Tag theTag,
                               const std::array<hn::TFromD<Tag>, 16 / sizeof(hn::TFromD<Tag>)>& thePattern)
{
    return hn::LoadDup128(theTag, thePattern.data());
}

/// Words of several pairs, each one's upper samples first, then its lower ones.
HWY_INLINE NarrowReader::Words NarrowReader::ReadGroup(std::size_t thePair) const
{
    alignas(16) static constexpr std::array<std::uint8_t, 16> kLow{0, 1, 0, 1, 0, 1, 0, 1,
                                                                   8, 9, 8, 9, 8, 9, 8, 9};
    alignas(16) static constexpr std::array<std::uint8_t, 16> kHigh{2,  3,  2,  3,  2,  3,  2,  3,
                                                                    10, 11, 10, 11, 10, 11, 10, 11};
    alignas(16) static constexpr std::array<std::uint8_t, 16> kFirst{0, 1, 0, 1, 0, 1, 0, 1,
                                                                     0, 1, 0, 1, 0, 1, 0, 1};
    alignas(16) static constexpr std::array<std::uint8_t, 16> kLines{0, 1, 4, 5, 8,  9,  12, 13,
                                                                     2, 3, 6, 7, 10, 11, 14, 15};
    alignas(16) static constexpr std::array<std::uint16_t, 8> kSamples{1, 2, 4, 8, 1, 2, 4, 8};
    const Lanes aTag;
    const Bytes aBytes;
    const Halves aHalves;
    const auto aSpread = [&](auto theValues, const std::array<std::uint8_t, 16>& thePattern) HWY_ATTR
    {
        return hn::BitCast(aTag,
                           hn::TableLookupBytes(hn::BitCast(aBytes, theValues), Repeat(aBytes, thePattern)));
    };

    const hn::Rebind<std::uint32_t, Halves> aHalfQuads;
    const auto aQuads = hn::PromoteTo(aHalves, hn::LoadU(aHalfQuads, itsQuads + 2 * thePair));
    const auto aMasks = aSpread(aQuads, kHigh);
    const auto aSample = Repeat(aTag, kSamples);
    const auto isSignificant = hn::TestBit(aMasks, aSample);
    const auto isOne = hn::TestBit(aMasks, hn::ShiftLeft<HTQuad::kOnesShift - HTQuad::kRhoShift>(aSample));
    const auto isKnown = hn::TestBit(aMasks, hn::ShiftLeft<HTQuad::kKnownShift - HTQuad::kRhoShift>(aSample));

    const auto anOne = hn::Set(aTag, 1);
    const auto aLengths =
        hn::IfThenElseZero(isSignificant, hn::Sub(aSpread(aQuads, kLow), hn::IfThenElseZero(isKnown, anOne)));
    auto aSums = hn::Add(aLengths, hn::ShiftLeftLanes<1>(aTag, aLengths));
    aSums = hn::Add(aSums, hn::ShiftLeftLanes<2>(aTag, aSums));
    aSums = hn::Add(aSums, hn::ShiftLeftLanes<4>(aTag, aSums));
    const auto aStarts =
        hn::And(aSpread(hn::LoadU(Quads(), itsPlaces + 4 * thePair), kFirst), hn::Set(aTag, 7));
    const auto aPlaces = hn::Add(hn::Sub(aSums, aLengths), aStarts);

    // Sixteen bits behind place p: those of two bytes from p / 8 on without p % 8 + 1, and of the third.
    const auto aBytePlaces = hn::ShiftRight<3>(aPlaces);
    const auto aFirstBytes =
        hn::Add(hn::Or(aBytePlaces, hn::ShiftLeft<8>(aBytePlaces)), hn::Set(aTag, 0x0100));
    const auto aSecondBytes = hn::Add(aFirstBytes, hn::Set(aTag, 0x0202));
    const auto aWindows = LoadWindows(thePair);
    const auto aLow = hn::TableLookupBytes(aWindows, hn::BitCast(aTag, aFirstBytes));
    const auto aHigh = hn::TableLookupBytes(aWindows, hn::BitCast(aTag, aSecondBytes));
    const auto aFactors = GetPowers(aTag, hn::Sub(hn::Set(aTag, 15), hn::And(aPlaces, hn::Set(aTag, 7))));
    const auto aBits = hn::Or(hn::MulHigh(aLow, aFactors), hn::Mul(aHigh, aFactors));

    const auto aTops = GetPowers(aTag, aLengths);
    const auto aKept = hn::And(aBits, hn::Sub(aTops, anOne));
    const auto aValues = hn::Add(hn::Add(aKept, hn::IfThenElseZero(isOne, aTops)),
                                 hn::IfThenElseZero(isSignificant, hn::Set(aTag, 2)));
    return aSpread(aValues, kLines);
}

std::uint32_t NarrowReader::ReadRow(const std::uint32_t* theQuads, std::uint16_t* theTop)
{
    const std::uint32_t aMost = FindLengths(theQuads, theTop - itsStride);
    if (aMost > kMostBits)
    {
        return aMost;
    }
    FindPlaces();
    const Lanes aTag;
    const Halves aHalves;
    constexpr std::size_t kPairs = kLanes / 8;
    std::uint16_t* const aBottom = theTop + itsStride;
    auto anAll = hn::Zero(aTag);
    for (std::size_t p = 0; p < itsPairs; p += 2 * kPairs)
    {
        const auto aFirst = ReadGroup(p);
        const auto aSecond = ReadGroup(p + kPairs);
        anAll = hn::Or(anAll, hn::Or(aFirst, aSecond));
        const auto aLeft = hn::BitCast(aHalves, aFirst);
        const auto aRight = hn::BitCast(aHalves, aSecond);
        hn::StoreU(hn::BitCast(aTag, hn::ConcatEven(aHalves, aRight, aLeft)), aTag, theTop + 4 * p);
        hn::StoreU(hn::BitCast(aTag, hn::ConcatOdd(aHalves, aRight, aLeft)), aTag, aBottom + 4 * p);
    }
    alignas(64) std::uint16_t aLanes[kLanes];
    hn::Store(anAll, aTag, aLanes);
    for (const std::uint16_t aLane : aLanes)
    {
        itsAll |= aLane;
    }
    return aMost;
}

bool ReadMagnitudes(HTState& theState)
{
    const std::uint32_t aLimit = theState.itsBits + 1;
    NarrowReader aReader(theState);
    std::uint16_t* const aFirst = theState.GetNarrowWords(0);
    std::fill(aFirst - theState.GetWordStride() - 2 * HTState::kBorder, aFirst, std::uint16_t{0});
    for (std::size_t r = 0; r < theState.itsQuadRows; ++r)
    {
        const std::uint32_t aMost = aReader.ReadRow(theState.GetQuads(r), theState.GetNarrowWords(2 * r));
        if (aMost > aLimit)
        {
            return false;
        }
        if (aMost > NarrowReader::kMostBits)
        {
            return ReadWide(theState);
        }
    }
    theState.itsIsNarrow = true;
    return std::uint32_t{aReader.GetAll()} >> std::min(aLimit, 16U) == 0;
}

#endif

} // namespace HWY_NAMESPACE
} // namespace j2k
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace j2k
{
HWY_EXPORT(ReadMagnitudes);

bool ReadHTMagnitudes(HTState& theState)
{
    return HWY_DYNAMIC_DISPATCH(ReadMagnitudes)(theState);
}
} // namespace j2k
#endif
