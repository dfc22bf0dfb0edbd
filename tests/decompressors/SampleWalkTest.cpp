// SPDX-License-Identifier: Apache-2.0
// Decodes every sample image there is and holds the pixels against the table of expected results. A file
// that neither matches nor is listed here with its failure and the reason fails the test.
#include <algorithm>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "decoding/CompressedCodestreamDecoder.h"
#include "decompressors/DecompressorRuns.h"
#include "decompressors/detail/Part10FrontEnd.h"
#include "image/VMMemoryAllocator.h"
#include "support/DicomBuilder.h"
#include "support/PlainColour.h"
#include "support/SampleTable.h"
#include "support/Sha256.h"
#include "toolkit/base/DICOMLibException.h"
#include "toolkit/dicom/ImageFrameInputStream.h"
#include "toolkit/dicom/MVRFactory.h"
#include "toolkit/dicom/PixelInputStreamVR.h"

namespace
{
constexpr int kEveryFrame = -1;

struct ExpectedFailure
{
    const char* itsFile;
    int itsFrame;
    int itsCode;
    const char* itsText;
    const char* itsReason;
};

#define ODD_SEGMENT(theOffset, theComponent)                                                                 \
    "RLEDecoder::Decode: Invalid component offset (" theOffset                                               \
    ") (odd-length segment - even length required by DICOM standard) for component index " theComponent
#define UNCONVERTED(theBytesRead)                                                                            \
    "Decoder exception: JPEGDecoderException: JPEGDecoderException: Error: JPEGDecoder: error "              \
    "(read " theBytesRead " bytes so far): Unsupported color conversion request"
#define UNCONVERTED_DEEP(theBytesRead)                                                                       \
    "JPEGDecoder: error (read " theBytesRead " bytes so far): Unsupported color conversion request"

const char* const kFourComponents = "four components: the JPEG codecs deliver grey and RGB only";
const char* const kOddSegment = "RLE segments of odd length are refused";
const char* const kOneBitRLE = "RLE of bit-packed pixels needs a byte a pixel, more than one-bit frames have";

const ExpectedFailure kExpectedFailures[] = {
    {"dicom/OT-PAL-8-face.dcm", kEveryFrame, 38,
     "Error reading Part10Header, possible corruption: Part10InputStreamInputStream::Open: not a DICOM Part "
     "10 stream (no preamble with \"DICM\")",
     "a data set without file meta information; decoded behind one below"},
    {"dicom/SC_rgb_rle_32bit.dcm", kEveryFrame, 12,
     "DICOMPart10StreamDecompressor::Decode: unable to convert image to non-planar 8-bit RGB: "
     "DecompressionLibUtils::ConvertRGBRenderableToNonPlanar8BitRGB: bits allocated > 16 - not supported",
     "colour of 32 bits a sample has no conversion"},
    {"dicom/liver_nonbyte_aligned_rle.dcm", kEveryFrame, 62, "RLEDecoder::Decode: destination buffer size < ",
     kOneBitRLE},
    {"dicom/rtdose_rle.dcm", 1, 62, ODD_SEGMENT("221", "3"), kOddSegment},
    {"dicom/rtdose_rle.dcm", 5, 62, ODD_SEGMENT("219", "3"), kOddSegment},
    {"dicom/rtdose_rle.dcm", 6, 62, ODD_SEGMENT("221", "3"), kOddSegment},
    {"dicom/rtdose_rle.dcm", 7, 62, ODD_SEGMENT("221", "3"), kOddSegment},
    {"dicom/rtdose_rle.dcm", 8, 62, ODD_SEGMENT("221", "3"), kOddSegment},
    {"dicom/rtdose_rle.dcm", 9, 62, ODD_SEGMENT("113", "2"), kOddSegment},
    {"dicom/rtdose_rle.dcm", 13, 62, ODD_SEGMENT("107", "2"), kOddSegment},
    {"dicom/rtdose_rle.dcm", 14, 62, ODD_SEGMENT("197", "3"), kOddSegment},
    {"jpeg/A1.JPG", kEveryFrame, 62, UNCONVERTED("32108"), kFourComponents},
    {"jpeg/C1.JPG", kEveryFrame, 62, UNCONVERTED("27773"), kFourComponents},
    {"jpeg/C2.JPG", kEveryFrame, 62, UNCONVERTED("27923"), kFourComponents},
    {"jpeg/O1.JPG", kEveryFrame, 62, UNCONVERTED("32768"), kFourComponents},
    {"jpeg/jpg-cmyk-1.jpg", kEveryFrame, 62, UNCONVERTED("1498"), kFourComponents},
    {"jpeg/E1.JPG", kEveryFrame, 0, UNCONVERTED_DEEP("32768"), kFourComponents},
    {"jpeg/O2.JPG", kEveryFrame, 0, UNCONVERTED_DEEP("32768"), kFourComponents},
};

const ExpectedFailure* FindExpectedFailure(const std::string& theFile, int theFrame)
{
    const auto aFound =
        std::find_if(std::begin(kExpectedFailures), std::end(kExpectedFailures),
                     [&](const ExpectedFailure& aFailure)
                     {
                         return theFile == aFailure.itsFile &&
                                (aFailure.itsFrame == kEveryFrame || aFailure.itsFrame == theFrame);
                     });
    return aFound == std::end(kExpectedFailures) ? nullptr : aFound;
}

bool StartsWith(const std::string& theText, const std::string& theBeginning)
{
    return theText.compare(0, theBeginning.size(), theBeginning) == 0;
}

std::string Hash(const Bytes& theBytes)
{
    return Sha256(theBytes.data(), theBytes.size());
}

/// The expected hash of the form whose description begins so; only rows that must match exactly.
std::string ExpectedHash(const std::vector<SampleRow>& theRows, const std::string& theForm)
{
    for (const SampleRow& aRow : theRows)
    {
        if (aRow.itsExact == "yes" && StartsWith(aRow.itsColourSpace, theForm) &&
            aRow.itsColourSpace.find("REPLICATED") == std::string::npos)
        {
            return aRow.itsSHA256;
        }
    }
    return "no row: " + theForm;
}

bool HasRow(const std::vector<SampleRow>& theRows, const std::string& theForm)
{
    return !StartsWith(ExpectedHash(theRows, theForm), "no row");
}

/// A sample file with a parsed header of its own, apart from the decode under test.
class SampleFile
{
public:
    explicit SampleFile(Bytes theBytes)
        : itsBytes(std::move(theBytes)), itsStream(itsBytes.data(), itsBytes.size()),
          itsRequest(&itsStream, &itsHeader, "", false, 1, 0, "", false),
          itsFrontEnd(itsRequest, VMMemoryAllocator::GetDefaultInstance())
    {
        DecompressionResult aResult;
        if (itsFrontEnd.Open(aResult))
        {
            itsFrontEnd.Parse();
            itsHeader.GetString(DICOMTags::PhotometricInterpretation, itsInterpretation);
        }
    }

