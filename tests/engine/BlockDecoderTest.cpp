// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/blocks/BlockDecoder.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "engine/detail/markers/TileCoding.h"
#include "support/BlockEncoder.h"
#include "support/ForEachTarget.h"
#include "support/PlainBlockCoder.h"

namespace
{
using j2k::Band;
using j2k::BlockDecoder;
using j2k::BlockFindings;
using Request = BlockEncoder::Request;

struct Size
{
    std::uint32_t itsWidth;
    std::uint32_t itsHeight;
};

/// Samples as subbands have them: mostly small, now and then large, in patches. theScale 0: all zero.
Request MakeRequest(Size theSize, Band theBand, unsigned int theStyle, std::uint32_t theBitPlanes,
                    double theScale, std::uint32_t theSeed)
{
    Request aRequest;
    aRequest.itsWidth = theSize.itsWidth;
    aRequest.itsHeight = theSize.itsHeight;
    aRequest.itsBand = theBand;
    aRequest.itsStyle = static_cast<std::uint8_t>(theStyle);
    aRequest.itsBitPlanes = theBitPlanes;
    std::mt19937 aRandom(theSeed);
    std::exponential_distribution<double> aMagnitude(1);
    const double aLimit = std::ldexp(1.0, static_cast<int>(theBitPlanes)) - 1;
    for (std::uint32_t i = 0; i < theSize.itsWidth * theSize.itsHeight; ++i)
    {
        const std::uint32_t aPatch = (i / 7 + i / (5 * theSize.itsWidth)) % 5;
        const double aLocal = aPatch == 0 ? theScale * 8 : aPatch == 1 ? 0 : theScale;
        const auto aValue = static_cast<std::int32_t>(std::min(aMagnitude(aRandom) * aLocal, aLimit));
        aRequest.itsSamples.push_back((aRandom() & 1) != 0 ? -aValue : aValue);
    }
    return aRequest;
}

std::string Describe(const Request& theRequest)
{
    return std::to_string(theRequest.itsWidth) + "x" + std::to_string(theRequest.itsHeight) + " band " +
           std::to_string(static_cast<int>(theRequest.itsBand)) + " style " +
           std::to_string(theRequest.itsStyle) + " planes " + std::to_string(theRequest.itsBitPlanes) +
           " passes " + std::to_string(theRequest.itsPasses);
}

constexpr std::int32_t kGuard = 0x5A5A;
constexpr std::uint32_t kMargin = 3; ///< samples right of each row that nobody may write

/// What a store writes, after a check of everything around it.
template <class Sample, class... More>
std::vector<double> StoreAll(const BlockDecoder& theDecoder, const Request& theRequest, More... theMore)
{
    const std::uint32_t aStride = theRequest.itsWidth + kMargin;
    std::vector<Sample> aRows(std::size_t{aStride} * theRequest.itsHeight, static_cast<Sample>(kGuard));
    theDecoder.Store(aRows.data(), aStride, theMore...);
    std::vector<double> aSamples;
    for (std::size_t i = 0; i < aRows.size(); ++i)
    {
        if (i % aStride < theRequest.itsWidth)
        {
            aSamples.push_back(aRows[i]);
        }
        else
        {
            EXPECT_EQ(aRows[i], static_cast<Sample>(kGuard)) << "wrote beside a row";
        }
    }
    return aSamples;
}

/// Compares with the plain decoder in every form a block is stored in.
void Compare(const Request& theRequest, const BlockEncoder& theBlock)
{
    SCOPED_TRACE(Describe(theRequest));
    static BlockDecoder aDecoder; // one for all: what a block leaves behind must not reach the next
    aDecoder.Decode(theBlock.GetBlock());
    PlainBlockCoder::Decoded anExpected = PlainBlockCoder::Decode(theBlock.GetBlock());
    std::vector<double> aDoubled;
    std::vector<double> aWhole;
    for (std::uint32_t y = 0; y < theRequest.itsHeight; ++y)
    {
        for (std::uint32_t x = 0; x < theRequest.itsWidth; ++x)
        {
            const std::int64_t aValue = anExpected.GetDoubled(x, y);
            aDoubled.push_back(static_cast<double>(static_cast<float>(aValue)));
            aWhole.push_back(static_cast<double>(aValue / 2));
        }
    }
    ASSERT_EQ(StoreAll<float>(aDecoder, theRequest, j2k::RegionOfInterest{}, 2.0F), aDoubled);
    ASSERT_EQ(StoreAll<std::int32_t>(aDecoder, theRequest, j2k::RegionOfInterest{}), aWhole);
    if (theRequest.itsBitPlanes <= 15)
    {
        ASSERT_EQ(StoreAll<std::int16_t>(aDecoder, theRequest, j2k::RegionOfInterest{}), aWhole);
    }
}

void CompareEncoded(const Request& theRequest)
{
    const BlockEncoder aBlock(theRequest);
    Compare(theRequest, aBlock);
}

TEST(BlockDecoder, GivesBackWhatWasEncodedInEveryStyleAndBand)
{
    ForEachTarget(
        []
        {
            for (unsigned int aStyle = 0; aStyle < 64; ++aStyle)
            {
                const Request aRequest =
                    MakeRequest({37, 22}, static_cast<Band>(aStyle % 4), aStyle, 11, 20, aStyle);
                const BlockEncoder aBlock(aRequest);
                BlockDecoder aDecoder;
                const BlockFindings aFindings = aDecoder.Decode(aBlock.GetBlock());
                SCOPED_TRACE(Describe(aRequest));
                EXPECT_FALSE(aFindings.itsBadSegmentationSymbol);
                EXPECT_FALSE(aFindings.itsBadTermination);
                EXPECT_FALSE(aFindings.itsMissingPasses);
                const std::vector<double> anExpected(aRequest.itsSamples.begin(), aRequest.itsSamples.end());
                ASSERT_EQ(StoreAll<std::int16_t>(aDecoder, aRequest, j2k::RegionOfInterest{}), anExpected);
            }
        });
}

TEST(BlockDecoder, AgreesWithThePlainDecoderWhereverPassesEnd)
{
    for (unsigned int aStyle = 0; aStyle < 64; ++aStyle)
    {
        for (std::uint32_t aPasses = 0; aPasses <= 19; ++aPasses)
        {
            Request aRequest =
                MakeRequest({19, 13}, static_cast<Band>(aPasses % 4), aStyle, 7, 6, 100 * aStyle + aPasses);
            aRequest.itsPasses = aPasses;
            CompareEncoded(aRequest);
        }
    }
}

TEST(BlockDecoder, TakesEveryShapeOfBlock)
{
    constexpr Size kSizes[] = {{1, 1},    {1, 4},    {4, 1},    {3, 5},    {5, 3},    {16, 4},   {17, 4},
                               {15, 9},   {32, 8},   {33, 6},   {64, 64},  {1, 1024}, {4, 1024}, {1024, 1},
                               {1024, 4}, {1021, 3}, {128, 32}, {31, 128}, {48, 47}};
    std::uint32_t aSeed = 0;
    ForEachTarget(
        [&]
        {
            for (const Size& aSize : kSizes)
            {
                for (const unsigned int aStyle : {0U, 8U, 1U, 63U})
                {
                    CompareEncoded(MakeRequest(aSize, static_cast<Band>(aSeed % 4), aStyle, 9, 5, aSeed));
                    ++aSeed;
                }
            }
        });
}

TEST(BlockDecoder, TakesEveryDepth)
{
    for (std::uint32_t aPlanes = 0; aPlanes <= j2k::CodedBlock::kMaxBitPlanes; ++aPlanes)
    {
        for (const double aScale : {0.0, 0.01, 0.3})
        {
            for (const unsigned int aStyle : {0U, 1U, 6U})
            {
                CompareEncoded(MakeRequest({21, 17}, Band::HH, aStyle, aPlanes,
                                           std::ldexp(aScale, static_cast<int>(aPlanes)), aPlanes));
            }
        }
    }
}

/// Bytes without markers, so that the plain decoder, which takes them one by one, sees the same.
std::vector<std::uint8_t> MakeBytes(std::size_t theCount, std::mt19937& theRandom, bool theManyOnes)
{
    std::vector<std::uint8_t> aBytes;
    for (std::size_t i = 0; i < theCount; ++i)
    {
        std::uint8_t aByte = static_cast<std::uint8_t>(theRandom());
        aByte = theManyOnes && theRandom() % 3 == 0 ? 0xFF : aByte;
        const bool isStuffed = !aBytes.empty() && aBytes.back() == 0xFF;
        aBytes.push_back(isStuffed ? aByte & 0x7F : aByte);
    }
    return aBytes;
}

TEST(BlockDecoder, AgreesWithThePlainDecoderOnInventedBytes)
{
    std::mt19937 aRandom(7);
    for (int i = 0; i < 300; ++i)
    {
        const Size aSize{1 + static_cast<std::uint32_t>(aRandom() % 40),
                         1 + static_cast<std::uint32_t>(aRandom() % 40)};
        const unsigned int aStyle = aRandom() % 64 & ~static_cast<unsigned int>(j2k::CBS_BYPASS);
        const Request aRequest =
            MakeRequest(aSize, static_cast<Band>(aRandom() % 4), aStyle, 1 + aRandom() % 12, 0, 0);
        std::vector<BlockEncoder::Segment> aSegments;
        const std::uint32_t aPasses = 3 * aRequest.itsBitPlanes - 2;
        const bool isEach = (aStyle & j2k::CBS_TERMINATE_ALL) != 0;
        for (std::uint32_t p = 0; p < (isEach ? aPasses : 1); ++p)
        {
            aSegments.push_back({MakeBytes(16384, aRandom, i % 2 == 0), isEach ? 1 : aPasses});
        }
        const BlockEncoder aBlock(aRequest, aSegments);
        Compare(aRequest, aBlock);
    }
}
} // namespace
