// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <functional>
#include <numeric>
#include <vector>

#include <sys/resource.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "image/Renderable.h"
#include "support/CountingAllocator.h"
#include "support/LockHolder.h"
#include "support/TemporaryFile.h"
#include "toolkit/base/StreamIOException.h"
#include "toolkit/io/LFStream.h"

namespace
{
using Bytes = std::vector<unsigned char>;

/// The header of SampleImage, written by hand.
const Bytes kGoldenHeader = {0x01, 0x02, 0x01, 'R',  'E',  'N',  'D',  0x01, 0x03, 0x00, 0x00, 0x00, 0x04,
                             0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x10, 0x00,
                             0x0c, 0x00, 0x0b, 0x00, 0x01, 0x24, 0x00, 0x00, 0x00, 0x01, 0x05, 0x00, 0x00,
                             0x00, 0x06, 0x03, 0x02, 0x01, 0x01, 0xfe, 0xff, 0xff, 0xff, 0x00, 0x00, 0x00,
                             0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x94, 0x05};
constexpr std::size_t kSampleSize = 36;

Bytes SamplePixels(std::size_t theSize = kSampleSize)
{
    Bytes aPixels(theSize);
    std::iota(aPixels.begin(), aPixels.end(), static_cast<unsigned char>(3));
    return aPixels;
}

Bytes SampleFile()
{
    Bytes aFile = kGoldenHeader;
    const Bytes aPixels = SamplePixels();
    aFile.insert(aFile.end(), aPixels.begin(), aPixels.end());
    return aFile;
}

void SetPixels(Renderable& theImage, const Bytes& thePixels)
{
    void* const aBuffer = theImage.getMemoryAllocator().Allocate(thePixels.size());
    std::memcpy(aBuffer, thePixels.data(), thePixels.size());
    theImage.setPixelData(aBuffer, thePixels.size());
}

void SetSampleGeometry(Renderable& theImage)
{
    theImage.setScaleFactor(0x0102);
    theImage.setSamplesPerPixel(3);
    theImage.setPhotometricInterpretation(Renderable::RGB);
    theImage.setRows(2);
    theImage.setColumns(3);
    theImage.setBitsAllocated(16);
    theImage.setBitsStored(12);
    theImage.setHighBit(11);
    theImage.setSigned(true);
    theImage.setPlanarConfiguration(true);
    theImage.setPixelAspectRatioVertical(5);
    theImage.setPixelAspectRatioHorizontal(0x01020306);
    theImage.setLossyImageCompression(true);
    theImage.setCompressionRatio(-2);
}

/// Puts the right checksum into a header that was changed.
Bytes WithChecksum(Bytes theFile)
{
    theFile[62] = theFile[63] = 0;
    const unsigned int aSum = std::accumulate(theFile.begin(), theFile.begin() + 64, 0U);
    theFile[62] = static_cast<unsigned char>(aSum);
    theFile[63] = static_cast<unsigned char>(aSum >> 8);
    return theFile;
}

Bytes WithField(Bytes theFile, std::size_t theOffset, const Bytes& theField)
{
    std::copy(theField.begin(), theField.end(), theFile.begin() + static_cast<std::ptrdiff_t>(theOffset));
    return WithChecksum(std::move(theFile));
}

void ExpectFailure(const std::function<void()>& theOperation, const RWCString& theText, DLResultCode theCode,
                   int theSystemError)
{
    try
    {
        theOperation();
        ADD_FAILURE() << "nothing thrown, expected: " << theText;
    }
    catch (const StreamIOException& anException)
    {
        EXPECT_EQ(anException.GetMessageText(), theText);
        EXPECT_EQ(anException.GetResultCode(), theCode) << theText;
        EXPECT_EQ(anException.GetSystemErrorCode(), theSystemError) << theText;
    }
}

/// Restores the process-wide transfer size.
struct ChunkSizeScope
{
    explicit ChunkSizeScope(int theSize) { Renderable::setIOBufferSize(theSize); }
    ~ChunkSizeScope() { Renderable::setIOBufferSize(16384); }
};

/// Restores the process-wide patience.
struct LockWaitScope
{
    explicit LockWaitScope(double theSeconds) { LFStream::SetDefaultLockWaitTime(theSeconds); }
    ~LockWaitScope() { LFStream::SetDefaultLockWaitTime(itsOld); }
    double itsOld = LFStream::GetDefaultLockWaitTime();
};

TEST(RenderableFile, WritesTheDocumentedBytes)
{
    for (const bool aLocked : {false, true})
    {
        CountingAllocator anAllocator;
        Renderable anImage(anAllocator);
        SetSampleGeometry(anImage);
        SetPixels(anImage, SamplePixels());
        const TemporaryFile aFile(Bytes(1000, 0xff));
        aLocked ? anImage.saveToFileLocked(aFile.GetName()) : anImage.saveToFile(aFile.GetName());
        EXPECT_EQ(aFile.GetContent(), SampleFile());
    }
}

TEST(RenderableFile, ReadsEveryFieldBack)
{
    const TemporaryFile aFile(SampleFile());
    CountingAllocator anAllocator;
    Renderable anImage(anAllocator);
    anImage.setPixelDataLittleEndian(false);
    EXPECT_TRUE(anImage.loadFromFileLocked(aFile.GetName()));
    EXPECT_EQ(anImage.getScaleFactor(), 0x0102);
    EXPECT_TRUE(anImage.isPixelDataLittleEndian());
    EXPECT_EQ(anImage.getSamplesPerPixel(), 3);
    EXPECT_EQ(anImage.getPhotometricInterpretation(), Renderable::RGB);
    EXPECT_EQ(anImage.getRows(), 2);
    EXPECT_EQ(anImage.getColumns(), 3);
    EXPECT_EQ(anImage.getBitsAllocated(), 16);
    EXPECT_EQ(anImage.getBitsStored(), 12);
    EXPECT_EQ(anImage.getHighBit(), 11);
    EXPECT_TRUE(anImage.isSigned());
    EXPECT_TRUE(anImage.isPlanarConfiguration());
    EXPECT_EQ(anImage.getPixelAspectRatioVertical(), 5);
    EXPECT_EQ(anImage.getPixelAspectRatioHorizontal(), 0x01020306);
    EXPECT_TRUE(anImage.isLossyImageCompression());
    EXPECT_EQ(anImage.getCompressionRatio(), -2);
    ASSERT_EQ(anImage.getPixelDataSize(), kSampleSize);
    EXPECT_EQ(std::memcmp(anImage.getPixelData(), SamplePixels().data(), kSampleSize), 0);
}

TEST(RenderableFile, TransferSizesDoNotChangeTheBytes)
{
    const Bytes aPixels = SamplePixels(40000);
    for (const int aChunkSize : {1, 7, 16384, 65536, 0, -5, std::numeric_limits<int>::min()})
    {
        const ChunkSizeScope aScope(aChunkSize);
        EXPECT_EQ(Renderable::getIOBufferSize(), aChunkSize) << "stored as it was set";
        Renderable anImage;
        SetSampleGeometry(anImage);
        anImage.setSamplesPerPixel(1);
        anImage.setRows(200);
        anImage.setColumns(100);
        SetPixels(anImage, aPixels);
        const TemporaryFile aFile;
        anImage.saveToFile(aFile.GetName());
        EXPECT_EQ(aFile.GetContent().size(), 64 + aPixels.size()) << aChunkSize;
        Renderable aCopy;
        EXPECT_TRUE(aCopy.loadFromFile(aFile.GetName()));
        ASSERT_EQ(aCopy.getPixelDataSize(), aPixels.size());
        EXPECT_EQ(std::memcmp(aCopy.getPixelData(), aPixels.data(), aPixels.size()), 0) << aChunkSize;
    }
}

TEST(RenderableFile, EmptyImageIsTheHeaderAlone)
{
    Renderable anImage;
    SetSampleGeometry(anImage);
    anImage.setRows(0);
    const TemporaryFile aFile;
    anImage.saveToFile(aFile.GetName());
    EXPECT_EQ(aFile.GetContent().size(), 64u);
    EXPECT_TRUE(Renderable().loadFromFile(aFile.GetName()));
}

TEST(RenderableFile, BufferOfAnotherSizeThanRequired)
{
    Renderable anImage;
    SetSampleGeometry(anImage);
    SetPixels(anImage, SamplePixels(kSampleSize + 1));
    const TemporaryFile aFile;
    ExpectFailure([&] { anImage.saveToFile(aFile.GetName()); },
                  RWCString("Renderable::saveToFile: actual pixel data buffer size less than calculated "
                            "required size") +
                      aFile.GetName(),
                  DLRC_GENERAL_FAILURE, 0);

    // 18000 × 18000 × 8 does not fit into 31 bits: the required size wraps to 2^61 bytes and must not be
    // completed with zeros until the disk is full.
    Renderable aLarge;
    aLarge.setRows(18000);
    aLarge.setColumns(18000);
    aLarge.setBitsAllocated(8);
    aLarge.setSamplesPerPixel(1);
    EXPECT_NO_THROW(aLarge.saveToFile(aFile.GetName())) << "without a buffer there is nothing to complete";
    SetPixels(aLarge, SamplePixels(10));
    ExpectFailure([&] { aLarge.saveToFile(aFile.GetName()); },
                  RWCString("Renderable::saveToFile: actual pixel data buffer size less than calculated "
                            "required size") +
                      aFile.GetName(),
                  DLRC_GENERAL_FAILURE, 0);

    for (const int aChunkSize : {1, 7, 16384})
    {
        const ChunkSizeScope aScope(aChunkSize);
        SetPixels(anImage, SamplePixels(10));
        anImage.saveToFile(aFile.GetName());
        Bytes anExpected = WithField(SampleFile(), 31, {10});
        std::fill(anExpected.begin() + 64 + 10, anExpected.end(), static_cast<unsigned char>(0));
        EXPECT_EQ(aFile.GetContent(), anExpected) << "what is missing becomes zeros";
    }
}

struct ScaleCase
{
    short itsWanted;
    short itsInFile;
    bool itsAccepted;
};

TEST(RenderableFile, ScaleFactorsAccepted)
{
    constexpr ScaleCase kCases[] = {
        {2, 1, true},   {2, 2, true},  {2, 3, false},  {1, 2, false},           {3, -4, true},
        {-2, 1, false}, {-2, 2, true}, {-2, 3, false}, {-2, -2, false},         {0, 1, true},
        {0, 3, true},   {0, -1, true}, {0, 0, true},   {-32768, -32768, false}, {32767, 32767, true},
    };
    for (const ScaleCase& aCase : kCases)
    {
        SCOPED_TRACE(testing::Message()
                     << aCase.itsWanted << " wanted, " << aCase.itsInFile << " in the file");
        const auto aLow = static_cast<unsigned char>(aCase.itsInFile & 0xff);
        const auto aHigh = static_cast<unsigned char>((aCase.itsInFile >> 8) & 0xff);
        const TemporaryFile aFile(WithField(SampleFile(), 1, {aLow, aHigh}));
        for (const bool aLocked : {false, true})
        {
            Renderable anImage;
            anImage.setScaleFactor(77);
            anImage.setRows(88);
            EXPECT_EQ(anImage.loadFromFile(aFile.GetName(), aCase.itsWanted, aLocked), aCase.itsAccepted);
            EXPECT_EQ(anImage.getScaleFactor(), aCase.itsAccepted ? aCase.itsInFile : 77);
            EXPECT_EQ(anImage.getRows(), aCase.itsAccepted ? 2 : 88);
            EXPECT_EQ(anImage.isPixelDataAllocated(), aCase.itsAccepted);
        }
        Renderable anImage;
        EXPECT_EQ(anImage.loadFromFile(aFile.GetName(), aCase.itsWanted), aCase.itsAccepted);
    }
}

TEST(RenderableFile, AnyChangedHeaderByteIsNoticed)
{
    for (std::size_t anOffset = 0; anOffset < 64; ++anOffset)
    {
        Bytes aContent = SampleFile();
        aContent[anOffset] ^= 0x10;
        const TemporaryFile aFile(aContent);
        Renderable anImage;
        ExpectFailure([&] { anImage.loadFromFile(aFile.GetName()); },
                      RWCString("Renderable::loadFromFile: ") +
                          (anOffset == 0 ? "version mismatch " : "header checksum incorrect ") +
                          aFile.GetName(),
                      DLRC_IO_ERROR, 0);
        EXPECT_FALSE(anImage.isPixelDataAllocated());
    }
    const TemporaryFile aForeign(WithField(SampleFile(), 3, {'X', 'Y', 'Z', 0}));
    EXPECT_TRUE(Renderable().loadFromFile(aForeign.GetName())) << "the tag itself does not matter";
}

TEST(RenderableFile, TruncatedFiles)
{
    for (std::size_t aLength = 0; aLength < SampleFile().size(); ++aLength)
    {
        Bytes aContent = SampleFile();
        aContent.resize(aLength);
        const TemporaryFile aFile(aContent);
        const ChunkSizeScope aScope(aLength % 2 == 0 ? 7 : 16384);
        CountingAllocator anAllocator;
        Renderable anImage(anAllocator);
        errno = EPERM; // an older error of somebody else must not be reported
        ExpectFailure([&] { anImage.loadFromFile(aFile.GetName()); },
                      RWCString("Renderable::loadFromFile: ") +
                          (aLength < 64 ? "error reading header from file "
                                        : "reached EOF before end of required pixel data bytes ") +
                          aFile.GetName(),
                      DLRC_IO_ERROR, 0);
    }
    Bytes aContent = SampleFile();
    aContent.resize(200, 0xee);
    const TemporaryFile aLonger(aContent);
    Renderable anImage;
    EXPECT_TRUE(anImage.loadFromFile(aLonger.GetName())) << "bytes behind the pixels are ignored";
    EXPECT_EQ(anImage.getPixelDataSize(), kSampleSize);
}

TEST(RenderableFile, FilesThatCannotBeOpenedReadOrWritten)
{
    const char* const aMissing = "/nonexistent-folder/image";
    const RWCString aLoad = "Renderable::loadFromFile: ";
    const RWCString aSave = "Renderable::saveToFile: ";
    Renderable anImage;
    SetSampleGeometry(anImage);
    SetPixels(anImage, SamplePixels());
    const auto aHeaderRead = aLoad + "error reading header from file ";
    const auto aHeaderWrite = aSave + "error writing header to file ";
    ExpectFailure([&] { anImage.loadFromFile(aMissing); }, aHeaderRead + aMissing, DLRC_IO_ERROR, ENOENT);
    ExpectFailure([&] { anImage.loadFromFile("/tmp"); }, aHeaderRead + "/tmp", DLRC_IO_ERROR, EISDIR);
    ExpectFailure([&] { anImage.loadFromFile(nullptr); }, aHeaderRead, DLRC_IO_ERROR, ENOENT);
    ExpectFailure([&] { anImage.loadFromFileLocked(aMissing); }, aLoad + "Unable to lock file " + aMissing,
                  DLRC_LOCK_FAILURE, ENOENT);
    ExpectFailure([&] { anImage.saveToFile(aMissing); }, aHeaderWrite + aMissing, DLRC_IO_ERROR, ENOENT);
    ExpectFailure([&] { anImage.saveToFile("/tmp"); }, aHeaderWrite + "/tmp", DLRC_IO_ERROR, EISDIR);
    ExpectFailure([&] { anImage.saveToFile("/dev/full"); }, aHeaderWrite + "/dev/full", DLRC_IO_ERROR,
                  ENOSPC);
    ExpectFailure([&] { anImage.saveToFileLocked(aMissing); }, aSave + "Unable to lock file " + aMissing,
                  DLRC_LOCK_FAILURE, ENOENT);
}

TEST(RenderableFile, DiskThatFillsUpUnderThePixels)
{
    Renderable anImage;
    SetSampleGeometry(anImage);
    SetPixels(anImage, SamplePixels());
    const TemporaryFile aFile;
    rlimit anOldLimit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &anOldLimit), 0);
    rlimit aLimit = anOldLimit;
    aLimit.rlim_cur = 70; // the header and six bytes
    const auto anOldHandler = std::signal(SIGXFSZ, SIG_IGN);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &aLimit), 0);
    ExpectFailure([&] { anImage.saveToFile(aFile.GetName()); },
                  RWCString("Renderable::saveToFile: saveToFile: error writing pixel data to file ") +
                      aFile.GetName(),
                  DLRC_IO_ERROR, EFBIG);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &anOldLimit), 0);
    std::signal(SIGXFSZ, anOldHandler);
}