    const Bytes& GetBytes() const { return itsBytes; }
    const DICOMDataObject& GetHeader() const { return itsHeader; }
    const RWCString& GetUID() const { return itsRequest.getTransferSyntaxUID(); }
    const RWCString& GetInterpretation() const { return itsInterpretation; }
    const Part10ImageAttributes& GetAttributes() const { return itsFrontEnd.GetAttributes(); }

    bool IsJPEG2000() const { return StartsWith(GetUID(), "1.2.840.10008.1.2.4.9"); }
    bool IsJPEG() const { return StartsWith(GetUID(), "1.2.840.10008.1.2.4.") && !IsJPEG2000(); }

    /// One frame's samples below every colour conversion: native bytes in little-endian order, or what the
    /// RLE codec gives. To be asked for once.
    Bytes GetStoredSamples(int theFrame)
    {
        Bytes aFrame(GetAttributes().GetFrameSize(
            Renderable::photometricInterpretationFromString(GetInterpretation())));
        VR& anElement = *itsFrontEnd.GetPixelData();
        if (PixelInputStreamVR* const aNative = anElement.GetPixelInputStream())
        {
            Bytes aValue(static_cast<std::size_t>(anElement.GetLength()));
            aNative->ReadFully(aValue.data(), aValue.size());
            const bool aSwap =
                anElement.GetTypeCode() == VR::TYPE_OW && itsHeader.GetEndian() == DLEndian::BIG_ENDIAN_ORDER;
            for (std::size_t i = 0; aSwap && i + 1 < aValue.size(); i += 2)
            {
                std::swap(aValue[i], aValue[i + 1]);
            }
            const std::size_t anOffset = aFrame.size() * static_cast<std::size_t>(theFrame);
            std::copy_n(aValue.begin() + static_cast<std::ptrdiff_t>(anOffset), aFrame.size(),
                        aFrame.begin());
            return aFrame;
        }
        ImageFrameInputStream aFrames(*anElement.GetPixelDataFragmentInputStream(), GetUID(),
                                      GetAttributes().itsNumberOfFrames, aFrame.size());
        InputStream* const aStream = aFrames.GetFrame(theFrame);
        CompressedCodestreamDecoder aDriver(GetUID(), GetAttributes().itsBitsStored, *aStream, itsHeader, 1,
                                            Decoder::PET_FAST);
        aDriver.Decode(aFrames.GetCurrentFrameLength(), aFrame.data(), aFrame.size());
        return aFrame;
    }

private:
    Bytes itsBytes;
    MemoryInputStream itsStream;
    DICOMDataObject itsHeader;
    DecompressionRequest itsRequest;
    Part10FrontEnd itsFrontEnd;
    RWCString itsInterpretation;
};

PlainPalette ReadPalette(const DICOMDataObject& theHeader)
{
    constexpr DICOMTag kData[] = {DICOMTags::RedPaletteColorLookupTableData,
                                  DICOMTags::GreenPaletteColorLookupTableData,
                                  DICOMTags::BluePaletteColorLookupTableData};
    constexpr DICOMTag kSegments[] = {DICOMTags::SegmentedRedPaletteColorLookupTableData,
                                      DICOMTags::SegmentedGreenPaletteColorLookupTableData,
                                      DICOMTags::SegmentedBluePaletteColorLookupTableData};
    PlainPalette aPalette;
    theHeader.GetBytes(DICOMTags::RedPaletteColorLookupTableDescriptor, aPalette.itsDescriptor);
    for (std::size_t i = 0; i < 3; ++i)
    {
        Bytes aSegments;
        if (theHeader.GetBytes(kSegments[i], aSegments))
        {
            aPalette.itsChannels[i] = PlainExpandSegments(aSegments);
        }
        else
        {
            theHeader.GetBytes(kData[i], aPalette.itsChannels[i]);
        }
    }
    return aPalette;
}

/// What must come out of a native or RLE image whose delivered form is in no row: the stored samples are
/// held against their row, then the plain formula is applied to them.
Bytes ExpectedByFormula(SampleFile& theFile, int theFrame, const std::vector<SampleRow>& theRows)
{
    const std::string anInterpretation = theFile.GetInterpretation();
    const Bytes aStored = theFile.GetStoredSamples(theFrame);
    const bool aPacked = anInterpretation == "YBR_FULL_422";
    EXPECT_EQ(Hash(aStored), ExpectedHash(theRows, aPacked ? "YBR_FULL_422 packed as stored" : "stored"));
    if (anInterpretation == "PALETTE COLOR")
    {
        const Bytes aWide =
            ReadPalette(theFile.GetHeader()).Apply(aStored, theFile.GetAttributes().itsBitsAllocated / 8);
        EXPECT_EQ(Hash(aWide), ExpectedHash(theRows, "RGB after palette lookup"));
        return PlainHighBytes(aWide);
    }
    if (anInterpretation == "RGB")
    {
        return PlainHighBytes(aStored);
    }
    return PlainYBRToRGB(aPacked ? PlainUnpack422(aStored) : aStored);
}

bool NeedsFormula(const SampleFile& theFile)
{
    const std::string& anInterpretation = theFile.GetInterpretation();
    return !theFile.IsJPEG() &&
           (anInterpretation == "PALETTE COLOR" || StartsWith(anInterpretation, "YBR") ||
            (anInterpretation == "RGB" && theFile.GetAttributes().itsBitsAllocated == 16));
}

void CheckDeliveredFrame(SampleFile& theFile, int theFrame, const Outcome& theOutcome,
                         const std::vector<SampleRow>& theRows)
{
    ASSERT_EQ(theOutcome.Code(), 0) << theOutcome.Message();
    EXPECT_EQ(theOutcome.Message(), "Completed successfully");
    EXPECT_EQ(theOutcome.itsResult.getSystemErrorCode(), 0);
    const Part10ImageAttributes& anAttributes = theFile.GetAttributes();
    const Bytes aDelivered = theOutcome.Pixels();
    EXPECT_EQ(theOutcome.itsAllocator->GetLiveBlocks(), 1u);
    EXPECT_TRUE(theOutcome.Image()->getSamplesPerPixel() == 3 ||
                theOutcome.itsAllocator->GetAllocations() == 1)
        << "a grey frame is one allocation";
    EXPECT_EQ(aDelivered.size(), theOutcome.Image()->getRequiredPixelDataBufferSize());
    EXPECT_TRUE(theOutcome.Image()->isPixelDataLittleEndian() || theOutcome.Image()->getBitsAllocated() == 8);
    EXPECT_EQ(theOutcome.Image()->getRows(), anAttributes.itsRows);
    EXPECT_EQ(theOutcome.Image()->getColumns(), anAttributes.itsColumns);
    if (NeedsFormula(theFile))
    {
        EXPECT_EQ(aDelivered, ExpectedByFormula(theFile, theFrame, theRows));
    }
    else if (anAttributes.itsBitsAllocated == 1)
    {
        const std::size_t aPixels = static_cast<std::size_t>(anAttributes.itsRows) *
                                    static_cast<std::size_t>(anAttributes.itsColumns);
        EXPECT_EQ(Hash(PlainUnpackBits(aDelivered, aPixels)), ExpectedHash(theRows, "stored"));
    }
    else
    {
        // A JPEG codec brings everything that is not labelled RGB from YCbCr to RGB.
        const bool aConverted = theFile.IsJPEG() && StartsWith(theFile.GetInterpretation(), "YBR");
        EXPECT_EQ(Hash(aDelivered), ExpectedHash(theRows, aConverted ? "RGB (YCbCr->RGB" : "stored"));
    }
}

void CheckFailure(const ExpectedFailure& theFailure, int theCode, const std::string& theText)
{
    EXPECT_EQ(theCode, theFailure.itsCode) << theFailure.itsReason;
    EXPECT_EQ(theText, theFailure.itsText) << theFailure.itsReason;
}

void CheckDicomFrame(const std::string& theName, const Bytes& theBytes, int theFrame,
                     const std::vector<SampleRow>& theRows)
{
    SCOPED_TRACE(theName + " frame " + std::to_string(theFrame));
    DICOMDataObject aDataSet;
    const Outcome anOutcome = RunPart10(theBytes, &aDataSet, {theFrame});
    SampleFile aFile(theBytes);
    if (const ExpectedFailure* const aFailure = FindExpectedFailure(theName, theFrame))
    {
        CheckFailure(*aFailure, anOutcome.Code(), anOutcome.Message());
        EXPECT_EQ(anOutcome.Image(), nullptr);
    }
    else if (!aFile.IsJPEG2000()) // those have a walk of their own
    {
        CheckDeliveredFrame(aFile, theFrame, anOutcome, theRows);
    }
}

/// What the frame header of a JPEG stream says.
struct JpegFrameHeader
{
    int itsMarker = 0;
    int itsPrecision = 0;
    std::size_t itsSamples = 0; ///< rows × columns × components

