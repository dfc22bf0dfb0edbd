// SPDX-License-Identifier: Apache-2.0
#include "decoding/CompressedCodestreamDecoder.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "codecs/jpeg/JPEG12BitDecoder.h"
#include "codecs/jpeg/JPEG16BitDecoder.h"
#include "codecs/jpeg/JPEG8BitDecoder.h"
#include "codecs/jpeg/JPEGDecoderException.h"
#include "decoding/FakeDecoder.h"
#include "support/JpegFixtures.h"
#include "support/RecordingInputStream.h"
#include "support/SampleTable.h"
#include "support/Sha256.h"
#include "toolkit/base/DecodingInterruptedException.h"
#include "toolkit/base/MemoryAllocater.h"
#include "toolkit/io/MemoryInputStream.h"

namespace
{
using Bytes = std::vector<std::uint8_t>;
using Samples = std::vector<std::uint16_t>;
using Process = JpegSpec::Process;

constexpr const char* kUID50 = "1.2.840.10008.1.2.4.50";
constexpr const char* kUID51 = "1.2.840.10008.1.2.4.51";
constexpr const char* kUID57 = "1.2.840.10008.1.2.4.57";
constexpr const char* kUID70 = "1.2.840.10008.1.2.4.70";
constexpr const char* kRLEUID = "1.2.840.10008.1.2.5";
constexpr unsigned int kFrameLength = 0; // JPEG codecs know their own end

struct Image
{
    Samples itsSamples;
    Bytes itsJpeg;
};

Image MakeImage(Process theProcess, int thePrecision, int theSize = 16, int theDeclaredPrecision = 0)
{
    JpegSpec aSpec;
    aSpec.itsProcess = theProcess;
    aSpec.itsPrecision = thePrecision;
    aSpec.itsWidth = aSpec.itsHeight = theSize;
    aSpec.itsDeclaredPrecision = theDeclaredPrecision;
    // Flat images survive the lossy processes exactly.
    const Samples aSamples =
        theProcess == Process::LOSSLESS ? MakeSamples(aSpec) : MakeFlatSamples(aSpec, {100});
    return {aSamples, MakeJpeg(aSpec, aSamples)};
}

std::unique_ptr<DICOMDataObject> GreyDataSet()
{
    auto aDataSet = std::make_unique<DICOMDataObject>();
    Put(*aDataSet, DICOMTags::PhotometricInterpretation, "MONOCHROME2");
    Put(*aDataSet, DICOMTags::SamplesPerPixel, 1);
    Put(*aDataSet, DICOMTags::PixelRepresentation, 0);
    return aDataSet;
}

Samples ToSamples(const Bytes& theBuffer, bool theWide)
{
    if (!theWide)
    {
        return {theBuffer.begin(), theBuffer.end()};
    }
    Samples aSamples(theBuffer.size() / 2);
    std::memcpy(aSamples.data(), theBuffer.data(), aSamples.size() * 2);
    return aSamples;
}

/// A driver over bytes in memory, with everything it borrows.
struct Bench
{
    Bench(const char* theUID, int theBitsStored, Bytes theBytes, std::size_t theLargestRead = 1 << 20)
        : itsStream(std::move(theBytes), {false, false, theLargestRead}, itsRecord),
          // The transfer syntax is a temporary: the driver must not keep a reference to it.
          itsDriver(RWCString(theUID), theBitsStored, itsStream, *itsDataSet, 1, Decoder::PET_FAST)
    {
    }

    Bytes Decode(std::size_t theSize)
    {
        Bytes aBuffer(theSize, 0xcd);
        itsDriver.Decode(kFrameLength, aBuffer.data(), aBuffer.size());
        return aBuffer;
    }

