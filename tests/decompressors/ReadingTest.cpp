// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cctype>
#include <fstream>
#include <numeric>
#include <set>

#include "decompressors/DecompressorRuns.h"
#include "decompressors/Part10Files.h"
#include "decompressors/Part10FrameWalk.h"
#include "support/DataSet.h"
#include "support/Jpeg2000Streams.h"
#include "support/PlainColour.h"
#include "toolkit/base/Limits.h"

using namespace Part10Files;

namespace
{
constexpr const char* kBaseline = "1.2.840.10008.1.2.4.50";
const RWCString kRLE = TransferSyntaxType::TSRLEUID;

/// Identifiers and frames, "damaged@1" for instance.
std::vector<std::string> Names(const std::vector<DecodeWarning>& theWarnings)
{
    std::vector<std::string> aNames;
    for (const DecodeWarning& aWarning : theWarnings)
    {
        EXPECT_FALSE(aWarning.itsText.empty());
        aNames.push_back(aWarning.itsIdentifier + "@" + std::to_string(aWarning.itsFrame));
    }
    return aNames;
}

/// A restart marker among the coefficients, where none was announced.
Bytes WithStrayMarker(Bytes theJpeg)
{
    theJpeg.insert(theJpeg.end() - 20, {0xff, 0xd3});
    return theJpeg;
}

/// Two frames, of which the second is damaged.
Bytes HalfDamaged(const char* theInterpretation = "MONOCHROME2")
{
    JpegSpec aSpec;
    aSpec.itsWidth = aSpec.itsHeight = 32;
    const Bytes aJpeg = MakeJpeg(aSpec, MakeSamples(aSpec));
    return Encapsulated(kBaseline, aSpec, theInterpretation, {aJpeg, WithStrayMarker(aJpeg)});
}

/// Two frames, of which the second has a packet header that asks for more coding passes than there can be.
Bytes HalfDamagedJpeg2000()
{
    constexpr std::size_t kSecondByteOfPackets = 83;
    const Bytes aStream = Jpeg2000Streams::Indices();
    return Encapsulated(TransferSyntaxType::TSJPEG2KLosslessUID, {.itsWidth = 4, .itsHeight = 4},
                        "MONOCHROME2",
                        {aStream, Jpeg2000Streams::Patch(aStream, kSecondByteOfPackets, {0xff})});
}

/// 8 bits of grey, 1 × 3, in the words of a big-endian file: pixels count from 1 over all three frames.
Bytes OddBigEndianFrames()
{
    DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_BIG);
    aBuilder.AddImageAttributes(1, "MONOCHROME2", 1, 3, 8, 8, 0, 3);
    return aBuilder.AddNativePixelData({2, 1, 4, 3, 6, 5, 8, 7, 0, 9}, "OW").Build();
}

Bytes BigEndian(int theSamples, int theColumns, int theBits, const Bytes& theValue)
{
    return Native(DicomBuilder::Syntax::EXPLICIT_BIG, theSamples, theSamples == 3 ? "RGB" : "MONOCHROME2", 1,
                  theColumns, theBits, 0, theValue, "OW");
}

const JpegSpec kColourSpec{.itsWidth = Jpeg2000Streams::kColourWidth,
                           .itsHeight = Jpeg2000Streams::kColourHeight,
                           .itsComponents = 3};

/// Three components, unless told otherwise without a component transform.
Bytes PlainColourFile(const std::string& theLabel, const Bytes& theStream = Jpeg2000Streams::PlainColour())
{
    return Encapsulated(TransferSyntaxType::TSJPEG2KLosslessUID, kColourSpec, theLabel, {theStream});
}

/// Signed grey of 12 bits by the data set, unsigned by the codestream: its codes are GreyValue + 2048.
Bytes MisdeclaredGrey(int theBitsStored)
{
    using namespace Jpeg2000Streams;
    return GreyJpeg2000({Patch(Grey12(), kDepthOfComponent0, {11})}, theBitsStored);
}

/// Y, Cb and Cr of two pixels, and their RLE frame.
const Bytes kTwoYBR{100, 90, 160, 200, 128, 128};
Bytes TwoYBR()
{
    return RleFrame({{100, 200}, {90, 128}, {160, 128}});
}

/// 1 × 2 grey pixels of so many bits, JPEG, under a data set that has other bits.
Bytes DeepJpeg(const char* theUID, JpegSpec::Process theProcess, int thePrecision, int theStored,
               int theAllocated, const std::vector<std::uint16_t>& theSamples,
               const char* theLabel = "MONOCHROME2")
{
    JpegSpec aSpec;
    aSpec.itsProcess = theProcess;
    aSpec.itsPrecision = thePrecision;
    aSpec.itsWidth = static_cast<int>(theSamples.size());
    aSpec.itsHeight = 1;
    DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE, theUID);
    aBuilder.AddImageAttributes(1, theLabel, 1, static_cast<std::uint16_t>(aSpec.itsWidth),
                                static_cast<std::uint16_t>(theAllocated),
                                static_cast<std::uint16_t>(theStored));
    return aBuilder.AddEncapsulatedPixelData({Even(MakeJpeg(aSpec, theSamples))}).Build();
}

/// Native words of grey of which 8 bits are said to be stored.
Bytes WordsOf8(DicomBuilder::Syntax theSyntax, std::uint16_t theIsSigned, const Bytes& theWords)
{
    DicomBuilder aBuilder(theSyntax);
    aBuilder.AddImageAttributes(1, "MONOCHROME2", 1, static_cast<std::uint16_t>(theWords.size() / 2), 16, 8,
                                theIsSigned);
    return aBuilder.AddNativePixelData(theWords, "OW").Build();
}

/// What comes of a file in one reading.
struct Expected
{
    int itsCode = -1;                       ///< below 0 for the same as by contract
    Bytes itsPixels;                        ///< the first of them; none where they do not matter
    std::string itsDescription;             ///< "RGB 8/8/7", "MONOCHROME2 16/12/11 signed lossy"; or empty
    std::vector<std::string> itsWarnings{}; ///< as Names gives them
};

/// A file whose words and meaning part, or may.
struct Row
{
    const char* itsName;
    Bytes itsFile; ///< Part 10, or a bare stream
    Expected itsByContract;
    Expected itsByMeaning{};
    RWCString itsBareUID{};                      ///< of a bare stream
    std::function<void(DataSet&)> itsDescribe{}; ///< fills the data set of a bare stream
    int itsScale = 1;
    bool itsIsUnsigned = false; ///< unsigned samples are asked for
    int itsFrame = 0;

    const Expected& In(Reading theReading) const
    {
        return theReading == Reading::BY_MEANING && itsByMeaning.itsCode >= 0 ? itsByMeaning : itsByContract;
    }
};

Row AtFrame(int theFrame, Row theRow)
{
    theRow.itsFrame = theFrame;
    return theRow;
}

Outcome Run(const Row& theRow, Reading theReading)
{
    Wish aWish;
    aWish.itsFrameIndex = theRow.itsFrame;
    aWish.itsReading = theReading;
    aWish.itsScaleFactor = theRow.itsScale;
    aWish.itsUnsigned = theRow.itsIsUnsigned;
    DataSet aDataSet;
    if (theRow.itsBareUID.empty())
    {
        return RunPart10Quietly(theRow.itsFile, &aDataSet, aWish);
    }
    theRow.itsDescribe(aDataSet);
    aWish.itsSourceLength = static_cast<std::uint32_t>(theRow.itsFile.size());
    return RunBareImage(theRow.itsFile, theRow.itsBareUID, &aDataSet, aWish);
}

/// A data set of 8-bit colour, interleaved.
std::function<void(DataSet&)> Colour(const char* theLabel, int theRows, int theColumns)
{
    return [=](DataSet& theDataSet)
    {
        theDataSet.SetGrey(theRows, theColumns, 8, 8).SetNumber(DICOMTags::SamplesPerPixel, 3);
        theDataSet.SetText(DICOMTags::PhotometricInterpretation, theLabel);
    };
}

