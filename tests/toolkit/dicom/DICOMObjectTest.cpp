// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/DICOMObject.h"

#include <gtest/gtest.h>

#include "support/CountingAllocator.h"
#include "support/DicomBuilder.h"
#include "support/TemporaryFile.h"
#include "toolkit/base/DICOMLibException.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/MVRFactory.h"
#include "toolkit/dicom/PixelInputStreamVR.h"

namespace
{
using Bytes = std::vector<std::uint8_t>;

constexpr DICOMTag kAnyTag{0x0009, 0x1001}; // private, so that no dictionary has a say
const RWCString kCreator = "QUORIX0";

MVRFactory Factory(DLEndian::Endian theEndian = DLEndian::LITTLE_ENDIAN_ORDER)
{
    return MVRFactory(DataDictionary::GetDefaultInstance(), theEndian, VR::GetDefaultMemoryAllocater());
}

std::uint16_t Code(const std::string& theVR)
{
    return VR::MakeTypeCode(theVR[0], theVR[1]);
}

/// A data set read from bytes, the way every caller gets one.
void Load(DICOMObject& theObject, const Bytes& theFile)
{
    const TemporaryFile aFile(theFile);
    DLResultCode aCode = DLRC_GENERAL_FAILURE;
    int anError = -1;
    ASSERT_TRUE(theObject.LoadFromFile(aFile.GetName(), aCode, anError));
    ASSERT_EQ(DLRC_SUCCESS, aCode);
    ASSERT_EQ(0, anError);
}

struct GetterCase
{
    const char* itsVR;
    Bytes itsValue;        ///< little-endian
    const char* itsString; ///< null: no string
    long long itsInteger;  ///< NONE: no number of 32 bits
    int itsShort;          ///< -1: no unsigned short
};

constexpr long long NONE = 1LL << 40;

Bytes Text(const std::string& theText)
{
    return Bytes(theText.begin(), theText.end());
}

const GetterCase kGetterCases[] = {
    {"US", {0x34, 0x12}, "4660", 0x1234, 0x1234},
    {"US", {0xff, 0xff}, "65535", 65535, 65535},
    {"US", {1, 0, 2, 0, 3, 0}, "1\\2\\3", 1, 1},
    {"US", {}, "", NONE, -1},
    {"SS", {0xfe, 0xff}, "-2", -2, -1},
    {"UL", {0, 0, 1, 0}, "65536", 65536, -1},
    {"UL", {0xff, 0xff, 0xff, 0xff}, "4294967295", NONE, -1},
    {"SL", {0xff, 0xff, 0xff, 0xff}, "-1", -1, -1},
    {"SL", {7, 0, 0, 0}, "7", 7, 7},
    {"FD", {0, 0, 0, 0, 0, 0, 0xf8, 0x3f}, "1.5", NONE, -1},
    {"IS", Text("12 "), "12", 12, 12},
    {"IS", Text(" +7 "), " +7", 7, 7},
    {"IS", Text("-3"), "-3", -3, -1},
    {"IS", Text("1A"), "1A", NONE, -1},
    {"IS", Text("1.5 "), "1.5", NONE, -1},
    {"IS", Text("99999999999 "), "99999999999", NONE, -1},
    {"IS", Text("5\\6 "), "5\\6", 5, 5},
    {"IS", Text("\\6"), "\\6", NONE, -1},
    {"IS", Text("  "), "", NONE, -1},
    {"IS", {}, "", NONE, -1},
    {"DS", Text("12.9"), "12.9", 12, 12},
    {"DS", Text("1e3 "), "1e3", 1000, 1000},
    {"DS", Text("1e300 "), "1e300", NONE, -1},
    {"DS", Text("nan "), "nan", NONE, -1},
    {"DS", Text("x "), "x", NONE, -1},
    {"CS", Text("ORIGINAL\\PRIMARY\\ "), "ORIGINAL\\PRIMARY\\", NONE, -1},
    {"LO", Bytes{'A', ' ', 0, 0, ' ', 0}, "A", NONE, -1},
    {"UI", Bytes{'1', '.', '2', 0}, "1.2", NONE, -1},
    {"CS", Text("12"), "12", NONE, -1},
    {"OB", {1, 2}, nullptr, NONE, -1},
    {"OW", {1, 2}, nullptr, NONE, -1},
    {"UN", {1, 2}, nullptr, NONE, -1},
};

class DICOMObjectGetters : public testing::TestWithParam<GetterCase>
{
public:
    static void Check(const DICOMObject& theObject, DICOMTag theTag)
    {
        const GetterCase& aCase = GetParam();
        RWCString aText = "unchanged";
        ASSERT_EQ(aCase.itsString != nullptr, theObject.GetString(theTag, aText));
        ASSERT_EQ(aCase.itsString != nullptr ? aCase.itsString : "unchanged", aText);
        std::int32_t anInteger = 77;
        ASSERT_EQ(aCase.itsInteger != NONE, theObject.GetInteger(theTag, anInteger));
        ASSERT_EQ(aCase.itsInteger != NONE ? aCase.itsInteger : 77, anInteger);
        std::uint16_t aShort = 77;
        ASSERT_EQ(aCase.itsShort >= 0, theObject.GetUnsignedShort(theTag, aShort));
        ASSERT_EQ(aCase.itsShort >= 0 ? aCase.itsShort : 77, aShort);
    }
};

TEST_P(DICOMObjectGetters, OfAFactoryElement)
{
    DICOMObject anObject;
    anObject.ReplaceVR(Factory().CreateBytes(kAnyTag, Code(GetParam().itsVR), GetParam().itsValue));
    Check(anObject, kAnyTag);
}

TEST_P(DICOMObjectGetters, OfAnElementReadFromAFile)
{
    DICOMObject anObject;
    DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE);
    aBuilder.AddString({0x0008, 0x0060}, "CS", "OT");
    aBuilder.AddBytes(kAnyTag, GetParam().itsVR, GetParam().itsValue);
    Load(anObject, aBuilder.Build());
    Check(anObject, kAnyTag);
}

