// SPDX-License-Identifier: Apache-2.0
#include <limits>
#include <memory>

#include <gtest/gtest.h>

#include "decompressors/CompressionRatio.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "image/Renderable.h"
#include "support/ByteSource.h"
#include "support/CountingAllocator.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/io/MemoryInputStream.h"

namespace
{
Renderable* MakeImage(MemoryAllocater& theAllocator)
{
    auto anImage = std::make_unique<Renderable>(theAllocator);
    anImage->setPixelData(theAllocator.Allocate(16), 16);
    return anImage.release();
}
} // namespace

TEST(DecompressionRequest, EitherInputLeavesTheOtherNull)
{
    MemoryInputStream aStream("", 0);
    ByteSource aSource({});
    DICOMDataObject aDataSet;
    // A scale factor of 0 is kept, not put right.
    const DecompressionRequest aStreamed(&aStream, &aDataSet, "demo", true, 0, 7, "1.2", true);
    const DecompressionRequest aSourced(&aSource, &aDataSet, "demo", true, 0, 7, "1.2", true);
    EXPECT_EQ(aStreamed.getInputStream(), &aStream);
    EXPECT_EQ(aStreamed.getCompressedSource(), nullptr);
    EXPECT_EQ(aSourced.getInputStream(), nullptr);
    EXPECT_EQ(aSourced.getCompressedSource(), &aSource);
    for (const DecompressionRequest& aRequest : {aStreamed, aSourced})
    {
        EXPECT_EQ(aRequest.getDICOMDataObject(), &aDataSet);
        EXPECT_EQ(aRequest.getDemoFile(), "demo");
        EXPECT_TRUE(aRequest.getLoadDemoInfoFlag());
        EXPECT_EQ(aRequest.getScaleFactor(), 0);
        EXPECT_EQ(aRequest.getFrameIndex(), 7);
        EXPECT_EQ(aRequest.getTransferSyntaxUID(), "1.2");
        EXPECT_TRUE(aRequest.isV5ConvertPixelsToUnsigned());
        EXPECT_EQ(aRequest.getSourceLength(), 0u);
    }
}

TEST(DecompressionResult, PrintsFourLines)
{
    DecompressionResult aResult;
    EXPECT_EQ(aResult.ToString(), "DecompressionResult:\n\titsDCMLibResultCode = 0\n\titsSystemErrorCode = "
                                  "0\n\titsMessage = ");
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
        aResult.setRenderable(MakeImage(anAllocator));
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
        aResult.setRenderable(MakeImage(anAllocator));
        const DecompressionResult aCopy = aResult;
        aTaken.reset(aResult.getRenderable());
        aResult.setRenderable(nullptr);
        EXPECT_EQ(aCopy.getRenderable(), nullptr) << "a copy would free what somebody else owns now";
    }
    EXPECT_EQ(anAllocator.GetLiveBlocks(), 1u);
}

struct RatioCase
{
    std::uint64_t itsDecoded;
    int itsScaleFactor;
    std::uint64_t itsCompressed;
    std::int32_t itsRatio;
};

TEST(CompressionRatio, ScalesBackRoundsAndStaysInRange)
{
    const RatioCase kCases[] = {
        {1000, 1, 100, 10},
        {1049, 1, 100, 10},
        {1050, 1, 100, 11},
        {40, 1, 100, 0},
        {1000, 3, 100, 160}, // reduced to a quarter in both directions
        {1000, 2, 100, 40},
        {1000, 0, 100, 10},
        {1000, std::numeric_limits<int>::min(), 100, 10},
        {1000, 1, 0, 0},
        {1000, 1000, 1, 2147483647},
        {~std::uint64_t{0}, 1, 1, 2147483647},
        {1000, 2147483647, 100, 2147483647},
    };
    for (const RatioCase& aCase : kCases)
    {
        EXPECT_EQ(CompressionRatio::Calculate(aCase.itsDecoded, aCase.itsScaleFactor, aCase.itsCompressed),
                  aCase.itsRatio)
            << aCase.itsDecoded << " at scale " << aCase.itsScaleFactor << " from " << aCase.itsCompressed;
    }
}
