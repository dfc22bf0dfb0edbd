// SPDX-License-Identifier: Apache-2.0
// Requests for JPEG 2000 images: what comes out, and how image and data set describe it.
#include <limits>
#include <string>
#include <tuple>

#include <gmock/gmock.h>

#include "decompressors/DecompressorRuns.h"
#include "decompressors/Part10Files.h"
#include "support/DataSet.h"
#include "support/Jpeg2000Streams.h"
#include "support/PlainColour.h"

using namespace Jpeg2000Streams;
using namespace Part10Files;

namespace
{
const RWCString& kLossless = TransferSyntaxType::TSJPEG2KLosslessUID;
const RWCString& kAny = TransferSyntaxType::TSJPEG2KUID;

const JpegSpec kColourSpec{.itsWidth = kColourWidth, .itsHeight = kColourHeight, .itsComponents = 3};
} // namespace

TEST(JPEG2000Requests, UnsignedPixelsAreCalledUnsigned)
{
    DICOMDataObject aDataSet;
    const Outcome aPart10 = RunPart10(GreyJpeg2000({Grey12()}), &aDataSet, {0, 1, true});
    const Outcome aBare = RunBareImage(Grey12(), kLossless, &aDataSet, {0, 1, true});
    for (const Outcome* const anOutcome : {&aPart10, &aBare})
    {
        EXPECT_EQ(anOutcome->Pixels(), GreyWords([](int theValue) { return theValue + 2048; }));
        EXPECT_FALSE(anOutcome->Image()->isSigned());
    }
}

TEST(JPEG2000Requests, ReducedImagesAreDescribedAsTheyAre)
{
    ASSERT_EQ(Grey12().size(), 413u);
    constexpr int kMost = std::numeric_limits<int>::max();
    // What is requested; columns, rows and description, whose ratio is that of the full size.
    const std::tuple<int, int, int, const char*> kCases[] = {
        {2, 6, 5, "MONOCHROME2 5 x 6 x 1, 16/12/11 signed, scale 2, ratio 1"},
        {3, 3, 2, "MONOCHROME2 2 x 3 x 1, 16/12/11 signed, scale 3, ratio 0"},
        {9, 1, 1, "MONOCHROME2 1 x 1 x 1, 16/12/11 signed, scale 4, ratio 0"},
        {kMost, 1, 1, "MONOCHROME2 1 x 1 x 1, 16/12/11 signed, scale 4, ratio 0"}};
    for (const auto& [aRequested, aColumns, aRows, aDescription] : kCases)
    {
        DataSet aDataSet;
        const Outcome aPart10 = RunPart10(GreyJpeg2000({Grey12()}), &aDataSet, {0, aRequested});
        const Outcome aBare = RunBareImage(Grey12(), kLossless, nullptr, {0, aRequested});
        for (const Outcome* const anOutcome : {&aPart10, &aBare})
        {
            ASSERT_EQ(anOutcome->Code(), 0) << anOutcome->Message();
            EXPECT_EQ(Describe(*anOutcome->Image()), aDescription);
            EXPECT_EQ(anOutcome->Pixels().size(), 2u * static_cast<unsigned>(aColumns * aRows));
        }
        EXPECT_EQ(aDataSet.Number(DICOMTags::Columns), aColumns);
        EXPECT_EQ(aDataSet.Number(DICOMTags::Rows), aRows);
    }
}

TEST(JPEG2000Requests, ReportsEveryFailure)
{
    // 66000 wide and 15 high, image and tile; 1000 × 1000 pixels have bytes enough for that.
    const Bytes aWide =
        Patch(Patch(Lossy(), 8, {0, 1, 1, 0xd0, 0, 0, 0, 15}), 24, {0, 1, 1, 0xd0, 0, 0, 0, 15});
    const std::tuple<Bytes, int, int, std::string> kCases[] = {
        {GreyJpeg2000({Grey12()}), 0, 37, "JPEG2000Decoder::JPEG2000Decoder: Invalid output scale request*"},
        {Encapsulated(kAny, {.itsWidth = 1000, .itsHeight = 1000, .itsComponents = 3}, "RGB", {aWide}), 1, 62,
         "Decoder::UpdateDICOMHeader(): a data set cannot describe 15 rows of 66000 pixels"},
        {Encapsulated(kLossless, {.itsWidth = kColourWidth, .itsHeight = kColourHeight}, "MONOCHROME2",
                      {Colour()}),
         1, 6,
         "Decoder::UpdateDICOMHeader(): SamplesPerPixel value exists in DICOM header is lesser than JP2 "
         "header for the SOP:*"}};
    for (const auto& [aFile, aScaleFactor, aCode, aText] : kCases)
    {
        SCOPED_TRACE(aText);
        ExpectFailure(RunPart10(aFile, {0, aScaleFactor}), aCode, aText);
    }
    DataSet aDescribed; // stays as it is
    aDescribed.SetNumbers(DICOMTags::Columns, {1000});
    ExpectFailure(
        RunBareImage(aWide, kAny, &aDescribed), 62,
        "Decoder exception: StreamIOException: StreamIOException: Decoder::UpdateDICOMHeader(): a data "
        "set cannot describe 15 rows of 66000 pixels");
    EXPECT_EQ(aDescribed.Number(DICOMTags::Columns), 1000);
    EXPECT_EQ(RunBareImage(aWide, kAny, nullptr).Image()->getColumns(), 66000);
}

TEST(JPEG2000Requests, LossIsWrittenDownWhereItIsCertain)
{
    const JpegSpec aSquare{.itsWidth = kLossySize, .itsHeight = kLossySize, .itsComponents = 3};
    for (const auto& [aUID, aStream, aSpec, aFlag] : {std::tuple(kAny, Lossy(), aSquare, "01"),
                                                      {kLossless, Lossy(), aSquare, "(absent)"},
                                                      {kAny, Colour(), kColourSpec, "(absent)"}})
    {
        DataSet aDataSet;
        const Outcome anOutcome = RunPart10(Encapsulated(aUID, aSpec, "YBR_ICT", {aStream}), &aDataSet);
        ASSERT_EQ(anOutcome.Code(), 0) << anOutcome.Message();
        EXPECT_EQ(aDataSet.Text(DICOMTags::LossyImageCompression), aFlag);
    }
}
