// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/DICOMObject.h"

#include <gtest/gtest.h>

#include "support/CountingAllocator.h"
#include "support/DataSet.h"
#include "support/DicomBuilder.h"
#include "toolkit/dicom/VR.h"

namespace
{
using Bytes = DataSet::Bytes;
using Syntax = DicomBuilder::Syntax;
using Tags = std::vector<DICOMTag>;

constexpr DICOMTag kSequence = DICOMTags::SourceImageSequence;
constexpr DICOMTag kReferenced{0x0008, 0x1150};
constexpr auto kBig = DLEndian::BIG_ENDIAN_ORDER;
constexpr Syntax kUndeflated[] = {Syntax::IMPLICIT_LITTLE, Syntax::EXPLICIT_LITTLE, Syntax::EXPLICIT_BIG};

Bytes Text(const std::string& theText)
{
    return Bytes(theText.begin(), theText.end());
}

std::uint16_t Code(const char* theVR)
{
    return VR::MakeTypeCode(theVR[0], theVR[1]);
}

constexpr int NONE = DataSet::kNone;

/// VR and value, little-endian; the text and the number that are read.
using GetterCase = std::tuple<const char*, Bytes, const char*, int>;

const GetterCase kGetterCases[] = {
    {"US", {0x34, 0x12}, "4660", 0x1234},
    {"US", {0xff, 0xff}, "65535", 65535},
    {"US", {1, 0, 2, 0, 3, 0}, "1\\2\\3", 1},
    {"US", {}, "", NONE},
    {"SS", {0xfe, 0xff}, "-2", -2},
    {"UL", {0, 0, 1, 0}, "65536", 65536},
    {"UL", {0xff, 0xff, 0xff, 0xff}, "4294967295", NONE},
    {"SL", {0xff, 0xff, 0xff, 0xff}, "-1", -1},
    {"SL", {7, 0, 0, 0}, "7", 7},
    {"FD", {0, 0, 0, 0, 0, 0, 0xf8, 0x3f}, "1.5", NONE},
    {"IS", Text("12 "), "12", 12},
    {"IS", Text(" +7 "), " +7", 7},
    {"IS", Text("-3"), "-3", -3},
    {"IS", Text("1A"), "1A", NONE},
    {"IS", Text("1.5 "), "1.5", NONE},
    {"IS", Text("99999999999 "), "99999999999", NONE},
    {"IS", Text("5\\6 "), "5\\6", 5},
    {"IS", Text("\\6"), "\\6", NONE},
    {"IS", Text("  "), "", NONE},
    {"DS", Text("12.9"), "12.9", 12},
    {"DS", Text("1e3 "), "1e3", 1000},
    {"DS", Text("1e300 "), "1e300", NONE},
    {"DS", Text("nan "), "nan", NONE},
    {"DS", Text("x "), "x", NONE},
    {"CS", Text("ORIGINAL\\PRIMARY\\ "), "ORIGINAL\\PRIMARY\\", NONE},
    {"CS", Text("12"), "12", NONE},
    {"LO", {'A', ' ', 0, 0, ' ', 0}, "A", NONE},
    {"UI", {'1', '.', '2', 0}, "1.2", NONE},
    {"OB", {1, 2}, "(absent)", NONE},
    {"OW", {1, 2}, "(absent)", NONE},
    {"UN", {1, 2}, "(absent)", NONE},
};

// Private tags, so that no dictionary has a say. What is absent or of another kind leaves the value alone.
TEST(DICOMObject, GettersReadWhatAFileOrTheFactoryBrought)
{
    DICOMTag aTag{0x0009, 0x1000};
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE);
    DataSet aMade;
    for (const auto& [aVR, aValue, aString, anInteger] : kGetterCases)
    {
        ++aTag.itsElement;
        aBuilder.AddBytes(aTag, aVR, aValue);
        aMade.SetBytes(aTag, aValue, Code(aVR));
    }
    DataSet aLoaded;
    ASSERT_EQ("(loaded)", aLoaded.Load(aBuilder.Build()));
    for (const DataSet* aSet : {&aMade, &aLoaded})
    {
        aTag.itsElement = 0x1000;
        for (const auto& [aVR, aValue, aString, anInteger] : kGetterCases)
        {
            ++aTag.itsElement;
            std::uint16_t aShort = 77;
            EXPECT_EQ(aString, aSet->Text(aTag));
            EXPECT_EQ(anInteger, aSet->Number(aTag)) << aString;
            const bool isShort = anInteger >= 0 && anInteger <= 65535;
            EXPECT_EQ(isShort, aSet->GetUnsignedShort(aTag, aShort)) << aString;
            EXPECT_EQ(isShort ? anInteger : 77, aShort) << aString;
        }
        EXPECT_EQ("(absent)", aSet->Text(DICOMTags::Rows));
        EXPECT_EQ(NONE, aSet->Number(DICOMTags::Rows));
        EXPECT_EQ((Bytes{0xde, 0xad}), aSet->Value(DICOMTags::Rows));
        EXPECT_EQ((Bytes{0xde, 0xad}), aSet->Value(DICOMTags::PixelData));
    }
}

