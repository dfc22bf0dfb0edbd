// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "decompressors/DecompressionResult.h"
#include "decompressors/FileToRenderableDecompressor.h"
#include "decompressors/Part10Files.h"
#include "image/VMMemoryAllocator.h"
#include "support/DataSet.h"
#include "support/ImageMaker.h"
#include "support/Jpeg2000Streams.h"
#include "support/LockHolder.h"
#include "support/TemporaryFile.h"
#include "toolkit/io/LFStream.h"

using namespace Part10Files;

namespace
{
const std::string kPrefix = "FileToRenderableDecompressor::DecodeFileToRenderable: ";

int Decode(const RWCString& theName, int theImageType, DecompressionResult& theResult, int theFrame = 0,
           const RWCString& theSecondName = "", int theScaleFactor = 1, int theLossless = 0)
{
    DataSet aDataSet;
    theResult.setSystemErrorCode(9);
    const int isDecoded = FileToRenderableDecompressor::DecodeFileToRenderable(
        theName, theSecondName, aDataSet, static_cast<JImageType>(theImageType), theFrame, theScaleFactor,
        theResult, theLossless);
    EXPECT_TRUE(isDecoded == 0 || theImageType != IMAGE_TYPE_DICOM_PART10 ||
                aDataSet.Number(DICOMTags::Columns) == 3);
    return isDecoded;
}

Bytes GreyJpeg()
{
    const JpegSpec aSpec;
    return MakeFlatJpeg(aSpec, {77});
}
} // namespace

TEST(FileToRenderableDecompressor, DecodesByImageType)
{
    using namespace Jpeg2000Streams;
    DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE);
    aBuilder.AddImageAttributes(1, "MONOCHROME1", 8, 8, 8, 8);
    const TemporaryFile aDemo(aBuilder.Build());
    const auto aFirst = static_cast<std::uint8_t>(GreyValue(0, 0));
    // The scale factor is that of the image, with 3 asked for.
    const std::tuple<Bytes, int, int, std::uint8_t, int, Renderable::PhotometricInterpretation> kCases[] = {
        {Grey8(3), IMAGE_TYPE_DICOM_PART10, 2, 12, 3, Renderable::MONOCHROME2},
        {GreyJpeg(), IMAGE_TYPE_JPEG, 0, 77, 1, Renderable::MONOCHROME1},
        {Grey12(), IMAGE_TYPE_JPEG2000, 0, aFirst, 3, Renderable::MONOCHROME1},
        {MakeJp2(Grey12()), IMAGE_TYPE_JPEG2000, 0, aFirst, 3, Renderable::MONOCHROME1}};
    for (const auto& [aContent, anImageType, aFrame, aFirstByte, aScaleFactor, anInterpretation] : kCases)
    {
        for (const int aLossless : {0, 1})
        {
            const TemporaryFile aFile(aContent);
            DecompressionResult aResult;
            ASSERT_EQ(Decode(aFile.GetName(), anImageType, aResult, aFrame, aDemo.GetName(), 3, aLossless), 1)
                << aResult.getMessage();
            EXPECT_EQ(aResult.getDCMLibResultCode(), 0);
            EXPECT_EQ(aResult.getSystemErrorCode(), 0);
            const Renderable& anImage = *aResult.getRenderable();
            EXPECT_EQ(anImage.getScaleFactor(), aScaleFactor);
            EXPECT_EQ(anImage.getPhotometricInterpretation(), anInterpretation);
            DecompressionResult aFullSize;
            ASSERT_EQ(Decode(aFile.GetName(), anImageType, aFullSize, aFrame), 1);
            EXPECT_EQ(GetPixels(*aFullSize.getRenderable()).front(), aFirstByte);
        }
    }
}

TEST(FileToRenderableDecompressor, ReportsEveryFailure)
{
    const std::string kNoImage = kPrefix + "Decompressor produced a NULL Renderable";
    const std::string kBadType = kPrefix + "Invalid compressed image type";
    const std::string kNoFile =
        kPrefix + "DGDatabase::RetrieveFromCompressedFile(): Error: unable to find image file";
    const std::uint64_t aBlocks = VMMemoryAllocator::GetNumHeapBlocks();
    const std::tuple<const char*, Bytes, int, int, int, std::string> kCases[] = {
        {"type 0", Grey8(), 0, 0, 48, kBadType},
        {"type 7 is for other callers", GreyJpeg(), 7, 0, 48, kBadType},
        {"type -1", Grey8(), -1, 0, 48, kBadType},
        {"no such frame", Grey8(), 3, 4, 62, kNoImage},
        {"no JPEG stream", Grey8(), 1, 0, 62, kNoImage},
        {"empty", {}, 3, 0, 62, kNoImage},
        {"no file", {}, 1, 0, 3, kNoFile},
        {"no file comes before no type", {}, 0, 0, 3, kNoFile},
    };
    for (const auto& [aName, aContent, anImageType, aFrame, aCode, aText] : kCases)
    {
        SCOPED_TRACE(aName);
        const TemporaryFile aFile(aContent), anEarlier(Grey8());
        DecompressionResult aResult; // of an image that only its copies keep
        EXPECT_EQ(Decode(anEarlier.GetName(), IMAGE_TYPE_DICOM_PART10, aResult), 1);
        const DecompressionResult aKept = aResult;
        EXPECT_EQ(Decode(aCode == 3 ? "/nowhere/at/all" : aFile.GetName(), anImageType, aResult, aFrame), 0);
        EXPECT_EQ(aResult.getSystemErrorCode(), 0);
        EXPECT_EQ(aResult.getDCMLibResultCode(), aCode);
        EXPECT_EQ(aResult.getMessage(), aText);
        EXPECT_EQ(aResult.getRenderable(), nullptr);
        ASSERT_NE(aKept.getRenderable(), nullptr);
        EXPECT_EQ(GetPixels(*aKept.getRenderable()), Counting(6));
    }
    EXPECT_EQ(VMMemoryAllocator::GetNumHeapBlocks(), aBlocks);
}

TEST(FileToRenderableDecompressor, SharesTheFileWithReadersOnly)
{
    const TemporaryFile aFile(Grey8());
    const double aWaitTime = LFStream::GetDefaultLockWaitTime();
    LFStream::SetDefaultLockWaitTime(0.05);
    DecompressionResult aResult;
    {
        const LockHolder aWriter(aFile.GetName(), LFStream::LOCK_FOR_WRITING);
        ASSERT_TRUE(aWriter.IsLocked());
        EXPECT_EQ(Decode(aFile.GetName(), IMAGE_TYPE_DICOM_PART10, aResult), 0);
        EXPECT_EQ(aResult.getDCMLibResultCode(), 9);
        EXPECT_NE(aResult.getSystemErrorCode(), 0);
        EXPECT_EQ(aResult.getMessage(),
                  kPrefix + "FileToRenderableDecompressor::DecodeFileToRenderable(): File locking failed");
    }
    {
        const LockHolder aReader(aFile.GetName(), LFStream::LOCK_FOR_READING);
        ASSERT_TRUE(aReader.IsLocked());
        EXPECT_EQ(Decode(aFile.GetName(), IMAGE_TYPE_DICOM_PART10, aResult), 1) << aResult.getMessage();
    }
    EXPECT_TRUE(LockHolder(aFile.GetName(), LFStream::LOCK_FOR_WRITING).IsLocked())
        << "the read lock outlived the decode";
    LFStream::SetDefaultLockWaitTime(aWaitTime);
}
