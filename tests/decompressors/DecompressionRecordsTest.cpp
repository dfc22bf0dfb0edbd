// SPDX-License-Identifier: Apache-2.0
#include <limits>
#include <memory>

#include <gtest/gtest.h>

#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "decompressors/detail/ImageDescription.h"
#include "support/ByteSource.h"
#include "support/ImageMaker.h"
#include "toolkit/io/InputStream.h"

TEST(DecompressionResult, PrintsFourLines)
{
    DecompressionResult aResult;
    aResult.setDCMLibResultCode(DLRC_DECODER_ERROR);
    aResult.setSystemErrorCode(-5);
    aResult.setMessage("Completed successfully");
    EXPECT_EQ(aResult.ToString(), "DecompressionResult:\n\titsDCMLibResultCode = 62\n\titsSystemErrorCode = "
                                  "-5\n\titsMessage = Completed successfully");
}

TEST(DecompressionResult, FreesTheImageWithTheLastCopyUnlessItWasTakenOver)
{
    CountingAllocator anAllocator;
    {
        DecompressionResult aResult;
        aResult.setRenderable(MakeImage(anAllocator, {}, Bytes(16)).release());
        {
            const DecompressionResult aCopy = aResult;
            EXPECT_EQ(aCopy.getRenderable(), aResult.getRenderable());
        }
        EXPECT_EQ(anAllocator.GetLiveBlocks(), 1u) << "a copy freed the image that the original still holds";
    }
    EXPECT_EQ(anAllocator.GetLiveBlocks(), 0u);

    std::unique_ptr<Renderable> aTaken;
    {
        DecompressionResult aResult;
        aResult.setRenderable(MakeImage(anAllocator, {}, Bytes(16)).release());
        const DecompressionResult aCopy = aResult;
        aTaken.reset(aResult.getRenderable());
        aResult.setRenderable(nullptr);
        EXPECT_EQ(aCopy.getRenderable(), nullptr) << "a copy would free what somebody else owns now";
    }
    EXPECT_EQ(anAllocator.GetLiveBlocks(), 1u);
}

TEST(CompressionRatio, ScalesBackRoundsAndStaysInRange)
{
    const std::tuple<std::uint64_t, int, std::uint64_t, std::int32_t> kCases[] = {
        {1000, 1, 100, 10},
        {1049, 1, 100, 10},
        {1050, 1, 100, 11},
        {40, 1, 100, 0},
        {1000, 3, 100, 160}, // reduced to a quarter in both directions
        {1000, std::numeric_limits<int>::min(), 100, 10},
        {1000, 1, 0, 0},
        {1000, 1000, 1, 2147483647},
        {~std::uint64_t{0}, 1, 1, 2147483647},
        {1000, 2147483647, 100, 2147483647},
    };
    for (const auto& [aDecoded, aScaleFactor, aCompressed, aRatio] : kCases)
    {
        EXPECT_EQ(CompressionRatio::Calculate(aDecoded, aScaleFactor, aCompressed), aRatio)
            << aDecoded << " at scale " << aScaleFactor << " from " << aCompressed;
    }
}
