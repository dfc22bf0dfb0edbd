// SPDX-License-Identifier: Apache-2.0
// Data sets loaded from files and written to files.

#include <cstdlib>
#include <filesystem>

#include <gtest/gtest.h>

#include "support/DataSet.h"
#include "support/DicomBuilder.h"
#include "support/FailureOf.h"

namespace
{
using Bytes = DicomBuilder::Bytes;
using Syntax = DicomBuilder::Syntax;

constexpr const char* kExplicit = "1.2.840.10008.1.2.1";
constexpr const char* kExplicitBig = "1.2.840.10008.1.2.2";
constexpr const char* kNativeUIDs[] = {"1.2.840.10008.1.2", kExplicit, kExplicitBig};
constexpr auto kLittle = DLEndian::LITTLE_ENDIAN_ORDER;
constexpr auto kBig = DLEndian::BIG_ENDIAN_ORDER;

TEST(LoadFromFile, WhatIsNoDataSetIsAParseError)
{
    DicomBuilder aCut(Syntax::EXPLICIT_LITTLE);
    aCut.AddHeader(DICOMTags::ImageType, "CS", 10).AddRaw({'A', 'B'});
    for (const Bytes& aFile : {Bytes{}, Bytes{8, 0, 5, 0}, Bytes(1000, 0), Bytes(1000, 'a'),
                               Bytes{0xff, 0xd8, 0xff, 0xe0, 0, 16, 'J', 'F', 'I', 'F', 0, 1},
                               DicomBuilder(Syntax::EXPLICIT_LITTLE, "1.2.3").Build(), aCut.Build()})
    {
        EXPECT_EQ("38, 0", DataSet().Load(aFile));
    }
    EXPECT_EQ("3, 2", DataSet().LoadFile("/no/such/file"));
    EXPECT_EQ("67, 21", DataSet().LoadFile("/"));
}

TEST(LoadFromFile, BareDataSetsOfEveryNativeSyntax)
{
    for (const Syntax aSyntax : {Syntax::IMPLICIT_LITTLE, Syntax::EXPLICIT_LITTLE, Syntax::EXPLICIT_BIG})
    {
        DicomBuilder aBuilder(aSyntax);
        aBuilder.AddString(DICOMTags::ImageType, "CS", "ORIGINAL\\PRIMARY");
        aBuilder.AddImageAttributes(1, "MONOCHROME2", 1, 2, 16, 16).AddNativePixelData({1, 2, 3, 4});
        Bytes aWithMeta = aBuilder.FileMeta(); // file meta information, but no preamble
        aWithMeta.insert(aWithMeta.end(), aBuilder.DataSet().begin(), aBuilder.DataSet().end());
        for (const Bytes& aFile : {aBuilder.DataSet(), aWithMeta})
        {
            DataSet aSet;
            ASSERT_EQ("(loaded)", aSet.Load(aFile));
            EXPECT_EQ(2, aSet.Number(DICOMTags::Columns));
            const auto anEndian = aSyntax == Syntax::EXPLICIT_BIG ? kBig : kLittle;
            EXPECT_EQ(anEndian, aSet.GetEndian());
            EXPECT_EQ(anEndian, aSet.GetPixelData()->GetEndian());
            EXPECT_EQ(4u, aSet.GetPixelData()->GetLength());
        }
    }
}

TEST(LoadFromFile, StopTagAndEncapsulatedPixelsEndTheLoad)
{
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE, "1.2.840.10008.1.2.4.50");
    aBuilder.AddImageAttributes(1, "MONOCHROME2", 1, 2, 8, 8).AddEncapsulatedPixelData({{0xff, 0xd8}});
    DataSet aSet;
    aSet.SetScratchpadValue("Name", "kept");
    EXPECT_EQ("(loaded)", aSet.Load(aBuilder.Build()));
    EXPECT_TRUE(aSet.Contains(DICOMTags::PixelRepresentation));
    EXPECT_FALSE(aSet.Contains(DICOMTags::PixelData));
    EXPECT_EQ("kept", aSet.Scratch("Name"));
    DataSet aHeader;
    EXPECT_EQ("(loaded)", aHeader.Load(aBuilder.Build(), DICOMTags::Rows));
    EXPECT_TRUE(aHeader.Contains(DICOMTags::PhotometricInterpretation));
    EXPECT_FALSE(aHeader.Contains(DICOMTags::Rows));
}

