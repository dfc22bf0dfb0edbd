// SPDX-License-Identifier: Apache-2.0
// Data sets loaded from files and written to files.

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "support/CountingAllocator.h"
#include "support/DicomBuilder.h"
#include "support/TemporaryFile.h"
#include "toolkit/base/StreamIOException.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/MVRFactory.h"
#include "toolkit/dicom/TransferSyntaxType.h"

namespace
{
using Bytes = DicomBuilder::Bytes;
using Syntax = DicomBuilder::Syntax;

constexpr const char* kMissingDictionary = "/no/such/dictionary";

const char* const kNativeUIDs[] = {"1.2.840.10008.1.2", "1.2.840.10008.1.2.1", "1.2.840.10008.1.2.2"};

std::string RunProgram(const std::string& theCommand, int& theStatus)
{
    std::string anOutput;
    std::array<char, 4096> aBuffer{};
    FILE* aPipe = ::popen((theCommand + " 2>&1").c_str(), "r");
    while (aPipe != nullptr && std::fgets(aBuffer.data(), aBuffer.size(), aPipe) != nullptr)
    {
        anOutput += aBuffer.data();
    }
    theStatus = aPipe != nullptr ? ::pclose(aPipe) : -1;
    return anOutput;
}

bool HasProgram(const char* theName)
{
    int aStatus = 0;
    RunProgram(std::string("command -v ") + theName, aStatus);
    return aStatus == 0;
}

bool Load(DICOMObject& theObject, const Bytes& theBytes, DICOMTag theStopTag = DICOMTags::None)
{
    const TemporaryFile aFile(theBytes);
    DLResultCode aCode = DLRC_GENERAL_FAILURE;
    int anError = -1;
    return theObject.LoadFromFile(aFile.GetName(), aCode, anError, theStopTag);
}

struct FailureCase
{
    const char* itsName;
    Bytes itsFile;
};

class LoadFromFileFailure : public testing::TestWithParam<FailureCase>
{
};

TEST_P(LoadFromFileFailure, IsAParseError)
{
    const TemporaryFile aFile(GetParam().itsFile);
    DICOMObject anObject;
    DLResultCode aCode = DLRC_SUCCESS;
    int anError = -1;
    EXPECT_FALSE(anObject.LoadFromFile(aFile.GetName(), aCode, anError)) << GetParam().itsName;
    EXPECT_EQ(DLRC_PARSE_ERROR, aCode);
    EXPECT_EQ(0, anError);
}

INSTANTIATE_TEST_SUITE_P(
    Files, LoadFromFileFailure,
    testing::Values(FailureCase{"empty", {}}, FailureCase{"too short", {8, 0, 5, 0}},
                    FailureCase{"zeros", Bytes(1000, 0)}, FailureCase{"text", Bytes(1000, 'a')},
                    FailureCase{"JPEG", {0xff, 0xd8, 0xff, 0xe0, 0, 16, 'J', 'F', 'I', 'F', 0, 1}},
                    FailureCase{"unknown syntax", DicomBuilder(Syntax::EXPLICIT_LITTLE, "1.2.3").Build()},
                    FailureCase{"cut inside an element", DicomBuilder(Syntax::EXPLICIT_LITTLE)
                                                             .AddHeader(DICOMTags::ImageType, "CS", 10)
                                                             .AddRaw({'A', 'B'})
                                                             .Build()}));

TEST(LoadFromFileTest, FilesThatCannotBeOpenedGiveErrno)
{
    DICOMObject anObject;
    DLResultCode aCode = DLRC_SUCCESS;
    int anError = 0;
    EXPECT_FALSE(anObject.LoadFromFile("/no/such/file", aCode, anError));
    EXPECT_EQ(DLRC_FILE_NOT_FOUND, aCode);
    EXPECT_EQ(ENOENT, anError);
    EXPECT_FALSE(anObject.LoadFromFile("/", aCode, anError));
    EXPECT_EQ(EISDIR, anError);
}

TEST(LoadFromFileTest, BareDataSetsOfEveryNativeSyntax)
{
    for (const auto aSyntax : {Syntax::IMPLICIT_LITTLE, Syntax::EXPLICIT_LITTLE, Syntax::EXPLICIT_BIG})
    {
        DicomBuilder aBuilder(aSyntax);
        aBuilder.AddString(DICOMTags::ImageType, "CS", "ORIGINAL\\PRIMARY");
        aBuilder.AddImageAttributes(1, "MONOCHROME2", 1, 2, 16, 16);
        aBuilder.AddNativePixelData({1, 2, 3, 4});
        Bytes aWithMeta = aBuilder.FileMeta(); // file meta information, but no preamble
        aWithMeta.insert(aWithMeta.end(), aBuilder.DataSet().begin(), aBuilder.DataSet().end());
        for (const Bytes& aFile : {aBuilder.DataSet(), aWithMeta})
        {
            DICOMObject anObject;
            ASSERT_TRUE(Load(anObject, aFile));
            std::int32_t aColumns = 0;
            EXPECT_TRUE(anObject.GetInteger(DICOMTags::Columns, aColumns));
            EXPECT_EQ(2, aColumns);
            const auto anEndian =
                aSyntax == Syntax::EXPLICIT_BIG ? DLEndian::BIG_ENDIAN_ORDER : DLEndian::LITTLE_ENDIAN_ORDER;
            EXPECT_EQ(anEndian, anObject.GetEndian());
            ASSERT_NE(nullptr, anObject.GetPixelData());
            EXPECT_EQ(anEndian, anObject.GetPixelData()->GetEndian());
            EXPECT_EQ(4u, anObject.GetPixelData()->GetLength());
        }
    }
}

TEST(LoadFromFileTest, StopTagAndEncapsulatedPixelsEndTheLoad)
{
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE, "1.2.840.10008.1.2.4.50");
    aBuilder.AddImageAttributes(1, "MONOCHROME2", 1, 2, 8, 8);
    aBuilder.AddEncapsulatedPixelData({{0xff, 0xd8}});
    DICOMObject anObject;
    anObject.SetScratchpadValue("Name", "kept");
    EXPECT_TRUE(Load(anObject, aBuilder.Build()));
    EXPECT_TRUE(anObject.Contains(DICOMTags::PixelRepresentation));
    EXPECT_FALSE(anObject.Contains(DICOMTags::PixelData));
    RWCString aText;
    EXPECT_TRUE(anObject.GetScratchpadValue("Name", aText));
    DICOMObject aHeader;
    EXPECT_TRUE(Load(aHeader, aBuilder.Build(), DICOMTags::Rows));
    EXPECT_TRUE(aHeader.Contains(DICOMTags::PhotometricInterpretation));
    EXPECT_FALSE(aHeader.Contains(DICOMTags::Rows));
}

