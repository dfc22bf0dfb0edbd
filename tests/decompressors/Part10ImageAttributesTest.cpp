// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/Part10ImageAttributes.h"

#include <string>

#include <gtest/gtest.h>

#include "support/DataSet.h"
#include "support/FailureOf.h"
#include "toolkit/base/Exceptions.h"

namespace
{
const struct
{
    DICOMTag itsTag;
    const char* itsName;
    std::int32_t Part10ImageAttributes::*itsField;
} kNumbers[] = {
    {DICOMTags::Rows, "Rows", &Part10ImageAttributes::itsRows},
    {DICOMTags::Columns, "Columns", &Part10ImageAttributes::itsColumns},
    {DICOMTags::SamplesPerPixel, "SamplesPerPixel", &Part10ImageAttributes::itsSamplesPerPixel},
    {DICOMTags::BitsAllocated, "BitsAllocated", &Part10ImageAttributes::itsBitsAllocated},
    {DICOMTags::BitsStored, "BitsStored", &Part10ImageAttributes::itsBitsStored},
    {DICOMTags::HighBit, "HighBit", &Part10ImageAttributes::itsHighBit},
    {DICOMTags::PixelRepresentation, "PixelRepresentation", &Part10ImageAttributes::itsPixelRepresentation},
};

/// A data set with every attribute that is read.
struct Described : DataSet
{
    explicit Described(std::uint16_t theSamples = 1)
    {
        SetGrey(1, 1, 1, 1).SetNumbers(DICOMTags::SamplesPerPixel, {theSamples});
        SetNumbers(DICOMTags::PlanarConfiguration, {1});
    }

    Part10ImageAttributes Read() const
    {
        Part10ImageAttributes anAttributes;
        anAttributes.Read(*this);
        return anAttributes;
    }
};
} // namespace

TEST(Part10ImageAttributes, NumberOfFramesIsAtLeastOne)
{
    EXPECT_EQ(Described().Read().itsNumberOfFrames, 1);
    for (const auto& [aText, aCount] : {std::pair("", 1),
                                        {"0", 1},
                                        {"-3", 1},
                                        {"many", 1},
                                        {"12", 12},
                                        {" 12 ", 12},
                                        {"12x", 12},
                                        {"99999999999", 2147483647}})
    {
        Described aDataSet;
        aDataSet.SetText(DICOMTags::NumberOfFrames, aText);
        EXPECT_EQ(aDataSet.Read().itsNumberOfFrames, aCount) << aText;
    }
}

TEST(Part10ImageAttributes, OnlyTheText00MeansNoLoss)
{
    EXPECT_FALSE(Described().Read().itsLossy);
    for (const auto& [aText, aLossy] : {std::pair("00", false), {"01", true}, {"02", true}, {"", false}})
    {
        Described aDataSet;
        aDataSet.SetText(DICOMTags::LossyImageCompression, aText);
        EXPECT_EQ(aDataSet.Read().itsLossy, aLossy) << aText;
    }
}

TEST(Part10ImageAttributes, TheScratchPadKnowsTheOriginals)
{
    const std::tuple<std::uint16_t, const char*, bool> kCases[] = {
        {3, "1", true}, {3, "0", false}, {3, "2", false}, {3, "", false}, {1, "1", false}, {4, "1", false}};
    EXPECT_TRUE(Described(3).Read().itsPlanar);
    for (const auto& [aSamples, anOriginal, isPlanar] : kCases)
    {
        Described aDataSet(aSamples);
        aDataSet.SetScratchpadValue("DecompOrigPlanarConfig", anOriginal);
        EXPECT_EQ(aDataSet.Read().itsPlanar, isPlanar) << aSamples << " samples, " << anOriginal;
    }
    Described aDataSet(3);
    aDataSet.SetScratchpadValue("DecompOrigSamplesPerPixel", "1");
    aDataSet.SetScratchpadValue("DecompOrigPhotoInterp", "MONOCHROME1");
    EXPECT_EQ(aDataSet.Read().itsSamplesPerPixel, 1);
    EXPECT_EQ(aDataSet.Read().itsPhotometricInterpretation, "MONOCHROME1");
}

// What the codec has rewritten is read again, all of it.
TEST(Part10ImageAttributes, EveryNumberIsNeededAndReadAgainWhenDecodingHasChangedIt)
{
    Described aDataSet;
    for (const auto& aNumber : kNumbers)
    {
        Described anIncomplete;
        anIncomplete.RemoveVR(aNumber.itsTag);
        const std::string aText = std::string("DC3 Tag not found: ") + aNumber.itsName + " [38, 0]";
        EXPECT_EQ(FailureOf([&] { anIncomplete.Read(); }), aText);
        EXPECT_EQ(FailureOf([&] { Part10ImageAttributes().ReadDecoded(anIncomplete); }), aText);
        Part10ImageAttributes anAttributes = aDataSet.Read();
        EXPECT_LE(anAttributes.*aNumber.itsField, 1) << aNumber.itsName;
        aDataSet.SetNumbers(aNumber.itsTag, {7});
        anAttributes.ReadDecoded(aDataSet);
        EXPECT_EQ(anAttributes.*aNumber.itsField, 7) << aNumber.itsName;
    }
    Described anUnnamed;
    anUnnamed.RemoveVR(DICOMTags::PhotometricInterpretation);
    EXPECT_EQ(FailureOf([&] { anUnnamed.Read(); }), "DC3 Tag not found: PhotometricInterpretation [38, 0]");
    Described aColour(3);
    aColour.RemoveVR(DICOMTags::PlanarConfiguration);
    EXPECT_EQ(FailureOf([&] { aColour.Read(); }), "Missing PlanarConfiguration attribute [38, 0]");
}

TEST(Part10ImageAttributes, NoSizeWraps)
{
    // Rows, columns, bits and samples; the size, or 0 where it is refused, and part of the refusal.
    using Row =
        std::tuple<std::int32_t, std::int32_t, std::int32_t, std::int32_t, std::uint64_t, const char*>;
    constexpr std::int32_t kMost = 2147483647;
    constexpr const char* kUnknown = "18446744073709551615";
    for (const auto& [aRows, aColumns, aBits, aSamples, aSize, aRefusal] :
         {Row{3, 5, 1, 1, 2, ""}, Row{3, 5, 12, 1, 23, ""}, Row{3, 5, 16, 3, 90, ""},
          Row{16384, 8191, 16, 1, 268402688, ""}, Row{16384, 8192, 16, 1, 0, "268435456"},
          Row{46340, 46340, 8, 1, 0, "2147395600"}, Row{65535, 65535, 8, 1, 0, "65535 rows of 65535 pixels"},
          Row{kMost, kMost, 32767, 1, 0, "rows of 2147483647 pixels"}, Row{-1, 5, 8, 1, 0, kUnknown},
          Row{3, -5, 8, 1, 0, kUnknown}, Row{3, 5, -8, 1, 0, kUnknown}, Row{3, 5, 32768, 1, 0, kUnknown},
          Row{3, 5, 8, -1, 0, kUnknown}})
    {
        Part10ImageAttributes anAttributes;
        anAttributes.itsRows = aRows;
        anAttributes.itsColumns = aColumns;
        anAttributes.itsBitsAllocated = aBits;
        anAttributes.itsSamplesPerPixel = aSamples;
        std::uint64_t aGiven = 0;
        const std::string aText =
            FailureOf<ExceptionBase>([&] { aGiven = anAttributes.GetFrameSize(Renderable::RGB); });
        EXPECT_EQ(aGiven, aSize) << aText;
        EXPECT_NE(aText.find(aRefusal), std::string::npos) << aText;
    }
}