std::string Words(const Renderable& theImage)
{
    return std::string(
               Renderable::photometricInterpretationTypeToString(theImage.getPhotometricInterpretation())) +
           " " + std::to_string(theImage.getBitsAllocated()) + "/" +
           std::to_string(theImage.getBitsStored()) + "/" + std::to_string(theImage.getHighBit()) +
           (theImage.isSigned() ? " signed" : "") + (theImage.getScaleFactor() != 1 ? " scaled" : "") +
           (theImage.isLossyImageCompression() ? " lossy" : "");
}

void Check(const Row& theRow, Reading theReading)
{
    SCOPED_TRACE(std::string(theRow.itsName) +
                 (theReading == Reading::BY_MEANING ? " by meaning" : " by contract"));
    const Expected& anExpected = theRow.In(theReading);
    const Outcome anOutcome = Run(theRow, theReading);
    EXPECT_EQ(anOutcome.Code(), anExpected.itsCode) << anOutcome.Message();
    EXPECT_EQ(Names(anOutcome.itsResult.getWarnings()), anExpected.itsWarnings);
    if (anOutcome.Code() != 0 || anOutcome.Image() == nullptr)
    {
        return;
    }
    if (!anExpected.itsDescription.empty())
    {
        EXPECT_EQ(Words(*anOutcome.Image()), anExpected.itsDescription);
    }
    Bytes aPixels = anOutcome.Pixels();
    aPixels.resize(std::min(aPixels.size(), anExpected.itsPixels.size()));
    EXPECT_EQ(aPixels, anExpected.itsPixels);
}

/// A file whose JPEG ends theKept bytes into the data of a scan, the first by default.
Bytes CutInScan(const JpegSpec& theSpec, const std::vector<int>& thePixel, const std::string& theUID,
                const char* theLabel, std::size_t theKept, int theScan = 1)
{
    Bytes aJpeg = MakeJpeg(theSpec, MakeFlatSamples(theSpec, thePixel));
    const Bytes aMarker = {0xff, 0xda, 0};
    auto aHeader = aJpeg.begin();
    for (int i = 0; i < theScan; ++i)
    {
        aHeader = std::search(aHeader + 1, aJpeg.end(), aMarker.begin(), aMarker.end());
    }
    aJpeg.resize(static_cast<std::size_t>(aHeader - aJpeg.begin()) + 2 + aHeader[3] + theKept);
    // A fill byte before the second marker, so that nothing is added to make the length even.
    aJpeg.insert(aJpeg.begin() + 2, aJpeg.size() % 2, std::uint8_t{0xff});
    return Encapsulated(theUID, theSpec, theLabel, {aJpeg});
}

/// theSide × theSide pixels of which theKept bytes of the first scan's data are there. All blocks but the
/// first of a baseline image take six bits and of a progressive one's first scan a single bit, as all pixels
/// of a lossless one do; the first one takes 18, 9 and 9.
Bytes CutJpeg(JpegSpec::Process theProcess, const std::string& theUID, std::size_t theKept, int theSide = 64)
{
    JpegSpec aSpec{.itsWidth = theSide, .itsHeight = theSide, .itsProcess = theProcess};
    aSpec.itsOptimised = false;
    return CutInScan(aSpec, {100}, theUID, "MONOCHROME2", theKept);
}

/// Progressive colour, the chrominance subsampled, cut in the second scan: the first one has brought the
/// picture. Other scans come in other pieces.
Bytes CutBehindFirstScan()
{
    JpegSpec aSpec{
        .itsWidth = 64, .itsHeight = 64, .itsComponents = 3, .itsProcess = JpegSpec::Process::PROGRESSIVE};
    aSpec.itsSampling = {{2, 2}, {1, 1}, {1, 1}};
    return CutInScan(aSpec, {120, 90, 200}, kBaseline, "YBR_FULL_422", 0, 2);
}

/// The first theCount blocks of an image of CutJpeg, the rest of it blank.
Bytes FlatBlocks(int theCount, int theBlockWidth, int theBlockHeight)
{
    Bytes aPixels(64 * 64);
    for (int i = 0; i < 64 * 64; ++i)
    {
        const int aBlock = i / 64 / theBlockHeight * (64 / theBlockWidth) + i % 64 / theBlockWidth;
        aPixels[static_cast<std::size_t>(i)] = aBlock < theCount ? 100 : 0;
    }
    return aPixels;
}

/// theCount pixels, of which theThere are theValue and the others blank.
Bytes Blanked(std::size_t theCount, std::size_t theThere, std::uint8_t theValue)
{
    Bytes aPixels(theThere, theValue);
    aPixels.resize(theCount);
    return aPixels;
}

/// Grey or RGB, an RLE frame put together by hand.
Bytes RleFile(int theSamples, int theRows, int theColumns, int theAllocated, const Bytes& theFrame)
{
    DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE, TransferSyntaxType::TSRLEUID);
    aBuilder.AddImageAttributes(static_cast<std::uint16_t>(theSamples),
                                theSamples == 3 ? "RGB" : "MONOCHROME2", static_cast<std::uint16_t>(theRows),
                                static_cast<std::uint16_t>(theColumns),
                                static_cast<std::uint16_t>(theAllocated), 8);
    return aBuilder.AddEncapsulatedPixelData({theFrame}).Build();
}

/// One segment of packets.
Bytes RleSegment(const Bytes& thePackets)
{
    Bytes aFrame = RleEncoder::Header(1, {64});
    aFrame.insert(aFrame.end(), thePackets.begin(), thePackets.end());
    return aFrame;
}

/// Three segments of two samples each, three bytes long.
Bytes OddSegments()
{
    Bytes aFrame = RleEncoder::Header(3, {64, 67, 70});
    const Bytes aSegments = {1, 1, 4, 1, 2, 5, 1, 3, 6, 0};
    aFrame.insert(aFrame.end(), aSegments.begin(), aSegments.end());
    return aFrame;
}

/// Signed grey of 12 bits whose last tiles are missing.
Bytes CutGrey()
{
    Bytes aStream = Jpeg2000Streams::Grey12();
    aStream.resize(aStream.size() - 60);
    return GreyJpeg2000({aStream});
}

/// The first row of the first tile.
Bytes FirstGreyWords()
{
    Bytes aWords = Jpeg2000Streams::GreyWords([](int theValue) { return theValue & 0xfff; });
    aWords.resize(2 * 5);
    return aWords;
}

Bytes RetiredJpeg(const std::string& theUID, JpegSpec::Process theProcess)
{
    JpegSpec aSpec;
    aSpec.itsProcess = theProcess;
    return Encapsulated(theUID, aSpec, "MONOCHROME2", {MakeJpeg(aSpec, MakeFlatSamples(aSpec, {100}))});
}

