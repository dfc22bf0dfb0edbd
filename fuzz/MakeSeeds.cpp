// SPDX-License-Identifier: Apache-2.0
// Writes the inputs that fuzzers start from: make_seeds FOLDER fills FOLDER/<target>/.
#include <filesystem>
#include <fstream>
#include <string>

#include <charls/charls.h>

#include "FuzzInput.h"
#include "image/Renderable.h"
#include "support/DicomBuilder.h"
#include "support/Jpeg2000Streams.h"
#include "support/JpegFixtures.h"
#include "support/RleEncoder.h"
#include "toolkit/dicom/TransferSyntaxType.h"

namespace
{
namespace fs = std::filesystem;
using Process = JpegSpec::Process;
using Syntax = DicomBuilder::Syntax;

fs::path theFolder;

/// theParameters are in the order in which the target takes them: from the end.
void Write(const std::string& theTarget, const std::string& theName, Bytes theBytes,
           const Bytes& theParameters)
{
    theBytes.insert(theBytes.end(), theParameters.rbegin(), theParameters.rend());
    const fs::path aTarget = theFolder / theTarget;
    fs::create_directories(aTarget);
    std::ofstream(aTarget / theName, std::ios::binary)
        .write(reinterpret_cast<const char*>(theBytes.data()), static_cast<std::streamsize>(theBytes.size()));
}

Bytes Ramp(std::size_t theCount)
{
    Bytes aBytes(theCount);
    for (std::size_t i = 0; i < theCount; ++i)
    {
        aBytes[i] = static_cast<std::uint8_t>(i * i / 7);
    }
    return aBytes;
}

/// What a frame is, as the parameters of the targets that take frames say it.
struct Description
{
    int itsWidth;
    int itsHeight;
    int itsSamples = 1;
    int itsBits = 8;
    const char* itsInterpretation = "MONOCHROME2";
    std::uint8_t itsInterpretationIndex = 0;
};

Bytes DescribeFrame(const Description& theFrame)
{
    return {static_cast<std::uint8_t>(theFrame.itsBits - 1),
            0,
            0,
            0,
            static_cast<std::uint8_t>(theFrame.itsHeight),
            static_cast<std::uint8_t>(theFrame.itsWidth),
            static_cast<std::uint8_t>(theFrame.itsSamples == 3 ? 1 : 0),
            static_cast<std::uint8_t>(theFrame.itsBits > 8 ? 1 : 0),
            0,
            theFrame.itsInterpretationIndex};
}

Bytes operator+(Bytes theFirst, const Bytes& theSecond)
{
    theFirst.insert(theFirst.end(), theSecond.begin(), theSecond.end());
    return theFirst;
}

/// A file of two frames, and the targets that read files.
void WriteFile(const std::string& theName, const RWCString& theUID, const Description& theFrame,
               Bytes theBytes)
{
    theBytes.resize((theBytes.size() + 1) / 2 * 2);
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE, theUID);
    aBuilder.AddImageAttributes(static_cast<std::uint16_t>(theFrame.itsSamples), theFrame.itsInterpretation,
                                static_cast<std::uint16_t>(theFrame.itsHeight),
                                static_cast<std::uint16_t>(theFrame.itsWidth),
                                static_cast<std::uint16_t>(theFrame.itsBits > 8 ? 16 : 8),
                                static_cast<std::uint16_t>(theFrame.itsBits), 0, 2);
    const auto aSecond = static_cast<std::uint32_t>(theBytes.size() + 8);
    aBuilder.AddEncapsulatedPixelData({theBytes, theBytes}, {0, aSecond});
    Write("part10", theName, aBuilder.Build(), {1, 0, 0, 1});
    Write("pixelstream", theName, aBuilder.Build(), {99, 3});
}