/// A set with everything that byte order can spoil.
void Fill(DataSet& theSet, std::uint16_t theBitsAllocated)
{
    DicomBuilder anItem(Syntax::EXPLICIT_BIG);
    anItem.AddString({0x0008, 0x1150}, "UI", "1.2.3").AddUS(DICOMTags::Rows, {0x0102});
    DicomBuilder aBuilder(Syntax::EXPLICIT_BIG);
    aBuilder.AddUL({0x0008, 0x0000}, {1});
    aBuilder.AddString(DICOMTags::SOPClassUID, "UI", "1.2.840.10008.5.1.4.1.1.2");
    aBuilder.AddString(DICOMTags::SOPInstanceUID, "UI", "1.2.3.4.5.6");
    aBuilder.AddSequence(DICOMTags::SourceImageSequence, {anItem, anItem});
    aBuilder.AddString({0x0010, 0x0010}, "PN", "A^B").AddString({0x0021, 0x0010}, "LO", "SOMEBODY");
    aBuilder.AddBytes({0x0021, 0x1001}, "UN", {1, 2, 3, 4}).AddUS({0x0021, 0x1002}, {0x0506, 0x0708});
    aBuilder.AddImageAttributes(1, "MONOCHROME2", 2, 2, theBitsAllocated, theBitsAllocated);
    aBuilder.AddUS(DICOMTags::RedPaletteColorLookupTableData, {0x0102, 0x0304}, "OW");
    aBuilder.AddOV(DICOMTags::ExtendedOffsetTable, {0}).AddString({0xfffc, 0xfffc}, "LO", "PADDING");
    ASSERT_EQ("(loaded)", theSet.Load(aBuilder.Build()));
}

void SetPixels(DataSet& theSet, Bytes& thePixels, std::uint16_t theTypeCode = VR::TYPE_OW,
               DLEndian::Endian theEndian = kLittle)
{
    theSet.ReplaceVR(
        theSet.Factory().CreatePixelData(thePixels.data(), thePixels.size(), theTypeCode, theEndian));
}

/// Bits allocated; type, 0 without pixel data, behind which loading ends; byte order and pixels; the pixel
/// bytes of a little-endian file and of a big-endian one.
using SaveCase = std::tuple<std::uint16_t, std::uint16_t, DLEndian::Endian, Bytes, Bytes, Bytes>;

/// More than one chunk, so that nothing is lost or swapped twice at the seams.
Bytes Large(int theFlip)
{
    Bytes aPixels;
    for (int i = 0; i < 200002; ++i)
    {
        aPixels.push_back(static_cast<std::uint8_t>((i ^ theFlip) * 31 / 7));
    }
    return aPixels;
}

const SaveCase kSaveCases[] = {{16, VR::TYPE_OW, kLittle, {1, 2, 3, 4}, {1, 2, 3, 4}, {2, 1, 4, 3}},
                               {16, VR::TYPE_OW, kBig, {1, 2, 3, 4}, {2, 1, 4, 3}, {1, 2, 3, 4}},
                               {8, VR::TYPE_OB, kLittle, {1, 2, 3}, {1, 2, 3, 0}, {1, 2, 3, 0}},
                               {8, VR::TYPE_OB, kBig, {1, 2, 3, 4}, {1, 2, 3, 4}, {1, 2, 3, 4}},
                               {8, VR::TYPE_OW, kLittle, {1, 2, 3}, {1, 2, 3, 0}, {2, 1, 0, 3}},
                               {32, VR::TYPE_OW, kLittle, {1, 2, 3, 4}, {1, 2, 3, 4}, {4, 3, 2, 1}},
                               {8, VR::TYPE_OB, kLittle, {}, {}, {}},
                               {16, VR::TYPE_OW, kLittle, Large(0), Large(0), Large(1)},
                               {16, 0, kLittle, {}, {}, {}}};