/// Frames of which a part is missing.
std::vector<Row> MakeCutRows()
{
    return {
        {"JPEG without its last marker",
         CutJpeg(JpegSpec::Process::BASELINE, kBaseline, 50),
         {DLRC_PARSE_ERROR, {}, "", {}},
         {0, FlatBlocks(64, 8, 8), "", {"truncated@0"}}},
        {"JPEG cut in the middle of its blocks",
         CutJpeg(JpegSpec::Process::BASELINE, kBaseline, 28),
         {DLRC_PARSE_ERROR, {}, "", {}},
         {0, FlatBlocks(35, 8, 8), "MONOCHROME2 8/8/7 lossy", {"truncated@0"}}},
        {"progressive JPEG cut in its first scan",
         CutJpeg(JpegSpec::Process::PROGRESSIVE, kBaseline, 6),
         {DLRC_PARSE_ERROR, {}, "", {}},
         {0, FlatBlocks(40, 8, 8), "MONOCHROME2 8/8/7 lossy", {"truncated@0"}}},
        {"progressive colour cut behind its first scan",
         CutBehindFirstScan(),
         {DLRC_PARSE_ERROR, {}, "", {}},
         {0, Flat({221, 82, 53}, 64 * 64), "RGB 8/8/7 lossy", {"truncated@0"}}},
        {"lossless JPEG cut in the middle of a row",
         CutJpeg(JpegSpec::Process::LOSSLESS, TransferSyntaxType::TSJPEG70UID, 262),
         {DLRC_PARSE_ERROR, {}, "", {}},
         {0, FlatBlocks(32, 64, 1), "MONOCHROME2 8/8/7", {"truncated@0"}}},
        {"JPEG of which nothing is there",
         CutJpeg(JpegSpec::Process::BASELINE, kBaseline, 2),
         {DLRC_PARSE_ERROR, {}, "", {}}},
        {"JPEG of which two of 256 blocks are there",
         CutJpeg(JpegSpec::Process::BASELINE, kBaseline, 3, 128),
         {DLRC_PARSE_ERROR, {}, "", {}}},
        {"JPEG of which three of 256 blocks are there",
         CutJpeg(JpegSpec::Process::BASELINE, kBaseline, 4, 128),
         {DLRC_PARSE_ERROR, {}, "", {}},
         {0, Blanked(128, 24, 100), "MONOCHROME2 8/8/7 lossy", {"truncated@0"}}},
        {"RLE cut inside a literal run",
         RleFile(1, 50, 4, 8, RleSegment({157, 7, 99, 5, 5, 5})),
         {DLRC_DECODER_ERROR, {}, "", {}},
         {0, Blanked(200, 100, 7), "MONOCHROME2 8/8/7", {"truncated@0"}}},
        {"RLE segment that ends early",
         RleFile(1, 50, 4, 8, RleSegment({157, 7})),
         {0, Blanked(200, 100, 7), "MONOCHROME2 8/8/7", {"truncated@0"}}},
        {"RLE of which a hundredth is there",
         RleFile(1, 50, 4, 8, RleSegment({1, 7, 7, 128})),
         {0, Blanked(200, 2, 7), "MONOCHROME2 8/8/7", {"truncated@0"}}},
        {"RLE of which nearly nothing is there",
         RleFile(1, 50, 4, 8, RleSegment({0, 7})),
         {0, Blanked(200, 1, 7), "MONOCHROME2 8/8/7", {"truncated@0"}},
         {DLRC_DECODER_ERROR, {}, "", {}}},
        {"lossless JPEG 2000 cut in the last tile",
         CutGrey(),
         {0, FirstGreyWords(), "MONOCHROME2 16/12/11 signed", {"truncated@0"}},
         {0, FirstGreyWords(), "MONOCHROME2 16/12/11 signed lossy", {"truncated@0"}}},
    };
}

/// Grey of two pixels in a file without its preamble, or without the file meta information, too.
Bytes Headless(DicomBuilder::Syntax theSyntax, bool isMetaKept)
{
    DicomBuilder aBuilder(theSyntax);
    aBuilder.AddString(DICOMTags::SOPInstanceUID, "UI", "1.2.3.4");
    aBuilder.AddImageAttributes(1, "MONOCHROME2", 1, 2, 8, 8);
    Bytes aFile = aBuilder.AddNativePixelData({7, 9}, "OW").Build();
    constexpr std::size_t kPreamble = 132;
    const std::size_t aMeta = 12 + aFile[kPreamble + 8] + 256u * aFile[kPreamble + 9];
    aFile.erase(aFile.begin(),
                aFile.begin() + static_cast<std::ptrdiff_t>(kPreamble + (isMetaKept ? 0 : aMeta)));
    return aFile;
}

Bytes HeaderlessJp2()
{
    Bytes aFile = Jpeg2000Streams::MakeJp2(Jpeg2000Streams::Colour());
    const Bytes aType = {'j', 'p', '2', 'h'};
    // A box of no known type.
    *std::search(aFile.begin(), aFile.end(), aType.begin(), aType.end()) = 'x';
    return Encapsulated(TransferSyntaxType::TSJPEG2KLosslessUID, kColourSpec, "RGB", {aFile});
}

const Bytes kUndefined = {0xff, 0xff, 0xff, 0xff};
const Bytes kItemEnd = {0xfe, 0xff, 0x0d, 0xe0, 0, 0, 0, 0};
const Bytes kSequenceEnd = {0xfe, 0xff, 0xdd, 0xe0, 0, 0, 0, 0};

/// An empty sequence, and behind it theNested items, each in a sequence of the one before, that say of two
/// rows that they are nine. theLength: what items and their sequences state; theEnd: what ends an item.
Bytes StrayItem(const Bytes& theLength, const Bytes& theEnd, int theNested = 1)
{
    DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE);
    const Bytes aSequence = {8, 0, 0x40, 0x11, 'S', 'Q', 0, 0};
    const Bytes anItemTag = {0xfe, 0xff, 0, 0xe0};
    const Bytes aRows = {0x28, 0, 0x10, 0, 'U', 'S', 2, 0, 9, 0};
    Bytes anItem = Jpeg2000Streams::Join({anItemTag, theLength, aRows, theEnd});
    for (int i = 1; i < theNested; ++i)
    {
        anItem = Jpeg2000Streams::Join(
            {anItemTag, theLength, aSequence, theLength, anItem, kSequenceEnd, aRows, theEnd});
    }
    anItem = Jpeg2000Streams::Join({aSequence, {0, 0, 0, 0}, anItem});
    aBuilder.AddImageAttributes(1, "MONOCHROME2", 2, 1, 8, 8);
    Bytes aFile = aBuilder.AddNativePixelData({7, 9}, "OB").Build();
    const Bytes aFirst = {0x28, 0, 2, 0, 'U', 'S'};
    aFile.insert(std::search(aFile.begin(), aFile.end(), aFirst.begin(), aFirst.end()), anItem.begin(),
                 anItem.end());
    return aFile;
}

/// Frames that break a rule, or one that is no longer there.
std::vector<Row> MakeOddRows()
{
    return {
        {"RLE segments at odd offsets",
         RleFile(3, 1, 2, 8, OddSegments()),
         {DLRC_DECODER_ERROR, {}, "", {}},
         {0, {1, 2, 3, 4, 5, 6}, "RGB 8/8/7", {"nonconformant@0"}}},
        {"RLE of two segments, 8 of 16 bits stored",
         RleFile(1, 1, 2, 16, RleFrame({{0, 0}, {7, 9}})),
         {DLRC_DECODER_ERROR, {}, "", {}},
         {0, {7, 0, 9, 0}, "MONOCHROME2 16/8/7", {}}},
        {"retired syntax of full progression",
         RetiredJpeg("1.2.840.10008.1.2.4.55", JpegSpec::Process::PROGRESSIVE),
         {DLRC_NO_DECODER, {}, "", {}},
         {0, Flat({100}, 64), "MONOCHROME2 8/8/7 lossy", {"nonconformant@0"}}},
        {"retired syntax of lossless JPEG",
         RetiredJpeg("1.2.840.10008.1.2.4.58", JpegSpec::Process::LOSSLESS),
         {DLRC_NO_DECODER, {}, "", {}},
         {0, Flat({100}, 64), "MONOCHROME2 8/8/7", {"nonconformant@0"}}},
        {"JP2 without a header box",
         HeaderlessJp2(),
         {DLRC_PARSE_ERROR, {}, "", {}},
         {0, Jpeg2000Streams::ColourPixels(), "RGB 8/8/7", {"nonconformant@0"}}},
        {"empty sequence, and an item behind it",
         StrayItem({10, 0, 0, 0}, {}),
         {DLRC_PARSE_ERROR, {}, "", {}},
         {0, {7, 9}, "MONOCHROME2 8/8/7", {"nonconformant@0"}}},
        {"empty sequence, and behind it items of undefined length in each other",
         StrayItem(kUndefined, kItemEnd, 9),
         {DLRC_PARSE_ERROR, {}, "", {}},
         {0, {7, 9}, "MONOCHROME2 8/8/7", {"nonconformant@0"}}},
        {"items in each other, more than there may be",
         StrayItem(kUndefined, kItemEnd, static_cast<int>(Limits::Get().itsNestedSequences) + 1),
         {DLRC_PARSE_ERROR, {}, "", {}}},
        {"empty sequence, and an item without an end",
         StrayItem(kUndefined, {}),
         {DLRC_PARSE_ERROR, {}, "", {}}},
        {"file meta information without a preamble",
         Headless(DicomBuilder::Syntax::EXPLICIT_LITTLE, true),
         {DLRC_PARSE_ERROR, {}, "", {}},
         {0, {7, 9}, "MONOCHROME2 8/8/7", {"nonconformant@0"}}},
        {"explicit data set alone",
         Headless(DicomBuilder::Syntax::EXPLICIT_LITTLE, false),
         {DLRC_PARSE_ERROR, {}, "", {}},
         {0, {7, 9}, "MONOCHROME2 8/8/7", {"nonconformant@0"}}},
        {"implicit data set alone",
         Headless(DicomBuilder::Syntax::IMPLICIT_LITTLE, false),
         {DLRC_PARSE_ERROR, {}, "", {}},
         {0, {7, 9}, "MONOCHROME2 8/8/7", {"nonconformant@0"}}},
    };
}

