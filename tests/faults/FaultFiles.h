// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <ctime>
#include <iostream>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "decoding/DecoderFactory.h"
#include "decompressors/DecompressorRuns.h"
#include "decompressors/Part10Files.h"
#include "support/Jpeg2000Streams.h"
#include "support/JpegFixtures.h"
#include "support/RleEncoder.h"
#include "toolkit/base/Limits.h"
#include "toolkit/dicom/TransferSyntaxType.h"

/// One small file for each codec and each way to store pixels, to be broken in every way.
struct FaultFile
{
    std::string itsName;
    RWCString itsUID;
    Bytes itsFrame; ///< the compressed frame; empty for native pixels
    Bytes itsFile;
    Bytes itsMovie; ///< a file of that frame, another one and that frame again; empty for native pixels
};

namespace FaultFiles
{
inline void Add(std::vector<FaultFile>& theFiles, const std::string& theName, const RWCString& theUID,
                const JpegSpec& theSpec, const std::string& theInterpretation, const Bytes& theFrame,
                const Bytes& theOtherFrame)
{
    theFiles.push_back(
        {theName, theUID, theFrame, Part10Files::Encapsulated(theUID, theSpec, theInterpretation, {theFrame}),
         Part10Files::Encapsulated(theUID, theSpec, theInterpretation, {theFrame, theOtherFrame, theFrame})});
}

inline void AddJpeg(std::vector<FaultFile>& theFiles, const std::string& theName, const RWCString& theUID,
                    JpegSpec::Process theProcess, int thePrecision, int theComponents = 1)
{
    const JpegSpec aSpec{9, 5, theComponents, thePrecision, theProcess};
    const bool isLossless = theProcess == JpegSpec::Process::LOSSLESS;
    Add(theFiles, theName, theUID, aSpec,
        theComponents == 1 ? "MONOCHROME2" : (isLossless ? "RGB" : "YBR_FULL_422"),
        MakeJpeg(aSpec, MakeSamples(aSpec)), MakeJpeg(aSpec, MakeSamples(aSpec, 2)));
}

inline void AddJpeg2000(std::vector<FaultFile>& theFiles)
{
    using namespace Jpeg2000Streams;
    Add(theFiles, "JPEG 2000 lossless", TransferSyntaxType::TSJPEG2KLosslessUID,
        {.itsWidth = kGreyWidth, .itsHeight = kGreyHeight, .itsPrecision = 12}, "MONOCHROME2", Grey12(),
        Grey12());
    Add(theFiles, "JPEG 2000 lossy", TransferSyntaxType::TSJPEG2KUID,
        {.itsWidth = kLossySize, .itsHeight = kLossySize, .itsComponents = 3}, "YBR_ICT", Lossy(), Lossy());
}

inline void AddRleAndNative(std::vector<FaultFile>& theFiles)
{
    using namespace Part10Files;
    Add(theFiles, "RLE 16 bits", TransferSyntaxType::TSRLEUID,
        {.itsWidth = 7, .itsHeight = 5, .itsPrecision = 16}, "MONOCHROME2",
        RleEncoder::Encode(Counting(70), 2, 1, 7), RleEncoder::Encode(Counting(70, 70), 2, 1, 7));
    Add(theFiles, "RLE colour", TransferSyntaxType::TSRLEUID,
        {.itsWidth = 7, .itsHeight = 5, .itsComponents = 3}, "RGB",
        RleEncoder::Encode(Counting(105), 1, 3, 7), RleEncoder::Encode(Counting(105, 105), 1, 3, 7));
    const auto aNative = [&](const char* theName, DicomBuilder::Syntax theSyntax, int theSamples,
                             const char* theInterpretation, int theBits, int theIsSigned, const char* theVR)
    {
        const Bytes aPixels = Counting(30u * static_cast<unsigned>(theSamples * theBits / 8));
        theFiles.push_back(
            {theName,
             DicomBuilder::UIDOf(theSyntax),
             {},
             Native(theSyntax, theSamples, theInterpretation, 5, 6, theBits, theIsSigned, aPixels, theVR),
             {}});
    };
    aNative("native", DicomBuilder::Syntax::EXPLICIT_LITTLE, 3, "YBR_FULL", 8, 0, "OB");
    aNative("deflated", DicomBuilder::Syntax::DEFLATED, 1, "MONOCHROME2", 16, 1, "OW");
}

/// By contract these are there with the switch only, which stays on in programs that ask for them.
inline void AddExtensions(std::vector<FaultFile>& theFiles)
{
    DecoderFactory::EnableExtensions(true);
    // 3 x 2 pixels, 1, 2, 3, 250, 5, 6, by CharLS 2.4.1; and near-lossless ones.
    const Bytes kHead = {0xff, 0xd8, 0xff, 0xf7, 0,    11,   8, 0, 2, 0, 3,
                         1,    1,    0x11, 0,    0xff, 0xda, 0, 8, 1, 1, 0};
    const auto aStream = [&](const Bytes& theRest)
    {
        Bytes aBytes = kHead;
        aBytes.insert(aBytes.end(), theRest.begin(), theRest.end());
        return aBytes;
    };
    Add(theFiles, "JPEG-LS", TransferSyntaxType::TSJPEGLSUID, {.itsWidth = 3, .itsHeight = 2}, "MONOCHROME2",
        aStream({0, 0, 0, 0x5b, 0x45, 6, 0xc0, 0xff, 0xd9}), aStream({2, 0, 0, 0xd9, 0x0a, 0xff, 0xd9}));
    const Bytes aPixels = Part10Files::Counting(90), anOther = Part10Files::Counting(90, 90);
    const JpegSpec aColour{.itsWidth = 6, .itsHeight = 5, .itsComponents = 3};
    Add(theFiles, "uncompressed frames", TransferSyntaxType::TSEncapsulatedUncompressedUID, aColour, "RGB",
        aPixels, anOther);
    const auto aDeflate = [](Bytes theBytes)
    {
        const auto aLength = static_cast<std::uint8_t>(theBytes.size());
        const Bytes aBlock = {1, aLength, 0, static_cast<std::uint8_t>(~aLength), 0xff};
        theBytes.insert(theBytes.begin(), aBlock.begin(), aBlock.end());
        return theBytes;
    };
    Add(theFiles, "deflated frames", TransferSyntaxType::TSDeflatedImageFrameUID, aColour, "RGB",
        aDeflate(aPixels), aDeflate(anOther));
}

inline const std::vector<FaultFile>& Get()
{
    static const std::vector<FaultFile> kFiles = []
    {
        using Process = JpegSpec::Process;
        std::vector<FaultFile> aFiles;
        AddRleAndNative(aFiles);
        AddJpeg(aFiles, "JPEG baseline", TransferSyntaxType::TSJPEG50UID, Process::BASELINE, 8, 3);
        AddJpeg(aFiles, "JPEG progressive", TransferSyntaxType::TSJPEG51UID, Process::PROGRESSIVE, 8);
        AddJpeg(aFiles, "JPEG 12 bits", TransferSyntaxType::TSJPEG51UID, Process::EXTENDED, 12);
        AddJpeg(aFiles, "JPEG lossless 8 bits", TransferSyntaxType::TSJPEG70UID, Process::LOSSLESS, 8, 3);
        AddJpeg(aFiles, "JPEG lossless 16 bits", TransferSyntaxType::TSJPEG57UID, Process::LOSSLESS, 16);
        AddJpeg2000(aFiles);
        AddExtensions(aFiles);
        return aFiles;
    }();
    return kFiles;
}

/// Those of which there are movies: all but native pixels.
inline std::vector<FaultFile> GetMovies()
{
    std::vector<FaultFile> aFiles = Get();
    std::erase_if(aFiles, [](const FaultFile& theFile) { return theFile.itsMovie.empty(); });
    return aFiles;
}

/// The same file with another frame, whose description stays as it was.
inline Bytes WithFrame(const FaultFile& theFile, Bytes theFrame)
{
    const auto aEnd = std::search(theFile.itsFile.begin(), theFile.itsFile.end(), theFile.itsFrame.begin(),
                                  theFile.itsFrame.end());
    theFrame.resize((theFrame.size() + 1) / 2 * 2);
    Bytes aFile(theFile.itsFile.begin(), aEnd - 4);
    for (int aShift = 0; aShift < 32; aShift += 8)
    {
        aFile.push_back(static_cast<std::uint8_t>(theFrame.size() >> aShift));
    }
    aFile.insert(aFile.end(), theFrame.begin(), theFrame.end());
    const Bytes aDelimiter = {0xfe, 0xff, 0xdd, 0xe0, 0, 0, 0, 0};
    aFile.insert(aFile.end(), aDelimiter.begin(), aDelimiter.end());
    return aFile;
}

/// A code that a call may end in.
inline bool IsListed(int theCode)
{
    static const std::set<int> kCodes = {0, 3, 6, 7, 9, 11, 12, 37, 38, 44, 48, 54, 62, 63, 64, 67};
    return kCodes.count(theCode) != 0;
}

/// A decompressor that ends in an image or in a code of the list, with a text, everything freed.
inline void ExpectListed(const Outcome& theOutcome, const std::string& theInput)
{
    EXPECT_TRUE(IsListed(theOutcome.Code())) << theInput << ": code " << theOutcome.Code();
    ExpectErrorOrPixels(theOutcome, theInput);
}

/// What one request came to, of an image in the operating system's memory.
struct Answer
{
    int itsCode = 0;
    RWCString itsMessage;
    std::size_t itsPixels = 0; ///< a hash
    bool operator==(const Answer&) const = default;
};

/// theUID: of a bare image; empty for a DICOM file.
inline Answer Ask(const Bytes& theBytes, const RWCString& theUID = "")
{
    DICOMDataObject aDataSet;
    DecompressionResult aResult;
    MemoryInputStream aStream(theBytes.data(), theBytes.size());
    ByteSource aSource(theUID.empty() ? Bytes() : theBytes);
    DecompressionRequest aPart10(&aStream, &aDataSet, "", false, 1, 0, "", false);
    DecompressionRequest aBare(&aSource, &aDataSet, "", false, 1, 0, theUID, false);
    theUID.empty() ? DICOMPart10StreamDecompressor().Decompress(aPart10, aResult)
                   : CompressedImageStreamDecompressor().Decompress(aBare, aResult);
    Answer anAnswer{aResult.getDCMLibResultCode(), aResult.getMessage(), 0};
    if (const Renderable* const anImage = aResult.getRenderable())
    {
        anAnswer.itsPixels = std::hash<std::string_view>()(
            {static_cast<const char*>(anImage->getPixelData()), anImage->getPixelDataSize()});
    }
    return anAnswer;
}

/// The library still does its work.
inline void ExpectUsable(const FaultFile& theFile, const Bytes& thePixels)
{
    const Outcome anOutcome = RunPart10(theFile.itsFile, nullptr);
    EXPECT_EQ(anOutcome.Code(), 0) << theFile.itsName << ": " << anOutcome.Message();
    EXPECT_EQ(anOutcome.Pixels(), thePixels) << theFile.itsName;
}
} // namespace FaultFiles

/// Runs a test with what the codecs print dropped unless the test fails, and with limits that keep a damaged
/// header from asking for so much memory that filling it takes all the time.
class FaultTest : public testing::Test
{
protected:
    FaultTest()
    {
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        Limits aLimits = itsLimits;
        aLimits.itsPixelsPerFrame = 1 << 20;
        Limits::Set(aLimits);
    }
    ~FaultTest() override
    {
        Limits::Set(itsLimits);
        const std::string anErrors = testing::internal::GetCapturedStderr();
        const std::string anOutput = testing::internal::GetCapturedStdout();
        if (HasFailure())
        {
            std::cout << anOutput << anErrors;
        }
    }

private:
    const Limits itsLimits = Limits::Get();
};
