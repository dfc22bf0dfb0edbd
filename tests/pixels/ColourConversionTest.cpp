// SPDX-License-Identifier: Apache-2.0
#include "pixels/DecompressionLibUtils.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "pixels/ImageMaker.h"
#include "toolkit/base/BadAllocException.h"
#include "toolkit/base/DLRuntimeException.h"
#include "toolkit/dicom/DICOMDataObject.h"

namespace
{
using Conversion = void (*)(Renderable&);

void ConvertAny(Renderable& theImage)
{
    DICOMDataObject aDataSet;
    DecompressionLibUtils::ConvertRenderableToNonPlanar8BitRGB(aDataSet, theImage);
}

void ConvertPalette(Renderable& theImage)
{
    DICOMDataObject aDataSet;
    DecompressionLibUtils::ConvertPaletteColorRenderableTo8BitRGB(aDataSet, theImage);
}

constexpr Conversion kRGB = DecompressionLibUtils::ConvertRGBRenderableToNonPlanar8BitRGB;
constexpr Conversion kFull = DecompressionLibUtils::ConvertYBR_FULLRenderableToNonPlanar8BitRGB;
constexpr Conversion kFullWide = DecompressionLibUtils::ConvertYBR_FULLRenderableToNonPlanarRGB;
constexpr Conversion the422 = DecompressionLibUtils::ConvertYBR_FULL_422RenderableTo8BitRGB;
constexpr Conversion the422Wide = DecompressionLibUtils::ConvertYBR_FULL_422RenderableToRGB;

std::string GetFailure(Conversion theConversion, Renderable& theImage)
{
    try
    {
        theConversion(theImage);
    }
    catch (const DLRuntimeException& anException)
    {
        return anException.GetMessageText();
    }
    return "(no exception)";
}

// ---- Messages ------------------------------------------------------------------------------------

struct ConversionName
{
    Conversion itsConversion;
    const char* itsName;
    Renderable::PhotometricInterpretation itsInterpretation;
    const char* itsTerm;
};

const ConversionName kConversions[] = {
    {kRGB, "ConvertRGBRenderableToNonPlanar8BitRGB", Renderable::RGB, "RGB"},
    {kFull, "ConvertYBR_FULLRenderableToNonPlanar8BitRGB", Renderable::YBR_FULL, "YBR_FULL"},
    {kFullWide, "ConvertYBR_FULLRenderableToNonPlanarRGB", Renderable::YBR_FULL, "YBR_FULL"},
    {the422, "ConvertYBR_FULL_422RenderableTo8BitRGB", Renderable::YBR_FULL_422, "YBR_FULL_422"},
    {the422Wide, "ConvertYBR_FULL_422RenderableToRGB", Renderable::YBR_FULL_422, "YBR_FULL_422"},
    {ConvertPalette, "ConvertPaletteColorRenderableTo8BitRGB", Renderable::PALETTE_COLOR, "PALETTE COLOR"},
};

/// A fault put into an otherwise right image of 2 x 2 pixels. "%" stands for the interpretation's term.
struct Defect
{
    const char* itsName;
    std::function<void(ImageSpec&)> itsFault;
    const char* itsText;
    bool itsForPalette;
};

const Defect kDefects[] = {
    {"interpretation, before anything else",
     [](ImageSpec& s)
     {
         s.itsInterpretation = Renderable::MONOCHROME2;
         s.itsSamples = 1;
         s.itsBits = 32;
     },
     "Renderable being converted is not %", true},
    {"samples, before bits",
     [](ImageSpec& s)
     {
         s.itsSamples = 1;
         s.itsBits = 32;
     },
     "Renderable contains incorrect number of samples per pixel for YBR_FULL encoding", false},
    {"17 bits", [](ImageSpec& s) { s.itsBits = 17; }, "bits allocated > 16 - not supported", true},
    {"32 bits", [](ImageSpec& s) { s.itsBits = 32; }, "bits allocated > 16 - not supported", true},
    {"12 bits", [](ImageSpec& s) { s.itsBits = 12; }, "bits allocated is not 8 or 16 - not supported", true},
    {"1 bit", [](ImageSpec& s) { s.itsBits = 1; }, "bits allocated is not 8 or 16 - not supported", true},
};
} // namespace