/// A palette of sixteen colours, red from 100, green from 200 downwards and blue twice the index; the first
/// of its columns is green.
Bytes PaletteBoxes(std::uint8_t theEntries)
{
    Bytes aPalette = {0, theEntries, 3, 7, 7, 7};
    for (std::uint8_t i = 0; i < theEntries; ++i)
    {
        aPalette.insert(aPalette.end(),
                        {static_cast<std::uint8_t>(200 - i), static_cast<std::uint8_t>(100 + i),
                         static_cast<std::uint8_t>(2 * i)});
    }
    return Jpeg2000Streams::Join({Jpeg2000Streams::ColourBox(16), Jpeg2000Streams::Box("pclr", aPalette),
                                  Jpeg2000Streams::Box("cmap", {0, 0, 1, 1, 0, 0, 1, 0, 0, 0, 1, 2})});
}

/// What comes of the indices 0 to 15.
Bytes PaletteColours(int theEntries)
{
    Bytes aPixels;
    for (int i = 0; i < 16; ++i)
    {
        const int anEntry = std::min(i, theEntries - 1);
        for (const int aSample : {100 + anEntry, 200 - anEntry, 2 * anEntry})
        {
            aPixels.push_back(static_cast<std::uint8_t>(aSample));
        }
    }
    return aPixels;
}

/// Blue, green and red are red, green and blue.
const Bytes kReversal =
    Jpeg2000Streams::Box("cdef", {0, 3, 0, 0, 0, 0, 0, 3, 0, 1, 0, 0, 0, 2, 0, 2, 0, 0, 0, 1});

Bytes Reversed(Bytes thePixels)
{
    for (std::size_t i = 0; i + 2 < thePixels.size(); i += 3)
    {
        std::swap(thePixels[i], thePixels[i + 2]);
    }
    return thePixels;
}

/// A JP2 file that comes alone: the data set says nothing.
Row Jp2Row(const char* theName, const Bytes& theStream, const Bytes& theBoxes, Expected theByContract,
           Expected theByMeaning, int theScale = 1)
{
    return {theName,
            Jpeg2000Streams::MakeJp2(theStream, theBoxes),
            std::move(theByContract),
            std::move(theByMeaning),
            TransferSyntaxType::TSJPEG2KLosslessUID,
            [](DataSet&) {},
            theScale};
}

/// A JP2 file in a frame of a data set.
Row FramedJp2Row(const char* theName, const Bytes& theStream, const Bytes& theBoxes, const JpegSpec& theSpec,
                 const char* theLabel, Expected theByContract, Expected theByMeaning)
{
    const Bytes aFile = Encapsulated(TransferSyntaxType::TSJPEG2KLosslessUID, theSpec, theLabel,
                                     {Jpeg2000Streams::MakeJp2(theStream, theBoxes)});
    return {theName, aFile, std::move(theByContract), std::move(theByMeaning)};
}

/// JP2 files whose boxes say what the colours are.
std::vector<Row> MakeJp2Rows()
{
    using namespace Jpeg2000Streams;
    const Bytes aPlain = ColourPixels();
    const Bytes aCount = Counting(16);
    const Bytes aBox = PaletteBoxes(16);
    const std::vector<std::string> aWord = {"colour-label@0"};
    const std::vector<std::string> twoWords = {"colour-label@0", "colour-label@0"};
    const Expected anIndexed{0, aCount, "MONOCHROME2 8/8/7", aWord};
    const Expected aCounted{0, aPlain, "RGB 8/8/7", aWord};
    const Expected aPainted{0, PaletteColours(16), "RGB 8/8/7", aWord};
    const Bytes aGrey = Box("pclr", {0, 2, 1, 11, 1, 2, 0x0f, 0xff});
    const Bytes aSecond = Box("cdef", {0, 2, 0, 0, 0, 1, 0, 1, 0, 1, 0, 0, 0, 1});
    const Bytes anSYCC = ColourBox(18);
    return {
        Jp2Row("palette", Indices(), aBox, anIndexed, aPainted),
        Jp2Row("palette and channel definition", Indices(), Join({aBox, kReversal}), anIndexed,
               {0, Reversed(PaletteColours(16)), "RGB 8/8/7", aWord}),
        Jp2Row("palette that is too short", Indices(), PaletteBoxes(9), anIndexed,
               {0, PaletteColours(9), "RGB 8/8/7", twoWords}),
        Jp2Row("grey palette of 12 bits", Indices(), Join({aGrey, Box("cmap", {0, 0, 1, 0})}), anIndexed,
               {0, {2, 1, 0xff, 0x0f, 0xff, 0x0f}, "MONOCHROME2 16/12/11", twoWords}),
        Jp2Row("palette without its mapping", Indices(), aGrey, anIndexed, anIndexed),
        Jp2Row("palette, at half the size", Indices(), aBox, {0, {}, "MONOCHROME2 8/8/7 scaled", aWord},
               {0, PaletteColours(16), "RGB 8/8/7", {"colour-label@0", "scale@0"}}, 2),
        Jp2Row("blue first", PlainColour(), kReversal, aCounted, {0, Reversed(aPlain), "RGB 8/8/7", aWord}),
        Jp2Row("blue first, with a component transform", Jpeg2000Streams::Colour(), kReversal, aCounted,
               {0, Reversed(aPlain), "RGB 8/8/7", aWord}),
        Jp2Row("opacity and grey", Pair(), aSecond, {DLRC_DECODER_ERROR, {}, "", aWord},
               {0, {0x3c, 0x45, 0x4e}, "MONOCHROME2 8/8/7", aWord}),
        Jp2Row("sYCC", PlainColour(), anSYCC, aCounted, {0, PlainYBRToRGB(aPlain), "RGB 8/8/7", aWord}),
        Jp2Row("JPH, the same by parameters", PlainColour(), Box("colr", {5, 0, 0, 0, 1, 0, 13, 0, 5, 0x80}),
               aCounted, {0, PlainYBRToRGB(aPlain), "RGB 8/8/7", aWord}),
        Jp2Row("JPH, of narrow range", PlainColour(), Box("colr", {5, 0, 0, 0, 1, 0, 1, 0, 1, 0}), aCounted,
               aCounted),
        Jp2Row("sYCC with a component transform", Jpeg2000Streams::Colour(), anSYCC, aCounted,
               {0, PlainYBRToRGB(aPlain), "RGB 8/8/7", aWord}),
        FramedJp2Row("blue first, in a frame", PlainColour(), kReversal, kColourSpec, "RGB", aCounted,
                     {0, Reversed(aPlain), "RGB 8/8/7", aWord}),
        FramedJp2Row("sYCC labelled RGB", PlainColour(), anSYCC, kColourSpec, "RGB", aCounted, aCounted),
        FramedJp2Row("sYCC labelled YBR_FULL", PlainColour(), anSYCC, kColourSpec, "YBR_FULL",
                     {0, PlainYBRToRGB(aPlain), "RGB 8/8/7"}, {0, PlainYBRToRGB(aPlain), "RGB 8/8/7"}),
        FramedJp2Row("palette labelled grey", Indices(), aBox, {.itsWidth = 4, .itsHeight = 4}, "MONOCHROME2",
                     anIndexed, anIndexed),
        FramedJp2Row("palette labelled RGB", Indices(), aBox,
                     {.itsWidth = 4, .itsHeight = 4, .itsComponents = 3}, "RGB",
                     {0, aCount, "RGB 8/8/7", twoWords}, aPainted),
    };
}

