// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/Limits.h"

#include <gtest/gtest.h>

#include "decompressors/DecompressorRuns.h"
#include "decompressors/Part10Files.h"
#include "support/JpegFixtures.h"
#include "toolkit/dicom/TransferSyntaxType.h"

namespace
{
/// Limits for the length of a test.
class TemporaryLimits
{
public:
    explicit TemporaryLimits(const Limits& theLimits) { Limits::Set(theLimits); }
    ~TemporaryLimits() { Limits::Set(itsFormer); }
    TemporaryLimits(const TemporaryLimits&) = delete;
    TemporaryLimits& operator=(const TemporaryLimits&) = delete;

private:
    const Limits itsFormer = Limits::Get();
};

struct LimitCase
{
    const char* itsName;
    std::uint64_t Limits::*itsLimit;
    std::uint64_t itsEnough; ///< one less refuses the file
    Bytes itsFile;
    int itsCode;
    const char* itsText;
};

Bytes WithSequences(int theDepth)
{
    DicomBuilder anInner(DicomBuilder::Syntax::EXPLICIT_LITTLE);
    for (int i = 0; i < theDepth; ++i)
    {
        DicomBuilder anOuter(DicomBuilder::Syntax::EXPLICIT_LITTLE);
        anOuter.AddSequence({0x0008, 0x1115}, {anInner});
        anInner = anOuter;
    }
    DicomBuilder aFile(DicomBuilder::Syntax::EXPLICIT_LITTLE);
    aFile.AddRaw(anInner.DataSet());
    aFile.AddImageAttributes(1, "MONOCHROME2", 2, 3, 8, 8);
    aFile.AddNativePixelData(Bytes(6), "OB");
    return aFile.Build();
}

Bytes WithAttribute(std::size_t theSize)
{
    DicomBuilder aFile(DicomBuilder::Syntax::EXPLICIT_LITTLE);
    aFile.AddBytes({0x0008, 0x2111}, "ST", Bytes(theSize, ' '));
    aFile.AddImageAttributes(1, "MONOCHROME2", 2, 3, 8, 8);
    aFile.AddNativePixelData(Bytes(6), "OB");
    return aFile.Build();
}

Bytes WithFragments(int theCount)
{
    DicomBuilder aFile(DicomBuilder::Syntax::EXPLICIT_LITTLE, "1.2.840.10008.1.2.5");
    aFile.AddImageAttributes(1, "MONOCHROME2", 2, 3, 8, 8, 0, theCount);
    const Bytes aFrame = Part10Files::RleFrame({Part10Files::Counting(6)});
    aFile.AddEncapsulatedPixelData(std::vector<Bytes>(static_cast<std::size_t>(theCount), aFrame));
    return aFile.Build();
}

const LimitCase theLimitCases[] = {
    {"pixels", &Limits::itsPixelsPerFrame, 6, Part10Files::Grey8(), 11,
     "The image is too large: 2 rows of 3 pixels, more than the limit of 5 in all"},
    {"bytes", &Limits::itsBytesPerFrame, 6, Part10Files::Grey8(), 11,
     "The image is too large: 6 bytes, more than the limit of 5"},
    {"frames", &Limits::itsFrames, 3, Part10Files::Grey8(3), 38,
     "The data set is too large: 3 frames, more than the limit of 2"},
    {"sequences", &Limits::itsNestedSequences, 3, WithSequences(3), 38,
     "Parse error, possible corruption: DataSetReader::Next: 3 nested sequences, more than the limit of 2, "
     "at "
     "element (0008,1115)"},
    {"attributes", &Limits::itsAttributeBytes, 1026, WithAttribute(1000), 38,
     "Parse error, possible corruption: DataSetReader::Next: 1026 bytes of attribute values, more than the "
     "limit "
     "of 1025, with element (0028,0103)"},
    {"fragments", &Limits::itsFragments, 4, WithFragments(4), 38,
     "ImageFrameInputStream: the pixel data is too large: 4 fragments, more than the limit of 3"},
};
} // namespace

TEST(Limits, AreCrossedByOneMoreThanAllowed)
{
    for (const LimitCase& aCase : theLimitCases)
    {
        SCOPED_TRACE(aCase.itsName);
        Limits aLimits;
        aLimits.*aCase.itsLimit = aCase.itsEnough;
        {
            const TemporaryLimits aScope(aLimits);
            const Outcome anOutcome = RunPart10(aCase.itsFile, nullptr);
            EXPECT_EQ(anOutcome.Code(), 0) << anOutcome.Message();
        }
        aLimits.*aCase.itsLimit = aCase.itsEnough - 1;
        const TemporaryLimits aScope(aLimits);
        const Outcome anOutcome = RunPart10(aCase.itsFile, nullptr);
        EXPECT_EQ(anOutcome.Code(), aCase.itsCode);
        EXPECT_EQ(anOutcome.Message(), aCase.itsText);
        EXPECT_EQ(anOutcome.itsAllocator->GetLiveBlocks(), 0u);
    }
}

TEST(Limits, HoldForBareImagesBeforeTheirPixelsAreAllocated)
{
    Limits aLimits;
    aLimits.itsPixelsPerFrame = 16 * 16 - 1;
    const TemporaryLimits aScope(aLimits);
    JpegSpec aSpec;
    aSpec.itsWidth = 16;
    aSpec.itsHeight = 16;
    const Outcome anOutcome =
        RunBareImage(MakeJpeg(aSpec, MakeSamples(aSpec)), TransferSyntaxType::TSJPEG50UID, nullptr);
    EXPECT_EQ(anOutcome.Code(), 62);
    EXPECT_EQ(anOutcome.Message(),
              "Decoder exception: StreamIOException: StreamIOException: The image is too "
              "large: 16 rows of 16 pixels, more than the limit of 255 in all");
    EXPECT_EQ(anOutcome.itsAllocator->GetAllocations(), 0u);
}