TEST(ColourConversion, DefectsHaveTheirTextsAndLeaveTheImageAlone)
{
    for (const ConversionName& aConversion : kConversions)
    {
        for (const Defect& aDefect : kDefects)
        {
            const bool aPalette = aConversion.itsInterpretation == Renderable::PALETTE_COLOR;
            if (aPalette && !aDefect.itsForPalette)
            {
                continue;
            }
            SCOPED_TRACE(std::string(aConversion.itsName) + ", " + aDefect.itsName);
            ImageSpec aSpec{aConversion.itsInterpretation, aPalette ? 1 : 3, 8, 2, 2};
            aDefect.itsFault(aSpec);
            CountingAllocator anAllocator;
            const auto anImage = MakeImage(anAllocator, aSpec, Bytes(12, 7));
            std::string aText = aDefect.itsText;
            if (aText.back() == '%')
            {
                aText.replace(aText.size() - 1, 1, aConversion.itsTerm);
            }
            EXPECT_EQ(GetFailure(aConversion.itsConversion, *anImage),
                      "DecompressionLibUtils::" + std::string(aConversion.itsName) + ": " + aText);
            EXPECT_EQ(anImage->getPhotometricInterpretation(), aSpec.itsInterpretation);
            EXPECT_EQ(anAllocator.GetAllocations(), 1u);
        }
    }
}

TEST(ColourConversion, InterpretationsWithoutConversionAreNamed)
{
    const std::pair<Renderable::PhotometricInterpretation, const char*> kCases[] = {
        {Renderable::INVALID, "INVALID"},
        {Renderable::YBR_PARTIAL_422, "YBR_PARTIAL_422"},
        {Renderable::YBR_PARTIAL_420, "YBR_PARTIAL_420"},
        {Renderable::YBR_ICT, "YBR_ICT"},
        {Renderable::YBR_RCT, "YBR_RCT"},
        {static_cast<Renderable::PhotometricInterpretation>(99), "INVALID"}};
    for (const auto& [anInterpretation, aName] : kCases)
    {
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, {anInterpretation}, Bytes(6));
        EXPECT_EQ(GetFailure(ConvertAny, *anImage),
                  std::string("DecompressionLibUtils::ConvertRenderableToNonPlanar8BitRGB: "
                              "PhotometricInterpretation not supported: ") +
                      aName);
    }
}

TEST(ColourConversion, Only422ThatPairsUpIsTaken)
{
    struct Row
    {
        const char* itsName;
        ImageSpec itsSpec;
        std::size_t itsBytes;
        const char* itsText;
    };
    const char* const aPlanarText = "Renderable in planar format is not valid for YBR_FULL_422 encoding";
    const char* const aCountText =
        "Renderable contains incorrect number of samples for YBR_FULL_422 encoding";
    const Row kRows[] = {
        {"planar", {Renderable::YBR_FULL_422, 3, 8, 1, 2, true}, 4, aPlanarText},
        {"planar comes before the count", {Renderable::YBR_FULL_422, 3, 8, 1, 3, true}, 4, aPlanarText},
        {"odd pixels", {Renderable::YBR_FULL_422, 3, 8, 3, 3}, 20, aCountText},
        {"one byte short", {Renderable::YBR_FULL_422, 3, 8, 2, 2}, 7, aCountText},
        {"one byte more", {Renderable::YBR_FULL_422, 3, 8, 2, 2}, 9, aCountText},
        {"size of full colour", {Renderable::YBR_FULL_422, 3, 8, 2, 2}, 12, aCountText},
        {"8-bit size at 16 bits", {Renderable::YBR_FULL_422, 3, 16, 2, 2}, 8, aCountText},
    };
    for (const Row& aRow : kRows)
    {
        SCOPED_TRACE(aRow.itsName);
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, aRow.itsSpec, Bytes(aRow.itsBytes));
        EXPECT_EQ(GetFailure(ConvertAny, *anImage),
                  std::string("DecompressionLibUtils::ConvertYBR_FULL_422RenderableTo8BitRGB: ") +
                      aRow.itsText);
    }
}

