// SPDX-License-Identifier: Apache-2.0
#include "decompressors/DecompressingPixelInputStreamVR.h"

#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "decompressors/DecompressorRuns.h"
#include "support/DataSet.h"
#include "support/EncapsulatedBytes.h"
#include "support/FailureOf.h"
#include "support/JpegFixtures.h"
#include "support/RecordingInputStream.h"
#include "support/RleEncoder.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/PixelDataFragmentInputStreamVR.h"
#include "toolkit/dicom/TransferSyntaxManager.h"
#include "toolkit/dicom/TransferSyntaxType.h"

namespace
{
using EncapsulatedBytes::operator+;

/// RLE frames of 8-bit grey behind a pixel-data element, with the data set that describes them.
class Fixture
{
public:
    explicit Fixture(int theFrames, int theRows = 3, int theColumns = 3)
        : itsFrameSize(static_cast<std::size_t>(theRows * theColumns))
    {
        for (int aFrame = 0; aFrame < theFrames; ++aFrame)
        {
            Bytes aPixels(itsFrameSize);
            for (std::size_t i = 0; i < itsFrameSize; ++i)
            {
                aPixels[i] = static_cast<std::uint8_t>(16 * aFrame + static_cast<int>(i) + 1);
            }
            itsValue = itsValue + aPixels;
            itsFrames.push_back(RleEncoder::Encode(aPixels, 1, 1, static_cast<std::size_t>(theColumns)));
        }
        itsValue.resize(itsValue.size() + itsValue.size() % 2);
        itsDataSet.SetGrey(theRows, theColumns, 8, 8);
        itsDataSet.SetText(DICOMTags::NumberOfFrames, std::to_string(theFrames));
    }

    PixelDataFragmentInputStreamVR* MakeFragments(bool theCanSeek = true)
    {
        Bytes aBytes = EncapsulatedBytes::Table({});
        for (const Bytes& aFrame : itsFrames)
        {
            aBytes = aBytes + EncapsulatedBytes::Item(aFrame);
        }
        return new PixelDataFragmentInputStreamVR(
            std::make_unique<RecordingInputStream>(aBytes + EncapsulatedBytes::Delimiter(),
                                                   RecordingInputStream::Manner{.itsCanSeek = theCanSeek},
                                                   itsRecord),
            {}, {});
    }

    std::unique_ptr<DecompressingPixelInputStreamVR> Make(bool theCanSeek = true)
    {
        const auto& aSyntax = *TransferSyntaxManager::GetDefaultInstance().GetTransferSyntaxType(itsUID);
        return std::make_unique<DecompressingPixelInputStreamVR>(itsDataSet, aSyntax,
                                                                 MakeFragments(theCanSeek), itsAllocator);
    }

    std::size_t itsFrameSize;
    std::vector<Bytes> itsFrames;
    Bytes itsValue; ///< what reads as the whole
    DataSet itsDataSet;
    CountingAllocator itsAllocator;
    RWCString itsUID = TransferSyntaxType::TSRLEUID;
    RecordingInputStream::Record itsRecord;
};

Bytes ReadAll(InputStream& theStream, std::size_t theStep)
{
    Bytes aBytes;
    for (;;)
    {
        const std::size_t aStart = aBytes.size();
        aBytes.resize(aStart + theStep);
        const std::size_t aCount = theStream.Read(aBytes.data() + aStart, theStep);
        aBytes.resize(aStart + aCount);
        if (aCount == 0)
        {
            return aBytes;
        }
    }
}

const std::string kInvalidText =
    "DecompressingPixelInputStreamVR::Read(uchar_t* theBuffer, size_t theLength): Invalid object - missing "
    "required DICOM data elements were encountered during construction or an error occured while "
    "decompressing the first frame: ";
} // namespace

