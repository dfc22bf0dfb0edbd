// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/MVRFactory.h"

#include <gtest/gtest.h>

#include "support/CountingAllocator.h"

namespace
{
using Bytes = std::vector<std::uint8_t>;

struct StringCase
{
    DICOMTag itsTag;
    const char* itsVR;
};

class MVRFactoryStrings : public testing::TestWithParam<StringCase>
{
};

TEST_P(MVRFactoryStrings, TakeTheirTypeFromTheDictionary)
{
    const MVRFactory aFactory(DataDictionary::GetDefaultInstance(), DLEndian::LITTLE_ENDIAN_ORDER,
                              VR::GetDefaultMemoryAllocater());
    auto aVR = aFactory.CreateString(GetParam().itsTag, "1");
    EXPECT_EQ(VR::MakeTypeCode(GetParam().itsVR[0], GetParam().itsVR[1]), aVR->GetTypeCode());
    DICOMObject anObject;
    anObject.ReplaceVR(std::move(aVR));
    Bytes aBytes;
    EXPECT_TRUE(anObject.GetBytes(GetParam().itsTag, aBytes));
    const bool isUID = GetParam().itsTag == DICOMTags::SOPInstanceUID;
    EXPECT_EQ(aBytes, (Bytes{'1', static_cast<std::uint8_t>(isUID ? 0 : ' ')}));
}

INSTANTIATE_TEST_SUITE_P(Tags, MVRFactoryStrings,
                         testing::Values(StringCase{DICOMTags::PhotometricInterpretation, "CS"},
                                         StringCase{DICOMTags::NumberOfFrames, "IS"},
                                         StringCase{DICOMTags::LossyImageCompressionRatio, "DS"},
                                         StringCase{DICOMTags::DerivationDescription, "ST"},
                                         StringCase{DICOMTags::SOPInstanceUID, "UI"},
                                         StringCase{{0x0010, 0x0010}, "PN"},
                                         StringCase{{0x0009, 0x0010}, "LO"}));

/// Words are in the factory's byte order, and numbers are numbers in either.
TEST(MVRFactoryTest, ByteOrderIsTheFactorys)
{
    for (const auto anEndian : {DLEndian::LITTLE_ENDIAN_ORDER, DLEndian::BIG_ENDIAN_ORDER})
    {
        const bool aBig = anEndian == DLEndian::BIG_ENDIAN_ORDER;
        const MVRFactory aFactory(DataDictionary::GetDefaultInstance(), anEndian,
                                  VR::GetDefaultMemoryAllocater());
        auto aShorts =
            aFactory.CreateUnsignedShorts(DICOMTags::RedPaletteColorLookupTableDescriptor, {1, 0x0203});
        EXPECT_EQ(anEndian, aShorts->GetEndian());
        const auto* aData = static_cast<const std::uint8_t*>(aShorts->GetData());
        EXPECT_EQ(aBig ? (Bytes{0, 1, 2, 3}) : (Bytes{1, 0, 3, 2}), Bytes(aData, aData + 4));
        auto aWords =
            aFactory.CreateBytes(DICOMTags::RedPaletteColorLookupTableData, VR::TYPE_OW, {1, 2, 3, 4});
        DICOMObject anObject(anEndian);
        anObject.ReplaceVR(std::move(aShorts));
        anObject.ReplaceVR(std::move(aWords));
        RWCString aText;
        EXPECT_TRUE(anObject.GetString(DICOMTags::RedPaletteColorLookupTableDescriptor, aText));
        EXPECT_EQ("1\\515", aText);
        Bytes aBytes;
        EXPECT_TRUE(anObject.GetBytes(DICOMTags::RedPaletteColorLookupTableData, aBytes));
        EXPECT_EQ(aBig ? (Bytes{2, 1, 4, 3}) : (Bytes{1, 2, 3, 4}), aBytes);
    }
}

TEST(MVRFactoryTest, PixelBytesComeFromTheFactorysAllocator)
{
    CountingAllocator anAllocator;
    const MVRFactory aFactory(DataDictionary::GetDefaultInstance(), DLEndian::LITTLE_ENDIAN_ORDER,
                              anAllocator);
    auto aVR = aFactory.CreateBytes(DICOMTags::PixelData, VR::TYPE_OB, {1, 2, 3});
    EXPECT_EQ(1u, anAllocator.GetLiveBlocks());
    EXPECT_EQ(3u, aVR->GetLength());
    aVR.reset();
    EXPECT_EQ(0u, anAllocator.GetLiveBlocks());
    EXPECT_EQ(0u, aFactory.CreateBytes(DICOMTags::PixelData, VR::TYPE_OB, {})->GetLength());
    EXPECT_EQ(0u, anAllocator.GetLiveBlocks());

    std::uint8_t aBorrowed[2] = {1, 2};
    const auto aPixels = aFactory.CreatePixelData(aBorrowed, 2, VR::TYPE_OW, DLEndian::BIG_ENDIAN_ORDER);
    EXPECT_EQ(aBorrowed, aPixels->GetData());
    EXPECT_EQ(DLEndian::BIG_ENDIAN_ORDER, aPixels->GetEndian());
    EXPECT_EQ(2u, anAllocator.GetAllocations()) << "borrowed pixels take no memory";
}
} // namespace