// The geometry comes from a file and may promise more than the buffer holds.
TEST(ColourConversion, BuffersSmallerThanTheGeometryAreRefused)
{
    struct Row
    {
        const char* itsName;
        ImageSpec itsSpec;
        std::size_t itsBytes;
    };
    const Row kRows[] = {
        {"YBR_FULL", {Renderable::YBR_FULL, 3, 8, 2, 2}, 11},
        {"YBR_FULL, 16 bits", {Renderable::YBR_FULL, 3, 16, 2, 2}, 23},
        {"planar RGB", {Renderable::RGB, 3, 8, 2, 2, true}, 11},
        {"RGB, 16 bits", {Renderable::RGB, 3, 16, 2, 2}, 12},
        {"palette", {Renderable::PALETTE_COLOR, 1, 8, 2, 2}, 3},
        {"palette, 16 bits", {Renderable::PALETTE_COLOR, 1, 16, 2, 2}, 7},
        {"largest dimensions", {Renderable::YBR_FULL, 3, 16, 0x7fffffff, 0x7fffffff}, 12},
        {"product that is small in 32 bits", {Renderable::RGB, 3, 8, 65536, 65536, true}, 12},
        {"negative rows and columns", {Renderable::YBR_FULL, 3, 8, -2, -2}, 12},
    };
    for (const Row& aRow : kRows)
    {
        SCOPED_TRACE(aRow.itsName);
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, aRow.itsSpec, Bytes(aRow.itsBytes));
        EXPECT_NE(GetFailure(ConvertAny, *anImage), "(no exception)");
        EXPECT_EQ(anAllocator.GetAllocations(), 1u) << "nothing is to be allocated";
        EXPECT_EQ(anImage->getRows(), aRow.itsSpec.itsRows);
    }
    CountingAllocator anAllocator;
    const auto anImage = MakeImage(anAllocator, {Renderable::YBR_FULL}, Bytes(6));
    anImage->freePixelData();
    EXPECT_NE(GetFailure(ConvertAny, *anImage), "(no exception)") << "no buffer at all";
}

// ---- Pixels --------------------------------------------------------------------------------------

