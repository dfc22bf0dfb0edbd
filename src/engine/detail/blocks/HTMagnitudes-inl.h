// SPDX-License-Identifier: Apache-2.0
// The second step of a clean-up pass: magnitudes and signs of all samples. Compiled once for each instruction
// set, so no ordinary include guard.
#if defined(QUORIX_ENGINE_HT_MAGNITUDES) == defined(HWY_TARGET_TOGGLE)
#ifdef QUORIX_ENGINE_HT_MAGNITUDES
#undef QUORIX_ENGINE_HT_MAGNITUDES
#else
#define QUORIX_ENGINE_HT_MAGNITUDES
#endif

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include <hwy/highway.h>

#include "engine/detail/blocks/HTQuads-inl.h"
#include "engine/detail/blocks/HTState.h"

HWY_BEFORE_NAMESPACE();
namespace j2k
{
namespace HWY_NAMESPACE
{
namespace hn = hwy::HWY_NAMESPACE;

/// Reads narrow words, row by row and piece by piece, from rows of quads that are finished.
///
/// A pair of quads is eight lanes of 16 bits: the samples of the first, then those of the second. Its bits
/// fit one window of 128 bits where no sample has more than kMostBits; at the first quad that has more the
/// reader gives up.
class NarrowReader
{
public:
    static constexpr std::uint32_t kMostBits = 15;

    explicit NarrowReader(HTState& theState)
        : itsState(theState), itsLimit(std::min(theState.itsBits + 1, kMostBits))
    {
        std::fill_n(theState.GetNarrowWords(0) - theState.GetWordStride(), theState.GetWordStride(),
                    std::uint16_t{0});
    }

    /// theRow: of quads. Pieces of the row above are all read.
    void BeginRow(std::size_t theRow)
    {
        itsRowQuads = itsState.GetQuads(theRow);
        itsTop = itsState.GetNarrowWords(2 * theRow);
        // Left and right of what the row above wrote.
        std::uint16_t* const anAbove = itsTop - itsState.GetWordStride();
        anAbove[-1] = 0;
        anAbove[2 * ((itsState.itsQuadColumns + kPieceQuads - 1) / kPieceQuads * kPieceQuads)] = 0;
        itsPosition =
            std::min(itsPosition, itsState.itsMagSgn.GetEnd() + kFirst); // what follows is all the same
    }

    /// The words of kPieceQuads quads from theQuad on.
    HWY_INLINE void ReadPiece(std::size_t theQuad);

    bool HasGivenUp() const { return itsHasGivenUp; }

    /// Whether no word has more bits than the block allows.
    bool IsValid() const
    {
        std::uint32_t anAll = 0;
        for (const std::uint16_t aWord : itsAll)
        {
            anAll |= aWord;
        }
        return anAll >> std::min(itsState.itsBits + 1, 16U) == 0;
    }

private:
    static constexpr std::size_t kLanes = 2 * kPieceQuads;
    static constexpr std::size_t kPairs = kLanes / 8; ///< in a vector
    using Lanes = hn::FixedTag<std::uint16_t, kLanes>;
    using Bytes = hn::Repartition<std::uint8_t, Lanes>;
    using Halves = hn::Repartition<std::uint64_t, Lanes>;
    using Quads = hn::Repartition<std::uint32_t, Lanes>;
    using Words = hn::Vec<Lanes>;

    /// Positions count from the byte before the first one, less a bit: windows begin at least a bit before
    /// their first sample.
    static constexpr std::size_t kFirst = 7;

    HWY_INLINE bool FindLengths(std::size_t theQuad);
    HWY_INLINE void FindPlaces();
    HWY_INLINE Words LoadWindows(std::size_t thePair) const;
    HWY_INLINE static Words ReadBits(Words theWindows, Words thePlaces);
    HWY_INLINE Words ReadGroup(std::size_t thePair) const;
    HWY_INLINE void StoreWords(std::size_t theQuad, Words theFirst, Words theSecond);

    HTState& itsState;
    std::uint32_t itsLimit;
    const std::uint32_t* itsRowQuads = nullptr;
    std::uint16_t* itsTop = nullptr;
    std::size_t itsPosition = kFirst;
    bool itsHasGivenUp = false;

    // Of a piece.
    alignas(64) std::array<std::uint32_t, kPieceQuads> itsLengths{}; ///< bits of each quad
    alignas(64) std::array<std::uint32_t, kPieceQuads> itsQuads{};   ///< with U in place of the residual
    alignas(
        64) std::array<std::uint32_t, 2 * kPieceQuads> itsPlaces{}; ///< of each pair, as far apart as windows

