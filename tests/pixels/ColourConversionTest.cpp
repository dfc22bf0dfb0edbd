// SPDX-License-Identifier: Apache-2.0
#include "pixels/DecompressionLibUtils.h"

#include <gtest/gtest.h>

#include <string>

#include "support/DataSet.h"
#include "support/FailureOf.h"
#include "support/ImageMaker.h"
#include "toolkit/base/Exceptions.h"

namespace
{
using Conversion = void (*)(Renderable&);

constexpr Conversion kAny = [](Renderable& theImage)
{
    DataSet aDataSet;
    DecompressionLibUtils::ConvertRenderableToNonPlanar8BitRGB(aDataSet, theImage);
};
constexpr Conversion kPalette = [](Renderable& theImage)
{
    DataSet aDataSet;
    DecompressionLibUtils::ConvertPaletteColorRenderableTo8BitRGB(aDataSet, theImage);
};
constexpr Conversion kRGB = DecompressionLibUtils::ConvertRGBRenderableToNonPlanar8BitRGB;
constexpr Conversion kFull = DecompressionLibUtils::ConvertYBR_FULLRenderableToNonPlanar8BitRGB;
constexpr Conversion kFullWide = DecompressionLibUtils::ConvertYBR_FULLRenderableToNonPlanarRGB;
constexpr Conversion k422 = DecompressionLibUtils::ConvertYBR_FULL_422RenderableTo8BitRGB;
constexpr Conversion k422Wide = DecompressionLibUtils::ConvertYBR_FULL_422RenderableToRGB;

/// Behind "DecompressionLibUtils::".
std::string FailureOfConversion(Conversion theConversion, Renderable& theImage)
{
    const std::string aText = FailureOf<DLRuntimeException>([&] { theConversion(theImage); });
    const std::string aPrefix = "DecompressionLibUtils::";
    return aText.starts_with(aPrefix) ? aText.substr(aPrefix.size()) : aText;
}

std::string FailureOfImage(const ImageSpec& theSpec, std::size_t theBytes, Conversion theConversion = kAny)
{
    CountingAllocator anAllocator;
    const auto anImage = MakeImage(anAllocator, theSpec, Bytes(theBytes));
    const std::string aBefore = Describe(*anImage);
    const std::string aText = FailureOfConversion(theConversion, *anImage);
    EXPECT_EQ(anAllocator.GetAllocations(), 1u) << "nothing is to be allocated";
    EXPECT_EQ(Describe(*anImage), aBefore);
    return aText;
}

// ---- Messages ------------------------------------------------------------------------------------

const std::tuple<Conversion, const char*, Renderable::PhotometricInterpretation, const char*> kConversions[] =
    {
        {kRGB, "ConvertRGBRenderableToNonPlanar8BitRGB", Renderable::RGB, "RGB"},
        {kFull, "ConvertYBR_FULLRenderableToNonPlanar8BitRGB", Renderable::YBR_FULL, "YBR_FULL"},
        {kFullWide, "ConvertYBR_FULLRenderableToNonPlanarRGB", Renderable::YBR_FULL, "YBR_FULL"},
        {k422, "ConvertYBR_FULL_422RenderableTo8BitRGB", Renderable::YBR_FULL_422, "YBR_FULL_422"},
        {k422Wide, "ConvertYBR_FULL_422RenderableToRGB", Renderable::YBR_FULL_422, "YBR_FULL_422"},
        {kPalette, "ConvertPaletteColorRenderableTo8BitRGB", Renderable::PALETTE_COLOR, "PALETTE COLOR"},
};

TEST(ColourConversion, DefectsHaveTheirTextsAndLeaveTheImageAlone)
{
    for (const auto& [aConversion, aName, anInterpretation, aTerm] : kConversions)
    {
        const std::string aPrefix = std::string(aName) + ": ";
        const auto aFailure = [aConversion = aConversion](const ImageSpec& theSpec)
        { return FailureOfImage(theSpec, 12, aConversion); };
        EXPECT_EQ(aFailure({Renderable::MONOCHROME2, 1, 32, 2, 2}),
                  aPrefix + "Renderable being converted is not " + aTerm);
        const int aSamples = anInterpretation == Renderable::PALETTE_COLOR ? 1 : 3;
        EXPECT_TRUE(aSamples == 1 || aFailure({anInterpretation, 1, 32, 2, 2}) ==
                                         aPrefix +
                                             "Renderable contains incorrect number of samples per pixel "
                                             "for YBR_FULL encoding");
        for (const int aBits : {1, 12, 17, 32})
        {
            EXPECT_EQ(aFailure({anInterpretation, aSamples, aBits, 2, 2}),
                      aPrefix + "bits allocated " + (aBits > 16 ? "> 16" : "is not 8 or 16") +
                          " - not supported");
        }
    }
}

TEST(ColourConversion, InterpretationsWithoutConversionAreNamed)
{
    const std::pair<int, const char*> kCases[] = {{0, "INVALID"},         {7, "YBR_PARTIAL_422"},
                                                  {8, "YBR_PARTIAL_420"}, {9, "YBR_ICT"},
                                                  {10, "YBR_RCT"},        {99, "INVALID"}};
    for (const auto& [aValue, aName] : kCases)
    {
        const auto anInterpretation = static_cast<Renderable::PhotometricInterpretation>(aValue);
        EXPECT_EQ(
            FailureOfImage({anInterpretation}, 6),
            std::string("ConvertRenderableToNonPlanar8BitRGB: PhotometricInterpretation not supported: ") +
                aName);
    }
}

TEST(ColourConversion, Only422ThatPairsUpIsTaken)
{
    constexpr auto k = Renderable::YBR_FULL_422;
    const std::string aPrefix = "ConvertYBR_FULL_422RenderableTo8BitRGB: Renderable ";
    const std::string aPlanar = aPrefix + "in planar format is not valid for YBR_FULL_422 encoding";
    const std::string aCount = aPrefix + "contains incorrect number of samples for YBR_FULL_422 encoding";
    EXPECT_EQ(FailureOfImage({k, 3, 8, 1, 2, true}, 4), aPlanar);
    EXPECT_EQ(FailureOfImage({k, 3, 8, 1, 3, true}, 4), aPlanar) << "comes before the count";
    EXPECT_EQ(FailureOfImage({k, 3, 8, 3, 3}, 20), aCount) << "odd pixels";
    EXPECT_EQ(FailureOfImage({k, 3, 8, 2, 2}, 7), aCount);
    EXPECT_EQ(FailureOfImage({k, 3, 8, 2, 2}, 9), aCount);
    EXPECT_EQ(FailureOfImage({k, 3, 8, 2, 2}, 12), aCount) << "size of full colour";
    EXPECT_EQ(FailureOfImage({k, 3, 16, 2, 2}, 8), aCount) << "8-bit size at 16 bits";
}

// The geometry comes from a file and may promise more than the buffer holds.
TEST(ColourConversion, BuffersSmallerThanTheGeometryAreRefused)
{
    const std::pair<ImageSpec, std::size_t> kCases[] = {
        {{Renderable::YBR_FULL, 3, 8, 2, 2}, 11},
        {{Renderable::YBR_FULL, 3, 16, 2, 2}, 23},
        {{Renderable::RGB, 3, 8, 2, 2, true}, 11},
        {{Renderable::RGB, 3, 16, 2, 2}, 12},
        {{Renderable::PALETTE_COLOR, 1, 8, 2, 2}, 3},
        {{Renderable::PALETTE_COLOR, 1, 16, 2, 2}, 7},
        {{Renderable::YBR_FULL, 3, 16, 0x7fffffff, 0x7fffffff}, 12},
        {{Renderable::RGB, 3, 8, 65536, 65536, true}, 12}, // a product that is small in 32 bits
        {{Renderable::YBR_FULL, 3, 8, -2, -2}, 12},
    };
    for (const auto& [aSpec, aBytes] : kCases)
    {
        EXPECT_NE(FailureOfImage(aSpec, aBytes), "(nothing)") << aSpec.itsRows << ' ' << aBytes;
    }
    CountingAllocator anAllocator;
    const auto anImage = MakeImage(anAllocator, {Renderable::YBR_FULL}, Bytes(6));
    anImage->freePixelData();
    EXPECT_NE(FailureOfConversion(kAny, *anImage), "(nothing)") << "no buffer at all";
}

// ---- Pixels --------------------------------------------------------------------------------------

void ExpectPixels(const char* theName, Conversion theConversion, const ImageSpec& theSpec,
                  const Bytes& theInput, const Bytes& theExpected)
{
    SCOPED_TRACE(theName);
    CountingAllocator anAllocator;
    const auto anImage = MakeImage(anAllocator, theSpec, theInput);
    ASSERT_EQ(FailureOfConversion(theConversion, *anImage), "(nothing)");
    const bool isWide = theConversion != kAny && theSpec.itsBits == 16;
    EXPECT_EQ(GetPixels(*anImage), theExpected);
    EXPECT_EQ(anImage->getPixelDataSize(), anImage->getRequiredPixelDataBufferSize());
    EXPECT_EQ(Describe(*anImage),
              "RGB " + std::to_string(theSpec.itsRows) + " x " + std::to_string(theSpec.itsColumns) +
                  " x 3, " + (isWide ? "16/16/15" : "8/8/7") + (theSpec.itsSigned ? " signed" : "") +
                  (isWide || theSpec.itsLittleEndian ? "" : " big-endian") + ", scale 1, ratio 1");
    EXPECT_EQ(anAllocator.GetLiveBlocks(), 1u);
}

constexpr auto kYBR = Renderable::YBR_FULL;
constexpr auto kYBR422 = Renderable::YBR_FULL_422;
constexpr bool kPlanar = true, kSigned = true, kBigEndian = false;

TEST(ColourConversion, YBRBecomesRGB)
{
    const Bytes anRGB = {255, 37, 128, 0, 0, 0, 75, 255, 28};
    ExpectPixels("clamped red", kAny, {kYBR, 3, 8, 1, 3}, {128, 128, 255, 0, 128, 128, 255, 0, 0}, anRGB);
    ExpectPixels("planes", kAny, {kYBR, 3, 8, 1, 3, kPlanar}, {128, 0, 255, 128, 128, 0, 255, 128, 0}, anRGB);
    // Stored -128 … 127 stand for 0 … 255, and the result is stored the same way.
    ExpectPixels("signed", kAny, {kYBR, 3, 8, 1, 3, false, kSigned}, {0, 0, 127, 128, 0, 0, 127, 128, 128},
                 {127, 165, 0, 128, 128, 128, 203, 127, 156});
    ExpectPixels("16 bits, high byte kept", kAny, {kYBR, 3, 16, 1, 2},
                 Words({0x8000, 0x8000, 0xffff, 0x1234, 0x8000, 0x8000}), {255, 36, 128, 0x12, 0x12, 0x12});
    ExpectPixels("16 bits, planes, big-endian", kAny, {kYBR, 3, 16, 1, 2, kPlanar, false, kBigEndian},
                 Words({0x8000, 0x1234, 0x8000, 0x8000, 0xffff, 0x8000}, kBigEndian),
                 {255, 36, 128, 0x12, 0x12, 0x12});
    ExpectPixels("16 bits, signed", kAny, {kYBR, 3, 16, 1, 2, false, kSigned},
                 Words({0, 0, 0x7fff, 0x1234 - 0x8000, 0, 0}), {127, 164, 0, 0x92, 0x92, 0x92});
    ExpectPixels("input's width, 8 bits", kFullWide, {kYBR, 3, 8, 1, 2}, {128, 128, 255, 1, 128, 128},
                 {255, 37, 128, 1, 1, 1});
    ExpectPixels("input's width, 16 bits from big-endian", kFullWide,
                 {kYBR, 3, 16, 1, 2, false, false, kBigEndian},
                 Words({0x1234, 0x8000, 0x8000, 0xffff, 0xffff, 0x8000}, kBigEndian),
                 Words({0x1234, 0x1234, 0x1234, 0xffff, 54258, 0xffff}));
    // Pairs run on from row to row: 3 columns, 2 rows.
    ExpectPixels("422 across rows", kAny, {kYBR422, 3, 8, 2, 3},
                 {128, 10, 128, 255, 20, 30, 128, 128, 40, 50, 0, 128},
                 {255, 37, 128, 188, 0, 10, 20, 20, 20, 30, 30, 30, 40, 84, 0, 50, 94, 0});
    ExpectPixels("422, signed", kAny, {kYBR422, 3, 8, 1, 2, false, kSigned}, {0, 127, 0, 127},
                 {127, 165, 0, 127, 36, 127});
    ExpectPixels("422, 16 bits", kAny, {kYBR422, 3, 16, 1, 2}, Words({0x8000, 0x1234, 0x8000, 0xffff}),
                 {255, 36, 128, 197, 0, 0x12});
    ExpectPixels("422, input's width, 16 bits, signed", k422Wide, {kYBR422, 3, 16, 1, 2, false, kSigned},
                 Words({0x1234, -0x1234, 0, 0}), Words({0x1234, 0x1234, 0x1234, -0x1234, -0x1234, -0x1234}));
    ExpectPixels("422, input's width, 8 bits", k422Wide, {kYBR422, 3, 8, 1, 2}, {128, 10, 128, 255},
                 {255, 37, 128, 188, 0, 10});
}

TEST(ColourConversion, RGBBecomesInterleavedBytes)
{
    constexpr auto k = Renderable::RGB;
    const Bytes aBig = Words({0x0102, 0x0304, 0x0506, 0x0708, 0x090a, 0x0b0c}, kBigEndian);
    const Bytes aWords = Words({0x0fff, 0x0800, 0x00ff, 0xffff, 0x1234, 0x8000});
    const std::tuple<const char*, int, int, bool, Bytes> kDepths[] = {
        {"16 bits", 16, 15, false, {0x0f, 0x08, 0x00, 0xff, 0x12, 0x80}},
        {"16 bits, signed", 16, 15, true, {0x0f, 0x08, 0x00, 0xff, 0x12, 0x80}},
        {"12 bits, beyond them white", 12, 11, false, {0xff, 0x80, 0x0f, 0xff, 0xff, 0xff}},
        {"12 bits, signed", 12, 11, true, {0xff, 0x80, 0x0f, 0xff, 0x23, 0x00}},
        {"12 bits at the top", 12, 15, false, {0x0f, 0x08, 0x00, 0xff, 0x12, 0x80}},
        {"12 bits, no sensible high bit", 12, 7, false, {0xff, 0x80, 0x0f, 0xff, 0xff, 0xff}},
        {"8 bits", 8, 7, false, {0xff, 0xff, 0xff, 0xff, 0xff, 0xff}},
        {"5 bits at bit 12", 5, 12, false, {0x78, 0x40, 0x00, 0xf8, 0x90, 0xf8}},
        {"5 bits at bit 12, signed", 5, 12, true, {0x78, 0x40, 0x00, 0xf8, 0x90, 0x00}},
        {"no sensible bits stored", 17, 16, false, {0x0f, 0x08, 0x00, 0xff, 0x12, 0x80}}};
    for (const auto& [aName, aStored, aHighBit, isSigned, anExpected] : kDepths)
    {
        ExpectPixels(aName, kAny, {k, 3, 16, 1, 2, false, isSigned, true, aStored, aHighBit}, aWords,
                     anExpected);
    }
    // More than is converted at a time.
    std::vector<int> aPlanes(3 * 9001, 0x120);
    Bytes anRGB;
    for (std::size_t i = 0; i < 9001; ++i)
    {
        aPlanes[i] = static_cast<int>(i % 4096);
        anRGB.insert(anRGB.end(), {static_cast<std::uint8_t>(i % 4096 / 16), 0x12, 0x12});
    }
    ExpectPixels("large planes", kAny, {k, 3, 16, 1, 9001, kPlanar, false, true, 12, 11}, Words(aPlanes),
                 anRGB);
    ExpectPixels("12 bits, big-endian planes", kAny, {k, 3, 16, 1, 2, kPlanar, false, kBigEndian, 12, 11},
                 Words({0x0fff, 0x0800, 0x00ff, 0xffff, 0x1234, 0x8000}, kBigEndian),
                 {0xff, 0x0f, 0xff, 0x80, 0xff, 0xff});
    ExpectPixels("16 bits, big-endian", kAny, {k, 3, 16, 1, 2, false, false, kBigEndian}, aBig,
                 {1, 3, 5, 7, 9, 11});
    ExpectPixels("16 bits, big-endian planes", kAny, {k, 3, 16, 1, 2, kPlanar, false, kBigEndian}, aBig,
                 {1, 5, 9, 3, 7, 11});
    ExpectPixels("planes", kAny, {k, 3, 8, 1, 2, kPlanar}, {1, 2, 3, 4, 5, 6}, {1, 3, 5, 2, 4, 6});
}

TEST(ColourConversion, GreyAndReadyRGBKeepTheirBuffer)
{
    const ImageSpec kSpecs[] = {{Renderable::MONOCHROME1, 1, 16, 1, 3},
                                {Renderable::MONOCHROME2, 1, 8, 2, 3},
                                {Renderable::RGB, 3, 8, 1, 2},
                                {Renderable::RGB, 3, 8, 1, 2, false, kSigned}};
    for (const ImageSpec& aSpec : kSpecs)
    {
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, aSpec, {1, 2, 3, 4, 5, 6});
        const void* const aBuffer = anImage->getPixelData();
        const std::string aBefore = Describe(*anImage);
        EXPECT_EQ(FailureOfConversion(kAny, *anImage), "(nothing)");
        EXPECT_EQ(anImage->getPixelData(), aBuffer);
        EXPECT_EQ(GetPixels(*anImage), (Bytes{1, 2, 3, 4, 5, 6}));
        EXPECT_EQ(Describe(*anImage), aBefore);
    }
    for (const auto anInterpretation : {kYBR, kYBR422})
    {
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, {anInterpretation, 3, 8, 0, 5}, {});
        EXPECT_EQ(FailureOfConversion(kAny, *anImage), "(nothing)");
        EXPECT_EQ(anImage->getPhotometricInterpretation(), Renderable::RGB)
            << "without pixels, described anew";
        EXPECT_EQ(anImage->getPixelDataSize(), 0u);
    }
}

