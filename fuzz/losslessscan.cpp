// SPDX-License-Identifier: Apache-2.0
// The scan decoder of lossless JPEG with tables, geometry and entropy-coded data of any content.
#include <algorithm>

#include "FuzzInput.h"
#include "codecs/jpeg/detail/JPEGLosslessScan.h"

namespace
{
struct EndOfData
{
};

/// The bytes a few at a time, each portion in a block of its own.
class PortionSource final : public JPEGLosslessSource
{
public:
    PortionSource(const ::Bytes& theBytes, std::size_t thePortion)
        : itsBytes(theBytes), itsPortion(thePortion)
    {
    }

    JPEGLosslessSource::Bytes Peek() override
    {
        if (itsPosition == itsBytes.size())
        {
            throw EndOfData();
        }
        const std::size_t aCount = std::min(itsPortion, itsBytes.size() - itsPosition);
        const auto aBegin = itsBytes.begin() + static_cast<std::ptrdiff_t>(itsPosition);
        itsBlock.assign(aBegin, aBegin + static_cast<std::ptrdiff_t>(aCount));
        itsBlock.shrink_to_fit();
        return {itsBlock.data(), itsBlock.size()};
    }

    void Advance(std::size_t theCount) override
    {
        Require(theCount <= itsBytes.size() - itsPosition, "no more bytes are used than there are");
        itsPosition += theCount;
    }

    int GetMarker() const override { return itsMarker; }
    void SetMarker(int theMarker) override { itsMarker = theMarker; }

    void Restart(std::size_t) override
    {
        while (itsMarker == 0)
        {
            const int aByte = TakeByte();
            itsMarker = aByte == 0xff ? TakeByte() : 0;
        }
        itsMarker = itsMarker >= 0xd0 && itsMarker <= 0xd7 ? 0 : itsMarker;
    }

    void WarnOfBadCode() override {}
    void WarnOfMissingData() override {}

private:
    int TakeByte()
    {
        const int aByte = *Peek().itsBegin;
        Advance(1);
        return aByte;
    }

    const ::Bytes& itsBytes;
    std::size_t itsPortion;
    std::size_t itsPosition = 0;
    ::Bytes itsBlock;
    int itsMarker = 0;
};

/// Counts of codes as the library checks them, or any. The categories are 0 … 16.
std::shared_ptr<JPEGLosslessTable> TakeTable(FuzzInput& theInput, int theLookBits, bool theAnyCounts)
{
    std::array<std::uint8_t, 17> aCounts{};
    std::array<std::uint8_t, 256> aCategories{};
    int aSum = 0;
    int aFree = 1;
    for (std::size_t aLength = 1; aLength <= 16; ++aLength)
    {
        aFree *= 2;
        const int aCount = static_cast<int>(theInput.TakeByte());
        const int aPossible = theAnyCounts ? aCount : std::min({aCount, aFree, 256 - aSum});
        aCounts[aLength] = static_cast<std::uint8_t>(aPossible);
        aFree -= aPossible;
        aSum += aPossible;
    }
    for (std::size_t i = 0; i < std::min<std::size_t>(static_cast<std::size_t>(aSum), 256); ++i)
    {
        aCategories[i] = static_cast<std::uint8_t>(theInput.TakeNumber(0, 16));
    }
    return std::make_shared<JPEGLosslessTable>(aCounts, aCategories, theLookBits);
}
} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* theData, std::size_t theSize)
{
    FuzzInput anInput(theData, theSize);
    JPEGLosslessScan::Parameters aScan;
    aScan.itsWidth = static_cast<std::size_t>(anInput.TakeNumber(1, 200));
    aScan.itsHeight = static_cast<std::size_t>(anInput.TakeNumber(1, 40));
    aScan.itsPrecision = anInput.TakeNumber(2, 16);
    aScan.itsPredictor = anInput.TakeNumber(1, 7);
    aScan.itsPointTransform = anInput.TakeNumber(0, 15) % aScan.itsPrecision;
    aScan.itsRestartRows = static_cast<std::size_t>(anInput.TakeOne({0, 0, 1, 2, 7}));
    aScan.itsComponents = static_cast<std::size_t>(anInput.TakeNumber(1, 4));
    aScan.itsSampleBytes = static_cast<std::size_t>(anInput.TakeNumber(1, 2));
    const bool isWhole = anInput.TakeFlag();
    aScan.itsImageComponents = isWhole ? aScan.itsComponents : 4;
    const bool hasOneTable = anInput.TakeFlag();
    const int aLookBits = anInput.TakeFlag() ? JPEGLosslessTable::kManyBits : JPEGLosslessTable::kFewBits;
    const auto aPortion = static_cast<std::size_t>(anInput.TakeOne({4096, 1, 2, 3, 7, 64}));
    const int aFirstPlace = anInput.TakeNumber(0, 3);
    const bool hasAnyCounts = anInput.TakeFlag();
    for (std::size_t i = 0; i < aScan.itsComponents; ++i)
    {
        aScan.itsTables[i] =
            i > 0 && hasOneTable ? aScan.itsTables[0] : TakeTable(anInput, aLookBits, hasAnyCounts);
        // Every component a place of its own, in order or turned.
        aScan.itsPlaces[i] = (i + static_cast<std::size_t>(aFirstPlace)) % aScan.itsImageComponents;
    }
    Bytes anImage(aScan.itsWidth * aScan.itsHeight * aScan.itsImageComponents * aScan.itsSampleBytes);
    aScan.itsImage = anImage.data();
    const Bytes aData = anInput.GetRest();
    PortionSource aSource(aData, aPortion);
    try
    {
        JPEGLosslessScan(aScan, aSource).Decode();
    }
    catch (const EndOfData&)
    {
    }
    return 0;
}
