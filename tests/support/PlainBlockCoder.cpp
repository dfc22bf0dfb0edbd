// SPDX-License-Identifier: Apache-2.0
#include "support/PlainBlockCoder.h"

#include <algorithm>
#include <memory>

#include "engine/detail/markers/TileCoding.h"

namespace PlainBlockCoder
{
const std::array<Probability, 47> kProbabilities = {
    {{0x5601, 1, 1, 1},   {0x3401, 2, 6, 0},   {0x1801, 3, 9, 0},   {0x0AC1, 4, 12, 0},  {0x0521, 5, 29, 0},
     {0x0221, 38, 33, 0}, {0x5601, 7, 6, 1},   {0x5401, 8, 14, 0},  {0x4801, 9, 14, 0},  {0x3801, 10, 14, 0},
     {0x3001, 11, 17, 0}, {0x2401, 12, 18, 0}, {0x1C01, 13, 20, 0}, {0x1601, 29, 21, 0}, {0x5601, 15, 14, 1},
     {0x5401, 16, 14, 0}, {0x5101, 17, 15, 0}, {0x4801, 18, 16, 0}, {0x3801, 19, 17, 0}, {0x3401, 20, 18, 0},
     {0x3001, 21, 19, 0}, {0x2801, 22, 19, 0}, {0x2401, 23, 20, 0}, {0x2201, 24, 21, 0}, {0x1C01, 25, 22, 0},
     {0x1801, 26, 23, 0}, {0x1601, 27, 24, 0}, {0x1401, 28, 25, 0}, {0x1201, 29, 26, 0}, {0x1101, 30, 27, 0},
     {0x0AC1, 31, 28, 0}, {0x09C1, 32, 29, 0}, {0x08A1, 33, 30, 0}, {0x0521, 34, 31, 0}, {0x0441, 35, 32, 0},
     {0x02A1, 36, 33, 0}, {0x0221, 37, 34, 0}, {0x0141, 38, 35, 0}, {0x0111, 39, 36, 0}, {0x0085, 40, 37, 0},
     {0x0049, 41, 38, 0}, {0x0025, 42, 39, 0}, {0x0015, 43, 40, 0}, {0x0009, 44, 41, 0}, {0x0005, 45, 42, 0},
     {0x0001, 45, 43, 0}, {0x5601, 46, 46, 0}}};

std::array<Context, 19> InitialContexts()
{
    std::array<Context, 19> aContexts{};
    aContexts[0].itsRow = 4;
    aContexts[kRunContext].itsRow = 3;
    aContexts[kUniformContext].itsRow = 46;
    return aContexts;
}

Passes::Passes(Samples& theSamples, j2k::Band theBand, std::uint8_t theStyle)
    : itsSamples(theSamples), itsBand(theBand), itsStyle(theStyle), itsContexts(InitialContexts())
{
}

bool Passes::IsRaw(std::uint32_t thePass, std::uint8_t theStyle)
{
    return (theStyle & j2k::CBS_BYPASS) != 0 && thePass >= 10 && !IsCleanup(thePass);
}

bool Passes::EndsSegment(std::uint32_t thePass, std::uint32_t thePasses, std::uint8_t theStyle)
{
    return thePass + 1 == thePasses || (theStyle & j2k::CBS_TERMINATE_ALL) != 0 ||
           ((theStyle & j2k::CBS_BYPASS) != 0 && thePass >= 9 && thePass % 3 != 1);
}

bool Passes::Code(std::uint32_t thePass, unsigned int thePlane, BitCoder& theCoder)
{
    itsCoder = &theCoder;
    itsPlane = thePlane;
    itsRaw = IsRaw(thePass, itsStyle);
    if ((itsStyle & j2k::CBS_RESET) != 0)
    {
        itsContexts = InitialContexts();
    }
    switch (thePass % 3)
    {
    case 1:
        PropagateSignificance();
        return true;
    case 2:
        RefineMagnitudes();
        return true;
    default:
        CleanUp();
    }
    unsigned int aSymbol = 0xA;
    if ((itsStyle & j2k::CBS_SEGMENTATION_SYMBOLS) != 0)
    {
        aSymbol = 0;
        for (const unsigned int aBit : {1U, 0U, 1U, 0U})
        {
            aSymbol = aSymbol << 1 | CodeBit(kUniformContext, aBit);
        }
    }
    return aSymbol == 0xA;
}

void Passes::PropagateSignificance()
{
    for (auto& aSample : itsSamples.itsSamples)
    {
        aSample.itsIsVisited = false;
    }
    for (std::uint32_t aStripe = 0; aStripe < itsSamples.itsHeight; aStripe += 4)
    {
        for (std::uint32_t x = 0; x < itsSamples.itsWidth; ++x)
        {
            for (std::uint32_t y = aStripe; y < std::min(aStripe + 4, itsSamples.itsHeight); ++y)
            {
                if (!itsSamples.At(x, y).itsIsSignificant && HasNeighbour(x, y))
                {
                    CodeZero(x, y);
                    itsSamples.At(x, y).itsIsVisited = true;
                }
            }
        }
    }
}

void Passes::RefineMagnitudes()
{
    for (std::uint32_t aStripe = 0; aStripe < itsSamples.itsHeight; aStripe += 4)
    {
        for (std::uint32_t x = 0; x < itsSamples.itsWidth; ++x)
        {
            for (std::uint32_t y = aStripe; y < std::min(aStripe + 4, itsSamples.itsHeight); ++y)
            {
                Samples::Sample& aSample = itsSamples.At(x, y);
                if (aSample.itsIsSignificant && !aSample.itsIsVisited)
                {
                    const unsigned int aContext = aSample.itsIsRefined ? 16 : HasNeighbour(x, y) ? 15 : 14;
                    const unsigned int aBit = CodeBit(aContext, GetPlaneBit(aSample));
                    aSample.itsMagnitude = (aSample.itsMagnitude & ~(1U << itsPlane)) | (aBit << itsPlane);
                    aSample.itsIsRefined = true;
                    aSample.itsLastPlane = static_cast<int>(itsPlane);
                }
            }
        }
    }
}

void Passes::CleanUp()
{
    for (std::uint32_t aStripe = 0; aStripe < itsSamples.itsHeight; aStripe += 4)
    {
        for (std::uint32_t x = 0; x < itsSamples.itsWidth; ++x)
        {
            const std::uint32_t anEnd = std::min(aStripe + 4, itsSamples.itsHeight);
            for (std::uint32_t y = aStripe + CodeColumnStart(x, aStripe); y < anEnd; ++y)
            {
                const Samples::Sample& aSample = itsSamples.At(x, y);
                if (!aSample.itsIsSignificant && !aSample.itsIsVisited)
                {
                    CodeZero(x, y);
                }
            }
        }
    }
    for (auto& aSample : itsSamples.itsSamples)
    {
        aSample.itsIsVisited = false;
    }
}

/// The run-length part of the cleanup pass: how many samples of the column are done by it.
unsigned int Passes::CodeColumnStart(std::uint32_t theX, std::uint32_t theY)
{
    if (theY + 4 > itsSamples.itsHeight)
    {
        return 0;
    }
    unsigned int aFirst = 4;
    for (unsigned int i = 4; i-- > 0;)
    {
        const Samples::Sample& aSample = itsSamples.At(theX, theY + i);
        if (aSample.itsIsSignificant || aSample.itsIsVisited || HasNeighbour(theX, theY + i))
        {
            return 0;
        }
        aFirst = GetPlaneBit(aSample) != 0 ? i : aFirst;
    }
    if (CodeBit(kRunContext, aFirst < 4 ? 1 : 0) == 0)
    {
        return 4;
    }
    unsigned int aPosition = CodeBit(kUniformContext, aFirst >> 1 & 1) << 1;
    aPosition |= CodeBit(kUniformContext, aFirst & 1);
    CodeSign(theX, theY + aPosition);
    return aPosition + 1;
}

void Passes::CodeZero(std::uint32_t theX, std::uint32_t theY)
{
    if (CodeBit(GetZeroContext(theX, theY), GetPlaneBit(itsSamples.At(theX, theY))) != 0)
    {
        CodeSign(theX, theY);
    }
}

void Passes::CodeSign(std::uint32_t theX, std::uint32_t theY)
{
    const auto aLimit = [](int theValue) { return std::clamp(theValue, -1, 1); };
    int aH = aLimit(GetSignContribution(theX, theY, -1, 0) + GetSignContribution(theX, theY, 1, 0));
    int aV = aLimit(GetSignContribution(theX, theY, 0, -1) + GetSignContribution(theX, theY, 0, 1));
    unsigned int aFlip = 0;
    if (aH < 0 || (aH == 0 && aV < 0))
    {
        aFlip = 1;
        aH = -aH;
        aV = -aV;
    }
    const unsigned int aContext = aH == 1 ? static_cast<unsigned int>(12 + aV) : (aV == 1 ? 10 : 9);
    Samples::Sample& aSample = itsSamples.At(theX, theY);
    const unsigned int aSign = aSample.itsIsNegative ? 1 : 0;
    aSample.itsIsNegative = (itsRaw ? CodeBit(0, aSign) : CodeBit(aContext, aSign ^ aFlip) ^ aFlip) != 0;
    aSample.itsMagnitude |= 1U << itsPlane;
    aSample.itsIsSignificant = true;
    aSample.itsLastPlane = static_cast<int>(itsPlane);
}

unsigned int Passes::CodeBit(unsigned int theContext, unsigned int theBit)
{
    return itsCoder->Code(itsContexts[theContext], theBit);
}

unsigned int Passes::GetPlaneBit(const Samples::Sample& theSample) const
{
    return theSample.itsMagnitude >> itsPlane & 1;
}

bool Passes::IsSignificant(std::uint32_t theX, std::uint32_t theY, int theDx, int theDy)
{
    const std::int64_t x = std::int64_t{theX} + theDx;
    const std::int64_t y = std::int64_t{theY} + theDy;
    if (x < 0 || y < 0 || x >= itsSamples.itsWidth || y >= itsSamples.itsHeight ||
        ((itsStyle & j2k::CBS_CAUSAL) != 0 && theDy == 1 && theY % 4 == 3))
    {
        return false;
    }
    return itsSamples.At(static_cast<std::uint32_t>(x), static_cast<std::uint32_t>(y)).itsIsSignificant;
}

int Passes::GetSignContribution(std::uint32_t theX, std::uint32_t theY, int theDx, int theDy)
{
    if (!IsSignificant(theX, theY, theDx, theDy))
    {
        return 0;
    }
    return itsSamples.At(theX + static_cast<std::uint32_t>(theDx), theY + static_cast<std::uint32_t>(theDy))
                   .itsIsNegative
               ? -1
               : 1;
}

bool Passes::HasNeighbour(std::uint32_t theX, std::uint32_t theY)
{
    for (int dy = -1; dy <= 1; ++dy)
    {
        for (int dx = -1; dx <= 1; ++dx)
        {
            if ((dx != 0 || dy != 0) && IsSignificant(theX, theY, dx, dy))
            {
                return true;
            }
        }
    }
    return false;
}

/// Table D.1.
unsigned int Passes::GetZeroContext(std::uint32_t theX, std::uint32_t theY)
{
    const auto aCount = [&](int theDx, int theDy)
    { return IsSignificant(theX, theY, theDx, theDy) ? 1U : 0U; };
    unsigned int aH = aCount(-1, 0) + aCount(1, 0);
    unsigned int aV = aCount(0, -1) + aCount(0, 1);
    const unsigned int aD = aCount(-1, -1) + aCount(1, -1) + aCount(-1, 1) + aCount(1, 1);
    if (itsBand == j2k::Band::HH)
    {
        const unsigned int aBoth = aH + aV;
        return aD >= 3   ? 8
               : aD == 2 ? (aBoth > 0 ? 7 : 6)
               : aD == 1 ? 3 + std::min(aBoth, 2U)
                         : std::min(aBoth, 2U);
    }
    if (itsBand == j2k::Band::HL)
    {
        std::swap(aH, aV);
    }
    if (aH == 2)
    {
        return 8;
    }
    if (aH == 1)
    {
        return aV >= 1 ? 7 : aD >= 1 ? 6 : 5;
    }
    return aV == 2 ? 4 : aV == 1 ? 3 : std::min(aD, 2U);
}

namespace
{
/// Annex C.3 as its flow charts have it, on bytes that end with ones.
class MqDecoder final : public BitCoder
{
public:
    explicit MqDecoder(const j2k::CodedSegment& theSegment)
        : itsBytes(theSegment.itsData, theSegment.itsData + theSegment.itsLength)
    {
        itsC = GetByte(0) << 16;
        ByteIn();
        itsC <<= 7;
        itsCount -= 7;
    }