// Without memory for the new pixels the image stays what it was, with the pixels it had.
TEST(ColourConversion, FailedAllocationLeavesTheImageAsItWas)
{
    const std::pair<ImageSpec, Bytes> kCases[] = {
        {{kYBR, 3, 8, 1, 2, kPlanar, kSigned}, Bytes{1, 2, 3, 4, 5, 6}},
        {{kYBR422, 3, 8, 1, 2}, Bytes{1, 2, 3, 4}},
        {{Renderable::RGB, 3, 16, 1, 1}, Bytes{1, 2, 3, 4, 5, 6}},
        {{Renderable::PALETTE_COLOR, 1, 8, 1, 2, false, kSigned}, Bytes{1, 2}}};
    for (const auto& [aSpec, aPixels] : kCases)
    {
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, aSpec, aPixels);
        const std::string aBefore = Describe(*anImage);
        anAllocator.FailAt(1);
        EXPECT_NE(FailureOfConversion(kAny, *anImage).find("Memory allocation of"), std::string::npos);
        EXPECT_EQ(GetPixels(*anImage), aPixels);
        EXPECT_EQ(Describe(*anImage), aBefore);
        EXPECT_EQ(anAllocator.GetLiveBlocks(), 1u);
    }
}

TEST(ColourConversion, Planar2RGBInterleavesBothWidths)
{
    Bytes aRed = {1, 2, 3, 4}, aGreen = {5, 6, 7, 8}, aBlue = {9, 10, 11, 12};
    void* aPlanes[3] = {aRed.data(), aGreen.data(), aBlue.data()};
    Bytes anOutput(12);
    DecompressionLibUtils::Planar2RGB(aPlanes, anOutput.data(), 4, 1);
    EXPECT_EQ(anOutput, (Bytes{1, 5, 9, 2, 6, 10, 3, 7, 11, 4, 8, 12}));
    DecompressionLibUtils::Planar2RGB(aPlanes, anOutput.data(), 2, 2);
    EXPECT_EQ(anOutput, (Bytes{1, 2, 5, 6, 9, 10, 3, 4, 7, 8, 11, 12}));
    EXPECT_THROW(DecompressionLibUtils::Planar2RGB(aPlanes, anOutput.data(), 2, 3), DLRuntimeException);
}