/// Written in each native syntax and read back, by this library and, where it is there, by another program.
TEST(SaveToFile, EveryElementAndEveryPixelSurvivesTheRoundTrip)
{
    for (const SaveCase& aCase : kSaveCases)
    {
        const auto& [aBits, aType, anEndian, somePixels, aLittle, aBig] = aCase;
        for (const char* aUID : kNativeUIDs)
        {
            const bool isBig = aUID == std::string(kExplicitBig);
            DataSet aSet;
            Fill(aSet, aBits);
            Bytes aPixels = somePixels;
            if (aType != 0)
            {
                SetPixels(aSet, aPixels, aType, anEndian);
            }
            const TemporaryFile aFile;
            aSet.SaveToFile(aFile.GetName(), aUID);
            DataSet aReloaded;
            ASSERT_EQ("(loaded)", aReloaded.LoadFile(aFile.GetName()));
            if (aType != 0)
            {
                const VR& aRead = *aReloaded.GetPixelData();
                const auto* aData = static_cast<const std::uint8_t*>(aRead.GetData());
                EXPECT_EQ(isBig ? aBig : aLittle, Bytes(aData, aData + aRead.GetLength()));
                EXPECT_EQ(isBig, aRead.GetEndian() == kBig);
            }
            for (const DICOMTag aTag : aSet.GetTags())
            {
                if (aTag.itsElement == 0 || aTag == DICOMTags::ExtendedOffsetTable)
                {
                    EXPECT_TRUE(aTag.itsGroup == 2 || !aReloaded.Contains(aTag));
                }
                else if (aTag.itsGroup != 2 && (aType == 0 || aTag.itsGroup < 0x7fe0))
                {
                    EXPECT_TRUE(aReloaded.Contains(aTag));
                    EXPECT_EQ(aSet.Value(aTag), aReloaded.Value(aTag)) << aTag.itsGroup << aTag.itsElement;
                }
            }
            EXPECT_EQ("258", aReloaded.ItemText(DICOMTags::SourceImageSequence, 1, DICOMTags::Rows));
            EXPECT_EQ(aUID, aReloaded.Text(DICOMTags::TransferSyntaxUID));
            EXPECT_EQ("1.2.3.4.5.6", aReloaded.Text({0x0002, 0x0003}));
            const std::string aCheck = std::string("! command -v dcmdump >/dev/null || { f=") +
                                       aFile.GetName() +
                                       "; dcmftest $f >/dev/null && ! dcmdump $f 2>&1 | grep 'W: '; }";
            EXPECT_TRUE(&aCase != kSaveCases || std::system(aCheck.c_str()) == 0);
        }
    }
}

TEST(SaveToFile, MissingUIDsAreMadeForTheFileMetaOnly)
{
    const TemporaryFile aFile;
    DataSet().SaveToFile(aFile.GetName(), kExplicit);
    DataSet aReloaded;
    ASSERT_EQ("(loaded)", aReloaded.LoadFile(aFile.GetName()));
    for (const std::uint16_t anElement : std::initializer_list<std::uint16_t>{2, 3})
    {
        EXPECT_NE("", aReloaded.Text({0x0002, anElement}));
        EXPECT_NE("(absent)", aReloaded.Text({0x0002, anElement}));
    }
    EXPECT_FALSE(aReloaded.Contains(DICOMTags::SOPInstanceUID));
}

