// SPDX-License-Identifier: Apache-2.0
#include "quorix/decode.h"

#include <cerrno>

#include <gmock/gmock.h>

#include "decompressors/Part10Files.h"
#include "quorix/toolkit_stream.h"
#include "support/Jpeg2000Streams.h"
#include "support/SideBySide.h"
#include "support/TemporaryFile.h"
#include "toolkit/io/InputStream.h"

namespace
{
using namespace Part10Files;
using quorix::DecodeOptions;
using quorix::Image;
using quorix::ImageType;
using testing::ElementsAre;
using testing::HasSubstr;

Bytes PixelsOf(const Image& theImage)
{
    return Bytes(theImage.pixels().begin(), theImage.pixels().end());
}

/// A stream of the caller's; one that throws does so at the read of that number.
class TestStream final : public quorix::InputStream
{
public:
    TestStream(Bytes theBytes, bool theCanSeek, int theFailingRead = -1)
        : itsBytes(std::move(theBytes)), itsCanSeek(theCanSeek), itsReadsLeft(theFailingRead)
    {
    }
    std::size_t read(unsigned char* theBuffer, std::size_t theSize) override
    {
        if (itsReadsLeft-- == 0)
        {
            throw std::string("the caller's own");
        }
        const std::size_t aCount = std::min({theSize, std::size_t{50}, itsBytes.size() - itsPosition});
        std::copy_n(itsBytes.begin() + static_cast<std::ptrdiff_t>(itsPosition), aCount, theBuffer);
        itsPosition += aCount;
        itsBytesRead += aCount;
        return aCount;
    }
    bool canSeek() const override { return itsCanSeek; }
    void seek(std::uint64_t thePosition) override
    {
        itsCanSeek ? void(itsPosition = thePosition) : quorix::InputStream::seek(thePosition);
    }
    std::uint64_t position() const override { return itsPosition; }
    std::optional<std::uint64_t> length() const override
    {
        return itsCanSeek ? std::optional(itsClaim.value_or(itsBytes.size())) : std::nullopt;
    }

    std::size_t itsBytesRead = 0;
    std::optional<std::uint64_t> itsClaim; ///< a length that is not the true one

private:
    Bytes itsBytes;
    bool itsCanSeek;
    int itsReadsLeft;
    std::size_t itsPosition = 0;
};

Bytes FlatJpeg(JpegSpec::Process theProcess, int thePrecision, const std::vector<int>& thePixel)
{
    return MakeFlatJpeg({8, 8, static_cast<int>(thePixel.size()), thePrecision, theProcess}, thePixel);
}

/// Two frames of colour JPEG, every pixel in YCbCr (100, 128, 128), which is grey 100.
Bytes ColourCine()
{
    const Bytes aFrame = FlatJpeg(JpegSpec::Process::BASELINE, 8, {100, 128, 128});
    return Encapsulated(TransferSyntaxType::TSJPEG50UID, {.itsComponents = 3}, "YBR_FULL_422",
                        {aFrame, aFrame});
}

/// Two frames of 13 x 11 pixels in JPEG 2000, without loss.
Bytes ScalableCine()
{
    return GreyJpeg2000({Jpeg2000Streams::Grey12(), Jpeg2000Streams::Grey12()});
}

Bytes RleFile(int theFrames)
{
    std::vector<Bytes> aFrames;
    for (int i = 0; i < theFrames; ++i)
    {
        aFrames.push_back(RleFrame({Counting(64, static_cast<unsigned>(64 * i))}));
    }
    return Encapsulated(TransferSyntaxType::TSRLEUID, {}, "MONOCHROME2", aFrames);
}

/// What theWork throws.
template <class Error, class Work>
std::optional<Error> Caught(const Work& theWork)
{
    try
    {
        theWork();
    }
    catch (const Error& anError)
    {
        return anError;
    }
    return std::nullopt;
}

DecodeOptions Options(int theFrame, int theCount, int theScale = 1, ImageType theType = ImageType::automatic)
{
    DecodeOptions anOptions;
    anOptions.type = theType;
    anOptions.frame = theFrame;
    anOptions.frameCount = theCount;
    anOptions.scale = theScale;
    return anOptions;
}

constexpr int kAll = std::numeric_limits<int>::max();
} // namespace