INSTANTIATE_TEST_SUITE_P(Values, DICOMObjectGetters, testing::ValuesIn(kGetterCases));

TEST(DICOMObjectTest, AbsentElementsLeaveTheValueAlone)
{
    const DICOMObject anObject;
    RWCString aText = "kept";
    std::int32_t anInteger = 5;
    Bytes aBytes{1};
    EXPECT_FALSE(anObject.GetString(DICOMTags::Rows, aText));
    EXPECT_FALSE(anObject.GetInteger(DICOMTags::Rows, anInteger));
    EXPECT_FALSE(anObject.GetBytes(DICOMTags::Rows, aBytes));
    EXPECT_FALSE(anObject.GetBytes(DICOMTags::PixelData, aBytes));
    EXPECT_EQ("kept", aText);
    EXPECT_EQ(5, anInteger);
    EXPECT_EQ(Bytes{1}, aBytes);
}

/// Elements that came as UN, explicitly or because the set is implicit and private, are read as what they
/// are. A big-endian data set keeps UN values little-endian.
class DICOMObjectUnknown : public testing::TestWithParam<DicomBuilder::Syntax>
{
};

TEST_P(DICOMObjectUnknown, ReadAsWhatTheyAre)
{
    DicomBuilder aBuilder(GetParam());
    aBuilder.AddBytes(DICOMTags::SOPInstanceUID, "UN", Text(std::string("1.2.3") + '\0'));
    aBuilder.AddBytes(DICOMTags::PhotometricInterpretation, "UN", Text("RGB "));
    aBuilder.AddBytes(DICOMTags::NumberOfFrames, "UN", Text("3 "));
    aBuilder.AddBytes(DICOMTags::Rows, "UN", {0x01, 0x02});
    aBuilder.AddBytes(DICOMTags::LossyImageCompressionRatio, "UN", Text("10.5"));
    DICOMDataObject anObject;
    Load(anObject, aBuilder.Build());
    RWCString aText;
    EXPECT_TRUE(anObject.GetString(DICOMTags::SOPInstanceUID, aText));
    EXPECT_EQ("1.2.3", aText);
    EXPECT_TRUE(anObject.GetString(DICOMTags::PhotometricInterpretation, aText));
    EXPECT_EQ("RGB", aText);
    std::int32_t anInteger = 0;
    EXPECT_TRUE(anObject.GetInteger(DICOMTags::NumberOfFrames, anInteger));
    EXPECT_EQ(3, anInteger);
    std::uint16_t aShort = 0;
    EXPECT_TRUE(anObject.GetUnsignedShort(DICOMTags::Rows, aShort));
    EXPECT_EQ(0x0201, aShort);
    EXPECT_EQ(11, anObject.GetLossyImageCompressionRatio(nullptr, 0, 0, true));
}

