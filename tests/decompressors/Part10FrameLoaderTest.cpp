// SPDX-License-Identifier: Apache-2.0
#include <vector>

#include <gtest/gtest.h>

#include "decompressors/DecompressorRuns.h"
#include "decompressors/Part10Files.h"
#include "decompressors/Part10FrameWalk.h"
#include "decompressors/detail/NativeFrameReader.h"
#include "support/DataSet.h"
#include "support/RecordingInputStream.h"

using namespace Part10Files;

// The allocator hands out used memory; none of it may reach the image.
TEST(Part10FrameLoader, SamplesThatAnRleSegmentDoesNotBringAreZero)
{
    const Bytes aFrame = RleFrame({{1, 2, 3}});
    DataSet aDataSet;
    aDataSet.SetGrey(2, 4, 8, 8);
    const Outcome aBare = RunBareImage(aFrame, TransferSyntaxType::TSRLEUID, &aDataSet,
                                       {0, 1, false, static_cast<std::uint32_t>(aFrame.size())});
    EXPECT_EQ(aBare.Pixels(), (Bytes{1, 2, 3, 0, 0, 0, 0, 0})) << aBare.Message();
}

// The image would otherwise end in bytes that no codec has written, and could not be saved.
TEST(Part10FrameLoader, AnImageSmallerThanAnnouncedClaimsNoMore)
{
    const JpegSpec aSpec{.itsWidth = 16};
    const Bytes aStream = MakeJpeg(aSpec, MakeSamples(aSpec));
    const Outcome anOutcome = RunPart10(Encapsulated(
        TransferSyntaxType::TSJPEG50UID, {.itsWidth = 16, .itsHeight = 24}, "MONOCHROME2", {aStream}));
    ASSERT_NE(anOutcome.Image(), nullptr) << anOutcome.Message();
    EXPECT_EQ(anOutcome.Image()->getRows(), 8);
    EXPECT_EQ(anOutcome.Image()->getPixelDataSize(), 128u);
    EXPECT_EQ(anOutcome.itsAllocator->GetSizes(), std::vector<std::uint64_t>{384});
}

TEST(Part10FrameLoader, FramesWithoutBytesAreHandedOutLikeOthers)
{
    for (const int aRows : {0, 2})
    {
        const Bytes aFile =
            DicomBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE)
                .AddImageAttributes(1, "MONOCHROME2", static_cast<std::uint16_t>(aRows), 2, 8, 8, 0, 7)
                .AddNativePixelData(Counting(28))
                .Build();
        MemoryInputStream aStream(aFile.data(), aFile.size());
        DecompressionRequest aRequest(&aStream, nullptr, "", false, 1, 0, "", false);
        DecompressionResult aResult;
        CountingAllocator anAllocator;
        int aCount = 0;
        const auto aReceiver = [&](int theFrame, const std::unique_ptr<Renderable>& theImage, const auto&)
        {
            EXPECT_EQ(theFrame, 3 + aCount++);
            return theImage->getRows() == aRows;
        };
        Part10FrameWalk::Run(aRequest, anAllocator, 3, aReceiver, aResult);
        EXPECT_EQ(aCount, 4) << aResult.getMessage();
    }
}

// The first frame that is loaded is looked up by itself, the others in a table.
TEST(Part10FrameLoader, EveryFrameHasItsOwnRescaleOrTheSharedOne)
{
    using enum DicomBuilder::Syntax;
    const auto aGroups = [](const std::string& theSlope)
    {
        const DicomBuilder aRescale = DicomBuilder(EXPLICIT_LITTLE)
                                          .AddString(DICOMTags::RescaleIntercept, "DS", "1")
                                          .AddString(DICOMTags::RescaleSlope, "DS", theSlope);
        return DicomBuilder(EXPLICIT_LITTLE)
            .AddSequence(DICOMTags::PixelValueTransformationSequence, {aRescale});
    };
    const Bytes aFile = DicomBuilder(EXPLICIT_LITTLE)
                            .AddImageAttributes(1, "MONOCHROME2", 1, 2, 8, 8, 0, 4)
                            .AddSequence(DICOMTags::SharedFunctionalGroupsSequence, {aGroups("9")})
                            .AddSequence(DICOMTags::PerFrameFunctionalGroupsSequence,
                                         {aGroups("2"), aGroups("no number"), aGroups("4")})
                            .AddNativePixelData(Counting(8))
                            .Build();
    MemoryInputStream aStream(aFile.data(), aFile.size());
    DecompressionRequest aRequest(&aStream, nullptr, "", false, 1, 0, "", false);
    DecompressionResult aResult;
    CountingAllocator anAllocator;
    std::vector<double> aSlopes;
    Part10FrameWalk::Run(
        aRequest, anAllocator, 0,
        [&](int, const std::unique_ptr<Renderable>& theImage, const auto&)
        { return aSlopes.emplace_back(theImage->getRescale().itsSlope) > 0; },
        aResult);
    EXPECT_EQ(aSlopes, (std::vector<double>{2, 9, 4, 9})) << aResult.getMessage();
}

namespace
{
/// Bit theIndex of the value, lowest bit of a byte first.
int Bit(const Bytes& theBytes, std::size_t theIndex)
{
    return (theBytes[theIndex / 8] >> (theIndex % 8)) & 1;
}
} // namespace

TEST(NativeFrameReader, FindsFramesThatBeginInsideAByte)
{
    constexpr std::size_t kFrameBits = 13;
    const Bytes aValue{0x4d, 0xa3, 0x17, 0xf0, 0x9b, 0x62, 0xc5, 0x3e, 0x81, 0x5a, 0xd7, 0x0c}; // 91 bits
    const std::vector<std::vector<int>> kWalks{{0, 1, 2, 3, 4, 5, 6}, {6}, {1, 3, 4}, {0, 5}};
    constexpr RecordingInputStream::Manner kManners[] = {
        {true, true, 1000}, {false, false, 1}, {false, true, 2}};
    for (std::size_t n = 0; n < std::size(kManners) * kWalks.size(); ++n)
    {
        const std::vector<int>& aWalk = kWalks[n / std::size(kManners)];
        RecordingInputStream::Record aRecord;
        RecordingInputStream aStream(aValue, kManners[n % std::size(kManners)], aRecord);
        NativeFrameReader aReader(aStream, kFrameBits);
        for (const int aFrameIndex : aWalk)
        {
            Bytes aFrame(2, 0xee);
            EXPECT_EQ(aReader.ReadFrame(aFrameIndex, aFrame.data()), aFrame.size());
            for (std::size_t i = 0; i < kFrameBits; ++i)
            {
                EXPECT_EQ(Bit(aFrame, i), Bit(aValue, kFrameBits * static_cast<std::size_t>(aFrameIndex) + i))
                    << "frame " << aFrameIndex << " bit " << i;
            }
        }
    }
}