void WriteRle()
{
    struct Row
    {
        const char* itsName;
        Description itsFrame;
    };
    const Row kRows[] = {{"rle8", {13, 9}},
                         {"rle16", {13, 9, 1, 16}},
                         {"rleRGB", {13, 9, 3, 8, "RGB", 1}},
                         {"rleRGB16", {5, 4, 3, 16, "RGB", 1}}};
    for (const auto& [aName, aFrame] : kRows)
    {
        const std::size_t aBytesPerSample = aFrame.itsBits > 8 ? 2 : 1;
        const auto aColumns = static_cast<std::size_t>(aFrame.itsWidth);
        const auto aSamples = static_cast<std::size_t>(aFrame.itsSamples);
        const Bytes aStream = RleEncoder::Encode(
            Ramp(aColumns * static_cast<std::size_t>(aFrame.itsHeight) * aSamples * aBytesPerSample),
            aBytesPerSample, aSamples, aColumns);
        Write("rle", aName, aStream, Bytes{0} + DescribeFrame(aFrame));
        WriteFile(aName, TransferSyntaxType::TSRLEUID, aFrame, aStream);
    }
}

Bytes EncodeJPEGLS(const Bytes& thePixels, const Description& theFrame, charls::interleave_mode theMode,
                   int theNear)
{
    charls::jpegls_encoder anEncoder;
    anEncoder
        .frame_info({static_cast<std::uint32_t>(theFrame.itsWidth),
                     static_cast<std::uint32_t>(theFrame.itsHeight), theFrame.itsBits, theFrame.itsSamples})
        .interleave_mode(theMode)
        .near_lossless(theNear);
    Bytes aStream(anEncoder.estimated_destination_size());
    anEncoder.destination(aStream);
    aStream.resize(anEncoder.encode(thePixels));
    return aStream;
}

/// Stored blocks only, which any change leaves valid but for the lengths.
Bytes Deflate(const Bytes& theBytes)
{
    const auto aLow = static_cast<std::uint8_t>(theBytes.size()),
               aHigh = static_cast<std::uint8_t>(theBytes.size() >> 8);
    return Bytes{1, aLow, aHigh, static_cast<std::uint8_t>(~aLow), static_cast<std::uint8_t>(~aHigh)} +
           theBytes;
}

void WriteExtensions()
{
    using Mode = charls::interleave_mode;
    struct Row
    {
        const char* itsName;
        Description itsFrame;
        Mode itsMode = Mode::none;
        int itsNear = 0;
    };
    const Row kRows[] = {{"grey8", {13, 9}},
                         {"grey16", {13, 9, 1, 16}},
                         {"grey16Near", {13, 9, 1, 16}, Mode::none, 3},
                         {"planes", {13, 9, 3, 8, "RGB", 1}},
                         {"lines", {13, 9, 3, 8, "RGB", 1}, Mode::line},
                         {"pixels", {5, 4, 3, 16, "YBR_FULL", 2}, Mode::sample}};
    for (const auto& [aName, aFrame, aMode, aNear] : kRows)
    {
        const Bytes aPixels = Ramp(static_cast<std::size_t>(aFrame.itsWidth * aFrame.itsHeight *
                                                            aFrame.itsSamples * (aFrame.itsBits / 8)));
        const Bytes aStream = EncodeJPEGLS(aPixels, aFrame, aMode, aNear);
        const Bytes kStreams[] = {aStream, aStream, aPixels, Deflate(aPixels)};
        for (std::uint8_t aSyntax = 0; aSyntax < std::size(kStreams); ++aSyntax)
        {
            Write("extensions", aName + std::to_string(aSyntax), kStreams[aSyntax],
                  Bytes{aSyntax, 0} + DescribeFrame(aFrame));
        }
        Write("bare", aName + std::string("LS"), aStream, {0, 0, 0, 1, 0});
        WriteFile(aName + std::string("LS"), TransferSyntaxType::TSJPEGLSUID, aFrame, aStream);
    }
}