INSTANTIATE_TEST_SUITE_P(Syntaxes, DICOMObjectUnknown,
                         testing::Values(DicomBuilder::Syntax::IMPLICIT_LITTLE,
                                         DicomBuilder::Syntax::EXPLICIT_LITTLE,
                                         DicomBuilder::Syntax::EXPLICIT_BIG));

TEST(DICOMObjectTest, BytesAreLittleEndianWhateverTheFile)
{
    for (const auto aSyntax : {DicomBuilder::Syntax::EXPLICIT_LITTLE, DicomBuilder::Syntax::EXPLICIT_BIG})
    {
        DicomBuilder aBuilder(aSyntax);
        aBuilder.AddUS(DICOMTags::RedPaletteColorLookupTableDescriptor, {0x0102, 0x0304, 16}, "US");
        aBuilder.AddUS(DICOMTags::RedPaletteColorLookupTableData, {0x0102, 0xfffe}, "OW");
        aBuilder.AddBytes({0x0029, 0x1001}, "OB", {1, 2, 3, 4});
        aBuilder.AddUL({0x0029, 0x1002}, {0x01020304});
        DICOMObject anObject;
        Load(anObject, aBuilder.Build());
        Bytes aBytes;
        EXPECT_TRUE(anObject.GetBytes(DICOMTags::RedPaletteColorLookupTableDescriptor, aBytes));
        EXPECT_EQ((Bytes{2, 1, 4, 3, 16, 0}), aBytes);
        EXPECT_TRUE(anObject.GetBytes(DICOMTags::RedPaletteColorLookupTableData, aBytes));
        EXPECT_EQ((Bytes{2, 1, 0xfe, 0xff}), aBytes);
        EXPECT_TRUE(anObject.GetBytes({0x0029, 0x1001}, aBytes));
        EXPECT_EQ((Bytes{1, 2, 3, 4}), aBytes);
        EXPECT_TRUE(anObject.GetBytes({0x0029, 0x1002}, aBytes));
        EXPECT_EQ((Bytes{4, 3, 2, 1}), aBytes);
    }
}

TEST(DICOMObjectTest, AddReplaceRemove)
{
    DICOMObject anObject;
    const auto aFactory = Factory();
    EXPECT_TRUE(anObject.AddVR(aFactory.CreateUnsignedShort(DICOMTags::Rows, 7)));
    auto aSecond = aFactory.CreateUnsignedShort(DICOMTags::Rows, 8);
    EXPECT_FALSE(anObject.AddVR(std::move(aSecond)));
    ASSERT_NE(nullptr, aSecond) << "an element that was refused stays with the caller";
    std::int32_t aRows = 0;
    EXPECT_TRUE(anObject.GetInteger(DICOMTags::Rows, aRows));
    EXPECT_EQ(7, aRows);
    anObject.ReplaceVR(std::move(aSecond));
    EXPECT_TRUE(anObject.GetInteger(DICOMTags::Rows, aRows));
    EXPECT_EQ(8, aRows);
    const auto aRemoved = anObject.RemoveVR(DICOMTags::Rows);
    ASSERT_NE(nullptr, aRemoved);
    EXPECT_EQ(DICOMTags::Rows, aRemoved->GetTag());
    EXPECT_EQ(Code("US"), aRemoved->GetTypeCode());
    EXPECT_EQ(2u, aRemoved->GetLength());
    EXPECT_FALSE(anObject.Contains(DICOMTags::Rows));
    EXPECT_EQ(nullptr, anObject.RemoveVR(DICOMTags::Rows));
    anObject.ReplaceVR(nullptr);
    EXPECT_TRUE(anObject.GetTags().empty());
}

