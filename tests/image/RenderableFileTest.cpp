// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <chrono>
#include <numeric>

#include <gtest/gtest.h>

#include "support/FailureOf.h"
#include "support/ImageMaker.h"
#include "support/LockHolder.h"
#include "support/TemporaryFile.h"

namespace
{
constexpr std::size_t kSampleSize = 36;

Bytes SamplePixels(std::size_t theSize = kSampleSize)
{
    Bytes aPixels(theSize);
    std::iota(aPixels.begin(), aPixels.end(), std::uint8_t{3});
    return aPixels;
}

/// An image with a value of its own in every field.
std::unique_ptr<Renderable> MakeSample(CountingAllocator& theAllocator,
                                       const Bytes& thePixels = SamplePixels())
{
    auto anImage = MakeImage(theAllocator, {Renderable::RGB, 3, 16, 2, 3, true, true}, thePixels);
    anImage->setScaleFactor(0x0102);
    anImage->setBitsStored(12);
    anImage->setHighBit(11);
    anImage->setPixelAspectRatioVertical(5);
    anImage->setPixelAspectRatioHorizontal(0x01020306);
    anImage->setLossyImageCompression(true);
    anImage->setCompressionRatio(-2);
    return anImage;
}

/// The file of MakeSample, its header written by hand.
Bytes SampleFile()
{
    Bytes aFile = {0x01, 0x02, 0x01, 'R',  'E',  'N',  'D',  0x01, 0x03, 0x00, 0x00, 0x00, 0x04,
                   0x00, 0x00, 0x00, 0x02, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x10, 0x00,
                   0x0c, 0x00, 0x0b, 0x00, 0x01, 0x24, 0x00, 0x00, 0x00, 0x01, 0x05, 0x00, 0x00,
                   0x00, 0x06, 0x03, 0x02, 0x01, 0x01, 0xfe, 0xff, 0xff, 0xff, 0x00, 0x00, 0x00,
                   0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x94, 0x05};
    const Bytes aPixels = SamplePixels();
    aFile.insert(aFile.end(), aPixels.begin(), aPixels.end());
    return aFile;
}

/// A changed header field, and the checksum that goes with it.
Bytes WithField(Bytes theFile, std::ptrdiff_t theOffset, const Bytes& theField)
{
    std::copy(theField.begin(), theField.end(), theFile.begin() + theOffset);
    theFile[62] = theFile[63] = 0;
    const Bytes aSum = Words({std::accumulate(theFile.begin(), theFile.begin() + 64, 0)});
    std::copy(aSum.begin(), aSum.end(), theFile.begin() + 62);
    return theFile;
}

std::string FailureOfLoading(Renderable& theImage, const char* theName)
{
    return FailureOf([&] { theImage.loadFromFile(theName); });
}

std::string FailureOfLoading(const char* theName, bool theLock = false)
{
    return FailureOf([&] { Renderable().loadFromFile(theName, 0, theLock); });
}

std::string FailureOfSaving(Renderable& theImage, const char* theName)
{
    return FailureOf([&] { theImage.saveToFile(theName); });
}

/// Restores the process-wide transfer size and patience.
struct SettingsScope
{
    explicit SettingsScope(int theChunkSize, double thePatience = LFStream::GetDefaultLockWaitTime())
    {
        Renderable::setIOBufferSize(theChunkSize);
        LFStream::SetDefaultLockWaitTime(thePatience);
    }
    ~SettingsScope()
    {
        Renderable::setIOBufferSize(16384);
        LFStream::SetDefaultLockWaitTime(itsPatience);
    }
    double itsPatience = LFStream::GetDefaultLockWaitTime();
};

const std::string kLoad = "Renderable::loadFromFile: ";
const std::string kSave = "Renderable::saveToFile: ";

TEST(RenderableFile, WritesTheDocumentedBytesAndReadsThemBack)
{
    for (const bool isLocked : {false, true})
    {
        CountingAllocator anAllocator;
        const auto anImage = MakeSample(anAllocator);
        const TemporaryFile aFile(Bytes(1000, 0xff));
        isLocked ? anImage->saveToFileLocked(aFile.GetName()) : anImage->saveToFile(aFile.GetName());
        EXPECT_EQ(aFile.GetContent(), SampleFile());
        Renderable aCopy(anAllocator);
        aCopy.setPixelDataLittleEndian(false);
        EXPECT_TRUE(aCopy.loadFromFile(aFile.GetName(), 0, isLocked));
        EXPECT_TRUE(aCopy.isPixelDataLittleEndian());
        EXPECT_EQ(GetPixels(aCopy), SamplePixels());
        const TemporaryFile anotherFile;
        aCopy.saveToFile(anotherFile.GetName());
        EXPECT_EQ(anotherFile.GetContent(), SampleFile()) << "a field was not read, or not where it belongs";
    }
}

TEST(RenderableFile, TransferSizesDoNotChangeTheBytes)
{
    const Bytes aPixels = SamplePixels(40000);
    for (const int aChunkSize : {1, 7, 16384, 65536, 0, -5, std::numeric_limits<int>::min()})
    {
        SCOPED_TRACE(aChunkSize);
        const SettingsScope aScope(aChunkSize);
        EXPECT_EQ(Renderable::getIOBufferSize(), aChunkSize) << "stored as it was set";
        CountingAllocator anAllocator;
        const TemporaryFile aFile;
        MakeImage(anAllocator, {Renderable::MONOCHROME2, 1, 16, 200, 100}, aPixels)
            ->saveToFile(aFile.GetName());
        Renderable aCopy;
        EXPECT_TRUE(aCopy.loadFromFile(aFile.GetName()));
        EXPECT_EQ(GetPixels(aCopy), aPixels);
        // What is missing in the buffer becomes zeros.
        MakeSample(anAllocator, SamplePixels(10))->saveToFile(aFile.GetName());
        Bytes anExpected = WithField(SampleFile(), 31, {10});
        std::fill(anExpected.begin() + 64 + 10, anExpected.end(), std::uint8_t{0});
        EXPECT_EQ(aFile.GetContent(), anExpected);
    }
}

TEST(RenderableFile, BuffersThatDoNotFitTheGeometryAreRefused)
{
    CountingAllocator anAllocator;
    const TemporaryFile aFile;
    const auto anEmpty = MakeImage(anAllocator, {Renderable::RGB, 3, 16, 0, 3}, {});
    anEmpty->saveToFile(aFile.GetName());
    EXPECT_EQ(aFile.GetContent().size(), 64u) << "an empty image is the header alone";
    EXPECT_TRUE(Renderable().loadFromFile(aFile.GetName()));
    const std::string aRefusal = kSave + "actual pixel data buffer size less than calculated required size" +
                                 aFile.GetName() + " [6, 0]";
    EXPECT_EQ(FailureOfSaving(*MakeSample(anAllocator, SamplePixels(kSampleSize + 1)), aFile.GetName()),
              aRefusal);
    // 18000 × 18000 × 8 does not fit into 31 bits: the required size wraps to 2^61 bytes and must not be
    // completed with zeros until the disk is full.
    const auto aLarge =
        MakeImage(anAllocator, {Renderable::MONOCHROME2, 1, 8, 18000, 18000}, SamplePixels(10));
    EXPECT_EQ(FailureOfSaving(*aLarge, aFile.GetName()), aRefusal);
    aLarge->freePixelData();
    EXPECT_EQ(FailureOfSaving(*aLarge, aFile.GetName()), "(nothing)") << "there is nothing to complete";
}

TEST(RenderableFile, ScaleFactorsAccepted)
{
    constexpr std::tuple<short, short, bool> kCases[] = {
        {2, 1, true},   {2, 2, true},  {2, 3, false},  {1, 2, false},           {3, -4, true},
        {-2, 1, false}, {-2, 2, true}, {-2, 3, false}, {-2, -2, false},         {0, 1, true},
        {0, 3, true},   {0, -1, true}, {0, 0, true},   {-32768, -32768, false}, {32767, 32767, true},
    };
    for (const auto& [aWanted, anInFile, isAccepted] : kCases)
    {
        SCOPED_TRACE(testing::Message() << aWanted << " wanted, " << anInFile << " there");
        const TemporaryFile aFile(WithField(SampleFile(), 1, Words({anInFile})));
        for (const bool isLocked : {false, true})
        {
            Renderable anImage;
            anImage.setScaleFactor(77);
            anImage.setRows(88);
            EXPECT_EQ(anImage.loadFromFile(aFile.GetName(), aWanted, isLocked), isAccepted);
            EXPECT_EQ(anImage.getScaleFactor(), isAccepted ? anInFile : 77);
            EXPECT_EQ(anImage.getRows(), isAccepted ? 2 : 88);
            EXPECT_EQ(anImage.isPixelDataAllocated(), isAccepted);
        }
    }
}

TEST(RenderableFile, AnyChangedOrMissingByteIsNoticed)
{
    for (std::size_t i = 0; i < SampleFile().size(); ++i)
    {
        Bytes aContent = SampleFile();
        aContent[i] ^= 0x10;
        const TemporaryFile aChanged(aContent);
        const std::string aText = i == 0 ? "version mismatch " : "header checksum incorrect ";
        EXPECT_EQ(FailureOfLoading(aChanged.GetName()),
                  i < 64 ? kLoad + aText + aChanged.GetName() + " [67, 0]" : "(nothing)");
        aContent.resize(i);
        const TemporaryFile aCut(aContent);
        const SettingsScope aScope(i % 2 == 0 ? 7 : 16384);
        const std::string aReason = i < 64 ? "error reading header from file "
                                           : "reached EOF before end of required pixel data bytes ";
        errno = EPERM; // an older error of somebody else must not be reported
        EXPECT_EQ(FailureOfLoading(aCut.GetName()), kLoad + aReason + aCut.GetName() + " [67, 0]");
    }
    const TemporaryFile aForeign(WithField(SampleFile(), 3, {'X', 'Y', 'Z', 0}));
    EXPECT_EQ(FailureOfLoading(aForeign.GetName()), "(nothing)") << "the tag itself does not matter";
    Bytes aContent = SampleFile();
    aContent.resize(200, 0xee);
    Renderable anImage;
    EXPECT_TRUE(anImage.loadFromFile(TemporaryFile(aContent).GetName()));
    EXPECT_EQ(anImage.getPixelDataSize(), kSampleSize) << "bytes behind the pixels are ignored";
}

TEST(RenderableFile, FilesThatCannotBeOpenedReadOrWritten)
{
    const char* const aMissing = "/nonexistent-folder/image";
    CountingAllocator anAllocator;
    const auto anImage = MakeSample(anAllocator);
    const std::string aRead = kLoad + "error reading header from file ";
    const std::string aWrite = kSave + "error writing header to file ";
    EXPECT_EQ(FailureOfLoading(aMissing), aRead + aMissing + " [67, 2]");
    EXPECT_EQ(FailureOfLoading("/tmp"), aRead + "/tmp [67, 21]");
    EXPECT_EQ(FailureOfLoading("/tmp", true), aRead + "/tmp [67, 21]");
    EXPECT_EQ(FailureOfLoading(nullptr), aRead + " [67, 2]");
    EXPECT_EQ(FailureOfLoading(aMissing, true), kLoad + "Unable to lock file " + aMissing + " [64, 2]");
    EXPECT_EQ(FailureOfSaving(*anImage, aMissing), aWrite + aMissing + " [67, 2]");
    EXPECT_EQ(FailureOfSaving(*anImage, "/tmp"), aWrite + "/tmp [67, 21]");
    EXPECT_EQ(FailureOfSaving(*anImage, "/dev/full"), aWrite + "/dev/full [67, 28]");
    EXPECT_EQ(FailureOf([&] { anImage->saveToFileLocked(aMissing); }),
              kSave + "Unable to lock file " + aMissing + " [64, 2]");
}

TEST(RenderableFile, AbsurdGeometryFailsAtOnceAndTouchesNothing)
{
    const std::tuple<Bytes, Bytes, const char*> kCases[] = {
        {{0x00, 0x80, 0, 0, 0x00, 0x40, 0, 0, 2}, {0xff, 0xff, 0xff, 0x7f}, "288230376017494016"},
        {{0xff, 0xff, 0xff, 0xff, 1, 0, 0, 0, 8}, {1, 0, 0, 0}, "2305843009213693951"}};
    const std::string aText = kLoad + "pixel data buffer memory allocation failed for size = ";
    for (const auto& [aRowsColumnsBits, aSamples, aSize] : kCases)
    {
        const TemporaryFile aFile(WithField(WithField(SampleFile(), 16, aRowsColumnsBits), 8, aSamples));
        Renderable anImage;
        EXPECT_EQ(FailureOfLoading(anImage, aFile.GetName()),
                  aText + aSize + " file = " + aFile.GetName() + " [11, 0]");
        EXPECT_FALSE(anImage.isPixelDataAllocated());
    }
    // A file that claims more bytes than the buffer at hand has; taking over the claim would send readers
    // past its end.
    const TemporaryFile aFile(WithField(SampleFile(), 31, {0xff, 0xff, 0xff, 0x7f}));
    CountingAllocator anAllocator;
    const auto anImage = MakeImage(anAllocator, {}, {1, 2, 3});
    EXPECT_EQ(FailureOfLoading(*anImage, aFile.GetName()),
              aText + "36 file = " + aFile.GetName() + " [11, 0]");
    EXPECT_EQ(GetPixels(*anImage), (Bytes{1, 2, 3}));
}

TEST(RenderableFile, TimesAreMillisecondsOfEachStage)
{
    Bytes aContent = WithField(SampleFile(), 16, {0, 0x10, 0, 0});
    aContent.resize(64 + 0x1000 * 3 * 6);
    const TemporaryFile aFile(aContent);
    const SettingsScope aScope(1); // one call a byte takes a time worth measuring
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
    const SettingsScope aScope(16384, 0.05);
    CountingAllocator anAllocator;
    const auto anImage = MakeSample(anAllocator);
    const TemporaryFile aFile(SampleFile());
    const std::string aLocked = std::string("Unable to lock file ") + aFile.GetName() + " [64, 11]";
    {
        const LockHolder aWriter(aFile.GetName(), LFStream::LOCK_FOR_WRITING);
        ASSERT_TRUE(aWriter.IsLocked());
        EXPECT_EQ(FailureOfLoading(aFile.GetName(), true), kLoad + aLocked);
        EXPECT_EQ(FailureOfLoading(aFile.GetName()), "(nothing)") << "the lock is advisory";
        EXPECT_EQ(FailureOf([&] { anImage->saveToFileLocked(aFile.GetName()); }), kSave + aLocked);
        EXPECT_EQ(aFile.GetContent(), SampleFile()) << "a save that is refused leaves the file alone";
    }
    {
        const LockHolder aReader(aFile.GetName(), LFStream::LOCK_FOR_READING);
        ASSERT_TRUE(aReader.IsLocked());
        EXPECT_EQ(FailureOf([&] { anImage->saveToFileLocked(aFile.GetName()); }), kSave + aLocked);
        EXPECT_TRUE(Renderable().loadFromFileLocked(aFile.GetName())) << "readers share";
    }
    // Every failure above gave its own lock and descriptor back.
    anImage->saveToFileLocked(aFile.GetName());
    EXPECT_TRUE(Renderable().loadFromFileLocked(aFile.GetName()));
}
} // namespace