/// A set with everything that byte order can spoil.
void Fill(DICOMDataObject& theObject, std::uint16_t theBitsAllocated)
{
    DicomBuilder anItem(Syntax::EXPLICIT_BIG);
    anItem.AddString({0x0008, 0x1150}, "UI", "1.2.3").AddUS(DICOMTags::Rows, {0x0102});
    DicomBuilder aBuilder(Syntax::EXPLICIT_BIG);
    aBuilder.AddUL({0x0008, 0x0000}, {1});
    aBuilder.AddString(DICOMTags::SOPClassUID, "UI", "1.2.840.10008.5.1.4.1.1.2");
    aBuilder.AddString(DICOMTags::SOPInstanceUID, "UI", "1.2.3.4.5.6");
    aBuilder.AddSequence(DICOMTags::SourceImageSequence, {anItem, anItem});
    aBuilder.AddString({0x0010, 0x0010}, "PN", "A^B");
    aBuilder.AddString({0x0021, 0x0010}, "LO", "SOMEBODY");
    aBuilder.AddBytes({0x0021, 0x1001}, "UN", {1, 2, 3, 4});
    aBuilder.AddUS({0x0021, 0x1002}, {0x0506, 0x0708});
    aBuilder.AddImageAttributes(1, "MONOCHROME2", 2, 2, theBitsAllocated, theBitsAllocated);
    aBuilder.AddUS(DICOMTags::RedPaletteColorLookupTableData, {0x0102, 0x0304}, "OW");
    aBuilder.AddOV(DICOMTags::ExtendedOffsetTable, {0});
    aBuilder.AddString({0xfffc, 0xfffc}, "LO", "PADDING");
    ASSERT_TRUE(Load(theObject, aBuilder.Build()));
}