    std::unique_ptr<DICOMDataObject> itsDataSet = GreyDataSet();
    RecordingInputStream::Record itsRecord;
    RecordingInputStream itsStream;
    CompressedCodestreamDecoder itsDriver;
};

struct DriverCase
{
    const char* itsFault;
    const char* itsUID;
    int itsBitsStored;
    Process itsProcess;
    int itsPrecision;
    bool itsWide; ///< 16 bits allocated in the output
};

// Where a virtual operation stands is told by a pointer to it: one more than its offset (Itanium C++ ABI).
#if defined(__x86_64__)
TEST(CompressedCodestreamDecoder, VirtualOperationsKeepTheirPlaces)
{
    const auto aPlace = [](auto theOperation)
    {
        std::ptrdiff_t anOffset = 0;
        std::memcpy(&anOffset, &theOperation, sizeof(anOffset));
        return (anOffset - 1) / std::ptrdiff_t{sizeof(void*)};
    };
    EXPECT_EQ(aPlace(&CompressedCodestreamDecoder::CodestreamHeaderRead), 0);
    // Destructors take two places.
    EXPECT_EQ(aPlace(&MemoryAllocater::Allocate), 2);
    EXPECT_EQ(aPlace(&MemoryAllocater::Free), 3);
    EXPECT_EQ(aPlace(&Decoder::IsDecoderConvertsColorToRGB), 16);
}
#endif

TEST(CompressedCodestreamDecoder, FindsTheCodecThatTheStreamNeeds)
{
    constexpr DriverCase kCases[] = {
        {"nothing to recover", kUID50, 8, Process::BASELINE, 8, false},
        {"12 bits labelled baseline", kUID50, 8, Process::EXTENDED, 12, true},
        {"12 bits with bits stored 8", kUID51, 8, Process::EXTENDED, 12, true},
        {"8 bits with bits stored 12", kUID51, 12, Process::EXTENDED, 8, false},
        {"12 bits lossy labelled lossless", kUID70, 12, Process::EXTENDED, 12, true},
        {"12 bits lossy labelled lossless 8", kUID57, 8, Process::EXTENDED, 12, true},
        {"16 bits lossless", kUID70, 16, Process::LOSSLESS, 16, true},
        {"16 bits lossless with bits stored 8", kUID70, 8, Process::LOSSLESS, 16, true},
        {"13 bits lossless with bits stored 8", kUID57, 8, Process::LOSSLESS, 13, true},
        {"10 bits lossless", kUID57, 10, Process::LOSSLESS, 10, true},
        {"8 bits lossless", kUID57, 8, Process::LOSSLESS, 8, false},
    };
    for (const DriverCase& aCase : kCases)
    {
        // Smaller and larger than the first fill, and from a stream that delivers a few bytes at a time.
        for (const auto& [aSize, aLargestRead] :
             std::initializer_list<std::pair<int, std::size_t>>{{16, 1 << 20}, {16, 7}, {304, 5000}})
        {
            SCOPED_TRACE(testing::Message() << aCase.itsFault << ", size " << aSize);
            const Image anImage = MakeImage(aCase.itsProcess, aCase.itsPrecision, aSize);
            Bench aBench(aCase.itsUID, aCase.itsBitsStored, anImage.itsJpeg, aLargestRead);
            const Bytes aBuffer = aBench.Decode(anImage.itsSamples.size() * (aCase.itsWide ? 2 : 1));
            EXPECT_EQ(ToSamples(aBuffer, aCase.itsWide), anImage.itsSamples);
            EXPECT_EQ(aBench.itsRecord.itsBytesRead, anImage.itsJpeg.size()) << "nothing is read twice";
            EXPECT_EQ(aBench.itsDriver.GetScaleFactor(), 1);
            EXPECT_EQ(NumberOf(*aBench.itsDataSet, DICOMTags::BitsAllocated), aCase.itsWide ? 16 : 8);
            EXPECT_EQ(NumberOf(*aBench.itsDataSet, DICOMTags::Rows), aSize);
        }
    }
}

TEST(CompressedCodestreamDecoder, CountsTheBytesOfTheCodecThatDecoded)
{
    const Image anImage = MakeImage(Process::BASELINE, 8);
    Bench aBench(kUID50, 8, anImage.itsJpeg);
    EXPECT_EQ(aBench.itsDriver.GetTotalBytesRead(), 0u);
    aBench.Decode(anImage.itsSamples.size());
    EXPECT_EQ(aBench.itsDriver.GetTotalBytesRead(), anImage.itsJpeg.size());
    EXPECT_FALSE(aBench.itsDriver.IsDecoderSupportedOutputPixelSignConversion());
}

TEST(CompressedCodestreamDecoder, ScaleFactorBecomesTheOneThatWasApplied)
{
    const Image anImage = MakeImage(Process::BASELINE, 8);
    MemoryInputStream aStream(anImage.itsJpeg.data(), anImage.itsJpeg.size());
    const auto aDataSet = GreyDataSet();
    CompressedCodestreamDecoder aDriver(kUID50, 8, aStream, *aDataSet, 3, Decoder::PET_FAST);
    EXPECT_EQ(aDriver.GetScaleFactor(), 3);
    Bytes aBuffer(anImage.itsSamples.size());
    aDriver.Decode(kFrameLength, aBuffer.data(), aBuffer.size());
    EXPECT_EQ(aDriver.GetScaleFactor(), 1) << "JPEG images are not reduced";
}

TEST(CompressedCodestreamDecoder, PrecisionsWithoutACure)
{
    struct Case
    {
        const char* itsUID;
        int itsBitsStored;
        int itsDeclaredPrecision;
        const char* itsText;
    };
    constexpr Case kCases[] = {
        {kUID50, 8, 10, "Unsupported JPEG data precision 10"},
        {kUID70, 16, 14, "Unsupported JPEG data precision 14"},
    };
    for (const Case& aCase : kCases)
    {
        const Image anImage = MakeImage(Process::EXTENDED, 8, 16, aCase.itsDeclaredPrecision);
        Bench aBench(aCase.itsUID, aCase.itsBitsStored, anImage.itsJpeg);
        try
        {
            aBench.Decode(1024);
            ADD_FAILURE() << aCase.itsText;
        }
        catch (const JPEGDecoderException& anException)
        {
            EXPECT_NE(anException.GetMessageText().find(aCase.itsText), RWCString::npos)
                << anException.GetMessageText();
        }
    }
    // The cure itself can be refused: bits stored 16 go along to the extended process.
    const Image anImage = MakeImage(Process::EXTENDED, 12);
    Bench aBench(kUID70, 16, anImage.itsJpeg);
    ExpectStreamIOException(
        [&] { aBench.Decode(1024); },
        "DecoderFactory::Create() bits stored > 12 invalid for TSJPEG51UID transfer syntax", 7);
}

TEST(CompressedCodestreamDecoder, TransferSyntaxesWithoutCodec)
{
    for (const char* const aUID : {"1.2.3", "1.2.840.10008.1.2.4.80", ""})
    {
        Bench aBench(aUID, 8, {1, 2, 3});
        ExpectStreamIOException([&] { aBench.Decode(4); },
                                RWCString("CompressedStreamDecoder::Decode: Unable to create Decoder for "
                                          "transfer syntax with UID = ") +
                                    aUID,
                                48);
    }
    Bench aBench("1.2.3", 0, {});
    ExpectStreamIOException([&] { aBench.Decode(4); },
                            "DecoderFactory::Create() bits stored == 0 is invalid for JPEG or RLE "
                            "decompression",
                            7);
}

/// Looks at the codec, and may stop the decode.
class WatchingDriver final : public CompressedCodestreamDecoder
{
public:
    using CompressedCodestreamDecoder::CompressedCodestreamDecoder;
    bool CodestreamHeaderRead(Decoder& theDecoder) override
    {
        itsDecoder = &theDecoder;
        return itsAnswer;
    }