TEST(RenderableFile, AbsurdGeometryFailsAtOnceAndTouchesNothing)
{
    struct Case
    {
        Bytes itsRowsAndColumns;
        Bytes itsSamples;
        const char* itsSize;
    };
    const Case kCases[] = {
        {{0x00, 0x80, 0, 0, 0x00, 0x40, 0, 0}, {0xff, 0xff, 0xff, 0x7f}, "288230376017494016"},
        {{0xff, 0xff, 0xff, 0xff, 1, 0, 0, 0}, {1, 0, 0, 0}, "2305843009213693951"},
    };
    const auto aStart = std::chrono::steady_clock::now();
    for (const Case& aCase : kCases)
    {
        // Two bits allocated in the first case make 2^30 bits a plane; eight in the second.
        const bool aFirst = aCase.itsSamples[0] == 0xff;
        Bytes aContent = WithField(SampleFile(), 16, aCase.itsRowsAndColumns);
        aContent = WithField(aContent, 8, aCase.itsSamples);
        aContent = WithField(aContent, 24, {static_cast<unsigned char>(aFirst ? 2 : 8)});
        const TemporaryFile aFile(aContent);
        Renderable anImage;
        ExpectFailure([&] { anImage.loadFromFile(aFile.GetName()); },
                      RWCString("Renderable::loadFromFile: pixel data buffer memory allocation failed for "
                                "size = ") +
                          aCase.itsSize + " file = " + aFile.GetName(),
                      DLRC_ALLOCATION_FAILED, 0);
        EXPECT_FALSE(anImage.isPixelDataAllocated());
    }
    EXPECT_LT(std::chrono::steady_clock::now() - aStart, std::chrono::seconds(2));
}

