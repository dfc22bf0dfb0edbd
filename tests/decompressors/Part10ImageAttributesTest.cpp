// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/Part10ImageAttributes.h"

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/MVRFactory.h"

namespace
{
MVRFactory FactoryOf(const DICOMDataObject& theDataSet)
{
    return MVRFactory(theDataSet.GetDataDictionary(), theDataSet.GetEndian(),
                      VR::GetDefaultMemoryAllocater());
}

/// A data set with every attribute that is read; numbers are 1.
void Describe(DICOMDataObject& theDataSet, std::uint16_t theSamples = 1)
{
    const MVRFactory aFactory = FactoryOf(theDataSet);
    for (const DICOMTag aTag :
         {DICOMTags::Rows, DICOMTags::Columns, DICOMTags::BitsAllocated, DICOMTags::BitsStored,
          DICOMTags::HighBit, DICOMTags::PixelRepresentation, DICOMTags::PlanarConfiguration})
    {
        theDataSet.ReplaceVR(aFactory.CreateUnsignedShort(aTag, 1));
    }
    theDataSet.ReplaceVR(aFactory.CreateUnsignedShort(DICOMTags::SamplesPerPixel, theSamples));
    theDataSet.ReplaceVR(aFactory.CreateString(DICOMTags::PhotometricInterpretation, "MONOCHROME2"));
}
} // namespace

TEST(Part10ImageAttributes, NumberOfFramesIsAtLeastOne)
{
    struct Case
    {
        const char* itsText;
        std::int32_t itsFrames;
    };
    for (const Case& aCase :
         {Case{nullptr, 1}, Case{"", 1}, Case{"0", 1}, Case{"-3", 1}, Case{"many", 1}, Case{"12", 12},
          Case{" 12 ", 12}, Case{"12x", 12}, Case{"99999999999", 2147483647}})
    {
        DICOMDataObject aDataSet;
        Describe(aDataSet);
        if (aCase.itsText != nullptr)
        {
            aDataSet.ReplaceVR(FactoryOf(aDataSet).CreateString(DICOMTags::NumberOfFrames, aCase.itsText));
        }
        Part10ImageAttributes anAttributes;
        anAttributes.Read(aDataSet);
        EXPECT_EQ(anAttributes.itsNumberOfFrames, aCase.itsFrames)
            << (aCase.itsText != nullptr ? aCase.itsText : "no value");
    }
}

TEST(Part10ImageAttributes, OnlyTheText00MeansNoLoss)
{
    for (const auto& [aText, aLossy] :
         std::vector<std::pair<const char*, bool>>{{"00", false}, {"01", true}, {"02", true}, {"", true}})
    {
        DICOMDataObject aDataSet;
        Describe(aDataSet);
        Part10ImageAttributes anAttributes;
        anAttributes.Read(aDataSet);
        EXPECT_FALSE(anAttributes.itsLossy) << "no value";
        aDataSet.ReplaceVR(FactoryOf(aDataSet).CreateString(DICOMTags::LossyImageCompression, aText));
        anAttributes.Read(aDataSet);
        EXPECT_EQ(anAttributes.itsLossy, aLossy) << aText;
    }
}

TEST(Part10ImageAttributes, TheScratchPadKnowsTheOriginalPlanes)
{
    struct Case
    {
        std::uint16_t itsSamples;
        const char* itsOriginal;
        bool itsPlanar;
    };
    for (const Case& aCase :
         {Case{3, nullptr, true}, Case{3, "1", true}, Case{3, "0", false}, Case{3, "2", false},
          Case{3, "", false}, Case{1, "1", false}, Case{4, "1", false}})
    {
        DICOMDataObject aDataSet;
        Describe(aDataSet, aCase.itsSamples);
        if (aCase.itsOriginal != nullptr)
        {
            aDataSet.SetScratchpadValue("DecompOrigPlanarConfig", aCase.itsOriginal);
        }
        Part10ImageAttributes anAttributes;
        anAttributes.Read(aDataSet);
        EXPECT_EQ(anAttributes.itsPlanar, aCase.itsPlanar)
            << aCase.itsSamples << " samples, "
            << (aCase.itsOriginal != nullptr ? aCase.itsOriginal : "no original");
    }
}