/// The first Huffman table and the entropy-coded data of a lossless image of one component.
void WriteLosslessScan(const std::string& theName, const JpegSpec& theSpec, const Bytes& theStream)
{
    std::size_t aTable = 0;
    std::size_t aScan = 0;
    for (std::size_t i = 2; theStream[i] == 0xff && aScan == 0;
         i += 2u + static_cast<std::size_t>(theStream[i + 2] * 256 + theStream[i + 3]))
    {
        aTable = theStream[i + 1] == 0xc4 && aTable == 0 ? i + 5 : aTable;
        aScan = theStream[i + 1] == 0xda ? i + 10 : 0;
    }
    const auto aLength = static_cast<std::size_t>(theStream[aTable - 3] * 256 + theStream[aTable - 2]) - 3;
    const auto aByte = [](int theNumber) { return static_cast<std::uint8_t>(theNumber); };
    const Bytes aGeometry = {aByte(theSpec.itsWidth - 1), aByte(theSpec.itsHeight - 1),
                             aByte(theSpec.itsPrecision - 2), aByte(theSpec.itsPredictor - 1),
                             aByte(theSpec.itsPointTransform)};
    const Bytes aManner = {aByte(theSpec.itsRestartInterval != 0 ? 2 : 0), 0, 1, 1, 0, 1, 0, 0, 0};
    const auto aBegin = theStream.begin() + static_cast<std::ptrdiff_t>(aTable);
    Write("losslessscan", theName,
          Bytes(theStream.begin() + static_cast<std::ptrdiff_t>(aScan), theStream.end()),
          aGeometry + aManner + Bytes(aBegin, aBegin + static_cast<std::ptrdiff_t>(aLength)));
}

void WriteJpeg(const std::string& theName, const JpegSpec& theSpec)
{
    const Bytes aStream = MakeJpeg(theSpec, MakeSamples(theSpec));
    const bool isColour = theSpec.itsComponents == 3;
    const bool isLossless = theSpec.itsProcess == Process::LOSSLESS;
    const Description aFrame{theSpec.itsWidth,
                             theSpec.itsHeight,
                             theSpec.itsComponents,
                             theSpec.itsPrecision,
                             isColour ? (isLossless ? "RGB" : "YBR_FULL_422") : "MONOCHROME2",
                             static_cast<std::uint8_t>(isColour ? (isLossless ? 1 : 3) : 0)};
    const std::uint8_t aSyntax = isLossless ? 2 : (theSpec.itsPrecision > 8 ? 1 : 0);
    const auto aBuild = static_cast<std::uint8_t>(theSpec.itsPrecision > 12  ? 2
                                                  : theSpec.itsPrecision > 8 ? 1
                                                                             : 0);
    Write("jpeg", theName, aStream, Bytes{aSyntax, aBuild} + DescribeFrame(aFrame));
    Write("bare", theName, aStream, {aSyntax, 0, 0, 1, 0});
    WriteFile(theName,
              isLossless                 ? TransferSyntaxType::TSJPEG57UID
              : theSpec.itsPrecision > 8 ? TransferSyntaxType::TSJPEG51UID
                                         : TransferSyntaxType::TSJPEG50UID,
              aFrame, aStream);
    if (isLossless && !isColour)
    {
        WriteLosslessScan(theName, theSpec, aStream);
    }
}

JpegSpec Specify(int theWidth, int theHeight, int theComponents, int thePrecision, Process theProcess)
{
    JpegSpec aSpec;
    aSpec.itsWidth = theWidth;
    aSpec.itsHeight = theHeight;
    aSpec.itsComponents = theComponents;
    aSpec.itsPrecision = thePrecision;
    aSpec.itsProcess = theProcess;
    return aSpec;
}

void WriteLossyJpegs()
{
    WriteJpeg("baseline", Specify(19, 11, 1, 8, Process::BASELINE));
    JpegSpec aSpec = Specify(19, 18, 3, 8, Process::BASELINE);
    aSpec.itsSampling = {{2, 1}, {}, {}};
    WriteJpeg("baseline422", aSpec);
    aSpec.itsSampling = {{2, 2}, {}, {}};
    aSpec.itsRestartInterval = 1;
    WriteJpeg("baseline420", aSpec);
    WriteJpeg("progressive", Specify(17, 9, 3, 8, Process::PROGRESSIVE));
    WriteJpeg("extended12", Specify(17, 9, 1, 12, Process::EXTENDED));
    // Large and next to empty: further scans of it cost a lot and take few bytes.
    const JpegSpec aFlat = Specify(1024, 1024, 1, 8, Process::PROGRESSIVE);
    Write("jpeg", "progressiveFlat", MakeJpeg(aFlat, MakeFlatSamples(aFlat, {100})),
          Bytes{0, 0} + DescribeFrame({255, 255}));
}