/// Elements that came as UN, explicitly or because the set is implicit and private, are read as what they
/// are. A big-endian data set keeps UN values little-endian.
TEST(DICOMObject, ReadsUnknownAsWhatItIs)
{
    for (const Syntax aSyntax : kUndeflated)
    {
        DicomBuilder aBuilder(aSyntax);
        aBuilder.AddBytes(DICOMTags::SOPInstanceUID, "UN", Text("1.2.3"));
        aBuilder.AddBytes(DICOMTags::PhotometricInterpretation, "UN", Text("RGB "));
        aBuilder.AddBytes(DICOMTags::NumberOfFrames, "UN", Text("3 "));
        aBuilder.AddBytes(DICOMTags::Rows, "UN", {0x01, 0x02});
        aBuilder.AddBytes(DICOMTags::LossyImageCompressionRatio, "UN", Text("10.5"));
        DataSet aSet;
        EXPECT_EQ("(loaded)", aSet.Load(aBuilder.Build()));
        EXPECT_EQ("1.2.3", aSet.Text(DICOMTags::SOPInstanceUID));
        EXPECT_EQ("RGB", aSet.Text(DICOMTags::PhotometricInterpretation));
        EXPECT_EQ(3, aSet.Number(DICOMTags::NumberOfFrames));
        EXPECT_EQ(0x0201, aSet.Number(DICOMTags::Rows));
        EXPECT_EQ(11, aSet.GetLossyImageCompressionRatio(nullptr, 0, 0, true));
    }
}

TEST(DICOMObject, AddsReplacesAndRemoves)
{
    DataSet aSet;
    EXPECT_TRUE(aSet.AddVR(aSet.Factory().CreateUnsignedShort(DICOMTags::Rows, 7)));
    auto aSecond = aSet.Factory().CreateUnsignedShort(DICOMTags::Rows, 8);
    EXPECT_FALSE(aSet.AddVR(std::move(aSecond)));
    ASSERT_NE(nullptr, aSecond) << "an element that was refused stays with the caller";
    EXPECT_EQ(7, aSet.Number(DICOMTags::Rows));
    aSet.ReplaceVR(std::move(aSecond));
    EXPECT_EQ(8, aSet.Number(DICOMTags::Rows));
    const auto aRemoved = aSet.RemoveVR(DICOMTags::Rows);
    ASSERT_NE(nullptr, aRemoved);
    EXPECT_EQ(DICOMTags::Rows, aRemoved->GetTag());
    EXPECT_EQ(Code("US"), aRemoved->GetTypeCode());
    EXPECT_EQ(2u, aRemoved->GetLength());
    EXPECT_EQ(nullptr, aSet.RemoveVR(DICOMTags::Rows));
    aSet.ReplaceVR(nullptr);
    aSet.SetScratchpadValue("Name", "1");
    aSet.SetScratchpadValue("Name", "2");
    EXPECT_EQ("2", aSet.Scratch("Name"));
    EXPECT_EQ("(absent)", aSet.Scratch("Other"));
    EXPECT_TRUE(aSet.GetTags().empty());
}