    static JpegFrameHeader Read(const Bytes& theStream)
    {
        JpegFrameHeader aHeader;
        for (std::size_t i = 2; i + 9 < theStream.size();)
        {
            const int aMarker = theStream[i + 1];
            if (aMarker >= 0xc0 && aMarker <= 0xcf && aMarker != 0xc4 && aMarker != 0xcc)
            {
                aHeader.itsMarker = aMarker;
                aHeader.itsPrecision = theStream[i + 4];
                aHeader.itsSamples = std::size_t(theStream[i + 5] * 256 + theStream[i + 6]) *
                                     std::size_t(theStream[i + 7] * 256 + theStream[i + 8]) *
                                     theStream[i + 9];
                break;
            }
            i += 2 + std::size_t(theStream[i + 2] * 256 + theStream[i + 3]);
        }
        return aHeader;
    }
};

void SetInterpretation(DICOMDataObject& theDataSet, const std::string& theInterpretation)
{
    const MVRFactory aFactory(theDataSet.GetDataDictionary(), theDataSet.GetEndian(),
                              VR::GetDefaultMemoryAllocater());
    theDataSet.ReplaceVR(aFactory.CreateString(DICOMTags::PhotometricInterpretation, theInterpretation));
}

/// Streams of more than 8 bits go through the driver with what their frame header calls for.
void CheckDeepJpeg(const std::string& theName, const Bytes& theStream, const JpegFrameHeader& theHeader,
                   const std::vector<SampleRow>& theRows)
{
    DICOMDataObject aDataSet;
    SetInterpretation(aDataSet, theRows.front().itsComponents == 1 ? "MONOCHROME2" : "RGB");
    MemoryInputStream aStream(theStream.data(), theStream.size());
    const RWCString& aUID =
        theHeader.itsMarker == 0xc3 ? TransferSyntaxType::TSJPEG57UID : TransferSyntaxType::TSJPEG51UID;
    CompressedCodestreamDecoder aDriver(aUID, theHeader.itsPrecision, aStream, aDataSet, 1,
                                        Decoder::PET_FAST);
    Bytes anOutput(theHeader.itsSamples * 2);
    const ExpectedFailure* const aFailure = FindExpectedFailure(theName, 0);
    try
    {
        aDriver.Decode(static_cast<unsigned int>(theStream.size()), anOutput.data(), anOutput.size());
        EXPECT_EQ(aFailure, nullptr) << "listed as a failure";
        EXPECT_EQ(Hash(anOutput), ExpectedHash(theRows, "stored"));
    }
    catch (const DICOMLibException& anException)
    {
        ASSERT_NE(aFailure, nullptr) << anException.what();
        CheckFailure(*aFailure, anException.GetResultCode(), anException.GetMessageText());
    }
    catch (const ExceptionBase& anException)
    {
        ASSERT_NE(aFailure, nullptr) << anException.what();
        CheckFailure(*aFailure, 0, anException.GetMessageText());
    }
}

void CheckJpeg(const std::string& theName, const Bytes& theStream, const std::vector<SampleRow>& theRows)
{
    SCOPED_TRACE(theName);
    const JpegFrameHeader aHeader = JpegFrameHeader::Read(theStream);
    if (aHeader.itsPrecision > 8)
    {
        CheckDeepJpeg(theName, theStream, aHeader, theRows);
        return;
    }
    // Without markers that say so, only a data set can tell that three components are RGB already.
    DICOMDataObject aDataSet;
    SetInterpretation(aDataSet, "RGB");
    const bool aConverted = HasRow(theRows, "RGB (YCbCr->RGB");
    const Outcome anOutcome =
        RunBareImage(theStream, TransferSyntaxType::TSJPEG50UID,
                     aConverted || theRows.front().itsComponents == 1 ? nullptr : &aDataSet);
    if (const ExpectedFailure* const aFailure = FindExpectedFailure(theName, 0))
    {
        CheckFailure(*aFailure, anOutcome.Code(), anOutcome.Message());
        return;
    }
    ASSERT_EQ(anOutcome.Code(), 0) << anOutcome.Message();
    EXPECT_EQ(Hash(anOutcome.Pixels()), ExpectedHash(theRows, aConverted ? "RGB (YCbCr->RGB" : "stored"));
}

const char* const kHalfExchangedFile = "dicom/SC_rgb_small_odd_big_endian.dcm";

/// The row of this file was made by a tool that took the words of its big-endian lookup table for
/// little-endian ones. The other file is the same image in little-endian, with the same stored samples.
const char* const kBigEndianTwin = "dicom/gen_be_8bit_ow_mono.dcm";
const char* const kLittleEndianTwin = "dicom/examples_palette.dcm";
} // namespace