void WriteLosslessJpegs()
{
    for (const int aPrecision : {8, 12, 16})
    {
        const std::string aName = "lossless" + std::to_string(aPrecision);
        for (const int aPredictor : {1, 4, 7})
        {
            JpegSpec aSpec = Specify(17, 7, 1, aPrecision, Process::LOSSLESS);
            aSpec.itsRestartInterval = aPredictor == 7 ? 34 : 0;
            aSpec.itsPredictor = aPredictor;
            WriteJpeg(aName + "p" + std::to_string(aPredictor), aSpec);
        }
        JpegSpec aSpec = Specify(9, 7, 3, aPrecision, Process::LOSSLESS);
        aSpec.itsInterleaved = aPrecision != 12;
        aSpec.itsTwoTables = true;
        WriteJpeg(aName + "RGB", aSpec);
    }
}

void WriteJpeg2000()
{
    using namespace Jpeg2000Streams;
    struct Row
    {
        const char* itsName;
        Bytes itsStream;
        Description itsFrame;
    };
    const Row kRows[] = {{"grey12", Grey12(), {kGreyWidth, kGreyHeight, 1, 12}},
                         {"colour", Colour(), {kColourWidth, kColourHeight, 3, 8, "YBR_RCT", 5}},
                         {"plain", PlainColour(), {kColourWidth, kColourHeight, 3, 8, "RGB", 1}},
                         {"lossy", Lossy(), {kLossySize, kLossySize, 3, 8, "YBR_ICT", 6}},
                         {"deep", DeepColour(), {4, 4, 3, 12, "RGB", 1}},
                         {"pair", Pair(), {4, 4}},
                         {"highThroughput", HighThroughput(), {kGreyWidth, kGreyHeight, 1, 12}},
                         {"highThroughputBlock", HighThroughputBlock(), {4, 4}}};
    for (const auto& [aName, aStream, aFrame] : kRows)
    {
        const std::string aJp2Name = std::string(aName) + "_jp2";
        Write("jpeg2000", aName, aStream, Bytes{1} + DescribeFrame(aFrame));
        Write("jpeg2000", aJp2Name, MakeJp2(aStream), Bytes{0} + DescribeFrame(aFrame));
        Write("bare", aName, aStream, {3, 0, 0, 1, 0});
        Write("bare", aJp2Name, MakeJp2(aStream), {4, 1, 0, 0, 1});
        Write("jp2", aJp2Name, MakeJp2(aStream), {12});
        WriteFile(aName, TransferSyntaxType::TSJPEG2KUID, aFrame, aStream);
    }
    const Bytes aPalette = Box("pclr", Bytes{0, 2, 3, 7, 7, 7, 0, 1, 2, 250, 251, 252});
    const Bytes aMapping = Box("cmap", Bytes{0, 0, 1, 0, 0, 0, 1, 1, 0, 0, 1, 2});
    const Bytes aChannels = Box("cdef", Bytes{0, 1, 0, 0, 0, 0, 0, 1});
    const Bytes aHeader = Box("ihdr", Bytes{0, 0, 0, 11, 0, 0, 0, 13, 0, 1, 7, 7, 0, 0}) +
                          Box("colr", Bytes{1, 0, 0, 0, 0, 0, 16}) + aPalette + aMapping + aChannels;
    Write("jp2", "palette",
          Box("jP  ", Bytes{0x0d, 0x0a, 0x87, 0x0a}) +
              Box("ftyp", Bytes{'j', 'p', '2', ' ', 0, 0, 0, 0, 'j', 'p', '2', ' '}) + Box("jp2h", aHeader) +
              Box("uuid", Ramp(20)) + Box("jp2c", Grey12()),
          {0});
    const std::pair<const char*, Bytes> kColoured[] = {
        {"indices", MakeJp2(Indices(), aPalette + aMapping)},
        {"sycc", MakeJp2(Colour(), ColourBox(18))},
        {"opacity", MakeJp2(Pair(), Box("cdef", Bytes{0, 2, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 1}))}};
    for (const auto& [aName, aFile] : kColoured)
    {
        Write("jp2", aName, aFile, {0});
        Write("bare", aName, aFile, {4, 0, 0, 0, 0});
    }
}