/// Only what is the same to the byte may stay.
TEST(DICOMObject, PutsOneValueWhateverWasThere)
{
    const std::pair<const char*, Bytes> kEarlier[] = {
        {"US", {5, 0}},
        {"US", {6, 0}},
        {"US", {5, 0, 5, 0}},
        {"US", {}},
        {"SS", {5, 0}},
        {"UN", {5, 0}},
        {"IS", Text("5 ")},
        {"CS", Text("RGB ")},
        {"CS", {}},
        {"LO", Text("RGB ")},
        {"CS", {'R', 'G', 'B', 0}},
        {"CS", Text("RGB\\RGB ")},
        {"UN", Text("RGB ")},
        {"CS", Text("MONOCHROME2 ")},
    };
    for (const auto& [aVR, aValue] : kEarlier)
    {
        DataSet aSet;
        aSet.SetBytes(DICOMTags::Rows, aValue, Code(aVR));
        aSet.SetBytes(DICOMTags::PhotometricInterpretation, aValue, Code(aVR));
        aSet.PutUnsignedShort(DICOMTags::Rows, 5);
        aSet.PutString(DICOMTags::PhotometricInterpretation, "RGB");
        EXPECT_EQ((Bytes{5, 0}), aSet.Value(DICOMTags::Rows)) << aVR;
        EXPECT_EQ(Text("RGB "), aSet.Value(DICOMTags::PhotometricInterpretation)) << aVR;
        EXPECT_EQ(Code("US"), aSet.RemoveVR(DICOMTags::Rows)->GetTypeCode());
        EXPECT_EQ(Code("CS"), aSet.RemoveVR(DICOMTags::PhotometricInterpretation)->GetTypeCode());
        EXPECT_TRUE(aSet.GetTags().empty());
    }
}

TEST(DICOMObject, HoldsPixelDataApartAndNeverCopiesIt)
{
    CountingAllocator anAllocator;
    DataSet aSet;
    const MVRFactory aFactory(DataDictionary::GetDefaultInstance(), kBig, anAllocator);
    auto aPixels = aFactory.CreateBytes(DICOMTags::PixelData, VR::TYPE_OW, {1, 2, 3});
    const void* const aBuffer = aPixels->GetData();
    aSet.SetNumbers({0x7fe1, 0x1001}, {1}).SetNumbers(DICOMTags::Rows, {1});
    EXPECT_TRUE(aSet.AddVR(std::move(aPixels)));
    EXPECT_FALSE(aSet.AddVR(aSet.Factory().CreateBytes(DICOMTags::PixelData, VR::TYPE_OB, {1, 2})));
    EXPECT_EQ(aBuffer, aSet.GetPixelData()->GetData());
    EXPECT_EQ(3u, aSet.GetPixelData()->GetLength());
    EXPECT_EQ(kBig, aSet.GetPixelData()->GetEndian());
    EXPECT_TRUE(aSet.Contains(DICOMTags::PixelData));
    EXPECT_EQ((Tags{DICOMTags::Rows, DICOMTags::PixelData, {0x7fe1, 0x1001}}), aSet.GetTags());
    auto aTaken = aSet.RemoveVR(DICOMTags::PixelData);
    EXPECT_EQ(nullptr, aSet.GetPixelData());
    EXPECT_EQ(1u, anAllocator.GetLiveBlocks());
    aTaken.reset();
    EXPECT_EQ(0u, anAllocator.GetLiveBlocks());
    EXPECT_EQ(0u, aFactory.CreateBytes(DICOMTags::PixelData, VR::TYPE_OB, {})->GetLength());
    const std::size_t aBefore = anAllocator.GetAllocations();
    aFactory.CreatePixelData(&aTaken, 2, VR::TYPE_OW, kBig);
    EXPECT_EQ(aBefore, anAllocator.GetAllocations()) << "borrowed pixels take no memory";
}