TEST(DICOMObjectTest, PixelDataIsHeldApartAndNeverCopied)
{
    CountingAllocator anAllocator;
    void* aBuffer = anAllocator.Allocate(4);
    auto aPixels = Factory().CreatePixelData(aBuffer, 4, VR::TYPE_OW, DLEndian::LITTLE_ENDIAN_ORDER);
    aPixels->TakeOwnership(anAllocator);
    {
        DICOMObject anObject;
        anObject.ReplaceVR(Factory().CreateUnsignedShort({0x7fe1, 0x1001}, 1));
        anObject.ReplaceVR(Factory().CreateUnsignedShort(DICOMTags::Rows, 1));
        EXPECT_TRUE(anObject.AddVR(std::move(aPixels)));
        EXPECT_FALSE(anObject.AddVR(Factory().CreateBytes(DICOMTags::PixelData, VR::TYPE_OB, {1, 2})));
        ASSERT_NE(nullptr, anObject.GetPixelData());
        EXPECT_EQ(aBuffer, anObject.GetPixelData()->GetData());
        EXPECT_TRUE(anObject.Contains(DICOMTags::PixelData));
        EXPECT_EQ((std::vector<DICOMTag>{DICOMTags::Rows, DICOMTags::PixelData, {0x7fe1, 0x1001}}),
                  anObject.GetTags());
        const auto aTaken = anObject.RemoveVR(DICOMTags::PixelData);
        EXPECT_EQ(nullptr, anObject.GetPixelData());
        EXPECT_EQ(1u, anAllocator.GetLiveBlocks());
    }
    EXPECT_EQ(0u, anAllocator.GetLiveBlocks());
}

class EndlessPixels final : public PixelInputStreamVR
{
public:
    EndlessPixels() : PixelInputStreamVR(DICOMTags::PixelData, VR::TYPE_OW, DLEndian::LITTLE_ENDIAN_ORDER) {}
    std::uint64_t GetLength() const override { return 2; }
    std::unique_ptr<VR> GetVR() override { return nullptr; }
    std::size_t Read(unsigned char*, std::size_t theLength) override { return theLength; }
    std::size_t GetStreamPosition() const override { return 0; }
};

TEST(DICOMObjectTest, APixelStreamCannotBeHeld)
{
    DICOMObject anObject;
    try
    {
        anObject.ReplaceVR(std::make_unique<EndlessPixels>());
        FAIL() << "a stream was taken for a value";
    }
    catch (const DICOMLibException& anException)
    {
        EXPECT_EQ(DLRC_GENERAL_FAILURE, anException.GetResultCode());
    }
    EXPECT_FALSE(anObject.Contains(DICOMTags::PixelData));
}

