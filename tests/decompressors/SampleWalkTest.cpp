// SPDX-License-Identifier: Apache-2.0
// Decodes every sample image there is, DICOM files and bare streams, JPEG 2000 at three resolutions, and
// holds the pixels against the table of expected results: bit for bit, irreversible JPEG 2000 within 1. A
// file that neither matches nor is listed in sample_outcomes.tsv with its failure fails the test. The files
// whose two readings differ, and those that warn, are those of sample_readings.tsv.
#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <set>
#include <string>

#include <gtest/gtest.h>

#include "decompressors/DecompressorRuns.h"
#include "decompressors/Part10Files.h"
#include "support/DataSet.h"
#include "support/SampleTable.h"
#include "support/Sha256.h"
#include "toolkit/dicom/TransferSyntaxType.h"
#include "toolkit/dicom/detail/StreamFilters.h"

namespace
{
using Rows = std::vector<SampleRow>;
using Values = std::vector<int>;

/// What the table of expected results does not have: code 0 and the hash of pixels whose delivered form is in
/// no row, or how a file fails.
struct ListedOutcome
{
    int itsCode = 0;
    std::string itsText;
};

/// By name, frame, and whether it is a failure.
std::map<std::tuple<std::string, int, bool>, ListedOutcome> ReadListedOutcomes()
{
    std::map<std::tuple<std::string, int, bool>, ListedOutcome> anOutcomes;
    std::ifstream aFile(QUORIX_SOURCE_DIR "/tests/decompressors/sample_outcomes.tsv");
    std::string aLine;
    std::getline(aFile, aLine); // the heading
    for (std::string aName, aFrame, aCode, aText; std::getline(aFile, aName, '\t');)
    {
        std::getline(aFile, aFrame, '\t');
        std::getline(aFile, aCode, '\t');
        std::getline(aFile, aText, '\t');
        std::getline(aFile, aLine); // why
        anOutcomes[{aName, std::stoi(aFrame), aCode != "0"}] = {std::stoi(aCode), aText};
    }
    return anOutcomes;
}

/// The one with or without a failure; null where there is none.
const ListedOutcome* FindListed(const std::string& theName, int theFrame, bool theIsFailure)
{
    static const auto kOutcomes = ReadListedOutcomes();
    const auto aFound = kOutcomes.find({theName, theFrame, theIsFailure});
    return aFound == kOutcomes.end() ? nullptr : &aFound->second;
}

std::string Hash(const Bytes& theBytes)
{
    return Sha256(theBytes.data(), theBytes.size());
}

/// The row of the form whose description begins so, by default one that must match exactly; null where there
/// is none.
const SampleRow* FindRow(const Rows& theRows, const std::string& theForm, bool theIsExact = true)
{
    for (const SampleRow& aRow : theRows)
    {
        if ((aRow.itsExact == "yes" || !theIsExact) && aRow.itsColourSpace.starts_with(theForm) &&
            aRow.itsColourSpace.find("REPLICATED") == std::string::npos)
        {
            return &aRow;
        }
    }
    return nullptr;
}

/// The row of what a JPEG 2000 codestream holds; null for other images.
const SampleRow* FindComponents(const Rows& theRows)
{
    return FindRow(theRows, "codestream components", false);
}

/// The values of an image as a reader of its description takes them: the bits stored, sign-extended.
Values ReadValues(const Renderable& theImage)
{
    const auto* const aData = static_cast<const std::uint8_t*>(theImage.getPixelData());
    const bool isWide = theImage.getBitsAllocated() == 16;
    const int aSpan = 1 << theImage.getBitsStored();
    Values aValues(static_cast<std::size_t>(theImage.getPixelDataSize()) / (isWide ? 2 : 1));
    for (std::size_t i = 0; i < aValues.size(); ++i)
    {
        const int aCode = (isWide ? aData[2 * i] | aData[2 * i + 1] << 8 : aData[i]) & (aSpan - 1);
        aValues[i] = theImage.isSigned() && aCode >= aSpan / 2 ? aCode - aSpan : aCode;
    }
    return aValues;
}

/// The raw samples that a row of the table was made of.
Bytes ToRaw(const Values& theValues, int theBytesPerSample)
{
    Bytes aRaw;
    for (const int aValue : theValues)
    {
        for (int aByte = 0; aByte < theBytesPerSample; ++aByte)
        {
            aRaw.push_back(static_cast<std::uint8_t>(aValue >> (8 * aByte)));
        }
    }
    return aRaw;
}

Bytes ReadReference(const std::string& theName)
{
    constexpr std::size_t kGzipHeader = 10;
    const Bytes aFile = SampleTable::ReadFile("reference/" + theName + ".raw.gz");
    if (aFile.size() <= kGzipHeader)
    {
        return {};
    }
    InflatingInputStream aStream(
        std::make_shared<MemoryInputStream>(aFile.data() + kGzipHeader, aFile.size() - kGzipHeader));
    Bytes aRaw(std::size_t{1} << 24);
    aRaw.resize(aStream.ReadFully(aRaw.data(), aRaw.size()));
    return aRaw;
}

/// Within 1 of the reference, sample by sample.
void ExpectNear(const Values& theValues, const Bytes& theReference, int theBytesPerSample, bool theIsSigned)
{
    ASSERT_EQ(theReference.size(), theValues.size() * static_cast<std::size_t>(theBytesPerSample));
    for (std::size_t i = 0; i < theValues.size(); ++i)
    {
        const int aCode =
            theBytesPerSample == 1 ? theReference[i] : theReference[2 * i] | theReference[2 * i + 1] << 8;
        const int aReference =
            theIsSigned && theBytesPerSample == 2 ? static_cast<std::int16_t>(aCode) : aCode;
        ASSERT_LE(std::abs(theValues[i] - aReference), 1) << i;
    }
}

/// Images that begin at odd positions: at reduced resolutions the tool that made the table lets them keep a
/// row or a column too many, and fills it somehow. There is nothing to hold against these, nor against
/// irreversible images at reduced resolutions: the conformance tests hold them against OpenJPEG's own decode,
/// cut to the extent that the standard gives them.
bool IsOneTooLarge(const SampleRow& theRow, const Renderable& theImage)
{
    const int aColumns = static_cast<int>(theRow.itsWidth) - theImage.getColumns();
    const int aRows = static_cast<int>(theRow.itsHeight) - theImage.getRows();
    return aColumns >= 0 && aColumns <= 1 && aRows >= 0 && aRows <= 1 && aColumns + aRows > 0;
}

void CheckComponents(const std::string& theName, const Renderable& theImage, const SampleRow& theRow,
                     bool theIsReduced)
{
    const std::string kOddImages = "b1_mono.j2c b3_mono.j2c e2_colr.j2c gray-33x29-off31-97.j2k p1_01.j2k";
    const bool isOdd = kOddImages.find(theName.substr(theName.find('/') + 1)) != std::string::npos;
    if (theIsReduced && isOdd && IsOneTooLarge(theRow, theImage))
    {
        return;
    }
    EXPECT_EQ(theImage.getColumns(), static_cast<int>(theRow.itsWidth));
    EXPECT_EQ(theImage.getRows(), static_cast<int>(theRow.itsHeight));
    EXPECT_EQ(theImage.getSamplesPerPixel(), theRow.itsComponents);
    Values aValues = ReadValues(theImage);
    if (theName == "jpeg2000/j2k32.j2k")
    {
        // Signed colour: bare images deliver every colour unsigned.
        std::for_each(aValues.begin(), aValues.end(), [](int& theValue) { theValue -= 128; });
    }
    const std::string aHash = Hash(ToRaw(aValues, theRow.itsBytesPerSample));
    if (theRow.itsExact == "yes")
    {
        EXPECT_EQ(aHash, theRow.itsSHA256);
    }
    else if (aHash != theRow.itsSHA256 && !theIsReduced)
    {
        ExpectNear(aValues, ReadReference(theName), theRow.itsBytesPerSample, theImage.isSigned());
    }
}

void CheckPixels(const std::string& theName, int theFrame, const Outcome& theOutcome, const Rows& theRows)
{
    const Bytes aPixels = theOutcome.Pixels();
    if (const ListedOutcome* const aConverted = FindListed(theName, theFrame, false))
    {
        EXPECT_EQ(Hash(aPixels), aConverted->itsText);
        return;
    }
    // A JPEG codec brings everything that is not RGB already from YCbCr to RGB: such files have that row, as
    // has one without markers, for which its label is believed.
    const SampleRow* aRow = FindRow(theRows, "RGB (YCbCr->RGB");
    aRow = aRow != nullptr && theName != "dicom/SC_jpeg_no_color_transform.dcm" ? aRow
                                                                                : FindRow(theRows, "stored");
    EXPECT_EQ(theOutcome.Image()->getRows(), static_cast<int>(theRows.front().itsHeight));
    EXPECT_EQ(theOutcome.Image()->getColumns(), static_cast<int>(theRows.front().itsWidth));
    ASSERT_NE(aRow, nullptr);
    EXPECT_EQ(Hash(theOutcome.UnpackedPixels()), aRow->itsSHA256);
}

/// The description of any image that was delivered, and its pixels.
void CheckDelivered(const std::string& theName, int theFrame, const Outcome& theOutcome, const Rows& theRows,
                    int theScale)
{
    ASSERT_EQ(theOutcome.Code(), 0) << theOutcome.Message();
    EXPECT_EQ(theOutcome.Message(), "Completed successfully");
    EXPECT_EQ(theOutcome.itsResult.getSystemErrorCode(), 0);
    const Renderable& anImage = *theOutcome.Image();
    EXPECT_EQ(theOutcome.itsAllocator->GetLiveBlocks(), 1u);
    EXPECT_TRUE(anImage.getSamplesPerPixel() == 3 || theOutcome.itsAllocator->GetAllocations() == 1)
        << "a grey frame is one allocation";
    EXPECT_EQ(theOutcome.Pixels().size(), anImage.getRequiredPixelDataBufferSize());
    EXPECT_TRUE(anImage.isPixelDataLittleEndian() || anImage.getBitsAllocated() == 8);
    if (const SampleRow* const aComponents = FindComponents(theRows))
    {
        CheckComponents(theName, anImage, *aComponents, theScale > 1);
        return;
    }
    CheckPixels(theName, theFrame, theOutcome, theRows);
}

/// A bare JPEG stream: by itself, or, where it is deeper than 8 bits, in a DICOM file that says so.
Outcome RunJpeg(const Bytes& theStream, bool theIsPlainColour)
{
    const Bytes kFrameHeaders[] = {{0xff, 0xc0}, {0xff, 0xc1}, {0xff, 0xc2}, {0xff, 0xc3}};
    auto aHeader = theStream.end();
    for (const Bytes& aMarker : kFrameHeaders)
    {
        aHeader = std::min(aHeader,
                           std::search(theStream.begin(), theStream.end(), aMarker.begin(), aMarker.end()));
    }
    const int aPrecision = aHeader == theStream.end() ? 8 : aHeader[4];
    if (aPrecision <= 8)
    {
        // Without markers that say so, only a data set can tell that three components are RGB already.
        DataSet aDataSet;
        aDataSet.SetText(DICOMTags::PhotometricInterpretation, "RGB");
        return RunBareImage(theStream, TransferSyntaxType::TSJPEG50UID,
                            theIsPlainColour ? &aDataSet : nullptr);
    }
    const JpegSpec aSpec{.itsWidth = aHeader[7] * 256 + aHeader[8],
                         .itsHeight = aHeader[5] * 256 + aHeader[6],
                         .itsComponents = aHeader[9],
                         .itsPrecision = aPrecision};
    const RWCString& aUID =
        aHeader[1] == 0xc3 ? TransferSyntaxType::TSJPEG57UID : TransferSyntaxType::TSJPEG51UID;
    return RunPart10(Part10Files::Encapsulated(aUID, aSpec, aSpec.itsComponents == 1 ? "MONOCHROME2" : "RGB",
                                               {theStream}));
}

void CheckFile(const std::string& theName, const Bytes& theFile, int theFrame, const Rows& theRows,
               int theScale)
{
    SCOPED_TRACE(theName + " frame " + std::to_string(theFrame) + " at scale " + std::to_string(theScale));
    Outcome anOutcome;
    if (theName.starts_with("dicom/"))
    {
        DICOMDataObject aDataSet;
        anOutcome = RunPart10Quietly(theFile, &aDataSet, {theFrame, theScale});
    }
    else if (theName.starts_with("jpeg/"))
    {
        anOutcome = RunJpeg(theFile, theRows.front().itsComponents == 3 &&
                                         FindRow(theRows, "RGB (YCbCr->RGB") == nullptr);
    }
    else
    {
        anOutcome = RunBareImage(theFile, TransferSyntaxType::TSJPEG2KUID, nullptr, {0, theScale});
    }
    if (const ListedOutcome* const aFailure = FindListed(theName, theFrame, true))
    {
        EXPECT_EQ(anOutcome.Code(), aFailure->itsCode);
        EXPECT_EQ(anOutcome.Message(), aFailure->itsText);
        EXPECT_EQ(anOutcome.Image(), nullptr);
        return;
    }
    CheckDelivered(theName, theFrame, anOutcome, theRows, theScale);
}
/// Code, warnings, description and pixels of a frame of a file of any kind.
std::string DescribeReading(const std::string& theName, const Bytes& theFile, int theFrame,
                            Reading theReading)
{
    const Wish aWish{.itsFrameIndex = theFrame, .itsReading = theReading};
    DICOMDataObject aDataSet;
    const bool isJPEG = theName.ends_with("jpg") || theName.ends_with("JPG");
    const char* const aUID = isJPEG ? TransferSyntaxType::TSJPEG50UID : TransferSyntaxType::TSJPEG2KUID;
    const Outcome anOutcome = theName.ends_with(".dcm") ? RunPart10Quietly(theFile, &aDataSet, aWish)
                                                        : RunBareImage(theFile, aUID, nullptr, aWish);
    std::string aText = std::to_string(anOutcome.Code());
    for (const DecodeWarning& aWarning : anOutcome.itsResult.getWarnings())
    {
        aText += " " + aWarning.itsIdentifier + "!";
    }
    const Renderable* const anImage = anOutcome.Image();
    return anImage == nullptr
               ? aText
               : aText + " " + std::to_string(anImage->getSamplesPerPixel()) + "x" +
                     std::to_string(anImage->getBitsStored()) + (anImage->isSigned() ? "s " : " ") +
                     Hash(anOutcome.Pixels()).substr(0, 16);
}
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
    int aFrameCount = 0;
    for (const int aScale : {1, 2, 3})
    {
        const SampleTable aTable = SampleTable::Load(aScale - 1);
        for (const auto& [aName, aFrames] : aTable.GetFiles())
        {
            const Bytes aBytes = SampleTable::ReadFile(aName);
            ASSERT_FALSE(aBytes.empty()) << aName;
            EXPECT_FALSE(aFrames.empty() && aScale == 1) << aName << " has no frame in the table";
            for (const auto& [aFrame, aRows] : aFrames)
            {
                if (aScale == 1 || FindComponents(aRows) != nullptr)
                {
                    CheckFile(aName, aBytes, aFrame, aRows, aScale);
                    ++aFrameCount;
                }
            }
        }
    }
    EXPECT_GT(aFrameCount, 300);
}