    alignas(64) std::array<std::uint16_t, kLanes> itsAll{}; ///< all words by or
};

// U (T.814 7.3.7): the residual, and one less than the largest exponent in the line above from one column
// left of the quad to one right of it, where more than one sample is significant. False where it is too
// large.
HWY_INLINE bool NarrowReader::FindLengths(std::size_t theQuad)
{
    const Quads aTag;
    const Lanes aLanes;
    const hn::RebindToSigned<Quads> aSigned;
    const hn::RebindToFloat<Quads> aFloats;
    const std::uint16_t* const anAbove = itsTop - itsState.GetWordStride() + 2 * theQuad;
    // 2m - 1 of a sample, 0 where m is 0: as wide as its exponent.
    const auto aPredictors = [&](const std::uint16_t* theWords) HWY_ATTR
    { return hn::SaturatedSub(hn::Or(hn::LoadU(aLanes, theWords), hn::Set(aLanes, 1)), hn::Set(aLanes, 2)); };
    const auto aNear = hn::BitCast(aTag, hn::Or(aPredictors(anAbove - 1), aPredictors(anAbove + 1)));
    const auto aLargest =
        hn::And(hn::Or(hn::Or(aNear, hn::ShiftRight<16>(aNear)), hn::Set(aTag, 2)), hn::Set(aTag, 0xFFFF));
    const auto aFloat = hn::ConvertTo(aFloats, hn::BitCast(aSigned, aLargest));
    const auto aKappa = hn::Sub(hn::ShiftRight<23>(hn::BitCast(aTag, aFloat)), hn::Set(aTag, 127));

    const auto aQuad = hn::LoadU(aTag, itsRowQuads + theQuad);
    const auto aCount = hn::ShiftRight<HTQuad::kRhoCountShift>(aQuad);
    const auto hasMany = hn::RebindMask(aTag, hn::Gt(hn::BitCast(aSigned, aCount), hn::Set(aSigned, 1)));
    const auto aLeast = hn::IfThenElse(hasMany, aKappa, hn::Set(aTag, 1));
    const auto aSum = hn::Add(hn::And(aQuad, hn::Set(aTag, HTQuad::kResidualMask)), aLeast);
    const auto aU = hn::IfThenZeroElse(hn::Eq(aCount, hn::Zero(aTag)), aSum);
    const auto isLarge =
        hn::Gt(hn::BitCast(aSigned, aU), hn::Set(aSigned, static_cast<std::int32_t>(itsLimit)));
    if (HWY_UNLIKELY(!hn::AllFalse(aSigned, isLarge)))
    {
        return false;
    }
    const auto aKnown =
        hn::And(hn::ShiftRight<HTQuad::kKnownCountShift>(aQuad), hn::Set(aTag, HTQuad::kCountMask));
    const auto aLength = hn::Mul(hn::BitCast(aLanes, aU), hn::BitCast(aLanes, aCount));
    hn::Store(hn::Sub(hn::BitCast(aTag, aLength), aKnown), aTag, itsLengths.data());
    hn::Store(hn::Or(aU, hn::And(aQuad, hn::Set(aTag, 0xFFFF0000U))), aTag, itsQuads.data());
    return true;
}

HWY_INLINE void NarrowReader::FindPlaces()
{
    std::size_t aPosition = itsPosition;
    for (std::size_t q = 0; q < kPieceQuads; q += 2)
    {
        itsPlaces[2 * q] = static_cast<std::uint32_t>(aPosition);
        aPosition += itsLengths[q] + itsLengths[q + 1];
    }
    itsPosition = aPosition;
}

HWY_INLINE NarrowReader::Words NarrowReader::LoadWindows(std::size_t thePair) const
{
    const Lanes aTag;
    const hn::FixedTag<std::uint8_t, 16> aBlock;
    const std::uint8_t* const aBegin = itsState.itsMagSgn.GetBytes() - 1;
    const auto aLoad = [&](std::size_t thePlace) HWY_ATTR
    { return hn::LoadU(aBlock, aBegin + itsPlaces[4 * thePlace] / 8); };
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

/// Sixteen bits of each block's window, from place p + 1 on: those of two bytes behind p / 8 without p % 8 +
/// 1, and of the third.
HWY_INLINE NarrowReader::Words NarrowReader::ReadBits(Words theWindows, Words thePlaces)
{
    const Lanes aTag;
    const auto aByte = hn::ShiftRight<3>(thePlaces);
    const auto aFirstBytes = hn::Add(hn::Or(aByte, hn::ShiftLeft<8>(aByte)), hn::Set(aTag, 0x0100));
    const auto aSecondBytes = hn::Add(aFirstBytes, hn::Set(aTag, 0x0202));
    const auto aLow = hn::TableLookupBytes(theWindows, aFirstBytes);
    const auto aHigh = hn::TableLookupBytes(theWindows, aSecondBytes);
    const auto aFactors = GetPowers(aTag, hn::Sub(hn::Set(aTag, 15), hn::And(thePlaces, hn::Set(aTag, 7))));
    return hn::Or(hn::MulHigh(aLow, aFactors), hn::Mul(aHigh, aFactors));
}

/// Words of several pairs, each one's upper samples first, then its lower ones.
HWY_INLINE NarrowReader::Words NarrowReader::ReadGroup(std::size_t thePair) const
{
    using Pattern = std::array<std::uint8_t, 16>;
    alignas(16) static constexpr Pattern kLow{0, 1, 0, 1, 0, 1, 0, 1, 8, 9, 8, 9, 8, 9, 8, 9};
    alignas(16) static constexpr Pattern kHigh{2, 3, 2, 3, 2, 3, 2, 3, 10, 11, 10, 11, 10, 11, 10, 11};
    alignas(16) static constexpr Pattern kFirstLane{0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1, 0, 1};
    alignas(16) static constexpr Pattern kLines{0, 1, 4, 5, 8, 9, 12, 13, 2, 3, 6, 7, 10, 11, 14, 15};
    alignas(16) static constexpr std::array<std::uint16_t, 8> kSamples{1, 2, 4, 8, 1, 2, 4, 8};
    const Lanes aTag;
    const Bytes aBytes;
    const auto aShuffle = [&](auto theValues, const Pattern& thePattern) HWY_ATTR
    {
        const auto anOrder = hn::LoadDup128(aBytes, thePattern.data());
        return hn::BitCast(aTag, hn::TableLookupBytes(hn::BitCast(aBytes, theValues), anOrder));
    };

    const hn::Rebind<std::uint32_t, Halves> aHalfQuads;
    const auto aQuads = hn::PromoteTo(Halves(), hn::LoadU(aHalfQuads, itsQuads.data() + 2 * thePair));
    const auto aMasks = aShuffle(aQuads, kHigh);
    const auto aSample = hn::LoadDup128(aTag, kSamples.data());
    const auto isSignificant = hn::TestBit(aMasks, aSample);
    const auto isOne = hn::TestBit(aMasks, hn::ShiftLeft<HTQuad::kOnesShift - HTQuad::kRhoShift>(aSample));
    const auto isKnown = hn::TestBit(aMasks, hn::ShiftLeft<HTQuad::kKnownShift - HTQuad::kRhoShift>(aSample));

    const auto anOne = hn::Set(aTag, 1);
    const auto aLength = hn::Sub(aShuffle(aQuads, kLow), hn::IfThenElseZero(isKnown, anOne));
    const auto aLengths = hn::IfThenElseZero(isSignificant, aLength);
    auto aSums = hn::Add(aLengths, hn::ShiftLeftLanes<1>(aTag, aLengths));
    aSums = hn::Add(aSums, hn::ShiftLeftLanes<2>(aTag, aSums));
    aSums = hn::Add(aSums, hn::ShiftLeftLanes<4>(aTag, aSums));
    const auto aStart = aShuffle(hn::LoadU(Quads(), itsPlaces.data() + 4 * thePair), kFirstLane);
    const auto aPlaces = hn::Add(hn::Sub(aSums, aLengths), hn::And(aStart, hn::Set(aTag, 7)));

    const auto aTops = GetPowers(aTag, aLengths);
    const auto aKept = hn::And(ReadBits(LoadWindows(thePair), aPlaces), hn::Sub(aTops, anOne));
    const auto aValues = hn::Add(aKept, hn::IfThenElseZero(isOne, aTops));
    return aShuffle(hn::Add(aValues, hn::IfThenElseZero(isSignificant, hn::Set(aTag, 2))), kLines);
}

HWY_INLINE void NarrowReader::ReadPiece(std::size_t theQuad)
{
    const Lanes aTag;
    const Quads aQuads;
    if (hn::AllTrue(aQuads, hn::Eq(hn::LoadU(aQuads, itsRowQuads + theQuad), hn::Zero(aQuads))))
    {
        StoreWords(theQuad, hn::Zero(aTag), hn::Zero(aTag));
        return;
    }
    if (HWY_UNLIKELY(itsHasGivenUp) || !FindLengths(theQuad))
    {
        itsHasGivenUp = true;
        return;
    }
    FindPlaces();
    const auto aFirst = ReadGroup(0);
    const auto aSecond = ReadGroup(kPairs);
    StoreWords(theQuad, aFirst, aSecond);
}

/// Two groups as rows.
HWY_INLINE void NarrowReader::StoreWords(std::size_t theQuad, Words theFirst, Words theSecond)
{
    const Lanes aTag;
    const Halves aHalves;
    const auto aFirst = hn::BitCast(aHalves, theFirst);
    const auto aSecond = hn::BitCast(aHalves, theSecond);
    std::uint16_t* const aTop = itsTop + 2 * theQuad;
    std::uint16_t* const aBottom = aTop + itsState.GetWordStride();
    hn::StoreU(hn::BitCast(aTag, hn::ConcatEven(aHalves, aSecond, aFirst)), aTag, aTop);
    hn::StoreU(hn::BitCast(aTag, hn::ConcatOdd(aHalves, aSecond, aFirst)), aTag, aBottom);
    hn::Store(hn::Or(hn::Load(aTag, itsAll.data()), hn::Or(theFirst, theSecond)), aTag, itsAll.data());
}

} // namespace HWY_NAMESPACE
} // namespace j2k
HWY_AFTER_NAMESPACE();

#endif