TEST(SaveToFile, RefusalsSayWhy)
{
    using Row = std::tuple<const char*, const char*, std::uint64_t, const char*>;
    const Row kRows[] = {
        {"/dev/full", kExplicit, 100000, "error writing file /dev/full [67, 28]"},
        {"/dev/full", kExplicit, 10, "error writing file /dev/full [67, 28]"},
        {"/no/such/folder/file", kExplicit, 10, "error opening file /no/such/folder/file [67, 2]"},
        {"/dev/null", "1.2.840.10008.1.2.4.50", 10,
         "cannot write transfer syntax 1.2.840.10008.1.2.4.50 [6, 0]"},
        {"/dev/null", kExplicit, 0xfffffffe,
         "pixel data of 4294967294 bytes is too long for a DICOM file [6, 0]"}};
    for (const auto& [aPath, aUID, aSize, aText] : kRows)
    {
        // The size is a lie in one case; the bytes behind it must never be looked at.
        Bytes aPixels(100000);
        DataSet aSet;
        aSet.ReplaceVR(aSet.Factory().CreatePixelData(aPixels.data(), aSize, VR::TYPE_OW, kLittle));
        EXPECT_EQ(std::string("DICOMObject::SaveToFile: ") + aText,
                  FailureOf([&, aFile = aPath, aSyntax = aUID] { aSet.SaveToFile(aFile, aSyntax); }));
    }
}

/// Run by the next test in a process whose dictionary cannot be found; true with a dictionary as well.
TEST(WithoutDictionary, TheTagsOfThisLibraryAreKnown)
{
    DicomBuilder aBuilder(Syntax::IMPLICIT_LITTLE);
    aBuilder.AddString({0x0008, 0x0070}, "LO", "UNKNOWN");
    aBuilder.AddImageAttributes(1, "MONOCHROME2", 3, 2, 16, 12, 0, 5);
    aBuilder.AddString(DICOMTags::LossyImageCompressionRatio, "DS", "7.6").AddNativePixelData(Bytes(60, 1));
    DataSet aSet;
    ASSERT_EQ("(loaded)", aSet.Load(aBuilder.Build()));
    const char* const aPath = std::getenv("DCMDICTPATH");
    EXPECT_EQ(aPath == nullptr || std::string(aPath) != "/no/such/dictionary" ? "UNKNOWN" : "(absent)",
              aSet.Text({0x0008, 0x0070}));
    EXPECT_EQ("MONOCHROME2", aSet.Text(DICOMTags::PhotometricInterpretation));
    EXPECT_EQ(12, aSet.Number(DICOMTags::BitsStored));
    EXPECT_EQ(5, aSet.Number(DICOMTags::NumberOfFrames));
    EXPECT_EQ(8, aSet.GetLossyImageCompressionRatio(nullptr, 0, 0, true));
    ASSERT_NE(nullptr, aSet.GetPixelData());
    EXPECT_EQ(VR::TYPE_OW, aSet.GetPixelData()->GetTypeCode());
}

TEST(LoadFromFile, AMissingDictionaryIsSurvivedInSilence)
{
    const std::string aSelf = std::filesystem::read_symlink("/proc/self/exe").string();
    const TemporaryFile anOutput;
    EXPECT_EQ(0, std::system(("DCMDICTPATH=/no/such/dictionary " QUORIX_EMULATOR " '" + aSelf +
                              "' --gtest_brief=1 --gtest_filter='WithoutDictionary.*' >" +
                              anOutput.GetName() + " 2>&1")
                                 .c_str()));
    const Bytes aContent = anOutput.GetContent();
    const std::string aText(aContent.begin(), aContent.end());
    EXPECT_NE(std::string::npos, aText.find("[  PASSED  ] 1 test")) << aText;
    EXPECT_EQ(std::string::npos, aText.find("W: ")) << aText;
    EXPECT_EQ(std::string::npos, aText.find("E: ")) << aText;
}
} // namespace