TEST(Decode, TakesEverySource)
{
    const Bytes aFile = Grey8(3);
    Bytes anEmbedded = Counting(7);
    anEmbedded.insert(anEmbedded.end(), aFile.begin(), aFile.end());
    const TemporaryFile aTemporary(aFile);
    const std::string aName = aTemporary.GetName();
    const std::filesystem::path aPath = aName;
    const DecodeOptions anOptions = Options(1, 1);

    TestStream aSeekable(aFile, true);
    TestStream aPipe(aFile, false), aGrowing(aFile, true);
    aGrowing.itsClaim = 300;
    TestStream anOffset(anEmbedded, true);
    anOffset.seek(7);
    MemoryInputStream aMemory(aFile.data(), aFile.size());
    quorix::ToolkitStream aToolkit(aMemory);
    const Bytes anExpected = Counting(6, 6);
    EXPECT_EQ(PixelsOf(quorix::decode(aName.c_str(), anOptions)), anExpected);
    EXPECT_EQ(PixelsOf(quorix::decode(aName, anOptions)), anExpected);
    EXPECT_EQ(PixelsOf(quorix::decode(aPath, anOptions)), anExpected);
    EXPECT_EQ(PixelsOf(quorix::decode(aFile, anOptions)), anExpected);
    EXPECT_EQ(PixelsOf(quorix::decode({aFile.data(), aFile.size()}, anOptions)), anExpected);
    for (quorix::InputStream* const aStream :
         std::initializer_list<quorix::InputStream*>{&aSeekable, &aPipe, &aGrowing, &anOffset, &aToolkit})
    {
        EXPECT_EQ(PixelsOf(quorix::decode(*aStream, anOptions)), anExpected);
    }
    const auto aTake = [&](int theFrame, const Image& theImage)
    { return theFrame == 1 && theImage.frame() == 1 && PixelsOf(theImage) == anExpected; };
    TestStream aStream(aFile, false);
    EXPECT_EQ(quorix::decodeFrames(aPath, anOptions, aTake), 1);
    EXPECT_EQ(quorix::decodeFrames(aFile, anOptions, aTake), 1);
    EXPECT_EQ(quorix::decodeFrames(aStream, anOptions, aTake), 1);
}

// A file that is still being written says too little. JPEG 2000 that is cut there would be decoded, less
// sharp.
TEST(Decode, JPEG2000EndsWhereReadsEnd)
{
    const Bytes aStream = Jpeg2000Streams::Grey12();
    const Bytes aFile = GreyJpeg2000({aStream, aStream, aStream});
    const Bytes anExpected = Jpeg2000Streams::GreyWords([](int theValue) { return theValue & 0xfff; });
    const auto isWhole = [&](int, const Image& theImage)
    { return PixelsOf(theImage) == anExpected && theImage.warnings().empty() && !theImage.isLossy(); };
    for (const Bytes& aSource : {aFile, aStream, Jpeg2000Streams::MakeJp2(aStream)})
    {
        const bool isFile = aSource.size() > 2 * aStream.size();
        for (const std::uint64_t aClaim : {std::uint64_t{0}, std::uint64_t{aSource.size() / 2},
                                           std::uint64_t{aSource.size() - 1}, std::uint64_t{1} << 60})
        {
            SCOPED_TRACE(std::to_string(aClaim) + " of " + std::to_string(aSource.size()));
            TestStream aGrowing(aSource, true), aWalked(aSource, true);
            aGrowing.itsClaim = aWalked.itsClaim = aClaim;
            EXPECT_TRUE(isWhole(0, quorix::decode(aGrowing, Options(isFile ? 2 : 0, 1))));
            EXPECT_EQ(quorix::decodeFrames(aWalked, Options(0, kAll), isWhole), isFile ? 3 : 1);
        }
    }
}