TEST(DICOMObject, SequencesGrowItemByItem)
{
    DataSet aSet;
    DataSet anItem;
    EXPECT_FALSE(aSet.AddSequenceItem(kSequence, anItem.SetText(kReferenced, "1.2")));
    EXPECT_TRUE(anItem.Contains(kReferenced)) << "a refused item keeps its elements";
    aSet.ReplaceVR(aSet.Factory().CreateSequence(kSequence));
    EXPECT_TRUE(aSet.IsSequence(kSequence));
    EXPECT_TRUE(aSet.AddSequenceItem(kSequence, anItem));
    EXPECT_TRUE(anItem.GetTags().empty());
    EXPECT_TRUE(aSet.AddSequenceItem(kSequence, anItem.SetText(kReferenced, "3.4")));
    EXPECT_EQ(2u, aSet.GetSequenceItemCount(kSequence));
    EXPECT_EQ("3.4", aSet.ItemText(kSequence, 1, kReferenced));
    EXPECT_EQ("(absent)", aSet.ItemText(kSequence, 2, kReferenced));
    EXPECT_EQ("(absent)", aSet.Text(kSequence));
    EXPECT_FALSE(aSet.SetText(DICOMTags::ImageType, "X").AddSequenceItem(DICOMTags::ImageType, anItem));
    EXPECT_EQ(0u, aSet.GetSequenceItemCount(DICOMTags::ImageType));
}

TEST(DICOMObject, TheFirstPrivateBlockIsTheAgreedOneUnlessItIsTaken)
{
    DataSet aSet;
    aSet.SetPrivate("ReconstImageFlag", 1).SetPrivate("LosslessCmpFlag", 1);
    aSet.ReplaceVR(aSet.Factory().CreatePrivateString(aSet, "QUORIX0", "OrigSOPInstUID", "1.2.3"));
    EXPECT_EQ((Tags{{0x1021, 0x0016}, {0x1021, 0x1601}, {0x1021, 0x1602}, {0x1021, 0x1603}}), aSet.GetTags());
    EXPECT_EQ("QUORIX0", aSet.Text({0x1021, 0x0016}));
    EXPECT_EQ("1.2.3", aSet.PrivateText("OrigSOPInstUID"));
    EXPECT_EQ(1, aSet.PrivateNumber("ReconstImageFlag"));
    EXPECT_EQ(NONE, aSet.PrivateNumber("NoSuchName"));
    EXPECT_EQ(nullptr, aSet.Factory().CreatePrivateUnsignedShort(aSet, "QUORIX0", "NoSuchName", 1));
    EXPECT_EQ(nullptr, aSet.Factory().CreatePrivateUnsignedShort(aSet, "OTHER", "ReconstImageFlag", 1));
    EXPECT_FALSE(aSet.ContainsPrivateCreator("OTHER"));
    DataSet aTaken;
    aTaken.SetText({0x1021, 0x0016}, "SOMEBODY ELSE");
    aTaken.ReservePrivateBlock("QUORIX0");
    aTaken.ReservePrivateBlock("QUORIX0");
    aTaken.SetPrivate("ReconstImageFlag", 1);
    EXPECT_EQ((Tags{{0x1021, 0x0016}, {0x1021, 0x0017}, {0x1021, 0x1702}}), aTaken.GetTags());
}