struct SaveCase
{
    std::uint16_t itsBitsAllocated;
    std::uint16_t itsTypeCode;
    DLEndian::Endian itsEndian;
    Bytes itsPixels;
    Bytes itsLittle; ///< pixel bytes of a little-endian file
    Bytes itsBig;
};

class SaveToFilePixels : public testing::TestWithParam<SaveCase>
{
};

constexpr auto kLittle = DLEndian::LITTLE_ENDIAN_ORDER;
constexpr auto kBig = DLEndian::BIG_ENDIAN_ORDER;

INSTANTIATE_TEST_SUITE_P(
    Cases, SaveToFilePixels,
    testing::Values(SaveCase{16, VR::TYPE_OW, kLittle, {1, 2, 3, 4}, {1, 2, 3, 4}, {2, 1, 4, 3}},
                    SaveCase{16, VR::TYPE_OW, kBig, {1, 2, 3, 4}, {2, 1, 4, 3}, {1, 2, 3, 4}},
                    SaveCase{8, VR::TYPE_OB, kLittle, {1, 2, 3}, {1, 2, 3, 0}, {1, 2, 3, 0}},
                    SaveCase{8, VR::TYPE_OB, kBig, {1, 2, 3, 4}, {1, 2, 3, 4}, {1, 2, 3, 4}},
                    SaveCase{8, VR::TYPE_OW, kLittle, {1, 2, 3}, {1, 2, 3, 0}, {2, 1, 0, 3}},
                    SaveCase{32, VR::TYPE_OW, kLittle, {1, 2, 3, 4}, {1, 2, 3, 4}, {4, 3, 2, 1}},
                    SaveCase{8, VR::TYPE_OB, kLittle, {}, {}, {}}));

/// Written in each native syntax and read back, by this library and by another program.
TEST_P(SaveToFilePixels, SurviveTheRoundTrip)
{
    for (const char* aUID : kNativeUIDs)
    {
        DICOMDataObject anObject;
        Fill(anObject, GetParam().itsBitsAllocated);
        Bytes aPixels = GetParam().itsPixels;
        anObject.ReplaceVR(std::make_unique<BufferVR>(DICOMTags::PixelData, GetParam().itsTypeCode,
                                                      GetParam().itsEndian, aPixels.data(), aPixels.size()));
        const TemporaryFile aFile;
        anObject.SaveToFile(aFile.GetName(), aUID);
        DICOMDataObject aReloaded;
        DLResultCode aCode = DLRC_GENERAL_FAILURE;
        int anError = -1;
        ASSERT_TRUE(aReloaded.LoadFromFile(aFile.GetName(), aCode, anError));
        const bool aBigFile = RWCString(aUID) == "1.2.840.10008.1.2.2";
        const Bytes& anExpected = aBigFile ? GetParam().itsBig : GetParam().itsLittle;
        ASSERT_NE(nullptr, aReloaded.GetPixelData());
        const auto* aData = static_cast<const std::uint8_t*>(aReloaded.GetPixelData()->GetData());
        EXPECT_EQ(anExpected, Bytes(aData, aData + aReloaded.GetPixelData()->GetLength()));
        EXPECT_EQ(aBigFile ? kBig : kLittle, aReloaded.GetPixelData()->GetEndian());
        int aStatus = 0;
        if (HasProgram("dcmdump"))
        {
            const std::string anOutput = RunProgram(std::string("dcmdump ") + aFile.GetName(), aStatus);
            EXPECT_EQ(0, aStatus) << anOutput;
            EXPECT_EQ(std::string::npos, anOutput.find("W: ")) << anOutput;
            EXPECT_EQ(0, (RunProgram(std::string("dcmftest ") + aFile.GetName(), aStatus), aStatus));
        }
    }
}

