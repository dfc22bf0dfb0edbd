// SPDX-License-Identifier: Apache-2.0
#include "decoding/CompressedCodestreamDecoder.h"

#include <algorithm>

#include "codecs/JPEGTestHelpers.h"
#include "codecs/RLETestHelpers.h"
#include "codecs/jpeg/JPEGDecoder.h"
#include "decoding/FakeDecoder.h"
#include "support/RecordingInputStream.h"
#include "support/RleEncoder.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/io/InputStream.h"

namespace
{
using Process = JpegSpec::Process;

constexpr const char* kUID50 = "1.2.840.10008.1.2.4.50";
constexpr const char* kUID51 = "1.2.840.10008.1.2.4.51";
constexpr const char* kUID57 = "1.2.840.10008.1.2.4.57";
constexpr const char* kUID70 = "1.2.840.10008.1.2.4.70";
constexpr const char* kRLEUID = "1.2.840.10008.1.2.5";

/// Square. Flat images survive the lossy processes exactly.
Image MakeImage(Process theProcess, int thePrecision, int theSize = 16,
                std::vector<int> theCommentLengths = {})
{
    JpegSpec aSpec{theSize, theSize, 1, thePrecision, theProcess};
    aSpec.itsCommentLengths = std::move(theCommentLengths);
    return theProcess == Process::LOSSLESS ? Image(aSpec) : Image(aSpec, MakeFlatSamples(aSpec, {100}));
}

/// Looks at the codec that read the header, and may stop the decode.
class WatchingDriver final : public CompressedCodestreamDecoder
{
public:
    using CompressedCodestreamDecoder::CompressedCodestreamDecoder;
    bool CodestreamHeaderRead(Decoder& theDecoder) override
    {
        itsDecoder = &theDecoder;
        itsBits = dynamic_cast<const JPEG8BitDecoder*>(&theDecoder) != nullptr    ? 8
                  : dynamic_cast<const JPEG12BitDecoder*>(&theDecoder) != nullptr ? 12
                  : dynamic_cast<const JPEG16BitDecoder*>(&theDecoder) != nullptr ? 16
                                                                                  : -1;
        return itsAnswer;
    }

    const Decoder* itsDecoder = nullptr;
    int itsBits = 0;
    bool itsAnswer = true;
};

/// A driver over bytes in memory, with everything it borrows.
struct Bench
{
    Bench(const char* theUID, int theBitsStored, Bytes theBytes, std::size_t theLargestRead = 1 << 20)
        : itsFrameLength(theUID == kRLEUID ? static_cast<unsigned int>(theBytes.size()) : 0),
          itsStream(std::move(theBytes), {.itsLargestRead = theLargestRead}, itsReads),
          // The transfer syntax is a temporary: the driver must not keep a reference to it.
          itsDriver(RWCString(theUID), theBitsStored, itsStream, itsDataSet, 3, Decoder::PET_FAST)
    {
        RLETest::Describe(itsDataSet, 2, 2, 1, 8, "MONOCHROME2");
    }

    Bytes Decode(std::size_t theSize, std::uint8_t* theHandOver = nullptr, int theHandOverBytes = 0)
    {
        Bytes aBuffer(theSize, 0xcd);
        itsDriver.Decode(itsFrameLength, aBuffer.data(), aBuffer.size(), theHandOver, theHandOverBytes);
        return aBuffer;
    }