TEST(DICOMObject, ABlockReservedElsewhereIsUsedInEverySyntax)
{
    for (const Syntax aSyntax : kUndeflated)
    {
        DicomBuilder aBuilder(aSyntax);
        aBuilder.AddString({0x0009, 0x0010}, "LO", "OTHER").AddString({0x0009, 0x0042}, "LO", "QUORIX0");
        aBuilder.AddUS({0x0009, 0x1002}, {99}).AddString({0x0009, 0x4201}, "UI", "1.22.333");
        DataSet aSet;
        EXPECT_EQ("(loaded)", aSet.Load(aBuilder.AddUS({0x0009, 0x4203}, {1}).Build()));
        EXPECT_TRUE(aSet.ContainsPrivateCreator("QUORIX0"));
        EXPECT_EQ("1.22.333", aSet.PrivateText("OrigSOPInstUID"));
        EXPECT_EQ(NONE, aSet.PrivateNumber("ReconstImageFlag"));
        EXPECT_EQ(1, aSet.PrivateNumber("LosslessCmpFlag"));
        aSet.SetPrivate("ReconstImageFlag", 1);
        EXPECT_TRUE(aSet.Contains({0x0009, 0x4202}));
        EXPECT_FALSE(aSet.Contains({0x1021, 0x0016}));
        EXPECT_NE(nullptr, aSet.RemovePrivateVR("QUORIX0", "LosslessCmpFlag"));
        EXPECT_EQ(nullptr, aSet.RemovePrivateVR("QUORIX0", "LosslessCmpFlag"));
        EXPECT_FALSE(aSet.Contains({0x0009, 0x4203}));
    }
}

TEST(DICOMDataObject, LossyRatioIsTheLastValueRounded)
{
    const std::pair<const char*, int> kCases[] = {{"10", 10},  {"10.5", 11}, {"3.2\\7.49", 7}, {" 4 ", 4},
                                                  {"", 0},     {"-3", 0},    {"nan", 0},       {"1e30", 0},
                                                  {"10:1", 0}, {"2\\", 0}};
    DataSet aSet;
    EXPECT_EQ(0, aSet.GetLossyImageCompressionRatio(nullptr, 0, 0, true));
    for (const auto& [aText, aRatio] : kCases)
    {
        aSet.SetText(DICOMTags::LossyImageCompressionRatio, aText);
        EXPECT_EQ(aRatio, aSet.GetLossyImageCompressionRatio(nullptr, 0, 0, true)) << aText;
    }
}

TEST(MVRFactory, TextsTakeTheirTypeFromTheDictionary)
{
    const std::pair<DICOMTag, const char*> kCases[] = {{DICOMTags::PhotometricInterpretation, "CS"},
                                                       {DICOMTags::NumberOfFrames, "IS"},
                                                       {DICOMTags::LossyImageCompressionRatio, "DS"},
                                                       {DICOMTags::DerivationDescription, "ST"},
                                                       {DICOMTags::SOPInstanceUID, "UI"},
                                                       {{0x0010, 0x0010}, "PN"},
                                                       {{0x0009, 0x0010}, "LO"}};
    for (const auto& [aTag, aVR] : kCases)
    {
        DataSet aSet;
        EXPECT_EQ(aVR == std::string("UI") ? Text(std::string("1\0", 2)) : Text("1 "),
                  aSet.SetText(aTag, "1").Value(aTag));
        EXPECT_EQ(Code(aVR), aSet.RemoveVR(aTag)->GetTypeCode());
    }
}

/// Words are in the factory's byte order, and numbers are numbers in either.
TEST(MVRFactory, ByteOrderIsTheFactorys)
{
    DataSet aSet(kBig);
    auto aShorts = aSet.Factory().CreateUnsignedShorts(DICOMTags::Rows, {1, 0x0203});
    EXPECT_EQ(kBig, aShorts->GetEndian());
    const auto* aData = static_cast<const std::uint8_t*>(aShorts->GetData());
    EXPECT_EQ((Bytes{0, 1, 2, 3}), Bytes(aData, aData + 4));
    aSet.ReplaceVR(std::move(aShorts));
    EXPECT_EQ("1\\515", aSet.Text(DICOMTags::Rows));
    EXPECT_EQ((Bytes{2, 1, 4, 3}), aSet.SetBytes({0x0028, 0x1201}, {1, 2, 3, 4}).Value({0x0028, 0x1201}));
}

} // namespace