TEST(SaveToFileTest, EveryElementSurvivesTheRoundTrip)
{
    for (const char* aUID : kNativeUIDs)
    {
        DICOMDataObject anObject;
        Fill(anObject, 16);
        const TemporaryFile aFile;
        anObject.SaveToFile(aFile.GetName(), aUID);
        DICOMDataObject aReloaded;
        DLResultCode aCode = DLRC_GENERAL_FAILURE;
        int anError = -1;
        ASSERT_TRUE(aReloaded.LoadFromFile(aFile.GetName(), aCode, anError));
        for (const DICOMTag aTag : anObject.GetTags())
        {
            const bool aLeftOut = aTag.itsElement == 0 || aTag == DICOMTags::ExtendedOffsetTable;
            Bytes aBefore;
            Bytes anAfter;
            if (aTag.itsGroup > 2 && !aLeftOut && anObject.GetBytes(aTag, aBefore))
            {
                EXPECT_TRUE(aReloaded.GetBytes(aTag, anAfter)) << aTag.itsGroup << ' ' << aTag.itsElement;
                EXPECT_EQ(aBefore, anAfter) << aTag.itsGroup << ' ' << aTag.itsElement;
            }
            EXPECT_TRUE(!aLeftOut || aTag.itsGroup == 2 || !aReloaded.Contains(aTag));
        }
        RWCString aText;
        EXPECT_TRUE(
            aReloaded.GetSequenceItemString(DICOMTags::SourceImageSequence, 1, DICOMTags::Rows, aText));
        EXPECT_EQ("258", aText);
        EXPECT_TRUE(aReloaded.GetString(DICOMTags::TransferSyntaxUID, aText));
        EXPECT_EQ(aUID, aText);
        EXPECT_TRUE(aReloaded.GetString({0x0002, 0x0003}, aText));
        EXPECT_EQ("1.2.3.4.5.6", aText);
    }
}

TEST(SaveToFileTest, MissingUIDsAreMadeForTheFileMetaOnly)
{
    const DICOMDataObject anObject;
    const TemporaryFile aFile;
    anObject.SaveToFile(aFile.GetName(), TransferSyntaxType::TSExplicitLittleEndianUID);
    DICOMDataObject aReloaded;
    DLResultCode aCode = DLRC_GENERAL_FAILURE;
    int anError = -1;
    ASSERT_TRUE(aReloaded.LoadFromFile(aFile.GetName(), aCode, anError));
    RWCString aText;
    EXPECT_TRUE(aReloaded.GetString({0x0002, 0x0002}, aText));
    EXPECT_FALSE(aText.empty());
    EXPECT_TRUE(aReloaded.GetString({0x0002, 0x0003}, aText));
    EXPECT_FALSE(aText.empty());
    EXPECT_FALSE(aReloaded.Contains(DICOMTags::SOPInstanceUID));
}

/// More than one chunk, so that nothing is lost or swapped twice at the seams.
TEST(SaveToFileTest, LargePixelDataIsSwappedInChunks)
{
    Bytes aPixels(200002);
    for (std::size_t anIndex = 0; anIndex < aPixels.size(); ++anIndex)
    {
        aPixels[anIndex] = static_cast<std::uint8_t>(anIndex * 31 / 7);
    }
    DICOMDataObject anObject;
    anObject.ReplaceVR(std::make_unique<BufferVR>(DICOMTags::PixelData, VR::TYPE_OW, kLittle, aPixels.data(),
                                                  aPixels.size()));
    const TemporaryFile aFile;
    anObject.SaveToFile(aFile.GetName(), TransferSyntaxType::TSExplicitBigEndianUID);
    const Bytes aContent = aFile.GetContent();
    ASSERT_GT(aContent.size(), aPixels.size());
    const std::size_t aStart = aContent.size() - aPixels.size();
    for (std::size_t anIndex = 0; anIndex < aPixels.size(); ++anIndex)
    {
        ASSERT_EQ(aPixels[anIndex ^ 1], aContent[aStart + anIndex]) << anIndex;
    }
}

struct RefusalCase
{
    const char* itsPath;
    const char* itsUID;
    std::uint64_t itsPixels;
    int itsCode;
    int itsError;
    const char* itsText;
};

class SaveToFileRefusal : public testing::TestWithParam<RefusalCase>
{
};

