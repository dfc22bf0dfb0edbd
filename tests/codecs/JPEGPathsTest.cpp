// SPDX-License-Identifier: Apache-2.0
// Sound images on the IJG library's path and on the fast ones: nobody may see a difference.

#include <bit>
#include <random>

#include "codecs/JPEGTestHelpers.h"
#include "codecs/jpeg/detail/JPEGLosslessScan.h"
#include "codecs/jpeg/detail/JPEGPaths.h"
#include "codecs/jpeg/detail/JPEGTurbo.h"
#include "support/ForEachTarget.h"

namespace
{
using Process = JpegSpec::Process;
using Way = JPEGPaths::Way;

// Whatever else these tests compare, the paths must really be two.
TEST(JPEGPaths, UsualImagesTakeTheFastPaths)
{
    using Header = JPEGFrameHeader;
    JPEGFrameHeader aUsual;
    aUsual.itsProcess = JPEGProcess::LOSSLESS;
    aUsual.itsWidth = aUsual.itsHeight = 32;
    aUsual.itsPrecision = aUsual.itsBuildPrecision = 8;
    aUsual.itsComponents = 3;
    aUsual.itsComponentIds = {1, 2, 3};
    aUsual.itsHSampling = aUsual.itsVSampling = {1, 1, 1, 0};
    aUsual.itsColorSpace = JPEGColorSpace::YCBCR;
    aUsual.itsOutputColorSpace = JPEGColorSpace::RGB;
    constexpr Way kScan = Way::LOSSLESS_SCAN;
    constexpr Way kNone = Way::LIBRARY;
    // A change, and what becomes then of a lossless image and of a DCT one.
    const std::tuple<void (*)(Header&), Way, Way> kCases[] = {
        {[](Header&) {}, kScan, Way::TURBO},
        {[](Header& theHeader) { theHeader.itsHeight = 31; }, kScan, Way::TURBO},
        {[](Header& theHeader) { theHeader.itsPrecision = 9; }, kNone, kNone},
        {[](Header& theHeader) { theHeader.itsArithmetic = true; }, kNone, kNone},
        {[](Header& theHeader) { theHeader.itsComponents = 2; }, kNone, kNone},
        {[](Header& theHeader) { theHeader.itsComponentIds[2] = 1; }, kScan, kNone},
        {[](Header& theHeader) { theHeader.itsRepeatsComponent = true; }, kNone, Way::TURBO},
        {[](Header& theHeader) { theHeader.itsHSampling[0] = 2; }, kNone, Way::TURBO},
        {[](Header& theHeader) { theHeader.itsVSampling[2] = 2; }, kNone, kNone},
        {[](Header& theHeader) { theHeader.itsPrecision = theHeader.itsBuildPrecision = 16; }, kScan, kNone},
        {[](Header& theHeader) { theHeader.itsPrecision = theHeader.itsBuildPrecision = 12; }, kScan,
         Way::TURBO},
        {[](Header& theHeader) { theHeader.itsOutputColorSpace = JPEGColorSpace::GRAYSCALE; }, kNone, kNone},
    };
    int aRow = 0;
    for (const auto& [aChange, aLosslessWay, aDctWay] : kCases)
    {
        SCOPED_TRACE(aRow++);
        JPEGFrameHeader aHeader = aUsual;
        aChange(aHeader);
        EXPECT_EQ(JPEGPaths::Choose(aHeader, JPEGPath::FAST, aHeader.itsHeight), aLosslessWay);
        EXPECT_EQ(JPEGPaths::Choose(aHeader, JPEGPath::LIBRARY, aHeader.itsHeight), kNone);
        EXPECT_EQ(JPEGPaths::Choose(aHeader, JPEGPath::AUTOMATIC, aHeader.itsHeight),
                  aHeader.itsHeight < 32 ? kNone : aLosslessWay);
        aHeader.itsProcess = JPEGProcess::SEQUENTIAL;
        EXPECT_EQ(JPEGPaths::Choose(aHeader, JPEGPath::AUTOMATIC, aHeader.itsHeight), aDctWay);
    }
}

/// Kinds of lossless images between which the decoder's inner loops differ.
std::vector<JpegSpec> MakeLosslessKinds()
{
    std::vector<JpegSpec> aKinds(4);
    for (std::size_t i = 0; i < aKinds.size(); ++i)
    {
        aKinds[i].itsProcess = Process::LOSSLESS;
        aKinds[i].itsComponents = i == 0 ? 1 : 3;
        aKinds[i].itsTwoTables = i == 2;
        aKinds[i].itsInterleaved = i != 3;
    }
    return aKinds;
}

// Every precision with every predictor, exact wherever the library is.
TEST(JPEGPaths, LosslessImagesComeOutAlike)
{
    for (JpegSpec aSpec : MakeLosslessKinds())
    {
        for (int i = 0; i < 15 * 7 * 4; ++i)
        {
            aSpec.itsPrecision = 2 + i % 15;
            aSpec.itsPredictor = 1 + i / 15 % 7;
            aSpec.itsWidth = 1 + (i * 7) % 23;
            aSpec.itsHeight = 1 + (i * 5) % 17;
            aSpec.itsPointTransform = i / 105 % 2 == 0 ? 0 : std::min(i % 4, aSpec.itsPrecision - 1);
            aSpec.itsRestartInterval = i / 210 * (1 + i % 3) * aSpec.itsWidth;
            Samples aSamples = MakeSamples(aSpec, static_cast<unsigned int>(i));
            const Bytes aJpeg = MakeJpeg(aSpec, aSamples);
            for (std::uint16_t& aSample : aSamples)
            {
                aSample =
                    static_cast<std::uint16_t>(aSample >> aSpec.itsPointTransform << aSpec.itsPointTransform);
            }
            const auto aModel = i % 2 == 0 ? Decoder::COLOR_MODEL_RGB : Decoder::COLOR_MODEL_YBR_FULL_422;
            ASSERT_TRUE(PathsAgree({BuildFor(aSpec), aModel, 97}, aJpeg)) << "image " << i;
            ASSERT_TRUE(PathsAgree({16, Decoder::COLOR_MODEL_RGB}, aJpeg)) << "image " << i;
            ASSERT_EQ(DecodeSamples(*MakeDecoder(16, Decoder::COLOR_MODEL_RGB), aJpeg), aSamples)
                << "image " << i;
        }
    }
}

/// Differences of which each category is half as frequent as the one below, for codes of up to 16 bits. The
/// largest is 32768, which has a category of its own.
Samples MakeSkewedSamples(const JpegSpec& theSpec)
{
    std::mt19937 aRandom(3);
    Samples aSamples(MakeSamples(theSpec).size());
    const auto aStep = static_cast<std::size_t>(theSpec.itsComponents);
    for (std::size_t i = aStep; i < aSamples.size(); ++i)
    {
        aSamples[i] = static_cast<std::uint16_t>(
            aSamples[i - aStep] + (1 << std::countr_zero(static_cast<std::uint32_t>(aRandom()) | 0x8000u)));
    }
    return aSamples;
}

// Large enough for large tables, many fills of the input and many rows between decisions.
TEST(JPEGPaths, LargeLosslessImagesComeOutAlike)
{
    for (JpegSpec aSpec : MakeLosslessKinds())
    {
        aSpec.itsWidth = 311;
        aSpec.itsHeight = 203;
        for (const int aPredictor : {1, 4, 6})
        {
            aSpec.itsPrecision = aPredictor == 6 ? 7 : 16;
            aSpec.itsPredictor = aPredictor;
            const Bytes aJpeg =
                MakeJpeg(aSpec, aPredictor == 1 ? MakeSkewedSamples(aSpec) : MakeSamples(aSpec));
            for (const int aLargestRead : {1, 1000, 1 << 20})
            {
                ASSERT_TRUE(PathsAgree({16, Decoder::COLOR_MODEL_RGB, aLargestRead}, aJpeg));
            }
        }
    }
}

// The loops of every instruction set, beside the formulas of T.81, Table H.1, to the letter: rows of a few
// pixels and of many vectors, which samples that wrap around break into now and then or all the time.
TEST(JPEGPaths, LosslessRowsComeOutAlike)
{
    constexpr std::array<int (*)(int, int, int), 7> kPredictions = {
        [](int theLeft, int, int) { return theLeft; },
        [](int, int theAbove, int) { return theAbove; },
        [](int, int, int theCorner) { return theCorner; },
        [](int theLeft, int theAbove, int theCorner) { return theLeft + theAbove - theCorner; },
        [](int theLeft, int theAbove, int theCorner) { return theLeft + ((theAbove - theCorner) >> 1); },
        [](int theLeft, int theAbove, int theCorner) { return theAbove + ((theLeft - theCorner) >> 1); },
        [](int theLeft, int theAbove, int) { return (theLeft + theAbove) >> 1; },
    };
    std::mt19937 aRandom(7);
    for (unsigned int i = 0; i < 4 * 7 * 4 * 3; ++i)
    {
        const std::size_t aStep = 1 + i % 4;
        const int aSelection = static_cast<int>(1 + i / 4 % 7);
        const std::size_t aWidth = std::array{1u, 3u, 18u, 900u}[i / 28 % 4];
        const unsigned int aSpikes = std::array{1u << 30, 30u, 2u}[i / 112];
        const auto aSample = [&]
        { return static_cast<std::uint16_t>(aRandom() % aSpikes == 0 ? 65535u : aRandom() % 64); };
        Samples anAbove(aWidth * aStep);
        Samples aRow(anAbove.size());
        std::generate(anAbove.begin(), anAbove.end(), aSample);
        std::generate(aRow.begin(), aRow.end(), aSample);
        Samples aDifferences(aRow.size());
        for (std::size_t k = 0; k < aRow.size(); ++k)
        {
            const int aPrediction = k < aStep ? anAbove[k]
                                              : kPredictions[static_cast<std::size_t>(aSelection - 1)](
                                                    aRow[k - aStep], anAbove[k], anAbove[k - aStep]);
            aDifferences[k] = static_cast<std::uint16_t>(aRow[k] - aPrediction);
        }
        ForEachTarget(
            [&]
            {
                Samples aResult(aRow.size());
                JPEGLosslessPredictor::UndoRow(aSelection, aDifferences.data(), anAbove.data(),
                                               aResult.data(), aWidth, aStep);
                EXPECT_EQ(aResult, aRow) << "predictor " << aSelection << ", " << aStep << " components";
            });
    }
}

class MemoryClient final : public JPEGLibrary::Client
{
public:
    explicit MemoryClient(const Bytes& theBytes) : itsSource(theBytes, 1000) {}
    int FillInput(const std::uint8_t*& theData) override
    {
        theData = itsBlock.data();
        return itsSource.read(itsBlock.data(), static_cast<int>(itsBlock.size()));
    }
    void CloseInput() override {}
    void InputAccepted(int) override {}
    std::uint64_t GetInputTotal() const override { return itsSource.GetPosition(); }
    void Warn(const char*, bool) override {}
    bool IsPrinting(bool) const override { return true; }
    bool MayEndEarly() const override { return false; }
    bool AcceptMissing(std::uint64_t, std::uint64_t) override { return false; }

private:
    ByteSource itsSource;
    Bytes itsBlock = Bytes(1000);
};

/// The pixels that libjpeg-turbo itself makes of the image described; empty when it gives up.
Bytes DecodeWithTurbo(const JpegSpec& theSpec, const Bytes& theJpeg)
{
    const bool isProgressive = theSpec.itsProcess == Process::PROGRESSIVE;
    const bool isGrey = theSpec.itsComponents == 1;
    const bool isRGB = theSpec.itsAdobeTransform == 0;
    const JpegSpec::Sampling aLuma =
        theSpec.itsSampling.empty() ? JpegSpec::Sampling() : theSpec.itsSampling[0];
    JPEGFrameHeader aHeader;
    aHeader.itsWidth = static_cast<std::uint32_t>(theSpec.itsWidth);
    aHeader.itsHeight = static_cast<std::uint32_t>(theSpec.itsHeight);
    aHeader.itsComponents = theSpec.itsComponents;
    aHeader.itsPrecision = theSpec.itsPrecision;
    aHeader.itsProcess = isProgressive ? JPEGProcess::PROGRESSIVE : JPEGProcess::SEQUENTIAL;
    aHeader.itsHSampling = {static_cast<std::uint8_t>(aLuma.itsHorizontal), 1, 1, 1};
    aHeader.itsVSampling = {static_cast<std::uint8_t>(aLuma.itsVertical), 1, 1, 1};
    aHeader.itsOutputColorSpace = isGrey ? JPEGColorSpace::GRAYSCALE : JPEGColorSpace::RGB;
    aHeader.itsColorSpace = isGrey || isRGB ? aHeader.itsOutputColorSpace : JPEGColorSpace::YCBCR;
    Bytes aPixels(MakeSamples(theSpec).size() * (theSpec.itsPrecision > 8 ? 2 : 1));
    MemoryClient aClient(theJpeg);
    return JPEGTurbo::Decode(aClient, aHeader, aPixels.data(), aHeader.itsHeight) ? aPixels : Bytes();
}

Samples MakeNoise(const JpegSpec& theSpec)
{
    std::mt19937 aRandom(5);
    Samples aSamples = MakeSamples(theSpec);
    std::generate(
        aSamples.begin(), aSamples.end(),
        [&] { return aRandom() % 2 == 0 ? 0 : static_cast<std::uint16_t>((1 << theSpec.itsPrecision) - 1); });
    return aSamples;
}

void ExpectDctAlike(const JpegSpec& theSpec, const Samples& theSamples, bool theTurboMustTakeIt)
{
    const Bytes aJpeg = MakeJpeg(theSpec, theSamples);
    const Setting aSetting{theSpec.itsPrecision};
    SCOPED_TRACE(testing::Message() << theSpec.itsWidth << " x " << theSpec.itsHeight << " x "
                                    << theSpec.itsComponents << ", quality " << theSpec.itsQuality
                                    << ", process " << static_cast<int>(theSpec.itsProcess));
    EXPECT_TRUE(PathsAgree(aSetting, aJpeg));
    if (theTurboMustTakeIt)
    {
        EXPECT_EQ(DecodeWithTurbo(theSpec, aJpeg), DecodeOn(JPEGPath::LIBRARY, aSetting, aJpeg).itsPixels);
    }
}

// Every edge of the interpolation: sizes around a block and below the shortest row that is interpolated.
TEST(JPEGPaths, SamplingsAndSizesComeOutAlike)
{
    constexpr std::array<std::array<int, 2>, 7> kSizes = {
        {{1, 1}, {2, 1}, {3, 7}, {5, 2}, {17, 16}, {33, 34}, {64, 9}}};
    for (const JpegSpec::Sampling aLuma :
         {JpegSpec::Sampling{1, 1}, {2, 1}, {2, 2}, {1, 2}, {4, 1}, {4, 2}, {1, 4}, {3, 1}})
    {
        for (const auto& [aWidth, aHeight] : kSizes)
        {
            for (const Process aProcess : {Process::BASELINE, Process::PROGRESSIVE})
            {
                JpegSpec aSpec{aWidth, aHeight, 3, 8, aProcess, {}, {aLuma}};
                aSpec.itsQuality = 90;
                ExpectDctAlike(aSpec, MakeSamples(aSpec),
                               aLuma.itsHorizontal <= 2 &&
                                   (aLuma.itsVertical == 1 || aLuma.itsVertical == aLuma.itsHorizontal));
            }
        }
    }
}

TEST(JPEGPaths, CodingsComeOutAlike)
{
    for (const int aQuality : {1, 10, 50, 75, 100})
    {
        for (const int aKind : {0, 1, 2, 3, 4, 5})
        {
            for (int aBits = 0; aBits < 16; ++aBits)
            {
                JpegSpec aSpec{61, 45, aKind == 0 ? 1 : 3};
                aSpec.itsQuality = aQuality;
                aSpec.itsAdobeTransform = aKind == 1 ? 0 : -1;
                aSpec.itsSampling = {{aKind == 3 || aKind == 4 ? 2 : 1, aKind == 4 ? 2 : 1}};
                aSpec.itsInterleaved = aKind != 5;
                aSpec.itsProcess = (aBits & 1) != 0 ? Process::PROGRESSIVE : Process::BASELINE;
                aSpec.itsOptimised = (aBits & 2) != 0;
                aSpec.itsRestartInterval = (aBits & 4) != 0 ? 3 : 0;
                ExpectDctAlike(aSpec, (aBits & 8) != 0 ? MakeNoise(aSpec) : MakeSamples(aSpec),
                               aQuality >= 50 && aKind != 5);
            }
        }
    }
}

/// Says that all coefficients of an image were divided by theStep.
Bytes WithSteps(Bytes theJpeg, int theStep)
{
    const Bytes aTable = {0xff, 0xdb, 0, 67, 0};
    const auto aSteps = std::search(theJpeg.begin(), theJpeg.end(), aTable.begin(), aTable.end()) + 5;
    std::fill_n(aSteps, 64, static_cast<std::uint8_t>(theStep));
    return theJpeg;
}

// Twelve bits: the library's own transform, interpolation and conversion, rebuilt for every instruction set,
// inside the image and where blocks hang over its edges. With steps far too large, coefficients are beyond
// those of any image and alone in their columns, which the library takes a shortcut for.
TEST(JPEGPaths, DeepImagesComeOutAlike)
{
    constexpr std::array<std::array<int, 2>, 6> kSizes = {
        {{1, 1}, {4, 3}, {7, 9}, {8, 8}, {61, 45}, {128, 64}}};
    // Grey, RGB, and YCbCr with all chroma, half the width and half of both.
    constexpr std::array<JpegSpec::Sampling, 5> kSamplings = {{{1, 1}, {1, 1}, {1, 1}, {2, 1}, {2, 2}}};
    for (std::size_t i = 0; i < 2 * 5 * 6 * 4; ++i)
    {
        const std::size_t aKind = i % 5;
        const auto& [aWidth, aHeight] = kSizes[i / 10 % 6];
        const int aStep = std::array{0, 1, 30, 255}[i / 60];
        JpegSpec aSpec{aWidth, aHeight, aKind == 0 ? 1 : 3, 12,
                       i / 5 % 2 == 0 ? Process::EXTENDED : Process::PROGRESSIVE};
        aSpec.itsSampling = {kSamplings[aKind]};
        aSpec.itsAdobeTransform = aKind == 1 ? 0 : -1;
        aSpec.itsQuantization = std::max(aStep, 1);
        const Bytes aJpeg = WithSteps(MakeJpeg(aSpec, aStep == 30 ? MakeSamples(aSpec) : MakeNoise(aSpec)),
                                      aStep == 0 ? 255 : aStep);
        SCOPED_TRACE(testing::Message() << "kind " << aKind << ", " << aWidth << " pixels, step " << aStep);
        ForEachTarget([&] { EXPECT_TRUE(PathsAgree({12}, aJpeg)); });
        EXPECT_EQ(DecodeWithTurbo(aSpec, aJpeg), DecodeOn(JPEGPath::LIBRARY, {12}, aJpeg).itsPixels);
    }
}

// The one thing in which the two libraries differ shows that a codec really uses both: samples far out of
// range wrap around in one and are limited in the other.
TEST(JPEGPaths, UsualImagesAreReallyDecodedByTurbo)
{
    const JpegSpec aSpec{64, 64};
    const Bytes aJpeg = WithSteps(MakeJpeg(aSpec, MakeNoise(aSpec)), 100);
    EXPECT_NE(DecodeOn(JPEGPath::LIBRARY, {}, aJpeg).itsPixels,
              DecodeOn(JPEGPath::AUTOMATIC, {}, aJpeg).itsPixels);
}

// Headers of several fills and of more than is kept, and fills that end anywhere.
TEST(JPEGPaths, HeadersAreReadAlike)
{
    const std::vector<int> aSets[] = {{}, {65533, 0, 40000}, std::vector<int>(20, 65533)};
    for (const std::vector<int>& aComments : aSets)
    {
        for (const std::vector<int>& anIds : {std::vector<int>{0, 7, 255}, {1, 1, 2}})
        {
            JpegSpec aSpec{40, 40, 3, 8, Process::BASELINE, anIds};
            aSpec.itsQuality = 70;
            aSpec.itsCommentLengths = aComments;
            const Bytes aJpeg = Image(aSpec).itsJpeg;
            for (const int aRead : {1, 700, 32768})
            {
                EXPECT_TRUE(PathsAgree({8, Decoder::COLOR_MODEL_UNKNOWN, aRead}, aJpeg))
                    << aComments.size() << " comments, " << aRead << " bytes a read";
            }
        }
    }
}

Bytes InsertBeforeEnd(Bytes theJpeg, std::size_t theCount, std::uint8_t theByte)
{
    theJpeg.insert(theJpeg.end() - 2, theCount, theByte);
    return theJpeg;
}

/// Takes out the first segment of that marker, or ends the image before its last one.
Bytes Without(Bytes theJpeg, std::uint8_t theMarker, bool theRestToo)
{
    const Bytes aMarker = {0xff, theMarker};
    const auto aBegin =
        theRestToo ? std::find_end(theJpeg.begin(), theJpeg.end() - 2, aMarker.begin(), aMarker.end())
                   : std::search(theJpeg.begin(), theJpeg.end(), aMarker.begin(), aMarker.end());
    theJpeg.erase(aBegin, theRestToo ? theJpeg.end() - 2 : aBegin + 2 + (aBegin[2] << 8 | aBegin[3]));
    return theJpeg;
}

/// A flat grey image, every block a bit for DC and one for AC, both 0. The 1 is no code of AC's table; it and
/// the 16 bits behind it are taken for one, and after two more bytes the blocks end where they would have.
Bytes WithUnknownCode(Bytes theJpeg)
{
    const Bytes aZeros(32, 0);
    const auto aByte = std::search(theJpeg.begin(), theJpeg.end(), aZeros.begin(), aZeros.end()) + 9;
    *aByte = 0x40;
    theJpeg.insert(aByte, 2, 0);
    return theJpeg;
}

// What looks unusual only after the header: libjpeg-turbo must give up, because it would smooth, warn, invent
// or read on in its own way. The library's own warning is printed then, once.
TEST(JPEGPaths, TurboGivesUpOnWhatItWouldDecodeDifferently)
{
    const JpegSpec aPlainSpec{
        .itsWidth = 61, .itsHeight = 61, .itsComponents = 3, .itsQuality = 90, .itsJFIF = true};
    JpegSpec aProgressiveSpec = aPlainSpec;
    aProgressiveSpec.itsProcess = Process::PROGRESSIVE;
    JpegSpec aHalvedSpec = aPlainSpec;
    aHalvedSpec.itsSampling = {{1, 2}};
    JpegSpec aCoarseSpec = aPlainSpec;
    aCoarseSpec.itsQuality = 10;
    const JpegSpec aFlatSpec{512, 512, 1, 12, Process::EXTENDED};
    const Bytes aPlain = Image(aPlainSpec).itsJpeg;
    const Bytes aProgressive = Image(aProgressiveSpec).itsJpeg;
    Bytes anOdd = Without(aPlain, 0xdb, false);
    anOdd.at(11) = 9; // JFIF 9: a warning long before the error
    // The image, whether libjpeg-turbo takes it, and the library's warning.
    using Row = std::tuple<const char*, const JpegSpec&, Bytes, bool, const char*>;
    const Row aRows[] = {
        {"as it is", aPlainSpec, aPlain, true, ""},
        {"coarse steps", aCoarseSpec, Image(aCoarseSpec).itsJpeg, false, ""},
        {"all scans", aProgressiveSpec, aProgressive, true, ""},
        {"last scan missing", aProgressiveSpec, Without(aProgressive, 0xda, true), false, ""},
        {"left-over bytes", aPlainSpec, InsertBeforeEnd(aPlain, 50, 0x55), false,
         "extraneous bytes before marker 0xd9"},
        {"fill bytes", aPlainSpec, InsertBeforeEnd(aPlain, 5000, 0xff), true, ""},
        {"out of proportion", aPlainSpec, InsertBeforeEnd(aPlain, 3u << 20, 0xff), true, ""},
        {"table missing", aPlainSpec, Without(aPlain, 0xc4, false), false, ""},
        {"warning before the error", aPlainSpec, anOdd, false, ""},
        {"not the image of the header", aProgressiveSpec, aPlain, false, ""},
        {"rows of halved chroma, otherwise than the library", aHalvedSpec, Image(aHalvedSpec).itsJpeg, true,
         ""},
        {"a code of no table", aFlatSpec, WithUnknownCode(MakeFlatJpeg(aFlatSpec, {2048})), false,
         "bad Huffman code"},
    };
    for (const auto& [aName, aSpec, aJpeg, isTaken, aText] : aRows)
    {
        testing::internal::CaptureStderr();
        EXPECT_TRUE(PathsAgree({aSpec.itsPrecision, Decoder::COLOR_MODEL_UNKNOWN, 1000}, aJpeg, false))
            << aName;
        const std::string aWarnings = testing::internal::GetCapturedStderr();
        const std::string aWarning = aWarnings.substr(0, aWarnings.size() / 2);
        EXPECT_EQ(aWarnings, aWarning + aWarning) << "by either path the same";
        EXPECT_NE(aWarning.find(aText), std::string::npos) << aName;
        EXPECT_EQ(DecodeWithTurbo(aSpec, aJpeg).empty(), !isTaken) << aName;
    }
}

// One codec, image after image: the library must not find itself in the middle of the one before.
TEST(JPEGPaths, CodecGoesOnToTheNextImage)
{
    for (const Process aProcess : {Process::BASELINE, Process::LOSSLESS})
    {
        const auto aDecoder = MakeDecoder(8);
        Bytes aPixels;
        for (const int aWidth : {200, 61, 90})
        {
            const Bytes aJpeg = Image({aWidth, 45, 1, 8, aProcess}).itsJpeg;
            ByteSource aSource(aJpeg, 1500);
            ASSERT_NO_THROW(aPixels = DecodeBytes(*aDecoder, aSource));
            EXPECT_EQ(aPixels, DecodeOn(JPEGPath::LIBRARY, {}, aJpeg).itsPixels);
        }
        EXPECT_THROW(aDecoder->Decode(0, aPixels.data(), aPixels.size()), ExceptionBase);
    }
}
} // namespace