TEST(Decode, TellsTypesByTheFirstBytes)
{
    Bytes aDisguised = Grey8();
    std::copy_n("\xff\xd8\xff", 3, aDisguised.begin());
    using Process = JpegSpec::Process;
    const Bytes aJpeg = FlatJpeg(Process::BASELINE, 8, {77});
    const Bytes aStream = Jpeg2000Streams::Grey12();
    const Bytes aJp2 = Jpeg2000Streams::MakeJp2(aStream);
    const unsigned aFirst = static_cast<unsigned>(Jpeg2000Streams::GreyValue(0, 0)) & 0xfff;
    // The file; rows, bits stored and first sample of the image, and whether it is lossy; the type asked for.
    constexpr auto kAny = ImageType::automatic;
    const std::tuple<const char*, Bytes, int, int, unsigned, bool, ImageType> kCases[] = {
        {"Part 10", Grey8(), 2, 8, 0x100, false, kAny},
        {"Part 10 behind the start of a JPEG", aDisguised, 2, 8, 0x100, false, kAny},
        {"JPEG", aJpeg, 8, 8, 0x4d4d, true, kAny},
        {"JPEG, told", aJpeg, 8, 8, 0x4d4d, true, ImageType::jpeg},
        {"12 bits", FlatJpeg(Process::EXTENDED, 12, {1000}), 8, 12, 1000, true, kAny},
        {"16 bits", FlatJpeg(Process::LOSSLESS, 16, {40000}), 8, 16, 40000, false, kAny},
        {"deep colour", FlatJpeg(Process::LOSSLESS, 12, {1000, 2, 3}), 8, 12, 1000, false, kAny},
        {"lossless", FlatJpeg(Process::LOSSLESS, 8, {10, 20, 30}), 8, 8, 0x140a, false, kAny},
        {"codestream", aStream, 11, 12, aFirst, false, kAny},
        {"JP2", aJp2, 11, 12, aFirst, false, kAny},
        {"JPEG 2000, told", aStream, 11, 12, aFirst, false, ImageType::losslessJpeg2000}};
    for (const auto& [aName, aBytes, aRowCount, aDepth, aSample, isLossy, aType] : kCases)
    {
        SCOPED_TRACE(aName);
        for (const int aManner : {0, 1, 2})
        {
            TestStream aSource(aBytes, aManner != 0);
            aSource.itsClaim = aManner == 1 ? aBytes.size() : 3;
            const Image anImage = quorix::decode(aSource, Options(0, 1, 1, aType));
            EXPECT_EQ(anImage.rows(), aRowCount);
            EXPECT_EQ(anImage.bitsStored(), aDepth);
            EXPECT_EQ(anImage.pixels()[0] + 256u * anImage.pixels()[1], aSample);
            EXPECT_EQ(anImage.isLossy(), isLossy);
        }
    }
}

// The codestream tells, not the type or the transfer syntax, and not a data set that is silent.
TEST(Decode, TellsTheTruthOfLoss)
{
    const Bytes aStream = Jpeg2000Streams::Lossy();
    EXPECT_TRUE(quorix::decode(aStream, Options(0, 1, 1, ImageType::losslessJpeg2000)).isLossy());
    constexpr int kSize = Jpeg2000Streams::kLossySize;
    const JpegSpec aSpec{kSize, kSize, 3};
    for (const char* const aUID : {TransferSyntaxType::TSJPEG2KLosslessUID, TransferSyntaxType::TSJPEG2KUID})
    {
        EXPECT_TRUE(quorix::decode(Encapsulated(aUID, aSpec, "RGB", {aStream})).isLossy());
    }
}

TEST(Decode, DescribesTheImage)
{
    const Image aColour = quorix::decode(ColourCine(), Options(1, 1));
    EXPECT_EQ(PixelsOf(aColour), Bytes(192, 100));
    EXPECT_THAT((std::vector<int>{aColour.rows(), aColour.columns(), aColour.samplesPerPixel(),
                                  aColour.bitsAllocated(), aColour.bitsStored(), aColour.highBit(),
                                  aColour.isSigned(), aColour.isPlanar(), aColour.scale(), aColour.frame()}),
                ElementsAre(8, 8, 3, 8, 8, 7, 0, 0, 1, 1));
    EXPECT_EQ(aColour.photometricInterpretation(), quorix::PhotometricInterpretation::rgb);
    EXPECT_EQ(aColour.photometricInterpretationName(), "RGB");

    const Bytes aBigEndian = Native(DicomBuilder::Syntax::EXPLICIT_BIG, 1, "MONOCHROME1", 1, 2, 16, 1,
                                    {0x12, 0x34, 0xff, 0xfe}, "OW");
    const Image aDeep = quorix::decode(aBigEndian);
    EXPECT_EQ(PixelsOf(aDeep),
              aDeep.isLittleEndian() ? (Bytes{0x34, 0x12, 0xfe, 0xff}) : (Bytes{0x12, 0x34, 0xff, 0xfe}));
    EXPECT_TRUE(aDeep.isSigned());
    EXPECT_EQ(aDeep.photometricInterpretation(), quorix::PhotometricInterpretation::monochrome1);
    EXPECT_EQ(aDeep.compressionRatio(), 1);
}

