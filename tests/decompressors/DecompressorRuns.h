// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "decompressors/CompressedImageStreamDecompressor.h"
#include "decompressors/DICOMPart10StreamDecompressor.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "support/ByteSource.h"
#include "support/ImageMaker.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/io/InputStream.h"

/// What one call of a decompressor brought: its result, with the allocator that the image lives in.
struct Outcome
{
    std::unique_ptr<CountingAllocator> itsAllocator = std::make_unique<CountingAllocator>();
    DecompressionResult itsResult;

    /// The result has been used before: nothing of that may remain.
    Outcome()
    {
        itsResult.setDCMLibResultCode(DLRC_IO_ERROR);
        itsResult.setSystemErrorCode(9);
        itsResult.setMessage("left over");
    }

    const Renderable* Image() const { return itsResult.getRenderable(); }
    int Code() const { return itsResult.getDCMLibResultCode(); }
    const RWCString& Message() const { return itsResult.getMessage(); }
    Bytes Pixels() const { return Image() == nullptr ? Bytes() : GetPixels(*Image()); }

    /// The same; of packed single bits a byte for each, the lowest of a byte first.
    Bytes UnpackedPixels() const
    {
        const Bytes aPixels = Pixels();
        if (Image() == nullptr || Image()->getBitsAllocated() != 1)
        {
            return aPixels;
        }
        Bytes aBits(static_cast<std::size_t>(Image()->getRows()) *
                    static_cast<std::size_t>(Image()->getColumns()));
        for (std::size_t i = 0; i < aBits.size(); ++i)
        {
            aBits[i] = aPixels[i / 8] >> (i % 8) & 1;
        }
        return aBits;
    }
};

/// How a request differs from the plainest one.
struct Wish
{
    int itsFrameIndex = 0;
    int itsScaleFactor = 1;
    bool itsUnsigned = false;
    std::uint32_t itsSourceLength = 0;
    Reading itsReading = Reading::BY_CONTRACT;
};

inline Outcome RunStream(InputStream& theStream, DICOMDataObject* theDataSet = nullptr, Wish theWish = {},
                         std::unique_ptr<CountingAllocator> theAllocator = nullptr)
{
    Outcome anOutcome;
    anOutcome.itsAllocator = theAllocator ? std::move(theAllocator) : std::move(anOutcome.itsAllocator);
    DecompressionRequest aRequest(&theStream, theDataSet, "", false, theWish.itsScaleFactor,
                                  theWish.itsFrameIndex, "", theWish.itsUnsigned);
    aRequest.setReading(theWish.itsReading);
    DICOMPart10StreamDecompressor(*anOutcome.itsAllocator).Decompress(aRequest, anOutcome.itsResult);
    return anOutcome;
}

inline Outcome RunPart10(const Bytes& theFile, DICOMDataObject* theDataSet, Wish theWish = {})
{
    MemoryInputStream aStream(theFile.data(), theFile.size());
    return RunStream(aStream, theDataSet, theWish);
}

/// The same with a data set that nobody looks at afterwards.
inline Outcome RunPart10(const Bytes& theFile, Wish theWish = {})
{
    DICOMDataObject aDataSet;
    return RunPart10(theFile, &aDataSet, theWish);
}

/// The first without the text that the RLE codec writes to standard output for every failure.
inline Outcome RunPart10Quietly(const Bytes& theFile, DICOMDataObject* theDataSet, Wish theWish = {})
{
    testing::internal::CaptureStdout();
    Outcome anOutcome = RunPart10(theFile, theDataSet, theWish);
    testing::internal::GetCapturedStdout();
    return anOutcome;
}

inline Outcome RunSource(kdu_compressed_source& theSource, const RWCString& theUID,
                         DICOMDataObject* theDataSet, Wish theWish = {}, const RWCString& theDemoFile = "")
{
    Outcome anOutcome;
    DecompressionRequest aRequest(&theSource, theDataSet, theDemoFile, false, theWish.itsScaleFactor,
                                  theWish.itsFrameIndex, theUID, theWish.itsUnsigned);
    aRequest.setSourceLength(theWish.itsSourceLength);
    aRequest.setReading(theWish.itsReading);
    CompressedImageStreamDecompressor(*anOutcome.itsAllocator).Decompress(aRequest, anOutcome.itsResult);
    return anOutcome;
}

inline Outcome RunBareImage(const Bytes& theStream, const RWCString& theUID, DICOMDataObject* theDataSet,
                            Wish theWish = {})
{
    ByteSource aSource(theStream);
    return RunSource(aSource, theUID, theDataSet, theWish);
}

/// A failure with this text, or one that begins so where a "*" ends it, of which nothing is kept.
inline void ExpectFailure(const Outcome& theOutcome, int theCode, std::string theText)
{
    const bool isWhole = theText.back() != '*';
    theText.resize(theText.size() - (isWhole ? 0 : 1));
    EXPECT_EQ(theOutcome.Code(), theCode);
    EXPECT_EQ(isWhole ? theOutcome.Message() : theOutcome.Message().substr(0, theText.size()), theText);
    EXPECT_EQ(theOutcome.itsResult.getSystemErrorCode(), 0);
    EXPECT_EQ(theOutcome.Image(), nullptr);
    EXPECT_EQ(theOutcome.itsAllocator->GetLiveBlocks(), 0u);
}

/// What holds of every outcome, however hostile the input was.
inline void ExpectErrorOrPixels(const Outcome& theOutcome, const std::string& theInput)
{
    EXPECT_FALSE(theOutcome.Message().empty()) << theInput;
    if (theOutcome.Code() != 0)
    {
        EXPECT_EQ(theOutcome.Image(), nullptr) << theInput;
        EXPECT_EQ(theOutcome.itsAllocator->GetLiveBlocks(), 0u) << theInput;
        return;
    }
    ASSERT_NE(theOutcome.Image(), nullptr) << theInput;
    EXPECT_GE(theOutcome.Image()->getPixelDataSize(), theOutcome.Image()->getRequiredPixelDataBufferSize())
        << theInput;
    EXPECT_EQ(theOutcome.itsAllocator->GetLiveBlocks(), 1u) << theInput;
}