std::vector<Row> MakeRows()
{
    const Bytes aPlain = Jpeg2000Streams::ColourPixels();
    Bytes aRamp(16);
    std::iota(aRamp.begin(), aRamp.end(), std::uint8_t{0});
    const Bytes aCodes = Jpeg2000Streams::GreyWords([](int theValue) { return theValue + 2048; });
    const Bytes anExtended = Jpeg2000Streams::GreyWords(
        [](int theValue) { return theValue >= 0 ? theValue - 2048 : theValue + 2048; });
    return {
        AtFrame(1, {"DCT with a stray marker",
                    HalfDamaged(),
                    {0, {}, "MONOCHROME2 8/8/7", {"damaged@1"}},
                    {0, {}, "MONOCHROME2 8/8/7 lossy", {"damaged@1"}}}),
        {"big-endian words of RGB with 16 bits",
         BigEndian(3, 2, 16, {0x11, 1, 0x22, 2, 0x33, 3, 0x44, 4, 0x55, 5, 0x66, 6}),
         {0, {0x11, 0x22, 3, 4, 5, 6}, "RGB 8/8/7", {"byte-order@0"}},
         {0, {0x11, 0x22, 0x33, 0x44, 0x55, 0x66}, "RGB 8/8/7", {"byte-order@0"}}},
        {"big-endian words of RGB with 8 bits",
         BigEndian(3, 2, 8, {2, 1, 4, 3, 6, 5}),
         {0, {1, 2, 3, 4, 6, 5}, "RGB 8/8/7", {"byte-order@0"}},
         {0, {1, 2, 3, 4, 5, 6}, "RGB 8/8/7", {"byte-order@0"}}},
        AtFrame(1, {"big-endian words, a frame that begins inside one",
                    OddBigEndianFrames(),
                    {0, {6, 3, 5}, "MONOCHROME2 8/8/7", {"byte-order@1"}},
                    {0, {4, 5, 6}, "MONOCHROME2 8/8/7", {"byte-order@1"}}}),
        AtFrame(2, {"big-endian words, a frame that ends inside one",
                    OddBigEndianFrames(),
                    {0, {7, 8, 0}, "MONOCHROME2 8/8/7", {"byte-order@2"}},
                    {0, {7, 8, 9}, "MONOCHROME2 8/8/7", {"byte-order@2"}}}),
        {"big-endian words of 32 bits",
         BigEndian(1, 1, 32, {0x11, 0x22, 0x33, 0x44}),
         {0, {0x22, 0x11, 0x33, 0x44}, "MONOCHROME2 32/32/31", {"byte-order@0"}},
         {0, {0x44, 0x33, 0x22, 0x11}, "MONOCHROME2 32/32/31", {"byte-order@0"}}},
        {"big-endian words, one a pixel",
         BigEndian(1, 2, 16, {0x11, 1, 0x22, 2}),
         {0, {1, 0x11, 2, 0x22}, "MONOCHROME2 16/16/15"}},
        AtFrame(1, {"damaged, and then without a palette",
                    HalfDamaged("PALETTE COLOR"),
                    {12, {}, "", {"damaged@1"}}}),
        {"one component labelled RGB",
         DeepJpeg(TransferSyntaxType::TSJPEG70UID, JpegSpec::Process::LOSSLESS, 8, 8, 8, {7, 9}, "RGB"),
         {0, {7, 9}, "RGB 8/8/7", {"colour-label@0"}},
         {0, {7, 9}, "MONOCHROME2 8/8/7", {"colour-label@0"}}},
        {"one component labelled YBR",
         DeepJpeg(TransferSyntaxType::TSJPEG70UID, JpegSpec::Process::LOSSLESS, 8, 8, 8, {7, 9},
                  "YBR_FULL_422"),
         {12, {}, "", {"colour-label@0"}},
         {0, {7, 9}, "MONOCHROME2 8/8/7", {"colour-label@0"}}},
        {"three native samples labelled MONOCHROME1",
         Native(DicomBuilder::Syntax::EXPLICIT_LITTLE, 3, "MONOCHROME1", 1, 2, 8, 0, {1, 2, 3, 4, 5, 6},
                "OW"),
         {0, {1, 2, 3, 4, 5, 6}, "MONOCHROME1 8/8/7", {"colour-label@0"}},
         {0, {1, 2, 3, 4, 5, 6}, "RGB 8/8/7", {"colour-label@0"}}},
        {"bytes of which 16 bits are said to be stored",
         Encapsulated(TransferSyntaxType::TSJPEG2KLosslessUID,
                      {.itsWidth = 4, .itsHeight = 4, .itsPrecision = 16}, "MONOCHROME2",
                      {Jpeg2000Streams::Indices()}),
         {0, aRamp, "MONOCHROME2 8/16/15", {"depth@0"}},
         {0, aRamp, "MONOCHROME2 8/8/7", {"depth@0"}}},
        {"JPEG 2000 without a transform labelled YBR_FULL_422",
         PlainColourFile("YBR_FULL_422"),
         {0, aPlain, "RGB 8/8/7", {"colour-label@0"}},
         {0, PlainYBRToRGB(aPlain), "RGB 8/8/7", {"colour-label@0"}}},
        {"JPEG 2000 without a transform labelled YBR_RCT",
         PlainColourFile("YBR_RCT"),
         {0, aPlain, "RGB 8/8/7", {"colour-label@0"}}},
        {"JPEG 2000 without a transform labelled YBR_FULL",
         PlainColourFile("YBR_FULL"),
         {0, PlainYBRToRGB(aPlain), "RGB 8/8/7"}},
        {"unsigned codestream, signed data set",
         MisdeclaredGrey(12),
         {0, aCodes, "MONOCHROME2 16/12/11", {"sign@0"}},
         {0, aCodes, "MONOCHROME2 16/12/11 signed", {"sign@0"}}},
        {"unsigned codestream, signed data set of more bits",
         MisdeclaredGrey(16),
         {0, aCodes, "MONOCHROME2 16/16/15", {"sign@0"}},
         {0, anExtended, "MONOCHROME2 16/16/15 signed", {"sign@0"}}},
        {"unsigned codestream, signed data set, unsigned samples wanted",
         MisdeclaredGrey(16),
         {0, aCodes, "MONOCHROME2 16/16/15", {"sign@0"}},
         {0,
          Jpeg2000Streams::GreyWords([](int theValue) { return theValue & 4095; }),
          "MONOCHROME2 16/16/15",
          {"sign@0"}},
         "",
         {},
         1,
         true},
        {"lossless of 12 bits, 8 stored and allocated",
         DeepJpeg(TransferSyntaxType::TSJPEG70UID, JpegSpec::Process::LOSSLESS, 12, 8, 8, {0x123, 0xfed}),
         {0, {0x12, 0xfe}, "MONOCHROME2 8/8/7", {"depth@0"}},
         {0, {0x23, 1, 0xed, 0xf}, "MONOCHROME2 16/12/11", {"depth@0"}}},
        {"lossless of 16 bits, 8 stored",
         DeepJpeg(TransferSyntaxType::TSJPEG57UID, JpegSpec::Process::LOSSLESS, 16, 8, 16, {0x1234, 0xfedc}),
         {0, {0x34, 0x12, 0xdc, 0xfe}, "MONOCHROME2 16/8/7", {"depth@0", "ratio@0"}},
         {0, {0x34, 0x12, 0xdc, 0xfe}, "MONOCHROME2 16/16/15", {"depth@0"}}},
        {"lossless of 16 bits under .51",
         DeepJpeg(TransferSyntaxType::TSJPEG51UID, JpegSpec::Process::LOSSLESS, 16, 12, 16, {0x1234, 0xfedc}),
         {0, {0x23, 1, 0xed, 0xf}, "MONOCHROME2 16/12/11", {"depth@0"}},
         {0, {0x34, 0x12, 0xdc, 0xfe}, "MONOCHROME2 16/16/15", {"depth@0"}}},
        {"lossless of 9 bits under .50",
         DeepJpeg(kBaseline, JpegSpec::Process::LOSSLESS, 9, 8, 8, {0x123, 0x1ff}),
         {0, {0x91, 0xff}, "MONOCHROME2 8/8/7", {"depth@0"}},
         {0, {0x23, 1, 0xff, 1}, "MONOCHROME2 16/9/8", {"depth@0"}}},
        {"DCT of 12 bits, 8 stored",
         DeepJpeg(TransferSyntaxType::TSJPEG51UID, JpegSpec::Process::EXTENDED, 12, 8, 16,
                  std::vector<std::uint16_t>(8, 0x7f0)),
         {0, {0xf0, 7}, "MONOCHROME2 16/8/7", {"depth@0", "ratio@0"}},
         {0, {0xf0, 7}, "MONOCHROME2 16/12/11 lossy", {"depth@0"}}},
        {"DCT of 12 bits, 8 allocated",
         DeepJpeg(kBaseline, JpegSpec::Process::EXTENDED, 12, 8, 8, std::vector<std::uint16_t>(8, 0x7f0)),
         {62, {}, "", {"depth@0"}},
         {0, {0xf0, 7}, "MONOCHROME2 16/12/11 lossy", {"depth@0"}}},
        {"bare lossless of 12 bits, 8 stored",
         MakeJpeg(
             {.itsWidth = 2, .itsHeight = 1, .itsPrecision = 12, .itsProcess = JpegSpec::Process::LOSSLESS},
             {0x123, 0xfed}),
         {0, {0x12, 0xfe}, "MONOCHROME2 8/8/7", {"depth@0"}},
         {0, {0x23, 1, 0xed, 0xf}, "MONOCHROME2 16/12/11", {"depth@0"}},
         TransferSyntaxType::TSJPEG70UID,
         [](DataSet& theDataSet) { theDataSet.SetGrey(1, 2, 8, 8); }},
        {"native words beyond the bits stored",
         WordsOf8(DicomBuilder::Syntax::EXPLICIT_LITTLE, 0, {0x23, 1, 0xff, 0}),
         {0, {0x23, 1, 0xff, 0}, "MONOCHROME2 16/8/7", {"depth@0"}}},
        {"big-endian words within the bits stored, signed",
         WordsOf8(DicomBuilder::Syntax::EXPLICIT_BIG, 1, {0xff, 0x80, 0, 0x7f}),
         {0, {0x80, 0xff, 0x7f, 0}, "MONOCHROME2 16/8/7 signed"}},
        {"RLE of words beyond the bits stored",
         RleFile(1, 1, 2, 16, RleFrame({{1, 0}, {0x23, 0xff}})),
         {DLRC_DECODER_ERROR, {}, ""},
         {0, {0x23, 1, 0xff, 0}, "MONOCHROME2 16/8/7", {"depth@0"}}},
        {"bare JPEG under a data set that tells of loss and of no ratio",
         MakeJpeg({.itsWidth = 2, .itsHeight = 1}, {100, 100}),
         {0, {100, 100}, "MONOCHROME2 8/8/7 lossy", {"ratio@0"}},
         {0, {100, 100}, "MONOCHROME2 8/8/7 lossy", {"ratio@0"}},
         kBaseline,
         [](DataSet& theDataSet)
         { theDataSet.SetGrey(1, 2, 8, 8).SetText(DICOMTags::LossyImageCompression, "01"); }},
        {"bare JPEG under a data set that says nothing of loss",
         MakeJpeg({.itsWidth = 2, .itsHeight = 1}, {100, 100}),
         {0, {100, 100}, "MONOCHROME2 8/8/7 lossy", {"ratio@0"}},
         {0, {100, 100}, "MONOCHROME2 8/8/7 lossy"},
         kBaseline,
         [](DataSet& theDataSet) { theDataSet.SetGrey(1, 2, 8, 8); }},
        {"native pixels asked for at a quarter",
         Grey8(),
         {0, Counting(6), "MONOCHROME2 8/8/7 scaled", {"scale@0"}},
         {0, Counting(6), "MONOCHROME2 8/8/7", {"scale@0"}},
         "",
         {},
         3},
        {"RLE labelled YBR_FULL_422",
         Encapsulated(kRLE, {.itsWidth = 2, .itsHeight = 1, .itsComponents = 3}, "YBR_FULL_422", {TwoYBR()}),
         {12, {}, ""},
         {0, PlainYBRToRGB(kTwoYBR), "RGB 8/8/7", {"colour-label@0"}}},
        {"bare RLE labelled YBR_FULL",
         TwoYBR(),
         {0, kTwoYBR, "RGB 8/8/7", {"colour-label@0"}},
         {0, PlainYBRToRGB(kTwoYBR), "RGB 8/8/7", {"colour-label@0"}},
         kRLE,
         Colour("YBR_FULL", 1, 2)},
        {"bare JPEG 2000 labelled YBR_FULL",
         Jpeg2000Streams::PlainColour(),
         {0, PlainYBRToRGB(aPlain), "RGB 8/8/7"},
         {},
         TransferSyntaxType::TSJPEG2KLosslessUID,
         Colour("YBR_FULL", Jpeg2000Streams::kColourHeight, Jpeg2000Streams::kColourWidth)},
        {"bare JPEG 2000 labelled YBR_FULL_422",
         Jpeg2000Streams::PlainColour(),
         {0, aPlain, "RGB 8/8/7", {"colour-label@0"}},
         {0, PlainYBRToRGB(aPlain), "RGB 8/8/7", {"colour-label@0"}},
         TransferSyntaxType::TSJPEG2KLosslessUID,
         Colour("YBR_FULL_422", Jpeg2000Streams::kColourHeight, Jpeg2000Streams::kColourWidth)},
    };
}
/// The spectral band of the only scan ends where it begins, which says nothing to a sequential decoder.
Bytes WithOddBand(Bytes theJpeg)
{
    const Bytes aScan = {0xff, 0xda, 0, 8, 1};
    const auto aHeader = std::search(theJpeg.begin(), theJpeg.end(), aScan.begin(), aScan.end());
    *(aHeader + 8) = 0;
    return theJpeg;
}