class SampleWalk : public testing::Test
{
protected:
    void SetUp() override
    {
        if (SampleTable::GetFolder().empty())
        {
            GTEST_SKIP() << "no sample images in " << QUORIX_SAMPLES_DIR;
        }
    }
};

TEST_F(SampleWalk, EveryFileOfTheTableMatchesOrFailsAsListed)
{
    const SampleTable aTable = SampleTable::Load();
    ASSERT_GT(aTable.GetFiles().size(), 100u);
    for (const auto& [aName, aFrames] : aTable.GetFiles())
    {
        const Bytes aBytes = SampleTable::ReadFile(aName);
        ASSERT_FALSE(aBytes.empty()) << aName;
        if (StartsWith(aName, "jpeg2000/") || StartsWith(aName, "jp2/"))
        {
            continue; // likewise
        }
        ASSERT_FALSE(aFrames.empty()) << aName << " has no frame in the table";
        for (const auto& [aFrame, aRows] : aFrames)
        {
            if (StartsWith(aName, "jpeg/"))
            {
                CheckJpeg(aName, aBytes, aRows);
            }
            else if (aName != kHalfExchangedFile)
            {
                CheckDicomFrame(aName, aBytes, aFrame,
                                aName == kBigEndianTwin ? aTable.GetFiles().at(kLittleEndianTwin).at(0)
                                                        : aRows);
            }
        }
    }
}