TEST(RenderableFile, ImageThatHoldsABufferKeepsItWithItsTrueSize)
{
    // The file claims more bytes than the buffer has; taking over the claim would send readers past its end.
    const TemporaryFile aFile(WithField(SampleFile(), 31, {0xff, 0xff, 0xff, 0x7f}));
    CountingAllocator anAllocator;
    Renderable anImage(anAllocator);
    SetPixels(anImage, {1, 2, 3});
    void* const aBuffer = anImage.getPixelData();
    ExpectFailure([&] { anImage.loadFromFile(aFile.GetName()); },
                  RWCString("Renderable::loadFromFile: pixel data buffer memory allocation failed for size = "
                            "36 file = ") +
                      aFile.GetName(),
                  DLRC_ALLOCATION_FAILED, 0);
    EXPECT_EQ(anImage.getPixelData(), aBuffer);
    EXPECT_EQ(anImage.getPixelDataSize(), 3u);
}

TEST(RenderableFile, TimesAreMillisecondsOfEachStage)
{
    Bytes aContent = WithField(SampleFile(), 16, {0, 0x10, 0, 0});
    aContent.resize(64 + 0x1000 * 3 * 6);
    const TemporaryFile aFile(aContent);
    const ChunkSizeScope aScope(1); // one call a byte takes a time worth measuring
    Renderable anImage;
    const auto aStart = std::chrono::steady_clock::now();
    ASSERT_TRUE(anImage.loadFromFile(aFile.GetName()));
    const std::chrono::duration<double, std::milli> aWall = std::chrono::steady_clock::now() - aStart;
    EXPECT_LE(anImage.getTotalTimeTakenToLoad(), aWall.count());
    EXPECT_GT(anImage.getTotalTimeTakenToLoad(), aWall.count() / 2);
    EXPECT_GT(anImage.getTimeTakenToLoadPixelData(), aWall.count() / 4) << "nearly all goes into the pixels";
    EXPECT_GE(anImage.getTotalTimeTakenToLoad(),
              anImage.getTimeTakenToOpenStream() + anImage.getTimeTakenToLoadHeader() +
                  anImage.getTimeTakenToAllocateMemmory() + anImage.getTimeTakenToLoadPixelData() - 0.001);
}

