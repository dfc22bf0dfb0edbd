// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <string>

#include <gtest/gtest.h>

#include "decompressors/DecompressionResult.h"
#include "decompressors/FileToRenderableDecompressor.h"
#include "decompressors/Part10Files.h"
#include "image/Renderable.h"
#include "image/VMMemoryAllocator.h"
#include "support/Jpeg2000Streams.h"
#include "support/LockHolder.h"
#include "support/TemporaryFile.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/io/LFStream.h"

using namespace Part10Files;

namespace
{
const std::string kPrefix = "FileToRenderableDecompressor::DecodeFileToRenderable: ";

int Decode(const RWCString& theName, int theImageType, DecompressionResult& theResult, int theFrame = 0,
           int theLossless = 0)
{
    DICOMDataObject aDataSet;
    return FileToRenderableDecompressor::DecodeFileToRenderable(
        theName, "", aDataSet, static_cast<JImageType>(theImageType), theFrame, 1, theResult, theLossless);
}

Bytes GreyJpeg()
{
    const JpegSpec aSpec;
    return MakeJpeg(aSpec, MakeSamples(aSpec));
}

struct FileCase
{
    const char* itsName;
    Bytes itsContent;
    int itsImageType;
    int itsFrame;
    int itsCode;
    std::string itsText;
};
} // namespace

TEST(FileToRenderableDecompressor, DecodesByImageType)
{
    using namespace Jpeg2000Streams;
    struct Case
    {
        Bytes itsContent;
        int itsImageType;
        int itsFrame;
        int itsFirstByte;
    };
    const int aFirst = GreyValue(0, 0) & 0xff;
    for (const Case& aCase :
         {Case{Grey8(3), IMAGE_TYPE_DICOM_PART10, 2, 12}, Case{Grey8(3), IMAGE_TYPE_DICOM_PART10, -1, 0},
          Case{GreyJpeg(), IMAGE_TYPE_JPEG, 0, -1}, Case{Grey12(), IMAGE_TYPE_JPEG2000, 0, aFirst},
          Case{MakeJp2(Grey12()), IMAGE_TYPE_JPEG2000, 0, aFirst}})
    {
        for (const int aLossless : {0, 1})
        {
            const TemporaryFile aFile(aCase.itsContent);
            DICOMDataObject aDataSet;
            DecompressionResult aResult;
            aResult.setSystemErrorCode(5);
            ASSERT_EQ(FileToRenderableDecompressor::DecodeFileToRenderable(
                          aFile.GetName(), "", aDataSet, static_cast<JImageType>(aCase.itsImageType),
                          aCase.itsFrame, 1, aResult, aLossless),
                      1)
                << aResult.getMessage();
            EXPECT_EQ(aResult.getDCMLibResultCode(), 0);
            EXPECT_EQ(aResult.getSystemErrorCode(), 0);
            const Renderable& anImage = *aResult.getRenderable();
            EXPECT_TRUE(aCase.itsFirstByte < 0 ||
                        *static_cast<const std::uint8_t*>(anImage.getPixelData()) == aCase.itsFirstByte);
            std::int32_t aColumns = 0;
            EXPECT_TRUE(aCase.itsImageType != IMAGE_TYPE_DICOM_PART10 ||
                        (aDataSet.GetInteger(DICOMTags::Columns, aColumns) && aColumns == 3));
        }
    }
}

TEST(FileToRenderableDecompressor, PassesScaleFactorAndSecondNameOn)
{
    const TemporaryFile aPart10(Grey8());
    const TemporaryFile aJpeg(GreyJpeg());
    DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE);
    aBuilder.AddImageAttributes(1, "MONOCHROME1", 8, 8, 8, 8);
    const TemporaryFile aDemo(aBuilder.Build());
    DICOMDataObject aDataSet;
    DecompressionResult aResult;
    ASSERT_EQ(FileToRenderableDecompressor::DecodeFileToRenderable(
                  aPart10.GetName(), aDemo.GetName(), aDataSet, IMAGE_TYPE_DICOM_PART10, 0, 3, aResult, 0),
              1);
    EXPECT_EQ(aResult.getRenderable()->getScaleFactor(), 3);
    EXPECT_EQ(aResult.getRenderable()->getPhotometricInterpretation(), Renderable::MONOCHROME2);

    DICOMDataObject anotherDataSet;
    DecompressionResult anotherResult;
    ASSERT_EQ(FileToRenderableDecompressor::DecodeFileToRenderable(
                  aJpeg.GetName(), aDemo.GetName(), anotherDataSet, IMAGE_TYPE_JPEG, 0, 1, anotherResult, 0),
              1);
    EXPECT_EQ(anotherResult.getRenderable()->getPhotometricInterpretation(), Renderable::MONOCHROME1);
}

TEST(FileToRenderableDecompressor, ReportsEveryFailure)
{
    const std::string kNoImage = kPrefix + "Decompressor produced a NULL Renderable";
    const std::string kBadType = kPrefix + "Invalid compressed image type";
    DicomBuilder aHeaderOnly(DicomBuilder::Syntax::EXPLICIT_LITTLE);
    aHeaderOnly.AddImageAttributes(1, "MONOCHROME2", 2, 3, 8, 8);
    const std::uint64_t aBlocks = VMMemoryAllocator::GetNumHeapBlocks();
    for (const FileCase& aCase : {
             FileCase{"type 0", Grey8(), 0, 0, 48, kBadType},
             FileCase{"type 7 is for other callers", GreyJpeg(), 7, 0, 48, kBadType},
             FileCase{"type -1", Grey8(), -1, 0, 48, kBadType},
             FileCase{"no pixel data", aHeaderOnly.Build(), 3, 0, 62, kNoImage},
             FileCase{"no such frame", Grey8(), 3, 4, 62, kNoImage},
             FileCase{"no JPEG stream", Grey8(), 1, 0, 62, kNoImage},
             FileCase{"empty", {}, 3, 0, 62, kNoImage},
         })
    {
        SCOPED_TRACE(aCase.itsName);
        const TemporaryFile aFile(aCase.itsContent);
        DecompressionResult aResult;
        aResult.setSystemErrorCode(9);
        EXPECT_EQ(Decode(aFile.GetName(), aCase.itsImageType, aResult, aCase.itsFrame), 0);
        EXPECT_EQ(aResult.getSystemErrorCode(), 0);
        EXPECT_EQ(aResult.getDCMLibResultCode(), aCase.itsCode);
        EXPECT_EQ(aResult.getMessage(), aCase.itsText);
        EXPECT_EQ(aResult.getRenderable(), nullptr);
    }
    EXPECT_EQ(VMMemoryAllocator::GetNumHeapBlocks(), aBlocks);
}

TEST(FileToRenderableDecompressor, ReportsAFileThatIsNotThere)
{
    // The file comes before the type.
    for (const int aType : {0, 1, 3})
    {
        DecompressionResult aResult;
        EXPECT_EQ(Decode("/nowhere/at/all", aType, aResult), 0);
        EXPECT_EQ(aResult.getDCMLibResultCode(), 3);
        EXPECT_EQ(aResult.getSystemErrorCode(), 0);
        EXPECT_EQ(aResult.getMessage(),
                  kPrefix + "DGDatabase::RetrieveFromCompressedFile(): Error: unable to find image file");
    }
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