// A healthy file that warns teaches people to look away, and a picture that only one reading has right must
// do so.
TEST_F(SampleWalk, WhereReadingsDifferOrWarnIsListed)
{
    std::map<std::string, SampleTable::Frames> aFiles = SampleTable::Load().GetFiles();
    for (const std::string& aName : SampleTable::ListFolder("damaged"))
    {
        aFiles[aName][0] = {};
    }
    std::set<std::string> aListed;
    std::ifstream aFile(QUORIX_SOURCE_DIR "/tests/decompressors/sample_readings.tsv");
    std::string aLine;
    std::getline(aFile, aLine); // the heading
    while (std::getline(aFile, aLine))
    {
        aListed.insert(aLine);
    }
    for (const auto& [aName, aFrames] : aFiles)
    {
        const Bytes aBytes = SampleTable::ReadFile(aName);
        for (const auto& [aFrame, aRows] : aFrames)
        {
            const std::string aContract = DescribeReading(aName, aBytes, aFrame, Reading::BY_CONTRACT);
            const std::string aMeaning = DescribeReading(aName, aBytes, aFrame, Reading::BY_MEANING);
            const bool isOfInterest = aContract != aMeaning || aMeaning.find('!') != std::string::npos;
            aLine = aName + "\t" + std::to_string(aFrame) + "\t" + aContract + "\t" + aMeaning;
            EXPECT_EQ(aListed.erase(aLine) == 1, isOfInterest) << aLine;
        }
    }
    EXPECT_TRUE(aListed.empty()) << *aListed.begin();
}

TEST_F(SampleWalk, ABareDataSetDecodesBehindFileMetaInformation)
{
    const std::string kName = "dicom/OT-PAL-8-face.dcm";
    const Bytes aWrapped =
        DicomBuilder(DicomBuilder::Syntax::IMPLICIT_LITTLE).AddRaw(SampleTable::ReadFile(kName)).Build();
    const SampleTable aTable = SampleTable::Load();
    CheckDelivered(kName, 0, RunPart10(aWrapped), aTable.GetFiles().at(kName).at(0), 1);
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
            ExpectErrorOrPixels(RunPart10(aBytes, {aFrame}), aName);
            ExpectErrorOrPixels(RunPart10(aBytes, nullptr, {aFrame, 3, true}), aName);
        }
    }
}