/// 16 × 16 pixels of YCbCr or RGB, and what becomes of them by contract and by meaning: left as they are or
/// converted, in capitals with a warning.
struct ColourCase
{
    const char* itsName;
    JpegSpec itsSpec;
    const char* itsLabel;
    const char* itsOutcomes; ///< two of "sScC"
    std::vector<int> itsPixel{120, 90, 200};
    Bytes itsConverted{221, 82, 53};

    Row Make() const
    {
        JpegSpec aSpec = itsSpec;
        aSpec.itsWidth = aSpec.itsHeight = 16;
        aSpec.itsComponents = 3;
        const bool isLossless = aSpec.itsProcess == JpegSpec::Process::LOSSLESS;
        const Bytes aJpeg = MakeJpeg(aSpec, MakeFlatSamples(aSpec, itsPixel));
        return {
            itsName,
            Encapsulated(isLossless ? TransferSyntaxType::TSJPEG70UID : kBaseline, aSpec, itsLabel, {aJpeg}),
            Expect(itsOutcomes[0]), Expect(itsOutcomes[1])};
    }

    Expected Expect(char theOutcome) const
    {
        const bool isConverted = theOutcome == 'c' || theOutcome == 'C';
        return {0, isConverted ? itsConverted : Bytes(itsPixel.begin(), itsPixel.end()), "",
                std::vector<std::string>(std::isupper(theOutcome) ? 1 : 0, "colour-label@0")};
    }
};