/// A palette, its descriptors and native pixels: all elements that the colour targets read.
Bytes PaletteElements()
{
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE);
    aBuilder.AddImageAttributes(1, "PALETTE COLOR", 6, 7, 8, 8);
    for (const DICOMTag aTag :
         {DICOMTags::RedPaletteColorLookupTableDescriptor, DICOMTags::GreenPaletteColorLookupTableDescriptor,
          DICOMTags::BluePaletteColorLookupTableDescriptor})
    {
        aBuilder.AddUS(aTag, {16, 2, 16});
    }
    aBuilder.AddBytes(DICOMTags::RedPaletteColorLookupTableData, "OW", Ramp(32));
    aBuilder.AddBytes(DICOMTags::GreenPaletteColorLookupTableData, "OW", Ramp(32));
    aBuilder.AddBytes(DICOMTags::SegmentedBluePaletteColorLookupTableData, "OW",
                      {0, 0, 2, 0, 1, 2, 3, 4, 1, 0, 10, 0, 9, 200, 2, 0, 4, 0, 0, 0, 0, 0});
    return aBuilder.AddNativePixelData(Ramp(42), "OB").DataSet();
}

void WriteNative()
{
    struct Row
    {
        const char* itsName;
        Syntax itsSyntax;
        int itsSamples;
        const char* itsInterpretation;
        int itsBits;
    };
    const Row kRows[] = {{"explicit8", Syntax::EXPLICIT_LITTLE, 1, "MONOCHROME2", 8},
                         {"implicit16", Syntax::IMPLICIT_LITTLE, 1, "MONOCHROME1", 16},
                         {"big16", Syntax::EXPLICIT_BIG, 1, "MONOCHROME2", 16},
                         {"deflatedRGB", Syntax::DEFLATED, 3, "RGB", 8},
                         {"ybr", Syntax::EXPLICIT_LITTLE, 3, "YBR_FULL", 8},
                         {"ybr422", Syntax::EXPLICIT_LITTLE, 3, "YBR_FULL_422", 8}};
    for (const Row& aRow : kRows)
    {
        DicomBuilder aBuilder(aRow.itsSyntax);
        aBuilder.AddImageAttributes(static_cast<std::uint16_t>(aRow.itsSamples), aRow.itsInterpretation, 6, 8,
                                    static_cast<std::uint16_t>(aRow.itsBits),
                                    static_cast<std::uint16_t>(aRow.itsBits));
        aBuilder.AddNativePixelData(Ramp(static_cast<std::size_t>(48 * aRow.itsSamples * aRow.itsBits / 8)));
        Write("part10", aRow.itsName, aBuilder.Build(), {1, 0, 0, 1});
    }
    DicomBuilder aPalette(Syntax::EXPLICIT_LITTLE);
    aPalette.AddRaw(PaletteElements());
    Write("part10", "palette", aPalette.Build(), {1, 0, 0, 1});
}

/// Slides of 2 x 2 tiles, whose places are known or told, a region of each.
void WriteSlides()
{
    DicomBuilder aPosition(Syntax::EXPLICIT_LITTLE);
    aPosition.AddUL(DICOMTags::ColumnPositionInTotalImagePixelMatrix, {1})
        .AddUL(DICOMTags::RowPositionInTotalImagePixelMatrix, {9});
    DicomBuilder aGroup(Syntax::EXPLICIT_LITTLE);
    aGroup.AddSequence(DICOMTags::PlanePositionSlideSequence, {aPosition});
    for (const char* const aName : {"TILED_FULL", "TILED_SPARSE"})
    {
        DicomBuilder aSlide(Syntax::EXPLICIT_LITTLE);
        aSlide.AddString(DICOMTags::DimensionOrganizationType, "CS", aName)
            .AddImageAttributes(1, "MONOCHROME2", 8, 8, 8, 8, 0, 4)
            .AddUL(DICOMTags::TotalPixelMatrixColumns, {15})
            .AddUL(DICOMTags::TotalPixelMatrixRows, {16})
            .AddSequence(DICOMTags::PerFrameFunctionalGroupsSequence, {aGroup, aGroup})
            .AddNativePixelData(Ramp(256));
        Write("part10", aName, aSlide.Build(), {1, 0, 3, 1});
    }
}