    Decoder* itsDecoder = nullptr;
    bool itsAnswer = true;
};

TEST(CompressedCodestreamDecoder, DerivedClassMayStopTheDecode)
{
    const Image anImage = MakeImage(Process::BASELINE, 8);
    MemoryInputStream aStream(anImage.itsJpeg.data(), anImage.itsJpeg.size());
    const auto aDataSet = GreyDataSet();
    WatchingDriver aDriver(kUID50, 8, aStream, *aDataSet, 1, Decoder::PET_FAST);
    aDriver.itsAnswer = false;
    Bytes aBuffer(256, 0xcd);
    ExpectStreamIOException([&] { aDriver.Decode(0, aBuffer.data(), aBuffer.size()); },
                            "CompressedStreamDecoder::Decode:  CodestreamHeaderRead returned false (derived "
                            "class requested termination of decoding)",
                            54);
    EXPECT_EQ(aBuffer, Bytes(256, 0xcd)) << "no output";
}

TEST(CompressedCodestreamDecoder, NoCodecWritesPastTheBuffer)
{
    const Image anImage = MakeImage(Process::LOSSLESS, 16); // 512 bytes
    for (const int aBitsStored : {8, 16})
    {
        for (const std::size_t aSize : {std::size_t{0}, std::size_t{256}, std::size_t{511}})
        {
            Bench aBench(kUID70, aBitsStored, anImage.itsJpeg);
            ExpectStreamIOException([&] { aBench.Decode(aSize); },
                                    "CompressedStreamDecoder::Decode: output buffer size " +
                                        std::to_string(aSize) + " < decoded image size 512",
                                    62);
        }
        Bench aBench(kUID70, aBitsStored, anImage.itsJpeg);
        const Bytes aBuffer = aBench.Decode(512 + 8);
        EXPECT_TRUE(
            std::all_of(aBuffer.begin() + 512, aBuffer.end(), [](int aByte) { return aByte == 0xcd; }));
    }
}

/// An RLE frame: header and one segment with a literal run of four bytes (and its pad byte).
Bytes RLEFrame(std::uint8_t theSegments = 1)
{
    Bytes aFrame(64);
    aFrame[0] = theSegments;
    aFrame[4] = 64;
    aFrame[8] = theSegments > 1 ? 70 : 0;
    aFrame.insert(aFrame.end(), {3, 10, 20, 30, 40, 0});
    return aFrame;
}

TEST(CompressedCodestreamDecoder, RLEKeepsItsOwnTexts)
{
    struct Case
    {
        std::uint8_t itsSegments;
        std::size_t itsSize;
        const char* itsText; ///< null: decodes
    };
    constexpr Case kCases[] = {
        {1, 4, nullptr},
        {1, 3, "RLEDecoder::Decode: destination buffer size < "},
        {1, 0, "RLEDecoder::Decode: destination buffer size < "},
        {2, 0, "RLEDecoder::Decode: number of segments != bytes per pixel"},
    };
    for (const Case& aCase : kCases)
    {
        const Bytes aFrame = RLEFrame(aCase.itsSegments);
        Bench aBench(kRLEUID, 8, aFrame);
        Put(*aBench.itsDataSet, DICOMTags::Rows, 2);
        Put(*aBench.itsDataSet, DICOMTags::Columns, 2);
        Put(*aBench.itsDataSet, DICOMTags::BitsAllocated, 8);
        Put(*aBench.itsDataSet, DICOMTags::BitsStored, 8);
        Put(*aBench.itsDataSet, DICOMTags::HighBit, 7);
        Bytes aBuffer(aCase.itsSize);
        const auto aDecode = [&] {
            aBench.itsDriver.Decode(static_cast<unsigned int>(aFrame.size()), aBuffer.data(), aBuffer.size());
        };
        testing::internal::CaptureStdout();
        if (aCase.itsText == nullptr)
        {
            aDecode();
            EXPECT_EQ(aBuffer, (Bytes{10, 20, 30, 40}));
        }
        else
        {
            ExpectStreamIOException(aDecode, aCase.itsText, 62);
        }
        testing::internal::GetCapturedStdout();
    }
}

/// Calls back before every read.
class HookedStream final : public InputStream
{
public:
    HookedStream(Bytes theBytes, std::function<void()> theHook)
        : itsBytes(std::move(theBytes)), itsStream(itsBytes.data(), itsBytes.size()),
          itsHook(std::move(theHook))
    {
    }
    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override
    {
        itsHook();
        return itsStream.Read(theBuffer, theLength);
    }
    std::size_t GetStreamPosition() const override { return itsStream.GetStreamPosition(); }

private:
    Bytes itsBytes;
    MemoryInputStream itsStream;
    std::function<void()> itsHook;
};

TEST(CompressedCodestreamDecoder, SignIsSettledBeforeDecoding)
{
    struct Case
    {
        int itsRepresentation; ///< -1: absent
        bool itsForced;
        int itsExpected;
    };
    constexpr Case kCases[] = {{0, false, 0}, {1, false, 1}, {1, true, 0}, {-1, false, 0}, {0, true, 0}};
    const Image anImage = MakeImage(Process::LOSSLESS, 16, 200); // more than the header's first fill
    ASSERT_GT(anImage.itsJpeg.size(), 40000u);
    for (const Case& aCase : kCases)
    {
        const auto aDataSet = GreyDataSet();
        aDataSet->RemoveVR(DICOMTags::PixelRepresentation);
        if (aCase.itsRepresentation >= 0)
        {
            Put(*aDataSet, DICOMTags::PixelRepresentation, aCase.itsRepresentation);
        }
        int aSign = -1;
        const WatchingDriver* aWatched = nullptr;
        HookedStream aStream(anImage.itsJpeg,
                             [&]
                             {
                                 if (aWatched != nullptr && aWatched->itsDecoder != nullptr)
                                 {
                                     aSign = aWatched->itsDecoder->IsSigned(); // the codec is decoding now
                                 }
                             });
        WatchingDriver aDriver(kUID70, 16, aStream, *aDataSet, 1, Decoder::PET_FAST);
        aWatched = &aDriver;
        aDriver.SetForceUnsignedPixelOutput(aCase.itsForced);
        Bytes aBuffer(200 * 200 * 2);
        aDriver.Decode(0, aBuffer.data(), aBuffer.size());
        EXPECT_EQ(aSign, aCase.itsExpected) << aCase.itsRepresentation << aCase.itsForced;
    }
}

std::uint8_t* HandOverBuffer(const Bytes& theBytes, std::size_t theCount)
{
    auto* const aBuffer = new std::uint8_t[32768]();
    std::copy_n(theBytes.begin(), theCount, aBuffer);
    return aBuffer;
}

TEST(CompressedCodestreamDecoder, TakesBytesReadBeforehand)
{
    const Image anImage = MakeImage(Process::LOSSLESS, 16, 200);
    for (const int aBitsStored : {8, 16})
    {
        for (const std::size_t aCount : {std::size_t{1}, std::size_t{1000}, std::size_t{32768}})
        {
            Bench aBench(kUID70, aBitsStored,
                         Bytes(anImage.itsJpeg.begin() + static_cast<long>(aCount), anImage.itsJpeg.end()));
            Bytes aBuffer(200 * 200 * 2);
            // A codec that is replaced hands over one buffer only, so the header has to be in it.
            if (aBitsStored == 8 && aCount < 1000)
            {
                continue;
            }
            aBench.itsDriver.Decode(0, aBuffer.data(), aBuffer.size(),
                                    HandOverBuffer(anImage.itsJpeg, aCount), static_cast<int>(aCount));
            EXPECT_EQ(ToSamples(aBuffer, true), anImage.itsSamples) << aCount;
            EXPECT_EQ(aBench.itsDriver.GetTotalBytesRead(), anImage.itsJpeg.size() - aCount);
        }
    }
}

// Every path must free the buffer that was handed over; the leak check of the sanitizer is the judge.
TEST(CompressedCodestreamDecoder, HandOverBufferNeverLeaks)
{
    const Image anImage = MakeImage(Process::BASELINE, 8);
    Bytes aBuffer(256);
    const auto aDecode = [&](const char* theUID, int theBitsStored, std::uint8_t* theHandOver, int theCount)
    {
        Bench aBench(theUID, theBitsStored, anImage.itsJpeg);
        aBench.itsDriver.Decode(70, aBuffer.data(), aBuffer.size(), theHandOver, theCount);
    };
    const auto aNewBuffer = [&] { return HandOverBuffer(anImage.itsJpeg, 100); };
    EXPECT_NO_THROW(aDecode(kUID50, 8, aNewBuffer(), 0)) << "no bytes: the stream is read from its start";
    EXPECT_EQ(ToSamples(aBuffer, false), anImage.itsSamples);
    EXPECT_NO_THROW(aDecode(kUID50, 8, nullptr, 100));
    EXPECT_THROW(aDecode(kUID50, 8, HandOverBuffer(Bytes(100), 100), 100), ExceptionBase) << "no JPEG";
    EXPECT_THROW(aDecode(kUID50, 8, aNewBuffer(), -1), ExceptionBase);
    EXPECT_THROW(aDecode(kUID50, 8, aNewBuffer(), 32769), ExceptionBase);
    EXPECT_THROW(aDecode(kUID50, 9, aNewBuffer(), 100), StreamIOException) << "refused by the factory";
    EXPECT_THROW(aDecode("1.2.3", 8, aNewBuffer(), 100), StreamIOException) << "no codec";
    EXPECT_THROW(aDecode(kRLEUID, 8, aNewBuffer(), 100), StreamIOException) << "a codec that takes none";
}

TEST(CompressedCodestreamDecoder, WhatTheStreamThrowsPassesUnchanged)
{
    const auto aDataSet = GreyDataSet();
    Bytes aBuffer(256);
    HookedStream anInterrupted({}, [] { throw DecodingInterruptedException("stopped", 1); });
    CompressedCodestreamDecoder aFirst(kUID50, 8, anInterrupted, *aDataSet, 1, Decoder::PET_FAST);
    try
    {
        aFirst.Decode(0, aBuffer.data(), aBuffer.size());
        ADD_FAILURE() << "nothing thrown";
    }
    catch (const DecodingInterruptedException& anException)
    {
        EXPECT_EQ(anException.GetReason(), 1);
    }
    // Looks like a precision failure, but only to a JPEG transfer syntax.
    HookedStream aFailing(
        {}, [] { throw StreamIOException("Unsupported JPEG data precision 12", DLRC_IO_ERROR, 0); });
    CompressedCodestreamDecoder aSecond(kRLEUID, 8, aFailing, *aDataSet, 1, Decoder::PET_FAST);
    Put(*aDataSet, DICOMTags::Rows, 2);
    Put(*aDataSet, DICOMTags::Columns, 2);
    Put(*aDataSet, DICOMTags::BitsAllocated, 8);
    Put(*aDataSet, DICOMTags::BitsStored, 8);
    Put(*aDataSet, DICOMTags::HighBit, 7);
    ExpectStreamIOException([&] { aSecond.Decode(70, aBuffer.data(), aBuffer.size()); },
                            "Unsupported JPEG data precision 12", 67);
    HookedStream aForeign({}, [] { throw 42; });
    CompressedCodestreamDecoder aThird(kUID50, 8, aForeign, *aDataSet, 1, Decoder::PET_FAST);
    EXPECT_THROW(aThird.Decode(0, aBuffer.data(), aBuffer.size()), int);
}

/// Remembers the precision of the codec that read the header.
class JudgingDriver final : public CompressedCodestreamDecoder
{
public:
    using CompressedCodestreamDecoder::CompressedCodestreamDecoder;
    bool CodestreamHeaderRead(Decoder& theDecoder) override
    {
        itsBits = dynamic_cast<const JPEG8BitDecoder*>(&theDecoder) != nullptr    ? 8
                  : dynamic_cast<const JPEG12BitDecoder*>(&theDecoder) != nullptr ? 12
                  : dynamic_cast<const JPEG16BitDecoder*>(&theDecoder) != nullptr ? 16
                                                                                  : -1;
        return true;
    }