// ---- Palettes ------------------------------------------------------------------------------------

constexpr auto kMapped = Renderable::PALETTE_COLOR;

/// The attributes of one channel's palette: number of entries, first mapped value, bits and the data.
void AddPalette(DataSet& theSet, std::size_t theChannel, const std::vector<std::uint16_t>& theDescriptor,
                const Bytes& theData)
{
    const auto aChannel = static_cast<std::uint16_t>(theChannel);
    theSet.SetNumbers({0x0028, static_cast<std::uint16_t>(0x1101 + aChannel)}, theDescriptor);
    theSet.SetBytes({0x0028, static_cast<std::uint16_t>(0x1201 + aChannel)}, theData);
}

std::string FailureOfMapping(DataSet& theSet, Renderable& theImage)
{
    return FailureOf<DLRuntimeException>(
        [&] { DecompressionLibUtils::ConvertPaletteColorRenderableTo8BitRGB(theSet, theImage); });
}

const std::vector<Bytes> kRising = {Words({0x0100, 0x0200, 0x0300}), Words({0x0400, 0x0500, 0x0600}),
                                    Words({0x0700, 0x0800, 0x0900})};

/// theDescriptor: of all three channels. theData: of red, green and blue.
void ExpectMapped(const char* theName, const ImageSpec& theSpec, const Bytes& theIndices,
                  const std::vector<std::uint16_t>& theDescriptor, const Bytes& theExpected,
                  const std::vector<Bytes>& theData = kRising)
{
    SCOPED_TRACE(theName);
    DataSet aSet;
    aSet.SetNumbers(DICOMTags::PixelRepresentation, {static_cast<std::uint16_t>(theSpec.itsSigned)});
    for (std::size_t aChannel = 0; aChannel < 3; ++aChannel)
    {
        AddPalette(aSet, aChannel, theDescriptor, theData[aChannel]);
    }
    // The second frame takes the palettes from memory.
    for (int aFrame = 0; aFrame < 2; ++aFrame)
    {
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, theSpec, theIndices);
        DecompressionLibUtils::ConvertRenderableToNonPlanar8BitRGB(aSet, *anImage);
        EXPECT_EQ(GetPixels(*anImage), theExpected);
        EXPECT_EQ(Describe(*anImage), "RGB 1 x " + std::to_string(theSpec.itsColumns) + " x 3, 8/8/7" +
                                          (theSpec.itsLittleEndian ? "" : " big-endian") +
                                          ", scale 1, ratio 1");
        EXPECT_EQ(anAllocator.GetLiveBlocks(), 1u);
        EXPECT_FALSE(aSet.Contains(DICOMTags::RedPaletteColorLookupTableDescriptor));
    }
}