    unsigned int Code(Context& theContext, unsigned int) override
    {
        const Probability& aRow = kProbabilities[theContext.itsRow];
        itsA -= aRow.itsQe;
        if (itsC >> 16 >= aRow.itsQe)
        {
            itsC -= aRow.itsQe << 16;
            if (itsA >= 0x8000)
            {
                return theContext.itsMps;
            }
            return Exchange(theContext, itsA < aRow.itsQe);
        }
        const bool isLps = itsA >= aRow.itsQe;
        itsA = aRow.itsQe;
        return Exchange(theContext, isLps);
    }

private:
    unsigned int Exchange(Context& theContext, bool theIsLps)
    {
        const Probability& aRow = kProbabilities[theContext.itsRow];
        const unsigned int aBit = theContext.itsMps ^ (theIsLps ? 1 : 0);
        theContext.itsMps ^= theIsLps ? aRow.itsSwitch : 0;
        theContext.itsRow = theIsLps ? aRow.itsNextLps : aRow.itsNextMps;
        do
        {
            if (itsCount == 0)
            {
                ByteIn();
            }
            itsA <<= 1;
            itsC <<= 1;
            --itsCount;
        } while (itsA < 0x8000);
        return aBit;
    }

    void ByteIn()
    {
        if (GetByte(itsPosition) != 0xFF)
        {
            itsC += GetByte(++itsPosition) << 8;
            itsCount = 8;
        }
        else if (GetByte(itsPosition + 1) > 0x8F)
        {
            itsC += 0xFF00;
            itsCount = 8;
        }
        else
        {
            itsC += GetByte(++itsPosition) << 9;
            itsCount = 7;
        }
    }