TEST(Decode, ReducesWhereTheCodecCan)
{
    const Image aHalf = quorix::decode(Jpeg2000Streams::Grey12(), Options(0, 1, 2));
    EXPECT_THAT((std::vector<int>{aHalf.scale(), aHalf.rows() * aHalf.columns() * 2}),
                ElementsAre(2, static_cast<int>(aHalf.pixels().size())));
    std::vector<Bytes> aFrames;
    const auto aKeep = [&](int, const Image& theImage)
    {
        EXPECT_EQ(theImage.scale(), 2);
        aFrames.push_back(PixelsOf(theImage));
        return true;
    };
    EXPECT_EQ(quorix::decodeFrames(ScalableCine(), Options(0, kAll, 2), aKeep), 2);
    EXPECT_THAT(aFrames, ElementsAre(PixelsOf(aHalf), PixelsOf(aHalf)));
    const Image aWhole = quorix::decode(RleFile(1), Options(0, 1, 2));
    EXPECT_EQ(aWhole.scale(), 1);
    EXPECT_EQ(PixelsOf(aWhole), Counting(64));
}

TEST(Decode, DeliversRangesAndStops)
{
    const std::tuple<const char*, Bytes, DecodeOptions, int, std::vector<int>> kCases[] = {
        {"all", Grey8(4), Options(0, kAll), kAll, {0, 1, 2, 3}},
        {"a range", Grey8(4), Options(1, 2), kAll, {1, 2}},
        {"beyond the end", RleFile(4), Options(2, 9), kAll, {2, 3}},
        {"stopped", RleFile(4), Options(0, kAll), 1, {0, 1}},
        {"one bare image", Jpeg2000Streams::Colour(), Options(0, kAll), kAll, {0}}};
    for (const auto& [aName, aBytes, anOptions, aLast, aWanted] : kCases)
    {
        SCOPED_TRACE(aName);
        std::vector<int> aFrames;
        const int aCount = quorix::decodeFrames(
            aBytes, anOptions,
            [&, aLastWanted = aLast, isOne = aWanted.size() == 1](int theFrame, const Image& theImage)
            {
                aFrames.push_back(theFrame);
                if (!isOne)
                {
                    const auto aSize = theImage.pixels().size();
                    EXPECT_EQ(theImage.pixels()[1], static_cast<std::size_t>(theFrame) * aSize + 1);
                }
                return theFrame != aLastWanted;
            });
        EXPECT_EQ(aFrames, aWanted);
        EXPECT_EQ(aCount, static_cast<int>(aWanted.size()));
    }
    // A late frame of a stream that can seek costs no more than itself.
    TestStream aStream(Grey8(40), true);
    quorix::decodeFrames(aStream, Options(39, 1), [](int, const Image&) { return true; });
    TestStream aWhole(Grey8(40), true);
    quorix::decodeFrames(aWhole, Options(0, kAll), [](int, const Image&) { return true; });
    EXPECT_LT(aStream.itsBytesRead, aWhole.itsBytesRead);
}

TEST(Decode, AnswersForAttributes)
{
    std::vector<Image> anImages;
    anImages.push_back(quorix::decode(ColourCine()));
    quorix::decodeFrames(ColourCine(), {},
                         [&](int, Image theImage)
                         {
                             anImages.push_back(std::move(theImage));
                             return true;
                         });
    ASSERT_EQ(anImages.size(), 3u);
    RunSideBySide(
        [&](int theThread)
        {
            const Image& anImage = anImages[static_cast<std::size_t>(theThread % 3)];
            EXPECT_EQ(anImage.attribute(0x0028, 0x0004), "RGB") << "as decoded, not as stored";
            EXPECT_EQ(anImage.attribute(0x0002, 0x0010), "1.2.840.10008.1.2.4.50");
            EXPECT_EQ(anImage.attributeAsInt(0x0028, 0x0010), 8);
            EXPECT_EQ(anImage.attributeAsInt(0x0028, 0x0004), std::nullopt);
            EXPECT_EQ(anImage.attribute(0x0010, 0x0010), std::nullopt);
        });
    EXPECT_EQ(quorix::decode(Jpeg2000Streams::Colour()).attribute(0x0028, 0x0010), std::nullopt);
}