namespace
{
struct PixelRow
{
    const char* itsName;
    Conversion itsConversion;
    ImageSpec itsSpec;
    Bytes itsInput;
    Bytes itsExpected;
};

const PixelRow kPixelRows[] = {
    {"clamped red",
     ConvertAny,
     {Renderable::YBR_FULL, 3, 8, 1, 3},
     {128, 128, 255, 0, 128, 128, 255, 0, 0},
     {255, 37, 128, 0, 0, 0, 75, 255, 28}},
    {"planes",
     ConvertAny,
     {Renderable::YBR_FULL, 3, 8, 1, 3, true},
     {128, 0, 255, 128, 128, 0, 255, 128, 0},
     {255, 37, 128, 0, 0, 0, 75, 255, 28}},
    // Stored -128 … 127 stand for 0 … 255, and the result is stored the same way.
    {"signed",
     ConvertAny,
     {Renderable::YBR_FULL, 3, 8, 1, 3, false, true},
     {0, 0, 127, 128, 0, 0, 127, 128, 128},
     {127, 165, 0, 128, 128, 128, 203, 127, 156}},
    {"16 bits, high byte kept",
     ConvertAny,
     {Renderable::YBR_FULL, 3, 16, 1, 2},
     Words({0x8000, 0x8000, 0xffff, 0x1234, 0x8000, 0x8000}),
     {255, 36, 128, 0x12, 0x12, 0x12}},
    {"16 bits, planes, big-endian",
     ConvertAny,
     {Renderable::YBR_FULL, 3, 16, 1, 2, true, false, false},
     Words({0x8000, 0x1234, 0x8000, 0x8000, 0xffff, 0x8000}, false),
     {255, 36, 128, 0x12, 0x12, 0x12}},
    {"16 bits, signed",
     ConvertAny,
     {Renderable::YBR_FULL, 3, 16, 1, 2, false, true},
     Words({0, 0, 0x7fff, 0x1234 - 0x8000, 0, 0}),
     {127, 36 - 128 + 256, 0, 0x12 - 128 + 256, 0x12 - 128 + 256, 0x12 - 128 + 256}},
    {"12 bits in 16 give their high byte",
     ConvertAny,
     {Renderable::RGB, 3, 16, 1, 2},
     Words({0x0fff, 0x0800, 0x00ff, 0xffff, 0x1234, 0x8000}),
     {0x0f, 0x08, 0x00, 0xff, 0x12, 0x80}},
    {"RGB, 16 bits, big-endian planes",
     ConvertAny,
     {Renderable::RGB, 3, 16, 1, 2, true, false, false},
     Words({0x0102, 0x0304, 0x0506, 0x0708, 0x090a, 0x0b0c}, false),
     {1, 5, 9, 3, 7, 11}},
    {"RGB, 16 bits, big-endian",
     ConvertAny,
     {Renderable::RGB, 3, 16, 1, 2, false, false, false},
     Words({0x0102, 0x0304, 0x0506, 0x0708, 0x090a, 0x0b0c}, false),
     {1, 3, 5, 7, 9, 11}},
    {"RGB planes", ConvertAny, {Renderable::RGB, 3, 8, 1, 2, true}, {1, 2, 3, 4, 5, 6}, {1, 3, 5, 2, 4, 6}},
    // Pairs run on from row to row: 3 columns, 2 rows.
    {"422 across rows",
     ConvertAny,
     {Renderable::YBR_FULL_422, 3, 8, 2, 3},
     {128, 10, 128, 255, 20, 30, 128, 128, 40, 50, 0, 128},
     {255, 37, 128, 188, 0, 10, 20, 20, 20, 30, 30, 30, 40, 84, 0, 50, 94, 0}},
    {"422, signed",
     ConvertAny,
     {Renderable::YBR_FULL_422, 3, 8, 1, 2, false, true},
     {0, 127, 0, 127},
     {127, 165, 0, 127, 36, 127}},
    {"422, 16 bits",
     ConvertAny,
     {Renderable::YBR_FULL_422, 3, 16, 1, 2},
     Words({0x8000, 0x1234, 0x8000, 0xffff}),
     {255, 36, 128, 197, 0, 0x12}},
    {"input's width, 8 bits",
     kFullWide,
     {Renderable::YBR_FULL, 3, 8, 1, 2},
     {128, 128, 255, 1, 128, 128},
     {255, 37, 128, 1, 1, 1}},
    {"input's width, 16 bits from big-endian",
     kFullWide,
     {Renderable::YBR_FULL, 3, 16, 1, 2, false, false, false},
     Words({0x1234, 0x8000, 0x8000, 0xffff, 0xffff, 0x8000}, false),
     Words({0x1234, 0x1234, 0x1234, 0xffff, 54258, 0xffff})},
    {"input's width, 422, 16 bits, signed",
     the422Wide,
     {Renderable::YBR_FULL_422, 3, 16, 1, 2, false, true},
     Words({0x1234, -0x1234, 0, 0}),
     Words({0x1234, 0x1234, 0x1234, -0x1234, -0x1234, -0x1234})},
    {"input's width, 422, 8 bits",
     the422Wide,
     {Renderable::YBR_FULL_422, 3, 8, 1, 2},
     {128, 10, 128, 255},
     {255, 37, 128, 188, 0, 10}},
};
} // namespace

TEST(ColourConversion, PixelsAndDescriptionAfterwards)
{
    for (const PixelRow& aRow : kPixelRows)
    {
        SCOPED_TRACE(aRow.itsName);
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, aRow.itsSpec, aRow.itsInput);
        ASSERT_EQ(GetFailure(aRow.itsConversion, *anImage), "(no exception)");
        const bool aWide =
            aRow.itsConversion != static_cast<Conversion>(ConvertAny) && aRow.itsSpec.itsBits == 16;
        EXPECT_EQ(GetPixels(*anImage), aRow.itsExpected);
        EXPECT_EQ(anImage->getPixelDataSize(), anImage->getRequiredPixelDataBufferSize());
        EXPECT_EQ(anImage->getPhotometricInterpretation(), Renderable::RGB);
        EXPECT_EQ(anImage->getSamplesPerPixel(), 3);
        EXPECT_EQ(anImage->getBitsAllocated(), aWide ? 16 : 8);
        EXPECT_EQ(anImage->getBitsStored(), aWide ? 16 : 8);
        EXPECT_EQ(anImage->getHighBit(), aWide ? 15 : 7);
        EXPECT_FALSE(anImage->isPlanarConfiguration());
        EXPECT_EQ(anImage->isSigned(), aRow.itsSpec.itsSigned);
        EXPECT_TRUE(!aWide || anImage->isPixelDataLittleEndian());
        EXPECT_EQ(anAllocator.GetLiveBlocks(), 1u);
    }
}