/// What a codestream says of its colours, bits and sign, or does not, against what the data set says.
std::vector<Row> MakeContradictions()
{
    constexpr auto kLossless = JpegSpec::Process::LOSSLESS;
    const std::vector<JpegSpec::Sampling> aHalf = {{2, 1}, {1, 1}, {1, 1}};
    std::vector<Row> aRows;
    for (const ColourCase& aCase : std::initializer_list<ColourCase>{
             {"YBR_FULL, numbers", {.itsProcess = kLossless, .itsComponentIds = {0, 1, 2}}, "YBR_FULL", "Sc"},
             {"YBR_FULL, JFIF", {.itsProcess = kLossless, .itsJFIF = true}, "YBR_FULL", "Sc"},
             {"lossless RGB, JFIF", {.itsProcess = kLossless, .itsJFIF = true}, "RGB", "ss"},
             {"RGB, JFIF", {.itsJFIF = true}, "RGB", "CC"},
             {"YBR, letters", {.itsComponentIds = {'R', 'G', 'B'}}, "YBR_FULL_422", "SS"},
             {"grey YBR as RGB", {}, "RGB", "SS", {30, 128, 128}},
             {"the same, marked", {.itsAdobeTransform = 0}, "RGB", "ss", {30, 128, 128}},
             {"colour as grey", {}, "MONOCHROME2", "CC"},
             {"mid grey", {}, "RGB", "ss", {128, 128, 128}},
             {"subsampled RGB", {.itsSampling = aHalf}, "RGB", "ss"},
             {"subsampled YBR", {.itsSampling = aHalf}, "YBR_FULL_422", "cc"}})
    {
        aRows.push_back(aCase.Make());
    }
    const auto aAdd = [&](const char* theName, const Bytes& theFile, const Expected& theByContract,
                          const Expected& theByMeaning = {}) {
        aRows.push_back({theName, theFile, theByContract, theByMeaning});
    };
    DicomBuilder aDeep(DicomBuilder::Syntax::EXPLICIT_LITTLE);
    aDeep.AddImageAttributes(3, "YBR_FULL", 1, 1, 16, 12);
    aDeep.AddNativePixelData({0x80, 0x07, 0xa0, 0x05, 0x80, 0x0c}, "OW");
    aAdd("YCbCr of 12 bits", aDeep.Build(), {0, {0, 132, 0}, "", {"depth@0"}}, {0, {220, 81, 52}, ""});
    const JpegSpec aGrey{.itsWidth = 32, .itsHeight = 32};
    const Bytes aJpeg = WithOddBand(MakeJpeg(aGrey, MakeSamples(aGrey)));
    aAdd("odd band", Encapsulated(kBaseline, aGrey, "MONOCHROME2", {aJpeg}),
         {0, {}, "", {"nonconformant@0"}});
    aAdd("odd band, damaged", Encapsulated(kBaseline, aGrey, "MONOCHROME2", {WithStrayMarker(aJpeg)}),
         {0, {}, "", {"nonconformant@0", "damaged@0"}});
    const auto aLossless = [](std::uint16_t theSample) {
        return DeepJpeg("1.2.840.10008.1.2.4.70", kLossless, 16, 12, 16, {theSample, 7});
    };
    aAdd("16 bits that keep to 12", aLossless(0x0fff), {0, {0xff, 0x0f, 7, 0}, "MONOCHROME2 16/12/11"});
    aAdd("16 bits that do not", aLossless(0x1fff),
         {0, {0xff, 0x1f, 7, 0}, "MONOCHROME2 16/12/11", {"depth@0"}},
         {0, {0xff, 0x1f, 7, 0}, "MONOCHROME2 16/16/15", {"depth@0"}});
    const Bytes aCodes = Jpeg2000Streams::GreyWords([](int theValue) { return theValue & 0xfff; });
    aAdd("JPEG 2000 of 12 bits as 10", GreyJpeg2000({Jpeg2000Streams::Grey12()}, 10),
         {0, aCodes, "MONOCHROME2 16/10/9 signed", {"depth@0"}},
         {0, aCodes, "MONOCHROME2 16/12/11 signed", {"depth@0"}});
    const Expected aColour{0, Jpeg2000Streams::ColourPixels(), "RGB 8/8/7", {"colour-label@0"}};
    aAdd("component transform of YBR", PlainColourFile("YBR_FULL", Jpeg2000Streams::Colour()), aColour);
    aAdd("three components of a palette", PlainColourFile("PALETTE COLOR"), aColour);
    aAdd("signed JPEG 2000 as unsigned", GreyJpeg2000({Jpeg2000Streams::Grey12()}, 12, 0),
         {0, aCodes, "MONOCHROME2 16/12/11 signed", {"sign@0"}});
    return aRows;
}
} // namespace

TEST(Reading, EveryRowInBothReadingsAndEveryWarningSomewhere)
{
    std::set<std::string> aProvoked{WarningIdentifier::kAbsent}; // which takes a region: see tests of slides
    std::vector<Row> aRows = MakeRows();
    std::ranges::move(MakeCutRows(), std::back_inserter(aRows));
    std::ranges::move(MakeOddRows(), std::back_inserter(aRows));
    std::ranges::move(MakeContradictions(), std::back_inserter(aRows));
    std::ranges::move(MakeJp2Rows(), std::back_inserter(aRows));
    for (const Row& aRow : aRows)
    {
        Check(aRow, Reading::BY_CONTRACT);
        Check(aRow, Reading::BY_MEANING);
        for (const std::string& aName : aRow.In(Reading::BY_MEANING).itsWarnings)
        {
            aProvoked.insert(aName.substr(0, aName.find('@')));
        }
    }
    EXPECT_EQ(aProvoked,
              std::set<std::string>(std::begin(WarningIdentifier::kAll), std::end(WarningIdentifier::kAll)));
    std::ifstream aPage(QUORIX_SOURCE_DIR "/docs/warnings.md");
    std::set<std::string> aDocumented;
    for (std::string aLine; std::getline(aPage, aLine);)
    {
        if (aLine.starts_with("| `"))
        {
            aDocumented.insert(aLine.substr(3, aLine.find('`', 3) - 3));
        }
    }
    EXPECT_EQ(aDocumented, aProvoked);
}