    int itsBits = 0;
};

struct ReplacementCase
{
    const char* itsText; ///< what the first read fails with
    const char* itsUID;
    int itsBitsStored;
    Process itsProcess;
    int itsPrecision;
    int itsBits; ///< of the codec in the end; 0: no cure, the failure passes unchanged
};

TEST(CompressedCodestreamDecoder, ReplacementGoesByTheTextOfTheFailure)
{
    constexpr ReplacementCase kCases[] = {
        {"Unsupported JPEG data precision 16, precision 8, precision 12", kUID50, 8, Process::EXTENDED, 12,
         12},
        {"Unsupported JPEG data precision 8, precision 16", kUID50, 8, Process::LOSSLESS, 16, 16},
        {"Unsupported JPEG data precision 16", kUID51, 12, Process::LOSSLESS, 16, 16},
        {"Unsupported JPEG data precision 16", kUID57, 8, Process::LOSSLESS, 16, 16},
        {"Oh: Unsupported JPEG data precision 8", kUID51, 12, Process::EXTENDED, 8, 8},
        {"Unsupported JPEG data precision 14", kUID50, 8, Process::EXTENDED, 8, 0},
        {"unsupported JPEG data precision 12", kUID50, 8, Process::EXTENDED, 12, 0},
        {"precision 12", kUID50, 8, Process::EXTENDED, 12, 0},
    };
    for (const ReplacementCase& aCase : kCases)
    {
        SCOPED_TRACE(aCase.itsText);
        bool aFailed = false;
        HookedStream aStream(MakeImage(aCase.itsProcess, aCase.itsPrecision).itsJpeg,
                             [&]
                             {
                                 if (!std::exchange(aFailed, true))
                                 {
                                     throw StreamIOException(aCase.itsText, DLRC_IO_ERROR, 0);
                                 }
                             });
        const auto aDataSet = GreyDataSet();
        JudgingDriver aDriver(aCase.itsUID, aCase.itsBitsStored, aStream, *aDataSet, 1, Decoder::PET_FAST);
        Bytes aBuffer(16 * 16 * 2);
        const auto aDecode = [&] { aDriver.Decode(0, aBuffer.data(), aBuffer.size()); };
        if (aCase.itsBits == 0)
        {
            ExpectStreamIOException(aDecode, aCase.itsText, 67);
        }
        else
        {
            EXPECT_NO_THROW(aDecode());
        }
        EXPECT_EQ(aDriver.itsBits, aCase.itsBits);
    }
}

TEST(CompressedCodestreamDecoder, HiddenPrecisionIsLookedForAtEightBitsStoredOnly)
{
    for (const auto& [aBitsStored, anExpected] : {std::pair{7, 8}, {8, 16}, {9, 16}})
    {
        const Image anImage = MakeImage(Process::LOSSLESS, 16);
        MemoryInputStream aStream(anImage.itsJpeg.data(), anImage.itsJpeg.size());
        const auto aDataSet = GreyDataSet();
        JudgingDriver aDriver(kUID70, aBitsStored, aStream, *aDataSet, 1, Decoder::PET_FAST);
        Bytes aBuffer(anImage.itsSamples.size() * 2);
        aDriver.Decode(kFrameLength, aBuffer.data(), aBuffer.size());
        EXPECT_EQ(aDriver.itsBits, anExpected) << aBitsStored;
    }
}

TEST(CompressedCodestreamDecoder, SecondDecodeOfADataSetStaysRight)
{
    JpegSpec aSpec;
    aSpec.itsComponents = 3;
    const Bytes aJpeg = MakeJpeg(aSpec, MakeFlatSamples(aSpec, {150, 100, 180}));
    // Neither JFIF nor Adobe marker, identifiers 1, 2, 3: only the data set tells RGB from YCbCr, and the
    // first decode overwrites what it says.
    for (const char* const anInterpretation : {"RGB", "YBR_FULL_422", "YBR_FULL"})
    {
        const auto aDataSet = GreyDataSet();
        Put(*aDataSet, DICOMTags::PhotometricInterpretation, anInterpretation);
        Put(*aDataSet, DICOMTags::SamplesPerPixel, 3);
        std::vector<Bytes> aResults;
        for (int aDecode = 0; aDecode < 2; ++aDecode)
        {
            MemoryInputStream aStream(aJpeg.data(), aJpeg.size());
            CompressedCodestreamDecoder aDriver(kUID50, 8, aStream, *aDataSet, 1, Decoder::PET_FAST);
            aResults.emplace_back(8 * 8 * 3);
            aDriver.Decode(0, aResults.back().data(), aResults.back().size());
            EXPECT_EQ(TextOf(*aDataSet, DICOMTags::PhotometricInterpretation), "RGB");
        }
        EXPECT_EQ(aResults[0], aResults[1]) << anInterpretation;
        const bool aKept = aResults[0][0] == 150 && aResults[0][1] == 100 && aResults[0][2] == 180;
        EXPECT_EQ(aKept, RWCString(anInterpretation) == "RGB");
    }
}

TEST(CompressedCodestreamDecoder, CopiesShareTheStreamAndKeepTheirOwnRecord)
{
    const Image anImage = MakeImage(Process::BASELINE, 8);
    Bench aBench(kUID50, 8, anImage.itsJpeg);
    aBench.Decode(anImage.itsSamples.size());
    CompressedCodestreamDecoder aCopy(aBench.itsDriver);
    EXPECT_EQ(aCopy.GetTotalBytesRead(), anImage.itsJpeg.size());
    Bytes aBuffer(256);
    EXPECT_THROW(aCopy.Decode(0, aBuffer.data(), aBuffer.size()), JPEGDecoderException)
        << "the stream, which both borrow, is at its end";
}

struct SampleCase
{
    const char* itsFile;
    const char* itsUID;
    int itsBitsStored;
};

TEST(CompressedCodestreamDecoder, SampleImagesUnderWrongLabels)
{
    if (SampleTable::GetFolder().empty())
    {
        GTEST_SKIP() << "the folder with sample images is missing";
    }
    constexpr SampleCase kCases[] = {
        {"jpeg/gen_lossless_p16_sv3.jpg", kUID70, 8},  {"jpeg/gen_lossless_p16_noise_sv5.jpg", kUID57, 8},
        {"jpeg/gen_lossless_p13_sv7.jpg", kUID70, 8},  {"jpeg/lossless16bit.jpg", kUID70, 8},
        {"jpeg/gen_lossless_p12_sv6.jpg", kUID70, 12}, {"jpeg/gen_lossless_p08_sv2.jpg", kUID57, 8},
    };
    const SampleTable aTable = SampleTable::Load();
    for (const SampleCase& aCase : kCases)
    {
        const auto aFile = aTable.GetFiles().find(aCase.itsFile);
        ASSERT_NE(aFile, aTable.GetFiles().end()) << aCase.itsFile;
        const SampleRow& aRow = aFile->second.at(0).front();
        Bench aBench(aCase.itsUID, aCase.itsBitsStored, SampleTable::ReadFile(aCase.itsFile));
        const Bytes aBuffer = aBench.Decode(static_cast<std::size_t>(
            aRow.itsWidth * aRow.itsHeight * static_cast<std::uint64_t>(aRow.itsBytesPerSample)));
        EXPECT_EQ(Sha256(aBuffer.data(), aBuffer.size()), aRow.itsSHA256) << aCase.itsFile;
    }
}
} // namespace