// What the codec has rewritten is read again, all of it.
TEST(Part10ImageAttributes, ReadsAgainWhatDecodingChanges)
{
    const struct
    {
        DICOMTag itsTag;
        const char* itsName;
        std::int32_t Part10ImageAttributes::*itsField;
    } kAttributes[] = {
        {DICOMTags::Rows, "Rows", &Part10ImageAttributes::itsRows},
        {DICOMTags::Columns, "Columns", &Part10ImageAttributes::itsColumns},
        {DICOMTags::SamplesPerPixel, "SamplesPerPixel", &Part10ImageAttributes::itsSamplesPerPixel},
        {DICOMTags::BitsAllocated, "BitsAllocated", &Part10ImageAttributes::itsBitsAllocated},
        {DICOMTags::BitsStored, "BitsStored", &Part10ImageAttributes::itsBitsStored},
        {DICOMTags::HighBit, "HighBit", &Part10ImageAttributes::itsHighBit},
        {DICOMTags::PixelRepresentation, "PixelRepresentation",
         &Part10ImageAttributes::itsPixelRepresentation},
    };
    DICOMDataObject aDataSet;
    Describe(aDataSet);
    Part10ImageAttributes anAttributes;
    anAttributes.Read(aDataSet);
    for (const auto& anAttribute : kAttributes)
    {
        aDataSet.ReplaceVR(FactoryOf(aDataSet).CreateUnsignedShort(anAttribute.itsTag, 7));
        anAttributes.ReadDecoded(aDataSet);
        EXPECT_EQ(anAttributes.*anAttribute.itsField, 7) << anAttribute.itsName;
    }
}

TEST(Part10ImageAttributes, NoSizeWraps)
{
    struct Case
    {
        std::int32_t itsRows;
        std::int32_t itsColumns;
        std::int32_t itsBits;
        std::int32_t itsSamples;
        std::uint64_t itsSize;  ///< 0: refused
        const char* itsRefusal; ///< part of the message
    };
    constexpr std::int32_t kMost = 2147483647;
    constexpr const char* kUnknown = "18446744073709551615";
    for (const Case& aCase :
         {Case{3, 5, 1, 1, 2, ""}, Case{3, 5, 12, 1, 23, ""}, Case{3, 5, 16, 3, 90, ""},
          Case{16384, 8191, 16, 1, 268402688, ""}, Case{16384, 8192, 16, 1, 0, "268435456"},
          Case{46340, 46340, 8, 1, 0, "2147395600"},
          Case{65535, 65535, 8, 1, 0, "65535 rows of 65535 pixels"},
          Case{kMost, kMost, 32767, 1, 0, "rows of 2147483647 pixels"}, Case{-1, 5, 8, 1, 0, kUnknown},
          Case{3, -5, 8, 1, 0, kUnknown}, Case{3, 5, -8, 1, 0, kUnknown}, Case{3, 5, 32768, 1, 0, kUnknown},
          Case{3, 5, 8, -1, 0, kUnknown}})
    {
        Part10ImageAttributes anAttributes;
        anAttributes.itsRows = aCase.itsRows;
        anAttributes.itsColumns = aCase.itsColumns;
        anAttributes.itsBitsAllocated = aCase.itsBits;
        anAttributes.itsSamplesPerPixel = aCase.itsSamples;
        try
        {
            EXPECT_EQ(anAttributes.GetFrameSize(Renderable::RGB), aCase.itsSize);
            EXPECT_NE(aCase.itsSize, 0u) << "should have been refused as " << aCase.itsRefusal;
        }
        catch (const ExceptionBase& anException)
        {
            EXPECT_EQ(aCase.itsSize, 0u) << anException.what();
            EXPECT_NE(anException.GetMessageText().find(aCase.itsRefusal), RWCString::npos)
                << anException.GetMessageText();
        }
    }
}