TEST(Reading, SaysWhatShareOfJpeg2000IsMissing)
{
    // One tile, whose 18 bytes of packets begin at 82; four tiles, each of one tile-part.
    const Bytes anOne = Jpeg2000Streams::Indices();
    const Bytes aFour = Jpeg2000Streams::Grey12();
    constexpr std::size_t kLengthOfTilePart = 74;
    const Bytes aStart = {0xff, 0x90};
    const auto aFirst = std::search(aFour.begin(), aFour.end(), aStart.begin(), aStart.end());
    const auto aSecond = std::search(aFirst + 1, aFour.end(), aStart.begin(), aStart.end());
    for (const auto& [aStream, aLength, aText] :
         {std::tuple(anOne, std::size_t{91}, "1 of 1 tiles: 50.0 %"),
          std::tuple(anOne, std::size_t{82}, "1 of 1 tiles: 100.0 %"),
          std::tuple(Jpeg2000Streams::Patch(anOne, kLengthOfTilePart, {0, 0, 0, 0}), std::size_t{91},
                     "1 of 1 tiles: an unknown share"),
          std::tuple(aFour, static_cast<std::size_t>(aSecond - aFour.begin()), "3 of 4 tiles: 75.0 %")})
    {
        const Outcome anOutcome =
            RunBareImage(Bytes(aStream.data(), aStream.data() + aLength), TransferSyntaxType::TSJPEG2KUID,
                         nullptr, {.itsReading = Reading::BY_MEANING});
        ASSERT_EQ(Names(anOutcome.itsResult.getWarnings()), std::vector<std::string>{"truncated@0"});
        EXPECT_EQ(anOutcome.itsResult.getWarnings().front().itsText,
                  std::string("the data end early in ") + aText +
                      " of the data missing, and with it detail or all of the picture there");
    }
}

TEST(Reading, RatiosAreThoseOfTheWholeFrame)
{
    const JpegSpec aDeep{
        .itsWidth = 64, .itsHeight = 64, .itsPrecision = 12, .itsProcess = JpegSpec::Process::EXTENDED};
    const JpegSpec aPlain{.itsWidth = 64, .itsHeight = 64};
    const Bytes aFrame = Even(MakeFlatJpeg(aDeep, {100})), aBare = MakeFlatJpeg(aPlain, {100});
    DicomBuilder aBuilder(DicomBuilder::Syntax::EXPLICIT_LITTLE, TransferSyntaxType::TSJPEG51UID);
    aBuilder.AddImageAttributes(1, "MONOCHROME2", 64, 64, 16, 8);
    const Bytes aFile = aBuilder.AddEncapsulatedPixelData({aFrame}).Build();
    const auto aRatio = [](std::size_t theSize, const Bytes& theStream)
    { return static_cast<int>(static_cast<double>(theSize) / static_cast<double>(theStream.size()) + 0.5); };
    // Under a data set; the ratios by contract and by meaning.
    const std::tuple<Row, int, int> kCases[] = {
        {{"deep", aFile, {}}, 0, aRatio(64 * 64 * 2, aFrame)},
        {{"bare", aBare, {}, {}, kBaseline, [](DataSet&) {}}, 0, aRatio(64 * 64, aBare)},
        {{"not reduced", Grey8(), {}, {}, "", {}, 3}, 16, 1}};
    for (const auto& [aRow, aByContract, aByMeaning] : kCases)
    {
        EXPECT_EQ(::Run(aRow, Reading::BY_CONTRACT).Image()->getCompressionRatio(), aByContract)
            << aRow.itsName;
        EXPECT_EQ(::Run(aRow, Reading::BY_MEANING).Image()->getCompressionRatio(), aByMeaning)
            << aRow.itsName;
    }
}

namespace
{
/// The images of a walk over all frames, in words, and the warnings that came with each.
struct Walked
{
    std::vector<std::string> itsImages;
    std::vector<std::vector<std::string>> itsWarnings;
};

Walked Walk(DecompressionRequest& theRequest, MemoryAllocater& theAllocator, DecompressionResult& theResult)
{
    Walked aWalked;
    Part10FrameWalk::Run(
        theRequest, theAllocator, 0,
        [&](int, std::unique_ptr<Renderable> theImage, const std::vector<DecodeWarning>& theWarnings)
        {
            aWalked.itsImages.push_back(Words(*theImage));
            aWalked.itsWarnings.push_back(Names(theWarnings));
            return true;
        },
        theResult);
    EXPECT_EQ(theResult.getMessage(), "Completed successfully");
    return aWalked;
}
} // namespace

// What the first frame corrected in the data set must not look as if the file had said it.
TEST(Reading, EveryFrameIsMeasuredByWhatTheFileSays)
{
    using namespace Jpeg2000Streams;
    const Bytes anUnsigned = Patch(Grey12(), kDepthOfComponent0, {11});
    const Bytes aMisdeclared = GreyJpeg2000({anUnsigned, anUnsigned});
    const Bytes aMixed = GreyJpeg2000({Grey12(), anUnsigned}, 16, 0);
    const std::vector<std::string> aSign{"sign@1"};
    const JpegSpec aPlain{.itsWidth = 8, .itsHeight = 8};
    JpegSpec aSpec = aPlain;
    aSpec.itsPrecision = 12;
    aSpec.itsProcess = JpegSpec::Process::EXTENDED;
    const Bytes aJpeg = MakeJpeg(aSpec, MakeFlatSamples(aSpec, {2000}));
    const Bytes aDeep = Encapsulated(kBaseline, aPlain, "MONOCHROME2", {aJpeg, aJpeg});
    for (const auto& [aFile, aReading, anImage, aWarnings] :
         {std::tuple(aMisdeclared, Reading::BY_CONTRACT, "MONOCHROME2 16/12/11", aSign),
          std::tuple(aMisdeclared, Reading::BY_MEANING, "MONOCHROME2 16/12/11 signed", aSign),
          std::tuple(aDeep, Reading::BY_MEANING, "MONOCHROME2 16/12/11 lossy",
                     std::vector<std::string>{"depth@1"}),
          std::tuple(aMixed, Reading::BY_CONTRACT, "MONOCHROME2 16/16/15", std::vector<std::string>()),
          std::tuple(aMixed, Reading::BY_MEANING, "MONOCHROME2 16/16/15", std::vector<std::string>())})
    {
        MemoryInputStream aStream(aFile.data(), aFile.size());
        DecompressionRequest aRequest(&aStream, nullptr, "", false, 1, 0, "", false);
        aRequest.setReading(aReading);
        DecompressionResult aResult;
        CountingAllocator anAllocator;
        const Walked aWalked = Walk(aRequest, anAllocator, aResult);
        EXPECT_EQ(aWalked.itsImages.back(), anImage);
        EXPECT_EQ(aWalked.itsWarnings.back(), aWarnings);
        if (!aWarnings.empty())
        {
            EXPECT_EQ(aResult.getWarnings().front().itsText, aResult.getWarnings().back().itsText);
        }
    }
}

TEST(Reading, DamageIsToldByFrameAndPrintedByContractOnly)
{
    // What is printed is the IJG library's.
    const Bytes aJpeg = HalfDamaged();
    const Bytes aJpeg2000 = HalfDamagedJpeg2000();
    for (const auto& [aFile, aReading, isPrinted] :
         {std::tuple(aJpeg, Reading::BY_CONTRACT, true), std::tuple(aJpeg, Reading::BY_MEANING, false),
          std::tuple(aJpeg2000, Reading::BY_CONTRACT, false),
          std::tuple(aJpeg2000, Reading::BY_MEANING, false)})
    {
        SCOPED_TRACE(std::to_string(aFile.size()) + " bytes, reading " +
                     std::to_string(static_cast<int>(aReading)));
        MemoryInputStream aStream(aFile.data(), aFile.size());
        DecompressionRequest aRequest(&aStream, nullptr, "", false, 1, 0, "", false);
        aRequest.setReading(aReading);
        DecompressionResult aResult;
        CountingAllocator anAllocator;
        testing::internal::CaptureStderr();
        const Walked aWalked = Walk(aRequest, anAllocator, aResult);
        const std::string aPrinted = testing::internal::GetCapturedStderr();
        EXPECT_EQ(aWalked.itsWarnings, (std::vector<std::vector<std::string>>{{}, {"damaged@1"}}));
        EXPECT_EQ(Names(aResult.getWarnings()), std::vector<std::string>{"damaged@1"});
        EXPECT_EQ(aPrinted.empty(), !isPrinted) << aPrinted;

        // A result that is used again does not keep them.
        DICOMPart10StreamDecompressor(anAllocator).Decompress(aRequest, aResult);
        EXPECT_TRUE(aResult.getWarnings().empty());
    }
}