void WriteDataSets()
{
    for (std::uint8_t anInterpretation = 0; anInterpretation <= 10; ++anInterpretation)
    {
        const bool isGrey = anInterpretation <= 3;
        const Bytes anImage = {anInterpretation,
                               static_cast<std::uint8_t>(isGrey ? 1 : 0),
                               static_cast<std::uint8_t>(anInterpretation % 2),
                               8,
                               8,
                               6,
                               7,
                               0,
                               0,
                               1,
                               1,
                               0};
        Write("colour", std::to_string(anInterpretation), PaletteElements(),
              Bytes{8, static_cast<std::uint8_t>(isGrey ? 1 : 0), 1} + anImage + Bytes{0, 5, 1, 2, 0, 0});
        Write("fixup", std::to_string(anInterpretation), PaletteElements(), Bytes{2, 1, 1, 0} + anImage);
    }
    DicomBuilder aHistory(Syntax::EXPLICIT_LITTLE);
    aHistory.AddString(DICOMTags::ImageType, "CS", "ORIGINAL\\PRIMARY");
    aHistory.AddString(DICOMTags::SOPInstanceUID, "UI", "1.2.3");
    aHistory.AddString(DICOMTags::DerivationDescription, "ST", "earlier");
    aHistory.AddSequence(DICOMTags::SourceImageSequence, {});
    aHistory.AddImageAttributes(3, "YBR_FULL_422", 6, 7, 8, 8);
    aHistory.AddString(DICOMTags::LossyImageCompression, "CS", "01");
    aHistory.AddString(DICOMTags::LossyImageCompressionRatio, "DS", "7.5\\12");
    aHistory.AddString(DICOMTags::LossyImageCompressionMethod, "CS", "ISO_10918_1");
    aHistory.AddString({0x1021, 0x0016}, "LO", "QUORIX0");
    Write("fixup", "history", aHistory.DataSet(), Bytes{1, 1, 1, 0, 4, 0, 0, 8, 8, 6, 7, 0, 0, 1, 1, 0});
}

void WriteCacheFiles()
{
    for (const int aSamples : {1, 3})
    {
        Renderable anImage;
        anImage.setPhotometricInterpretation(aSamples == 3 ? Renderable::RGB : Renderable::MONOCHROME2);
        anImage.setSamplesPerPixel(aSamples);
        anImage.setRows(4);
        anImage.setColumns(5);
        anImage.setBitsAllocated(aSamples == 3 ? 8 : 16);
        anImage.setScaleFactor(1);
        anImage.allocatePixelData();
        const fs::path aName = theFolder / "cache";
        anImage.saveToFile(aName.c_str());
        std::ifstream aFile(aName, std::ios::binary);
        Write("cachefile", std::to_string(aSamples),
              Bytes((std::istreambuf_iterator<char>(aFile)), std::istreambuf_iterator<char>()), {2, 0});
        fs::remove(aName);
    }
}
} // namespace

int main(int theCount, char** theArguments)
{
    if (theCount != 2)
    {
        std::fprintf(stderr, "usage: make_seeds FOLDER\n");
        return 1;
    }
    theFolder = theArguments[1];
    WriteRle();
    WriteExtensions();
    WriteLossyJpegs();
    WriteLosslessJpegs();
    WriteJpeg2000();
    WriteNative();
    WriteSlides();
    WriteDataSets();
    WriteCacheFiles();
    return 0;
}
