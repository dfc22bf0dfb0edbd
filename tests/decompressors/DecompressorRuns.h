// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "decompressors/CompressedImageStreamDecompressor.h"
#include "decompressors/DICOMPart10StreamDecompressor.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "image/Renderable.h"
#include "support/ByteSource.h"
#include "support/CountingAllocator.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/io/MemoryInputStream.h"

using Bytes = std::vector<std::uint8_t>;

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

    Bytes Pixels() const
    {
        const Renderable* const anImage = Image();
        if (anImage == nullptr || anImage->getPixelData() == nullptr)
        {
            return {};
        }
        const auto* const aData = static_cast<const std::uint8_t*>(anImage->getPixelData());
        return Bytes(aData, aData + anImage->getPixelDataSize());
    }
};

/// How a request differs from the plainest one.
struct Wish
{
    int itsFrameIndex = 0;
    int itsScaleFactor = 1;
    bool itsUnsigned = false;
    std::uint32_t itsSourceLength = 0;
};

inline Outcome RunPart10(const Bytes& theFile, DICOMDataObject* theDataSet, Wish theWish = {})
{
    Outcome anOutcome;
    MemoryInputStream aStream(theFile.data(), theFile.size());
    DecompressionRequest aRequest(&aStream, theDataSet, "", false, theWish.itsScaleFactor,
                                  theWish.itsFrameIndex, "", theWish.itsUnsigned);
    DICOMPart10StreamDecompressor(*anOutcome.itsAllocator).Decompress(aRequest, anOutcome.itsResult);
    return anOutcome;
}

/// The same without the text that the RLE codec writes to standard output for every failure.
inline Outcome RunPart10Quietly(const Bytes& theFile, DICOMDataObject* theDataSet, Wish theWish = {})
{
    testing::internal::CaptureStdout();
    Outcome anOutcome = RunPart10(theFile, theDataSet, theWish);
    testing::internal::GetCapturedStdout();
    return anOutcome;
}

inline Outcome RunBareImage(const Bytes& theStream, const RWCString& theUID, DICOMDataObject* theDataSet,
                            Wish theWish = {})
{
    Outcome anOutcome;
    ByteSource aSource(theStream);
    DecompressionRequest aRequest(&aSource, theDataSet, "", false, theWish.itsScaleFactor,
                                  theWish.itsFrameIndex, theUID, theWish.itsUnsigned);
    aRequest.setSourceLength(theWish.itsSourceLength);
    CompressedImageStreamDecompressor(*anOutcome.itsAllocator).Decompress(aRequest, anOutcome.itsResult);
    return anOutcome;
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