TEST_P(SaveToFileRefusal, SaysWhy)
{
    DICOMDataObject anObject;
    Bytes aPixels(100000);
    // The size is a lie in one case; the bytes behind it must never be looked at.
    anObject.ReplaceVR(std::make_unique<BufferVR>(DICOMTags::PixelData, VR::TYPE_OW, kLittle, aPixels.data(),
                                                  GetParam().itsPixels));
    try
    {
        anObject.SaveToFile(GetParam().itsPath, GetParam().itsUID);
        FAIL() << "nothing was refused";
    }
    catch (const StreamIOException& anException)
    {
        EXPECT_EQ(GetParam().itsCode, anException.GetResultCode());
        EXPECT_EQ(GetParam().itsError, anException.GetSystemErrorCode());
        EXPECT_EQ(GetParam().itsText, anException.GetMessageText());
    }
}

INSTANTIATE_TEST_SUITE_P(
    Cases, SaveToFileRefusal,
    testing::Values(RefusalCase{"/dev/full", "1.2.840.10008.1.2.1", 100000, DLRC_IO_ERROR, ENOSPC,
                                "DICOMObject::SaveToFile: error writing file /dev/full"},
                    RefusalCase{"/dev/full", "1.2.840.10008.1.2.1", 10, DLRC_IO_ERROR, ENOSPC,
                                "DICOMObject::SaveToFile: error writing file /dev/full"},
                    RefusalCase{"/no/such/folder/file", "1.2.840.10008.1.2.1", 10, DLRC_IO_ERROR, ENOENT,
                                "DICOMObject::SaveToFile: error opening file /no/such/folder/file"},
                    RefusalCase{
                        "/dev/null", "1.2.840.10008.1.2.4.50", 10, DLRC_GENERAL_FAILURE, 0,
                        "DICOMObject::SaveToFile: cannot write transfer syntax 1.2.840.10008.1.2.4.50"},
                    RefusalCase{"/dev/null", "1.2.840.10008.1.2.1", 0xfffffffe, DLRC_GENERAL_FAILURE, 0,
                                "DICOMObject::SaveToFile: pixel data of 4294967294 bytes is too long for a "
                                "DICOM file"}));

/// One line of dcmdump: "(gggg,eeee) VR value   #  length, multiplicity name".
struct DumpLine
{
    DICOMTag itsTag;
    std::string itsVR;
    std::string itsValue;
    bool itsText = false;

    static bool Parse(const std::string& theLine, DumpLine& theResult)
    {
        unsigned aGroup = 0;
        unsigned anElement = 0;
        const std::size_t aComment = theLine.rfind(" # ");
        if (aComment == std::string::npos || aComment < 16 ||
            std::sscanf(theLine.c_str(), "(%4x,%4x)", &aGroup, &anElement) != 2)
        {
            return false;
        }
        theResult.itsTag = {static_cast<std::uint16_t>(aGroup), static_cast<std::uint16_t>(anElement)};
        theResult.itsVR = theLine.substr(12, 2);
        std::string aValue = theLine.substr(15, aComment - 15);
        aValue.erase(aValue.find_last_not_of(' ') + 1);
        theResult.itsText = aValue.size() >= 2 && aValue.front() == '[' && aValue.back() == ']';
        theResult.itsValue = theResult.itsText ? aValue.substr(1, aValue.size() - 2) : aValue;
        return true;
    }
};

/// Texts and whole numbers of the top level as another program reads them.
void Compare(const std::filesystem::path& thePath, std::size_t& theCompared)
{
    DICOMDataObject anObject;
    DLResultCode aCode = DLRC_GENERAL_FAILURE;
    int anError = -1;
    ASSERT_TRUE(anObject.LoadFromFile(thePath.string(), aCode, anError)) << thePath;
    int aStatus = 0;
    std::istringstream aDump(RunProgram("dcmdump -q -Un +L '" + thePath.string() + "'", aStatus));
    std::string aLine;
    DumpLine aParsed;
    while (std::getline(aDump, aLine))
    {
        if (!DumpLine::Parse(aLine, aParsed) || aParsed.itsVR == "UN")
        {
            continue;
        }
        const bool aWholeNumber =
            aParsed.itsVR == "US" || aParsed.itsVR == "SS" || aParsed.itsVR == "UL" || aParsed.itsVR == "SL";
        const bool aPlain = aParsed.itsValue.find_first_of("[]\r\n\t\033\f") == std::string::npos;
        RWCString aText;
        if (aPlain && (aParsed.itsText || (aWholeNumber && aParsed.itsValue.find('(') == std::string::npos)))
        {
            EXPECT_TRUE(anObject.GetString(aParsed.itsTag, aText)) << thePath << ' ' << aLine;
            EXPECT_EQ(aParsed.itsValue, aText) << thePath << ' ' << aLine;
            ++theCompared;
        }
        EXPECT_TRUE(aParsed.itsTag.itsGroup > 0x7fdf || anObject.Contains(aParsed.itsTag))
            << thePath << ' ' << aLine;
    }
}