TEST(PaletteConversion, MapsIndicesThroughThePalettes)
{
    ExpectMapped(
        "high bytes of 16-bit entries; indices past either end take the nearest entry", {kMapped, 1, 8, 1, 4},
        {9, 10, 12, 255}, {3, 10, 16}, {0x11, 1, 0xff, 0x11, 1, 0xff, 0x55, 3, 0xfd, 0x55, 3, 0xfd},
        {Words({0x1122, 0x3344, 0x5566}), Words({0x0180, 0x0280, 0x0380}), Words({0xff00, 0xfe00, 0xfd00})});
    ExpectMapped("8-bit entries in bytes", {kMapped, 1, 8, 1, 3}, {0, 1, 3}, {4, 0, 8},
                 {10, 20, 30, 11, 21, 31, 13, 23, 33},
                 {{10, 11, 12, 13}, {20, 21, 22, 23}, {30, 31, 32, 33}});
    ExpectMapped("8-bit entries in words", {kMapped, 1, 8, 1, 3}, {2, 1, 0}, {3, 0, 8},
                 {3, 6, 255, 2, 5, 8, 1, 4, 7}, {Words({1, 2, 3}), Words({4, 5, 6}), Words({7, 8, 255})});
    ExpectMapped("16-bit indices", {kMapped, 1, 16, 1, 3}, Words({300, 301, 65535}), {3, 300, 16},
                 {1, 4, 7, 2, 5, 8, 3, 6, 9});
    ExpectMapped("a first value past 32767", {kMapped, 1, 16, 1, 3}, Words({0, 0xfffe, 0xffff}),
                 {3, 0xfffe, 16}, {1, 4, 7, 1, 4, 7, 2, 5, 8});
    ExpectMapped("big-endian indices", {kMapped, 1, 16, 1, 2, false, false, false}, Words({300, 302}, false),
                 {3, 300, 16}, {1, 4, 7, 3, 6, 9});
    ExpectMapped("signed 8-bit indices", {kMapped, 1, 8, 1, 4, false, true}, {0x80, 0xff, 0, 1},
                 {3, 0xffff, 16}, {1, 4, 7, 1, 4, 7, 2, 5, 8, 3, 6, 9});
    ExpectMapped("signed 16-bit indices", {kMapped, 1, 16, 1, 3, false, true}, Words({-2000, -999, 32767}),
                 {3, 0xfc18, 16}, {1, 4, 7, 2, 5, 8, 3, 6, 9});
}

