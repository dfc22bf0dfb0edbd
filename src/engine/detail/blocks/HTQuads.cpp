// SPDX-License-Identifier: Apache-2.0
// The first step of a clean-up pass: MEL events and VLC codes become a word for each quad.

#include "engine/detail/blocks/HTState.h"

namespace j2k
{
namespace
{

/// The MEL decoder (T.814 7.3.3): runs of zeros that may end with a one.
class MELReader
{
public:
    explicit MELReader(std::span<const std::uint8_t> theBytes)
        : itsNext(theBytes.data()), itsEnd(theBytes.data() + theBytes.size())
    {
        ReadRun();
    }

    bool ReadEvent()
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
    void ReadRun()
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
    void Refill()
    {
        itsBits |= HTBits::LoadBytes(itsNext) << itsCount;
        itsNext += (63 - itsCount) / 8;
        itsCount |= 56;
    }

    std::uint64_t GetBits() const { return itsBits; }

    void Skip(unsigned int theCount)
    {
        itsBits >>= theCount;
        itsCount -= theCount;
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

struct QuadReader
{
    /// What the row above contributes to contexts, by quad, in place of the code table's index.
    using Contexts = std::array<std::uint16_t, 514>;

    /// theContext: the index of the code table but for the bits of the stream.
    std::uint32_t ReadCode(std::uint32_t theContext)
    {
        const std::uint32_t aCode = (*itsCodes)[theContext | (itsVLC.GetBits() & 0x7F)];
        // In context 0 an event says first whether the quad is empty.
        if (theContext == 0 && !itsMEL.ReadEvent())
        {
            return 0;
        }
        itsVLC.Skip(aCode & HTQuad::kLengthMask);
        return aCode;
    }

    void ReadPair(std::uint32_t* theQuads, const std::uint16_t* theAbove, bool hasSecond)
    {
        itsVLC.Refill();
        const std::uint32_t aFirst = ReadCode((itsLeft & HTQuad::kContextMask) | theAbove[0]);
        const std::uint32_t aSecond = hasSecond ? ReadCode((aFirst & HTQuad::kContextMask) | theAbove[1]) : 0;
        itsLeft = aSecond;
        std::uint32_t aMode =
            (aFirst >> HTQuad::kHasResidualShift & 1) | (aSecond >> (HTQuad::kHasResidualShift - 1) & 2);
        if (itsIsFirstRow && aMode == RESIDUALS_BOTH && itsMEL.ReadEvent())
        {
            aMode = RESIDUALS_BOTH_LARGE;
        }
        std::uint32_t aPair = (*itsResiduals)[aMode << 8 | (itsVLC.GetBits() & 0xFF)];
        if (aPair == kHTLongResiduals)
        {
            const HTResiduals aLong = ReadHTResiduals(itsVLC.GetBits(), aMode, itsIsFirstRow);
            aPair = aLong.itsLength | aLong.itsFirst << 8 | aLong.itsSecond << 16;
        }
        itsVLC.Skip(aPair & HTQuad::kLengthMask);
        theQuads[0] = (aFirst & HTQuad::kKeptMask) | (aPair >> 8 & 0xFF);
        theQuads[1] = (aSecond & HTQuad::kKeptMask) | (aPair >> 16 & 0xFF);
    }

    void ReadRow(std::uint32_t* theQuads, std::size_t theColumns, const Contexts& theAbove)
    {
        itsLeft = 0;
        std::size_t q = 0;
        for (; q + 1 < theColumns; q += 2)
        {
            ReadPair(theQuads + q, theAbove.data() + q, true);
        }
        if (q < theColumns)
        {
            ReadPair(theQuads + q, theAbove.data() + q, false);
        }
    }

    VLCReader itsVLC;
    MELReader itsMEL;
    const HTCodeTable* itsCodes = &kHTFirstRowCodes;
    const HTResidualTable* itsResiduals = &kHTFirstRowResiduals;
    bool itsIsFirstRow = true;
    std::uint32_t itsLeft = 0;
};

/// Bottom samples of three quads, numbers 1 and 3: the lowest bit of the context is north-west or north, the
/// highest north-east or far.
void FindContexts(const std::uint32_t* theQuads, std::size_t theColumns, QuadReader::Contexts& theContexts)
{
    constexpr unsigned int kLeft = HTQuad::kRhoShift + 1;
    constexpr unsigned int kRight = HTQuad::kRhoShift + 3;
    for (std::size_t q = 0; q < theColumns; ++q)
    {
        const std::uint32_t* const aQuad = theQuads + q;
        const std::uint32_t aLow = (aQuad[-1] >> kRight | aQuad[0] >> kLeft) & 1;
        const std::uint32_t aHigh = (aQuad[0] >> kRight | aQuad[1] >> kLeft) & 1;
        theContexts[q] = static_cast<std::uint16_t>((aLow | aHigh << 2) << HTQuad::kContextShift);
    }
}

} // namespace

bool ReadHTQuads(HTState& theState)
{
    // Beyond the end of the codes nothing but zeros are read, a row's worth at most.
    constexpr std::size_t kPairBytes = 5;
    theState.itsVLC.TakeBackwards(theState.itsSuffix, (theState.itsQuadColumns / 2 + 2) * kPairBytes + 8);
    QuadReader aReader{VLCReader(theState.itsVLC), MELReader(theState.itsSuffix)};
    QuadReader::Contexts aContexts{};
    std::fill_n(theState.GetQuads(0) - HTState::kBorder, HTState::kBorder, 0U);
    for (std::size_t r = 0; r < theState.itsQuadRows; ++r)
    {
        std::uint32_t* const aRow = theState.GetQuads(r);
        aReader.ReadRow(aRow, theState.itsQuadColumns, aContexts);
        if (aReader.itsVLC.HasOverrun())
        {
            return false;
        }
        std::fill(aRow + theState.itsQuadColumns, aRow + theState.itsStride, 0U);
        FindContexts(aRow, theState.itsQuadColumns, aContexts);
        aReader.itsCodes = &kHTOtherRowCodes;
        aReader.itsResiduals = &kHTOtherRowResiduals;
        aReader.itsIsFirstRow = false;
    }
    return true;
}

} // namespace j2k
