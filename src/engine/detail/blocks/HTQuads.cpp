// SPDX-License-Identifier: Apache-2.0
// The first step of a clean-up pass: MEL events and VLC codes become a word for each quad. One long chain of
// look-ups and shifts, compiled once for each instruction set because some shift without detours.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/detail/blocks/HTQuads.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <algorithm>
#include <array>
#include <cstdint>

#include "engine/detail/blocks/HTState.h"

HWY_BEFORE_NAMESPACE();
namespace j2k
{
namespace HWY_NAMESPACE
{
namespace hn = hwy::HWY_NAMESPACE;

/// The MEL decoder (T.814 7.3.3): runs of zeros that may end with a one.
class MELReader
{
public:
    explicit MELReader(std::span<const std::uint8_t> theBytes)
        : itsNext(theBytes.data()), itsEnd(theBytes.data() + theBytes.size())
    {
        ReadRun();
    }

    HWY_INLINE bool ReadEvent()
    {
        itsRun -= 2;
        const bool isOne = itsRun == -1;
        if (itsRun < 0)
        {
            ReadRun();
        }
        return isOne;
    }

private:
    HWY_NOINLINE void ReadRun()
    {
        while (itsCount < 8)
        {
            AppendByte();
        }
        const unsigned int anExponent = kMELExponents[itsState];
        const bool isFull = itsBits >> 63 != 0;
        const std::uint64_t aZeros = itsBits << 1 >> 1 >> (63 - anExponent);
        itsRun = isFull ? (2 << anExponent) - 2 : static_cast<std::int32_t>(2 * aZeros + 1);
        itsState = isFull ? std::min(itsState + 1, 12U) : itsState - (itsState > 0 ? 1 : 0);
        const unsigned int aTaken = isFull ? 1 : anExponent + 1;
        itsBits <<= aTaken;
        itsCount -= aTaken;
    }

    /// The byte behind 0xFF has seven bits; behind the end there are ones.
    void AppendByte()
    {
        const std::uint64_t aByte = itsNext != itsEnd ? *itsNext++ : 0xFF;
        const unsigned int aCount = itsIsStuffed ? 7 : 8;
        itsBits |= (itsIsStuffed ? aByte & 0x7F : aByte) << (64 - aCount - itsCount);
        itsCount += aCount;
        itsIsStuffed = aByte == 0xFF;
    }

    const std::uint8_t* itsNext;
    const std::uint8_t* itsEnd;
    std::uint64_t itsBits = 0; ///< the next one is the most significant
    unsigned int itsCount = 0;
    unsigned int itsState = 0;
    std::int32_t itsRun =
        0; ///< twice the zeros that are left, and 1 if a one follows them, less 2 if none does
    bool itsIsStuffed = false;
};

/// The next bits of VLC in a register.
class VLCReader
{
public:
    /// The first four bits are half of the suffix's length.
    explicit VLCReader(const HTBits& theBits)
        : itsNext(theBits.GetBytes()), itsBegin(itsNext), itsEnd(theBits.GetEnd())
    {
        Refill();
        Skip(4);
    }

    /// At least 56 bits are there afterwards, more than a pair of quads takes.
    HWY_INLINE void Refill()
    {
        itsBits |= HTBits::LoadBytes(itsNext) << itsCount;
        itsNext += (63 - itsCount) / 8;
        itsCount |= 56;
    }

    HWY_INLINE std::uint64_t GetBits() const { return itsBits; }

    /// By the lower six bits of theCount.
    HWY_INLINE void Skip(std::uint32_t theCount)
    {
        itsBits >>= theCount & HTQuad::kLengthMask;
        itsCount -= theCount & HTQuad::kLengthMask;
    }

    /// Whether bits were taken that are not there.
    bool HasOverrun() const { return static_cast<std::size_t>(itsNext - itsBegin) * 8 - itsCount > itsEnd; }

private:
    const std::uint8_t* itsNext;
    const std::uint8_t* itsBegin;
    std::size_t itsEnd;
    std::uint64_t itsBits = 0;
    unsigned int itsCount = 0;
};

/// What the row above contributes to contexts, by quad, in place of the code table's index.
using Contexts = std::array<std::uint32_t, 512 + HTState::kBorder>;

/// A row of quads after the other. Rows share no more than what is here.
struct QuadReader
{
    /// theContext: the index of the code table but for the bits of the stream.
    template <bool isFirstRow>
    HWY_INLINE std::uint32_t ReadCode(VLCReader& theVLC, std::uint32_t theContext)
    {
        const HTCodeTable& aTable = isFirstRow ? kHTFirstRowCodes : kHTOtherRowCodes;
        std::uint32_t aCode = aTable[theContext | (theVLC.GetBits() & 0x7F)];
        // In context 0 an event says first whether the quad is empty.
        if (HWY_UNLIKELY(theContext == 0) && !itsMEL.ReadEvent())
        {
            aCode = 0;
        }
        theVLC.Skip(aCode);
        return aCode;
    }