// The first channel at fault is named; the image is described as RGB by then, and nothing of what its
// new buffer held before comes out.
TEST(PaletteConversion, FaultyPalettesAreNamedAndNothingLeaks)
{
    // Of each channel: a right palette, one that is not valid, or none.
    const std::pair<std::string, const char*> kFaults[] = {
        {"-++", "Red palette is null (unavailable)"},  {"+-+", "Green palette is null (unavailable)"},
        {"++-", "Blue palette is null (unavailable)"}, {"---", "Red palette is null (unavailable)"},
        {"x++", "Red palette is not valid"},           {"+xx", "Green palette is not valid"},
        {"++x", "Blue palette is not valid"},          {"+x-", "Green palette is not valid"}};
    for (const auto& [aChannels, aText] : kFaults)
    {
        DataSet aSet;
        std::unique_ptr<ColorPalette> aPalettes[3];
        for (std::size_t c = 0; c < 3; ++c)
        {
            AddPalette(aSet, c, {std::uint16_t(aChannels[c] == 'x' ? 9 : 2), 0, 16}, Words({1, 2}));
            if (aChannels[c] != '-')
            {
                aPalettes[c] = std::make_unique<ColorPalette>("RGB"[c], 0, 0, 8);
                aPalettes[c]->Init(aSet);
            }
        }
        aSet.SetRedColorPalette(std::move(aPalettes[0]));
        aSet.SetGreenColorPalette(std::move(aPalettes[1]));
        aSet.SetBlueColorPalette(std::move(aPalettes[2]));
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, {kMapped, 1, 16, 1, 2}, Words({0, 1}));
        EXPECT_EQ(FailureOfMapping(aSet, *anImage),
                  std::string("DecompressionLibUtils::ConvertPaletteColorRenderableTo8BitRGB: ") + aText);
        EXPECT_EQ(anImage->getPhotometricInterpretation(), Renderable::RGB);
        EXPECT_EQ(GetPixels(*anImage), Bytes(6, 0));
        EXPECT_EQ(anAllocator.GetLiveBlocks(), 1u);
    }
}

// Palettes of an image that is none are not asked for: the fault is the width, and the indices are gone.
TEST(PaletteConversion, UnsupportedWidthsReleaseTheIndices)
{
    for (const int aBits : {12, 32})
    {
        DataSet aSet;
        CountingAllocator anAllocator;
        const auto anImage = MakeImage(anAllocator, {kMapped, 1, aBits, 1, 2}, Bytes(8));
        EXPECT_NE(FailureOfMapping(aSet, *anImage), "(nothing)");
        EXPECT_EQ(anImage->getPixelData(), nullptr);
        EXPECT_EQ(anImage->getPixelDataSize(), 0u);
        EXPECT_EQ(anImage->getPhotometricInterpretation(), kMapped);
        EXPECT_EQ(anAllocator.GetLiveBlocks(), 0u);
    }
}
} // namespace