    std::uint32_t GetByte(std::size_t theIndex) const
    {
        return theIndex < itsBytes.size() ? itsBytes[theIndex] : 0xFF;
    }

    std::vector<std::uint8_t> itsBytes;
    std::size_t itsPosition = 0;
    std::uint32_t itsA = 0x8000;
    std::uint32_t itsC = 0;
    unsigned int itsCount = 0;
};

/// Bits of the bypass: seven after a byte of ones.
class RawDecoder final : public BitCoder
{
public:
    explicit RawDecoder(const j2k::CodedSegment& theSegment)
        : itsBytes(theSegment.itsData, theSegment.itsData + theSegment.itsLength)
    {
    }

    unsigned int Code(Context&, unsigned int) override
    {
        if (itsCount == 0)
        {
            itsCount = itsByte == 0xFF ? 7 : 8;
            itsByte = itsPosition < itsBytes.size() ? itsBytes[itsPosition++] : 0xFF;
        }
        return itsByte >> --itsCount & 1;
    }

private:
    std::vector<std::uint8_t> itsBytes;
    std::size_t itsPosition = 0;
    std::uint32_t itsByte = 0;
    unsigned int itsCount = 0;
};
} // namespace

std::int64_t Decoded::GetDoubled(std::uint32_t theX, std::uint32_t theY)
{
    const Samples::Sample& aSample = itsSamples.At(theX, theY);
    if (!aSample.itsIsSignificant)
    {
        return 0;
    }
    const std::int64_t aValue =
        2 * std::int64_t{aSample.itsMagnitude} + (std::int64_t{1} << aSample.itsLastPlane);
    return aSample.itsIsNegative ? -aValue : aValue;
}

Decoded Decode(const j2k::CodedBlock& theBlock)
{
    Decoded aResult{Samples(theBlock.itsWidth, theBlock.itsHeight)};
    Passes aWalk(aResult.itsSamples, theBlock.itsBand, theBlock.itsStyle);
    std::uint32_t aPass = 0;
    for (const j2k::CodedSegment& aSegment : theBlock.itsSegments)
    {
        std::unique_ptr<BitCoder> aCoder;
        if (Passes::IsRaw(aPass, theBlock.itsStyle))
        {
            aCoder = std::make_unique<RawDecoder>(aSegment);
        }
        else
        {
            aCoder = std::make_unique<MqDecoder>(aSegment);
        }
        for (std::uint32_t i = 0; i < aSegment.itsPasses; ++i, ++aPass)
        {
            const std::uint32_t aDone = (aPass + 2) / 3;
            if (aDone >= theBlock.itsBitPlanes)
            {
                return aResult;
            }
            aResult.itsBadSegmentationSymbol |=
                !aWalk.Code(aPass, theBlock.itsBitPlanes - 1 - aDone, *aCoder);
        }
    }
    return aResult;
}
} // namespace PlainBlockCoder