TEST(ColourConversion, GreyAndReadyRGBKeepTheirBuffer)
{
    const ImageSpec kSpecs[] = {{Renderable::MONOCHROME1, 1, 16, 1, 3},
                                {Renderable::MONOCHROME2, 1, 8, 2, 3},
                                {Renderable::RGB, 3, 8, 1, 2},
                                {Renderable::RGB, 3, 8, 1, 2, false, true}};
    for (const ImageSpec& aSpec : kSpecs)
    {
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, aSpec, {1, 2, 3, 4, 5, 6});
        const void* const aBuffer = anImage->getPixelData();
        EXPECT_EQ(GetFailure(ConvertAny, *anImage), "(no exception)");
        EXPECT_EQ(anImage->getPixelData(), aBuffer);
        EXPECT_EQ(GetPixels(*anImage), (Bytes{1, 2, 3, 4, 5, 6}));
        EXPECT_EQ(anImage->getPhotometricInterpretation(), aSpec.itsInterpretation);
        EXPECT_EQ(anImage->getBitsAllocated(), aSpec.itsBits);
    }
}

TEST(ColourConversion, ImagesWithoutPixelsAreOnlyDescribedAnew)
{
    for (const auto anInterpretation : {Renderable::YBR_FULL, Renderable::YBR_FULL_422})
    {
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, {anInterpretation, 3, 8, 0, 5}, {});
        EXPECT_EQ(GetFailure(ConvertAny, *anImage), "(no exception)");
        EXPECT_EQ(anImage->getPhotometricInterpretation(), Renderable::RGB);
        EXPECT_EQ(anImage->getPixelDataSize(), 0u);
    }
}

// Without memory for the new pixels the image stays what it was, with the pixels it had.
TEST(ColourConversion, FailedAllocationLeavesTheImageAsItWas)
{
    const std::pair<ImageSpec, Bytes> kCases[] = {
        {{Renderable::YBR_FULL, 3, 8, 1, 2, true, true}, Bytes{1, 2, 3, 4, 5, 6}},
        {{Renderable::YBR_FULL_422, 3, 8, 1, 2}, Bytes{1, 2, 3, 4}},
        {{Renderable::RGB, 3, 16, 1, 1}, Bytes{1, 2, 3, 4, 5, 6}},
        {{Renderable::PALETTE_COLOR, 1, 8, 1, 2, false, true}, Bytes{1, 2}}};
    for (const auto& [aSpec, aPixels] : kCases)
    {
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, aSpec, aPixels);
        anAllocator.FailAt(1);
        EXPECT_NE(GetFailure(ConvertAny, *anImage).find("Memory allocation of"), std::string::npos);
        EXPECT_EQ(GetPixels(*anImage), aPixels);
        EXPECT_EQ(anImage->getPhotometricInterpretation(), aSpec.itsInterpretation);
        EXPECT_EQ(anImage->getSamplesPerPixel(), aSpec.itsSamples);
        EXPECT_EQ(anImage->getBitsAllocated(), aSpec.itsBits);
        EXPECT_EQ(anImage->isPlanarConfiguration(), aSpec.itsPlanar);
        EXPECT_EQ(anImage->isSigned(), aSpec.itsSigned);
        EXPECT_EQ(anAllocator.GetLiveBlocks(), 1u);
    }
}

TEST(ColourConversion, Planar2RGBInterleavesBothWidths)
{
    Bytes aRed = {1, 2, 3, 4}, aGreen = {5, 6, 7, 8}, aBlue = {9, 10, 11, 12};
    void* thePlanes[3] = {aRed.data(), aGreen.data(), aBlue.data()};
    Bytes anOutput(12);
    DecompressionLibUtils::Planar2RGB(thePlanes, anOutput.data(), 4, 1);
    EXPECT_EQ(anOutput, (Bytes{1, 5, 9, 2, 6, 10, 3, 7, 11, 4, 8, 12}));
    DecompressionLibUtils::Planar2RGB(thePlanes, anOutput.data(), 2, 2);
    EXPECT_EQ(anOutput, (Bytes{1, 2, 5, 6, 9, 10, 3, 4, 7, 8, 11, 12}));
    EXPECT_THROW(DecompressionLibUtils::Planar2RGB(thePlanes, anOutput.data(), 2, 3), DLRuntimeException);
}