TEST(Decode, SaysWhatIsWrong)
{
    const TemporaryFile aTemporary(Counting(200));
    Bytes aShort = Grey8(2);
    aShort.resize(aShort.size() - 2);
    Bytes aDamaged = Jpeg2000Streams::Colour();
    aDamaged.resize(60);
    const auto aYes = [](int, const Image&) { return true; };
    const std::tuple<std::function<void()>, int, int, const char*> kCases[] = {
        {[] { quorix::decode("/no/such/file"); }, 3, ENOENT, "/no/such/file: No such file"},
        {[] { quorix::decode("/"); }, 3, EISDIR, "/: Is a directory"},
        {[&] { quorix::decodeFrames("/no/such/file", {}, aYes); }, 3, ENOENT, "No such file"},
        {[&] { quorix::decode(aTemporary.GetName()); }, 38, 0, "neither a DICOM Part 10"},
        {[] { quorix::decode(quorix::ByteView()); }, 38, 0, "neither a DICOM Part 10"},
        {[] { quorix::decode(Counting(200), Options(0, 1, 1, ImageType::dicom)); }, 38, 0, "Part10Header"},
        {[&] { quorix::decode(aShort, Options(1, 1)); }, 37, 0, "Failed to read the pixel data"},
        {[&] { quorix::decodeFrames(aShort, {}, aYes); }, 37, 0, "Failed to read the pixel data"},
        {[&] { quorix::decode(aDamaged); }, 62, 0, "Decoder exception"},
        {[] { quorix::decode(Grey8(), Options(-1, 1)); }, 6, 0, "frame is -1, must be at least 0"},
        {[] { quorix::decode(Grey8(), Options(0, 1, 0)); }, 6, 0, "scale is 0, must be at least 1"},
        {[&] { quorix::decodeFrames(Grey8(), Options(0, 0), aYes); }, 6, 0, "frameCount is 0"},
        {[&] { quorix::decodeFrames(Grey8(2), Options(2, 1), aYes); }, 6, 0, "no frame 2: there are 2"},
        {[] { quorix::decode(Jpeg2000Streams::Colour(), Options(1, 1)); }, 6, 0, "no frame 1: a bare image"}};
    for (const auto& [aCall, aCode, aSystemError, aText] : kCases)
    {
        const auto anError = Caught<quorix::DecodeError>(aCall);
        ASSERT_TRUE(anError) << aText;
        EXPECT_EQ(anError->code(), aCode) << anError->what();
        EXPECT_EQ(anError->systemError(), aSystemError) << anError->what();
        EXPECT_THAT(anError->what(), HasSubstr(aText));
    }
    TestStream aPipe({}, false);
    EXPECT_EQ(Caught<quorix::DecodeError>([&] { aPipe.seek(0); })->code(), 12);
}

TEST(Decode, LetsTheCallersExceptionsThrough)
{
    for (const Bytes& aFile : {Grey8(2), RleFile(2), ColourCine(), Jpeg2000Streams::Grey12()})
    {
        int aFailures = 0;
        for (bool hasFailed = true; hasFailed; aFailures += hasFailed)
        {
            TestStream aStream(aFile, true, aFailures);
            const auto aText = Caught<std::string>([&] { quorix::decode(aStream); });
            hasFailed = aText.has_value();
            EXPECT_EQ(aText.value_or("the caller's own"), "the caller's own");
        }
        EXPECT_GT(aFailures, 3);
        const auto aThrow = [](int, const Image&) -> bool { throw 42; };
        EXPECT_EQ(Caught<int>([&] { quorix::decodeFrames(aFile, {}, aThrow); }), 42);
    }
}

TEST(Decode, LeavesAnEmptyImageBehindAMove)
{
    Image aFirst = quorix::decode(Grey8());
    const unsigned char* const aPixels = aFirst.pixels().data();
    Image aSecond = std::move(aFirst);
    EXPECT_EQ(aSecond.pixels().data(), aPixels) << "moved, not copied";
    aFirst = Image();
    EXPECT_TRUE(aFirst.pixels().empty());
    EXPECT_THAT((std::vector<int>{aFirst.rows(), aFirst.scale(), aFirst.frame(), aFirst.isLossy()}),
                ElementsAre(0, 0, 0, 0));
    EXPECT_EQ(aFirst.photometricInterpretation(), quorix::PhotometricInterpretation::unknown);
    EXPECT_EQ(aFirst.attribute(0x0028, 0x0010), std::nullopt);
    aFirst = std::move(aSecond);
    EXPECT_EQ(PixelsOf(aFirst), Counting(6));
}

TEST(Decode, KeepsTheLimits)
{
    const quorix::Limits aBefore = quorix::limits();
    quorix::Limits aTight = aBefore;
    aTight.pixelsPerFrame = 5;
    quorix::setLimits(aTight);
    const auto anError = Caught<quorix::DecodeError>([] { quorix::decode(Grey8()); });
    quorix::setLimits(aBefore);
    ASSERT_TRUE(anError);
    EXPECT_EQ(anError->code(), 11);
    EXPECT_EQ(quorix::limits().fragments, aBefore.fragments);
}