TEST(DecompressingPixelInputStreamVR, ReadsAsTheFramesOneAfterAnother)
{
    for (const int aFrames : {1, 2, 3})
    {
        for (const std::size_t aStep : {1u, 4u, 9u, 1000u})
        {
            for (const bool aCanSeek : {true, false})
            {
                SCOPED_TRACE(std::to_string(aFrames) + " frames, " + std::to_string(aStep) + " bytes a read");
                Fixture aFixture(aFrames);
                const auto aStream = aFixture.Make(aCanSeek);
                ASSERT_TRUE(aStream->IsValid());
                EXPECT_EQ(aStream->GetLength(), aFixture.itsValue.size());
                EXPECT_EQ(aStream->GetTypeCode(), 20290);
                EXPECT_EQ(aStream->GetCurrentFrameIndex(), 0);
                EXPECT_EQ(aStream->Skip(5), 5u);
                EXPECT_EQ(aStream->GetBytesAvailable(), aFixture.itsValue.size() - 5);
                EXPECT_EQ(ReadAll(*aStream, aStep),
                          Bytes(aFixture.itsValue.begin() + 5, aFixture.itsValue.end()));
                EXPECT_EQ(aStream->Skip(1), 0u);
                EXPECT_EQ(aStream->GetCurrentFrameIndex(), aFrames - 1);
                EXPECT_FALSE(aStream->HasMoreData());
                EXPECT_EQ(aStream->GetStreamPosition(), aFixture.itsValue.size());
                EXPECT_EQ(aFixture.itsAllocator.GetSizes(),
                          std::vector<std::uint64_t>{aFixture.itsFrameSize});
            }
        }
    }
}

TEST(DecompressingPixelInputStreamVR, GivesTheWholeValueOnce)
{
    Fixture aFixture(3);
    const auto aStream = aFixture.Make();
    const std::unique_ptr<VR> aValue = aStream->GetVR();
    EXPECT_EQ(aValue->GetTag(), DICOMTags::PixelData);
    EXPECT_EQ(aValue->GetTypeCode(), VR::TYPE_OB);
    const auto* const aData = static_cast<const std::uint8_t*>(aValue->GetData());
    EXPECT_EQ(Bytes(aData, aData + aValue->GetLength()), aFixture.itsValue);
    EXPECT_EQ(FailureOf([&] { aStream->GetVR(); }),
              "DecompressingPixelInputStreamVR::GetVR(): Data partially read from stream already [6, 0]");

    aFixture.itsDataSet.SetText(DICOMTags::NumberOfFrames, "5");
    EXPECT_EQ(FailureOf([&] { aFixture.Make()->GetVR(); }),
              "DecompressingPixelInputStreamVR::GetVR(): the frames end after 27 of 46 bytes [37, 0]");
}

TEST(DecompressingPixelInputStreamVR, RefusesWhatItCannotDo)
{
    Fixture aFixture(1);
    const auto aStream = aFixture.Make();
    const std::uint8_t aByte = 0;
    EXPECT_EQ(FailureOf([&] { aStream->Seek(0); }),
              "DecompressingPixelInputStreamVR does not support Seek(size_t thePosition) [12, 0]");
    EXPECT_EQ(FailureOf([&] { aStream->Pushback(&aByte, 1); }),
              "DecompressingPixelInputStreamVR does not support Pushback(uchar_t* theBuffer, size_t "
              "theLength) [12, 0]");
    EXPECT_EQ(FailureOf([&] { *aStream = *aFixture.Make(); }),
              "DecompressingPixelInputStreamVR::operator=(): assignment not supported [6, 0]");
}