TEST_F(SampleWalk, BigEndianColourIsExchangedOverAsManyWordsAsThereArePixels)
{
    // 3 × 3 pixels of 8-bit RGB in OW words: the exchange counts pixels, so that it reaches 18 of the 27
    // bytes and the rest stays as it stands in the file. No row has that form.
    const SampleTable aTable = SampleTable::Load();
    SampleFile aFile(SampleTable::ReadFile(kHalfExchangedFile));
    const Bytes aSwapped = aFile.GetStoredSamples(0);
    EXPECT_EQ(Hash(aSwapped), ExpectedHash(aTable.GetFiles().at(kHalfExchangedFile).at(0), "stored"));
    DICOMDataObject aDataSet;
    const Bytes aDelivered = RunPart10(aFile.GetBytes(), &aDataSet).Pixels();
    ASSERT_EQ(aDelivered.size(), 27u);
    EXPECT_TRUE(std::equal(aDelivered.begin(), aDelivered.begin() + 18, aSwapped.begin()));
    for (std::size_t i = 18; i < 26; i += 2)
    {
        EXPECT_EQ(aDelivered[i], aSwapped[i + 1]);
        EXPECT_EQ(aDelivered[i + 1], aSwapped[i]);
    }
}

TEST_F(SampleWalk, ABareDataSetDecodesBehindFileMetaInformation)
{
    const std::string kName = "dicom/OT-PAL-8-face.dcm";
    const Bytes aWrapped =
        DicomBuilder(DicomBuilder::Syntax::IMPLICIT_LITTLE).AddRaw(SampleTable::ReadFile(kName)).Build();
    const SampleTable aTable = SampleTable::Load();
    SampleFile aFile(aWrapped);
    DICOMDataObject aDataSet;
    CheckDeliveredFrame(aFile, 0, RunPart10(aWrapped, &aDataSet), aTable.GetFiles().at(kName).at(0));
}

TEST_F(SampleWalk, DamagedFilesEndInAnErrorOrInPixels)
{
    for (const std::string& aName : SampleTable::ListFolder("damaged"))
    {
        const Bytes aBytes = SampleTable::ReadFile(aName);
        for (const char* aUID : {"1.2.840.10008.1.2.4.50", "1.2.840.10008.1.2.4.91", "1.2.840.10008.1.2.5"})
        {
            DICOMDataObject aDataSet;
            ExpectErrorOrPixels(RunBareImage(aBytes, aUID, nullptr), aName);
            ExpectErrorOrPixels(RunBareImage(aBytes, aUID, &aDataSet), aName);
        }
        for (int aFrame = -1; aFrame < 12; ++aFrame)
        {
            DICOMDataObject aDataSet;
            ExpectErrorOrPixels(RunPart10(aBytes, &aDataSet, {aFrame}), aName);
            ExpectErrorOrPixels(RunPart10(aBytes, nullptr, {aFrame, 3, true}), aName);
        }
    }
}