TEST(LoadFromFileTest, SamplesReadAsAnotherProgramReadsThem)
{
    const std::filesystem::path aFolder = std::filesystem::path(QUORIX_SAMPLES_DIR) / "dicom";
    if (!std::filesystem::is_directory(aFolder) || !HasProgram("dcmdump"))
    {
        GTEST_SKIP() << "no sample files or no dcmdump";
    }
    std::size_t aCompared = 0;
    for (const auto& anEntry : std::filesystem::directory_iterator(aFolder))
    {
        Compare(anEntry.path(), aCompared);
    }
    EXPECT_GT(aCompared, 2000u);
}

/// Run by the next test in a process whose dictionary cannot be found; true with a dictionary as well.
TEST(WithoutDictionary, TheTagsOfThisLibraryAreKnown)
{
    DicomBuilder aBuilder(Syntax::IMPLICIT_LITTLE);
    aBuilder.AddString(DICOMTags::ImageType, "CS", "ORIGINAL\\PRIMARY");
    aBuilder.AddString({0x0008, 0x0070}, "LO", "UNKNOWN");
    aBuilder.AddImageAttributes(1, "MONOCHROME2", 3, 2, 16, 12, 0, 5);
    aBuilder.AddString(DICOMTags::LossyImageCompressionRatio, "DS", "7.6");
    aBuilder.AddNativePixelData(Bytes(60, 1));
    DICOMDataObject anObject;
    ASSERT_TRUE(Load(anObject, aBuilder.Build()));
    RWCString aText;
    const char* aPath = std::getenv("DCMDICTPATH");
    EXPECT_TRUE(aPath == nullptr || RWCString(aPath) != kMissingDictionary ||
                !anObject.GetString({0x0008, 0x0070}, aText))
        << "there is a dictionary after all";
    EXPECT_TRUE(anObject.GetString(DICOMTags::PhotometricInterpretation, aText));
    EXPECT_EQ("MONOCHROME2", aText);
    std::uint16_t aBits = 0;
    EXPECT_TRUE(anObject.GetUnsignedShort(DICOMTags::BitsStored, aBits));
    EXPECT_EQ(12, aBits);
    std::int32_t aFrames = 0;
    EXPECT_TRUE(anObject.GetInteger(DICOMTags::NumberOfFrames, aFrames));
    EXPECT_EQ(5, aFrames);
    EXPECT_EQ(8, anObject.GetLossyImageCompressionRatio(nullptr, 0, 0, true));
    ASSERT_NE(nullptr, anObject.GetPixelData());
    EXPECT_EQ(VR::TYPE_OW, anObject.GetPixelData()->GetTypeCode());
}

TEST(LoadFromFileTest, AMissingDictionaryIsSurvivedInSilence)
{
    int aStatus = -1;
    const std::string aSelf = std::filesystem::read_symlink("/proc/self/exe").string();
    const std::string anOutput = RunProgram(RWCString("DCMDICTPATH=") + kMissingDictionary + " '" + aSelf +
                                                "' --gtest_brief=1 --gtest_filter='WithoutDictionary.*'",
                                            aStatus);
    EXPECT_EQ(0, aStatus) << anOutput;
    EXPECT_NE(std::string::npos, anOutput.find("[  PASSED  ] 1 test")) << anOutput;
    EXPECT_EQ(std::string::npos, anOutput.find("W: ")) << anOutput;
    EXPECT_EQ(std::string::npos, anOutput.find("E: ")) << anOutput;
}
} // namespace