TEST(DecompressingPixelInputStreamVR, TellsAtTheFirstReadWhyItIsInvalid)
{
    Fixture aFixture(1);
    aFixture.itsDataSet.RemoveVR(DICOMTags::Rows);
    aFixture.itsDataSet.RemoveVR(DICOMTags::Columns);
    const auto aStream = aFixture.Make();
    EXPECT_FALSE(aStream->IsValid());
    std::uint8_t aByte = 0;
    const std::string aText =
        kInvalidText + "Missing DICOM data element Rows;Missing DICOM data element Columns; [44, 0]";
    EXPECT_EQ(FailureOf([&] { aStream->Read(&aByte, 1); }), aText);
    EXPECT_EQ(FailureOf([&] { aStream->Skip(1); }), aText);

    Fixture aDamaged(1);
    aDamaged.itsFrames[0][0] = 16; // more segments than there may be
    testing::internal::CaptureStdout();
    const auto anInvalid = aDamaged.Make();
    testing::internal::GetCapturedStdout();
    EXPECT_FALSE(anInvalid->IsValid());
    EXPECT_EQ(aDamaged.itsAllocator.GetAllocations(), 0u);
    EXPECT_EQ(FailureOf([&] { anInvalid->Read(&aByte, 1); }),
              kInvalidText + "Exception while decompressing first frame: "
                             "RLEDecoder::SetSource: unable to read RLE header fully [44, 0]");
}

TEST(DecompressingPixelInputStreamVR, DeliversNothingOfAFrameThatFails)
{
    Fixture aFixture(3);
    aFixture.itsFrames[1][0] = 16;
    const auto aStream = aFixture.Make();
    Bytes aBytes(9);
    ASSERT_EQ(aStream->Read(aBytes.data(), 9), 9u);
    testing::internal::CaptureStdout();
    EXPECT_THROW(aStream->Read(aBytes.data(), 1), StreamIOException);
    EXPECT_EQ(FailureOf([&] { aStream->Read(aBytes.data(), 1); }),
              "DecompressingPixelInputStreamVR::DecompressNextFrame(): itsCurrentFrameIndex * "
              "itsCurrentFrameBufferSize != GetLength() - itsRemainingLength:\nitsCurrentFrameIndex = "
              "2\nitsCurrentFrameBufferSize = 9\nGetLength() = 28\nitsRemainingLength = 19\n [6, 0]");
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(aStream->GetStreamPosition(), 9u);
}

TEST(DecompressingPixelInputStreamVR, DoesNotShowAnEarlierFrameThroughAShortOne)
{
    Fixture aFixture(2);
    aFixture.itsFrames[1] = RleEncoder::Frame({RleEncoder::PackBits(Bytes(4, 7))});
    Bytes anExpected(aFixture.itsValue.begin(), aFixture.itsValue.begin() + 9);
    anExpected = anExpected + Bytes(4, 7) + Bytes(5, 0);
    EXPECT_EQ(ReadAll(*aFixture.Make(), 100), anExpected);

    Fixture aJpeg(2, 8, 8);
    aJpeg.itsUID = TransferSyntaxType::TSJPEG50UID;
    const JpegSpec aSpec;
    const JpegSpec aShort{.itsHeight = 3};
    aJpeg.itsFrames = {MakeFlatJpeg(aSpec, {200}), MakeFlatJpeg(aShort, {100})};
    EXPECT_EQ(ReadAll(*aJpeg.Make(), 100), Bytes(64, 200) + Bytes(24, 100) + Bytes(40, 0));
}

TEST(DecompressingPixelInputStreamVR, EndsWithTheLastFrameThatIsAnnounced)
{
    Fixture aFixture(5);
    aFixture.itsDataSet.SetText(DICOMTags::NumberOfFrames, "3");
    // A palette that an earlier decode has applied.
    aFixture.itsDataSet.SetNumbers(DICOMTags::SamplesPerPixel, {3});
    aFixture.itsDataSet.SetScratchpadValue("DecompOrigSamplesPerPixel", "1");
    Bytes anExpected(aFixture.itsValue.begin(), aFixture.itsValue.begin() + 27);
    anExpected.push_back(0);
    EXPECT_EQ(ReadAll(*aFixture.Make(), 5), anExpected);
}