TEST(DICOMObjectTest, SequencesGrowItemByItem)
{
    const auto aFactory = Factory();
    DICOMObject anObject;
    DICOMObject anItem;
    anItem.ReplaceVR(aFactory.CreateUID({0x0008, 0x1150}, "1.2"));
    EXPECT_FALSE(anObject.AddSequenceItem(DICOMTags::SourceImageSequence, anItem));
    EXPECT_TRUE(anItem.Contains({0x0008, 0x1150})) << "a refused item keeps its elements";
    anObject.ReplaceVR(aFactory.CreateSequence(DICOMTags::SourceImageSequence));
    EXPECT_TRUE(anObject.IsSequence(DICOMTags::SourceImageSequence));
    EXPECT_TRUE(anObject.AddSequenceItem(DICOMTags::SourceImageSequence, anItem));
    EXPECT_TRUE(anItem.GetTags().empty());
    anItem.ReplaceVR(aFactory.CreateUID({0x0008, 0x1150}, "3.4"));
    EXPECT_TRUE(anObject.AddSequenceItem(DICOMTags::SourceImageSequence, anItem));
    EXPECT_EQ(2u, anObject.GetSequenceItemCount(DICOMTags::SourceImageSequence));
    RWCString aText;
    EXPECT_TRUE(anObject.GetSequenceItemString(DICOMTags::SourceImageSequence, 1, {0x0008, 0x1150}, aText));
    EXPECT_EQ("3.4", aText);
    EXPECT_FALSE(anObject.GetSequenceItemString(DICOMTags::SourceImageSequence, 2, {0x0008, 0x1150}, aText));
    RWCString aNone;
    EXPECT_FALSE(anObject.GetString(DICOMTags::SourceImageSequence, aNone));
    anObject.ReplaceVR(aFactory.CreateString(DICOMTags::ImageType, "X"));
    EXPECT_FALSE(anObject.AddSequenceItem(DICOMTags::ImageType, anItem));
    EXPECT_EQ(0u, anObject.GetSequenceItemCount(DICOMTags::ImageType));
}

TEST(DICOMObjectTest, TheFirstPrivateBlockIsTheAgreedOne)
{
    DICOMObject anObject;
    anObject.ReplaceVR(Factory().CreatePrivateUnsignedShort(anObject, kCreator, "ReconstImageFlag", 1));
    anObject.ReplaceVR(Factory().CreatePrivateString(anObject, kCreator, "OrigSOPInstUID", "1.2.3"));
    anObject.ReplaceVR(Factory().CreatePrivateUnsignedShort(anObject, kCreator, "LosslessCmpFlag", 1));
    EXPECT_EQ((std::vector<DICOMTag>{{0x1021, 0x0016}, {0x1021, 0x1601}, {0x1021, 0x1602}, {0x1021, 0x1603}}),
              anObject.GetTags());
    RWCString aText;
    EXPECT_TRUE(anObject.GetString({0x1021, 0x0016}, aText));
    EXPECT_EQ("QUORIX0", aText);
    EXPECT_TRUE(anObject.GetPrivateString(kCreator, "OrigSOPInstUID", aText));
    EXPECT_EQ("1.2.3", aText);
    std::int32_t aFlag = 0;
    EXPECT_TRUE(anObject.GetPrivateInteger(kCreator, "ReconstImageFlag", aFlag));
    EXPECT_EQ(1, aFlag);
    EXPECT_NE(nullptr, anObject.RemovePrivateVR(kCreator, "LosslessCmpFlag"));
    EXPECT_EQ(nullptr, anObject.RemovePrivateVR(kCreator, "LosslessCmpFlag"));
    EXPECT_FALSE(anObject.GetPrivateInteger(kCreator, "NoSuchName", aFlag));
    EXPECT_EQ(nullptr, Factory().CreatePrivateUnsignedShort(anObject, kCreator, "NoSuchName", 1));
    EXPECT_EQ(nullptr, Factory().CreatePrivateUnsignedShort(anObject, "OTHER", "ReconstImageFlag", 1));
    EXPECT_FALSE(anObject.ContainsPrivateCreator("OTHER"));
}

TEST(DICOMObjectTest, ATakenBlockIsLeftToItsOwner)
{
    DICOMObject anObject;
    anObject.ReplaceVR(Factory().CreateString({0x1021, 0x0016}, "SOMEBODY ELSE"));
    anObject.ReservePrivateBlock(kCreator);
    anObject.ReservePrivateBlock(kCreator);
    anObject.ReplaceVR(Factory().CreatePrivateUnsignedShort(anObject, kCreator, "ReconstImageFlag", 1));
    EXPECT_EQ((std::vector<DICOMTag>{{0x1021, 0x0016}, {0x1021, 0x0017}, {0x1021, 0x1702}}),
              anObject.GetTags());
}