    /// Returns the right one's code.
    template <bool isFirstRow, bool hasSecond>
    HWY_INLINE std::uint32_t ReadPair(VLCReader& theVLC, std::uint32_t theLeft, std::uint32_t* theQuads,
                                      const std::uint32_t* theAbove)
    {
        theVLC.Refill();
        const std::uint32_t aFirst =
            ReadCode<isFirstRow>(theVLC, (theLeft & HTQuad::kContextMask) | theAbove[0]);
        const std::uint32_t aSecond =
            hasSecond ? ReadCode<isFirstRow>(theVLC, (aFirst & HTQuad::kContextMask) | theAbove[1]) : 0;
        std::uint32_t aMode =
            (aFirst >> HTQuad::kHasResidualShift & 1) | (aSecond >> (HTQuad::kHasResidualShift - 1) & 2);
        if (isFirstRow && aMode == RESIDUALS_BOTH && itsMEL.ReadEvent())
        {
            aMode = RESIDUALS_BOTH_LARGE;
        }
        const HTResidualTable& aTable = isFirstRow ? kHTFirstRowResiduals : kHTOtherRowResiduals;
        std::uint32_t aPair = aTable[aMode << 8 | (theVLC.GetBits() & 0xFF)];
        if (HWY_UNLIKELY(aPair == kHTLongResiduals))
        {
            const HTResiduals aLong = ReadHTResiduals(theVLC.GetBits(), aMode, isFirstRow);
            aPair = aLong.itsLength | aLong.itsFirst << 8 | aLong.itsSecond << 16;
        }
        theVLC.Skip(aPair);
        theQuads[0] = (aFirst & HTQuad::kKeptMask) | (aPair >> 8 & 0xFF);
        theQuads[1] = (aSecond & HTQuad::kKeptMask) | (aPair >> 16 & 0xFF);
        return aSecond;
    }

    template <bool isFirstRow>
    void ReadRow(std::uint32_t* theQuads, std::size_t theColumns)
    {
        VLCReader aVLC = itsVLC;
        std::uint32_t aLeft = 0;
        std::size_t q = 0;
        for (; q + 1 < theColumns; q += 2)
        {
            aLeft = ReadPair<isFirstRow, true>(aVLC, aLeft, theQuads + q, itsContexts.data() + q);
        }
        if (q < theColumns)
        {
            ReadPair<isFirstRow, false>(aVLC, aLeft, theQuads + q, itsContexts.data() + q);
        }
        itsVLC = aVLC;
    }

    void FindContexts(const std::uint32_t* theQuads, std::size_t theColumns);

    VLCReader itsVLC;
    MELReader itsMEL;
    Contexts itsContexts{};
};

/// Bottom samples of three quads, numbers 1 and 3: the lowest bit of the context is north-west or north, the
/// highest north-east or far.
void QuadReader::FindContexts(const std::uint32_t* theQuads, std::size_t theColumns)
{
    constexpr int kLeft = HTQuad::kRhoShift + 1;
    constexpr int kRight = HTQuad::kRhoShift + 3;
    constexpr int kLow = HTQuad::kContextShift;
    constexpr int kHigh = HTQuad::kContextShift + 2;
    const hn::CappedTag<std::uint32_t, HTState::kBorder> aTag;
    const auto aLow = hn::Set(aTag, 1U << kLow);
    const auto aHigh = hn::Set(aTag, 1U << kHigh);
    for (std::size_t q = 0; q < theColumns; q += hn::Lanes(aTag))
    {
        const auto aWest = hn::ShiftRight<kRight - kLow>(hn::LoadU(aTag, theQuads + q - 1));
        const auto aQuad = hn::LoadU(aTag, theQuads + q);
        const auto anEast = hn::ShiftRight<kLeft - kHigh>(hn::LoadU(aTag, theQuads + q + 1));
        const auto aLeft = hn::And(hn::Or(aWest, hn::ShiftRight<kLeft - kLow>(aQuad)), aLow);
        const auto aRight = hn::And(hn::Or(anEast, hn::ShiftRight<kRight - kHigh>(aQuad)), aHigh);
        hn::StoreU(hn::Or(aLeft, aRight), aTag, itsContexts.data() + q);
    }
}

bool ReadQuads(HTState& theState)
{
    // Beyond the end of the codes nothing but zeros are read, a row's worth at most.
    constexpr std::size_t kPairBytes = 5;
    theState.itsVLC.TakeBackwards(theState.itsSuffix, (theState.itsQuadColumns / 2 + 2) * kPairBytes + 8);
    QuadReader aReader{VLCReader(theState.itsVLC), MELReader(theState.itsSuffix)};
    const std::size_t aColumns = theState.itsQuadColumns;
    std::fill_n(theState.GetQuads(0) - HTState::kBorder, HTState::kBorder, 0U);
    for (std::size_t r = 0; r < theState.itsQuadRows; ++r)
    {
        std::uint32_t* const aRow = theState.GetQuads(r);
        if (r == 0)
        {
            aReader.ReadRow<true>(aRow, aColumns);
        }
        else
        {
            aReader.ReadRow<false>(aRow, aColumns);
        }
        if (aReader.itsVLC.HasOverrun())
        {
            return false;
        }
        std::fill(aRow + aColumns, aRow + theState.itsStride, 0U);
        aReader.FindContexts(aRow, aColumns);
    }
    return true;
}

} // namespace HWY_NAMESPACE
} // namespace j2k
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace j2k
{
HWY_EXPORT(ReadQuads);

bool ReadHTQuads(HTState& theState)
{
    return HWY_DYNAMIC_DISPATCH(ReadQuads)(theState);
}
} // namespace j2k
#endif