TEST(RenderableFile, LocksKeepProcessesApart)
{
    const LockWaitScope aPatience(0.05);
    Renderable anImage;
    SetSampleGeometry(anImage);
    SetPixels(anImage, SamplePixels());
    const TemporaryFile aFile(SampleFile());
    const RWCString aName = aFile.GetName();
    {
        const LockHolder aWriter(aFile.GetName(), LFStream::LOCK_FOR_WRITING);
        ASSERT_TRUE(aWriter.IsLocked());
        Renderable aCopy;
        ExpectFailure([&] { aCopy.loadFromFileLocked(aFile.GetName()); },
                      "Renderable::loadFromFile: Unable to lock file " + aName, DLRC_LOCK_FAILURE, EAGAIN);
        EXPECT_TRUE(aCopy.loadFromFile(aFile.GetName())) << "the lock is advisory";
    }
    {
        const LockHolder aReader(aFile.GetName(), LFStream::LOCK_FOR_READING);
        ASSERT_TRUE(aReader.IsLocked());
        EXPECT_TRUE(Renderable().loadFromFileLocked(aFile.GetName())) << "readers share";
        ExpectFailure([&] { anImage.saveToFileLocked(aFile.GetName()); },
                      "Renderable::saveToFile: Unable to lock file " + aName, DLRC_LOCK_FAILURE, EAGAIN);
        EXPECT_TRUE(aFile.GetContent().empty()) << "deliberate: the file is cut before the lock is asked for";
    }
    // Every failure above gave its own lock and descriptor back.
    anImage.saveToFileLocked(aFile.GetName());
    EXPECT_TRUE(Renderable().loadFromFileLocked(aFile.GetName()));
    ExpectFailure([&] { Renderable().loadFromFile("/tmp", 0, true); },
                  "Renderable::loadFromFile: error reading header from file /tmp", DLRC_IO_ERROR, EISDIR);
}
} // namespace