    DataSet itsDataSet;
    unsigned int itsFrameLength; ///< JPEG codecs know their own end
    RecordingInputStream::Record itsReads;
    RecordingInputStream itsStream;
    WatchingDriver itsDriver;
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

/// A name, or what the first read fails with; transfer syntax, bits stored, process and precision; the bits
/// of the codec in the end, 0 where there is no cure and the failure passes unchanged.
using DriverCase = std::tuple<const char*, const char*, int, Process, int, int>;

TEST(CompressedCodestreamDecoder, FindsTheCodecThatTheStreamNeeds)
{
    constexpr DriverCase kCases[] = {
        {"nothing to recover", kUID50, 8, Process::BASELINE, 8, 8},
        {"12 bits labelled baseline", kUID50, 8, Process::EXTENDED, 12, 12},
        {"12 bits with bits stored 8", kUID51, 8, Process::EXTENDED, 12, 12},
        {"8 bits with bits stored 12", kUID51, 12, Process::EXTENDED, 8, 8},
        {"12 bits lossy labelled lossless", kUID70, 12, Process::EXTENDED, 12, 12},
        {"12 bits lossy labelled lossless 8", kUID57, 8, Process::EXTENDED, 12, 12},
        {"16 bits lossless", kUID70, 16, Process::LOSSLESS, 16, 16},
        {"16 bits lossless with bits stored 8", kUID70, 8, Process::LOSSLESS, 16, 16},
        {"13 bits lossless with bits stored 8", kUID57, 8, Process::LOSSLESS, 13, 16},
        {"13 bits lossless with bits stored 9", kUID57, 9, Process::LOSSLESS, 13, 16},
        {"10 bits lossless", kUID57, 10, Process::LOSSLESS, 10, 16},
        {"8 bits lossless", kUID57, 8, Process::LOSSLESS, 8, 8},
        // A lossless image passes the header of a smaller build and comes out scaled down.
        {"8 bits stored only tell of hidden ones", kUID57, 7, Process::LOSSLESS, 16, 8},
        {"16 bits lossless labelled lossy", kUID51, 12, Process::LOSSLESS, 16, 12},
    };
    for (const auto& [aFault, aUID, aBitsStored, aProcess, aPrecision, aBits] : kCases)
    {
        // Smaller and larger than the first fill, from a stream that delivers a few bytes at a time, and with
        // a header of several fills.
        const std::tuple<int, std::size_t, std::vector<int>> kStreams[] = {
            {16, 1 << 20, {}}, {16, 7, {}}, {304, 5000, {}}, {304, 1 << 20, {65000, 65000}}};
        for (const auto& [aSize, aLargestRead, aCommentLengths] : kStreams)
        {
            SCOPED_TRACE(testing::Message() << aFault << ", size " << aSize);
            Image anImage = MakeImage(aProcess, aPrecision, aSize, aCommentLengths);
            Bench aBench(aUID, aBitsStored, anImage.itsJpeg, aLargestRead);
            testing::internal::CaptureStderr();
            const Bytes aBuffer = aBench.Decode(anImage.itsSamples.size() * (aBits > 8 ? 2 : 1));
            EXPECT_EQ(testing::internal::GetCapturedStderr().empty(), aPrecision <= aBits)
                << "the library says what it takes from the samples, and nothing else";
            for (std::uint16_t& aSample : anImage.itsSamples)
            {
                aSample >>= std::max(aPrecision - aBits, 0);
            }
            EXPECT_EQ(ToSamples(aBuffer, aBits), anImage.itsSamples);
            EXPECT_EQ(aBench.itsDriver.itsBits, aBits);
            EXPECT_EQ(aBench.itsStream.GetStreamPosition(), anImage.itsJpeg.size())
                << "nothing is read twice";
            EXPECT_EQ(aBench.itsDriver.GetScaleFactor(), 1) << "JPEG images are not reduced";
            EXPECT_EQ(aBench.itsDataSet.Number(DICOMTags::BitsAllocated), aBits > 8 ? 16 : 8);
            EXPECT_EQ(aBench.itsDataSet.Number(DICOMTags::Rows), aSize);
        }
    }
}

TEST(CompressedCodestreamDecoder, RefusesWhatHasNoCodec)
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
    // The cure itself can be refused: bits stored 16 go along to the extended process.
    Bench aBench(kUID70, 16, MakeImage(Process::EXTENDED, 12).itsJpeg);
    ExpectStreamIOException(
        [&] { aBench.Decode(1024); },
        "DecoderFactory::Create() bits stored > 12 invalid for TSJPEG51UID transfer syntax", 7);
}

TEST(CompressedCodestreamDecoder, DerivedClassMayStopTheDecode)
{
    Bench aBench(kUID50, 8, MakeImage(Process::BASELINE, 8).itsJpeg);
    EXPECT_EQ(aBench.itsDriver.GetTotalBytesRead(), 0u);
    EXPECT_EQ(aBench.itsDriver.GetScaleFactor(), 3);
    aBench.itsDriver.itsAnswer = false;
    Bytes aBuffer(256, 0xcd);
    ExpectStreamIOException([&] { aBench.itsDriver.Decode(0, aBuffer.data(), aBuffer.size()); },
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
        for (const std::size_t aSize : {std::size_t{0}, std::size_t{511}})
        {
            Bench aBench(kUID70, aBitsStored, anImage.itsJpeg);
            ExpectStreamIOException([&] { aBench.Decode(aSize); },
                                    "CompressedStreamDecoder::Decode: output buffer size " +
                                        std::to_string(aSize) + " < decoded image size 512",
                                    62);
        }
    }
}

TEST(CompressedCodestreamDecoder, OpensAFrameBeforeItsMemoryIsThere)
{
    const Image anImage = MakeImage(Process::LOSSLESS, 16); // 512 bytes
    Bench aBench(kUID70, 8, anImage.itsJpeg);
    auto aFrame = aBench.itsDriver.Open(0, 520);
    EXPECT_EQ(aFrame.GetDecodedSize(), 512u);
    Bytes aBuffer(520, 0xcd);
    aBench.itsDriver.Decode(std::move(aFrame), aBuffer.data());
    EXPECT_EQ(Bytes(aBuffer.begin() + 512, aBuffer.end()), Bytes(8, 0xcd));
    aBuffer.resize(512);
    EXPECT_EQ(ToSamples(aBuffer, 16), anImage.itsSamples);
    Bench anRLEBench(kRLEUID, 8, RleEncoder::Frame({{3, 10, 20, 30, 40}}));
    EXPECT_EQ(anRLEBench.itsDriver.Open(anRLEBench.itsFrameLength, 3).GetDecodedSize(), 4u);
}

TEST(CompressedCodestreamDecoder, SignIsSettledBeforeDecoding)
{
    const Image anImage = MakeImage(Process::LOSSLESS, 16, 200); // more than the header's first fill
    // The representation, and what the codec is told.
    for (const auto& [aRepresentation, isForced, anExpected] :
         {std::tuple{0, false, 0}, {1, false, 1}, {1, true, 0}, {DataSet::kNone, false, 0}, {0, true, 0}})
    {
        Bench aBench(kUID70, 16, anImage.itsJpeg);
        aBench.itsDataSet.SetNumber(DICOMTags::PixelRepresentation, aRepresentation);
        int aSign = -1;
        aBench.itsReads.itsBeforeRead = [&]
        {
            if (aBench.itsDriver.itsDecoder != nullptr)
            {
                aSign = aBench.itsDriver.itsDecoder->IsSigned(); // the codec is decoding now
            }
        };
        aBench.itsDriver.SetForceUnsignedPixelOutput(isForced);
        aBench.Decode(200 * 200 * 2);
        EXPECT_EQ(aSign, anExpected) << aRepresentation << isForced;
        EXPECT_FALSE(aBench.itsDriver.IsDecoderSupportedOutputPixelSignConversion());
    }
}

TEST(CompressedCodestreamDecoder, TakesBytesReadBeforehand)
{
    const Image anImage = MakeImage(Process::LOSSLESS, 16, 200);
    for (const auto& [aBitsStored, aBytes] :
         {std::pair{16, 1}, {16, 2}, {8, 1}, {8, 1000}, {16, 1000}, {8, 32768}, {16, 32768}})
    {
        const auto aCount = static_cast<std::size_t>(aBytes);
        Bench aBench(kUID70, aBitsStored, anImage.Rest(aCount));
        // No longer than its bytes: later fills must not be read into it.
        const Bytes aBuffer =
            aBench.Decode(200 * 200 * 2, NewBuffer(anImage.itsJpeg, aCount, aCount), aBytes);
        EXPECT_EQ(ToSamples(aBuffer, 16), anImage.itsSamples) << aCount;
        // A codec that is replaced hands over its own fill, too.
        EXPECT_EQ(aBench.itsDriver.GetTotalBytesRead(),
                  anImage.itsJpeg.size() - aCount - (aBytes + aBitsStored == 9 ? 32768 : 0));
    }
}

// Every path must free the buffer that was handed over; the leak check of the sanitizer is the judge.
TEST(CompressedCodestreamDecoder, HandOverBufferNeverLeaks)
{
    const Image anImage = MakeImage(Process::BASELINE, 8);
    const auto aDecode = [&](const char* theUID, int theBitsStored, std::uint8_t* theHandOver, int theCount)
    { return Bench(theUID, theBitsStored, anImage.itsJpeg).Decode(256, theHandOver, theCount); };
    const auto aNewBuffer = [&] { return NewBuffer(anImage.itsJpeg, 100, 100); };
    EXPECT_EQ(ToSamples(aDecode(kUID50, 8, aNewBuffer(), 0), 8), anImage.itsSamples)
        << "no bytes: the stream is read from its start";
    EXPECT_NO_THROW(aDecode(kUID50, 8, nullptr, 100));
    EXPECT_THROW(aDecode(kUID50, 8, NewBuffer(Bytes(100), 100, 100), 100), ExceptionBase) << "no JPEG";
    EXPECT_THROW(aDecode(kUID50, 8, aNewBuffer(), -1), ExceptionBase);
    EXPECT_THROW(aDecode(kUID50, 8, aNewBuffer(), 32769), ExceptionBase);
    EXPECT_THROW(aDecode(kUID50, 9, aNewBuffer(), 100), StreamIOException) << "refused by the factory";
    EXPECT_THROW(aDecode("1.2.3", 8, aNewBuffer(), 100), StreamIOException) << "no codec";
    EXPECT_THROW(aDecode(kRLEUID, 8, aNewBuffer(), 100), StreamIOException) << "a codec that takes none";
}

TEST(CompressedCodestreamDecoder, WhatTheStreamThrowsPassesUnchanged)
{
    Bench aBench(kUID50, 8, {});
    aBench.itsReads.itsBeforeRead = [] { throw DecodingInterruptedException("stopped", 1); };
    EXPECT_THROW(aBench.Decode(256), DecodingInterruptedException);
    aBench.itsReads.itsBeforeRead = [] { throw 42; };
    EXPECT_THROW(aBench.Decode(256), int);
    // Looks like a precision failure, but only to a JPEG transfer syntax.
    Bench anRLEBench(kRLEUID, 8, {});
    anRLEBench.itsReads.itsBeforeRead = []
    { throw StreamIOException("Unsupported JPEG data precision 12", DLRC_IO_ERROR, 0); };
    ExpectStreamIOException([&] { anRLEBench.Decode(256); }, "Unsupported JPEG data precision 12", 67);
}

TEST(CompressedCodestreamDecoder, ReplacementGoesByTheTextOfTheFailure)
{
    constexpr DriverCase kCases[] = {
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
    for (const auto& [aFault, aUID, aBitsStored, aProcess, aPrecision, aBits] : kCases)
    {
        SCOPED_TRACE(aFault);
        Bench aBench(aUID, aBitsStored, MakeImage(aProcess, aPrecision).itsJpeg);
        aBench.itsReads.itsBeforeRead = [aText = aFault, isFirst = true]() mutable
        {
            if (std::exchange(isFirst, false))
            {
                throw StreamIOException(aText, DLRC_IO_ERROR, 0);
            }
        };
        if (aBits == 0)
        {
            ExpectStreamIOException([&] { aBench.Decode(16 * 16 * 2); }, aFault, 67);
        }
        else
        {
            EXPECT_NO_THROW(aBench.Decode(16 * 16 * 2));
        }
        EXPECT_EQ(aBench.itsDriver.itsBits, aBits);
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
} // namespace