TEST(DICOMObjectTest, ABlockReservedElsewhereIsUsedInEverySyntax)
{
    for (const auto aSyntax : {DicomBuilder::Syntax::IMPLICIT_LITTLE, DicomBuilder::Syntax::EXPLICIT_LITTLE,
                               DicomBuilder::Syntax::EXPLICIT_BIG})
    {
        DicomBuilder aBuilder(aSyntax);
        aBuilder.AddString({0x0009, 0x0010}, "LO", "OTHER");
        aBuilder.AddString({0x0009, 0x0042}, "LO", "QUORIX0");
        aBuilder.AddUS({0x0009, 0x1002}, {99});
        aBuilder.AddString({0x0009, 0x4201}, "UI", "1.22.333");
        aBuilder.AddUS({0x0009, 0x4203}, {1});
        DICOMObject anObject;
        Load(anObject, aBuilder.Build());
        EXPECT_TRUE(anObject.ContainsPrivateCreator(kCreator));
        RWCString aText;
        EXPECT_TRUE(anObject.GetPrivateString(kCreator, "OrigSOPInstUID", aText));
        EXPECT_EQ("1.22.333", aText);
        std::int32_t aFlag = 0;
        EXPECT_FALSE(anObject.GetPrivateInteger(kCreator, "ReconstImageFlag", aFlag));
        EXPECT_TRUE(anObject.GetPrivateInteger(kCreator, "LosslessCmpFlag", aFlag));
        EXPECT_EQ(1, aFlag);
        const auto aFactory = Factory(anObject.GetEndian());
        anObject.ReplaceVR(aFactory.CreatePrivateUnsignedShort(anObject, kCreator, "ReconstImageFlag", 1));
        EXPECT_TRUE(anObject.Contains({0x0009, 0x4202}));
        EXPECT_FALSE(anObject.Contains({0x1021, 0x0016}));
        EXPECT_NE(nullptr, anObject.RemovePrivateVR(kCreator, "LosslessCmpFlag"));
        EXPECT_FALSE(anObject.Contains({0x0009, 0x4203}));
    }
}

TEST(DICOMObjectTest, ScratchpadKeepsNamedValues)
{
    DICOMObject anObject;
    RWCString aText = "kept";
    EXPECT_FALSE(anObject.GetScratchpadValue("Name", aText));
    EXPECT_EQ("kept", aText);
    anObject.SetScratchpadValue("Name", "1");
    anObject.SetScratchpadValue("Name", "2");
    EXPECT_TRUE(anObject.GetScratchpadValue("Name", aText));
    EXPECT_EQ("2", aText);
    EXPECT_TRUE(anObject.GetTags().empty());
}

struct RatioCase
{
    const char* itsText;
    int itsRatio;
};

class DICOMDataObjectRatio : public testing::TestWithParam<RatioCase>
{
};

TEST_P(DICOMDataObjectRatio, LastValueRounded)
{
    DICOMDataObject anObject;
    EXPECT_EQ(0, anObject.GetLossyImageCompressionRatio(nullptr, 0, 0, true));
    anObject.ReplaceVR(Factory().CreateString(DICOMTags::LossyImageCompressionRatio, GetParam().itsText));
    EXPECT_EQ(GetParam().itsRatio, anObject.GetLossyImageCompressionRatio(nullptr, 0, 0, true));
}

INSTANTIATE_TEST_SUITE_P(Texts, DICOMDataObjectRatio,
                         testing::Values(RatioCase{"10", 10}, RatioCase{"10.5", 11},
                                         RatioCase{"3.2\\7.49", 7}, RatioCase{" 4 ", 4}, RatioCase{"", 0},
                                         RatioCase{"-3", 0}, RatioCase{"nan", 0}, RatioCase{"1e30", 0},
                                         RatioCase{"10:1", 0}, RatioCase{"2\\", 0}));
} // namespace
