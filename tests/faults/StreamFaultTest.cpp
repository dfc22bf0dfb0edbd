// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <signal.h>
#include <sys/resource.h>

#include "faults/PixelStreamRun.h"
#include "support/DataSet.h"
#include "support/FailureOf.h"
#include "support/LongRun.h"

// Streams that fail or end at any byte, and disks that are full.

namespace
{
class StreamFault : public FaultTest
{
};

enum class Fault
{
    ENDS,  ///< no more bytes, though the length says otherwise
    FAILS, ///< every operation behind the position throws
    SHORT  ///< a file that was cut off: length and bytes agree
};

/// A stream over the first bytes of a file, ending as told.
class FaultyStream final : public InputStream
{
public:
    FaultyStream(const Bytes& theFile, std::size_t theGoodBytes, Fault theFault, bool theCanSeek)
        : itsFile(theFile), itsGoodBytes(theGoodBytes), itsFault(theFault), itsCanSeek(theCanSeek)
    {
    }

    void SetGoodBytes(std::size_t theGoodBytes) { itsGoodBytes = theGoodBytes; }

    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override
    {
        const std::size_t aLeft = itsPosition < itsGoodBytes ? itsGoodBytes - itsPosition : 0;
        if (aLeft == 0 && itsFault == Fault::FAILS)
        {
            throw StreamIOException("FaultyStream::Read", DLRC_IO_ERROR, EIO);
        }
        const std::size_t aCount = std::min({theLength, aLeft, std::size_t{61}});
        std::copy_n(itsFile.begin() + static_cast<std::ptrdiff_t>(itsPosition), aCount, theBuffer);
        itsPosition += aCount;
        return aCount;
    }

    void Seek(std::size_t thePosition) override
    {
        if (!itsCanSeek || thePosition > itsFile.size())
        {
            throw StreamIOException("FaultyStream::Seek", DLRC_IO_ERROR, EINVAL);
        }
        itsPosition = thePosition;
    }

    int CanSeek() const override { return itsCanSeek ? 1 : 0; }
    std::size_t GetStreamPosition() const override { return itsPosition; }
    long long Length() const override
    {
        return static_cast<long long>(itsFault == Fault::SHORT ? itsGoodBytes : itsFile.size());
    }

private:
    const Bytes& itsFile;
    std::size_t itsGoodBytes;
    Fault itsFault;
    bool itsCanSeek;
    std::size_t itsPosition = 0;
};

TEST_F(StreamFault, AnyByte)
{
    for (const FaultFile& aFile : FaultFiles::Get())
    {
        const Bytes aPixels = RunPart10(aFile.itsFile, nullptr).Pixels();
        for (const Fault aFault : {Fault::ENDS, Fault::FAILS, Fault::SHORT})
        {
            for (std::size_t i = 0; i < aFile.itsFile.size(); ++i)
            {
                FaultyStream aStream(aFile.itsFile, i, aFault, i % 2 == 0);
                FaultFiles::ExpectListed(RunStream(aStream), aFile.itsName + ", byte " + std::to_string(i) +
                                                                 ", fault " + std::to_string(int(aFault)));
                ASSERT_FALSE(HasFailure());
            }
            FaultFiles::ExpectUsable(aFile, aPixels);
        }
    }
}

/// The items of a movie's frames that end within its first theCount bytes. theStart: of the first frame.
std::size_t CountFrames(const Bytes& theMovie, std::size_t theStart, std::size_t theCount)
{
    std::size_t aFrames = 0;
    for (; aFrames < 3; ++aFrames)
    {
        const unsigned aLength = theMovie[theStart - 4] + 256u * theMovie[theStart - 3];
        if (theStart + aLength > theCount)
        {
            break;
        }
        theStart += aLength + 8;
    }
    return aFrames;
}

TEST_F(StreamFault, AnyByteOfAPixelStream)
{
    for (const FaultFile& aFile : FaultFiles::GetMovies())
    {
        const Bytes& aMovie = aFile.itsMovie;
        const Bytes aValue = PixelStreamRun::GetValue(aFile);
        const auto aStart = static_cast<std::size_t>(
            std::search(aMovie.begin(), aMovie.end(), aFile.itsFrame.begin(), aFile.itsFrame.end()) -
            aMovie.begin());
        for (const Fault aFault : {Fault::ENDS, Fault::FAILS, Fault::SHORT})
        {
            for (std::size_t i = aStart; i < aMovie.size(); ++i)
            {
                const bool canSeek = i / 2 % 2 == 0; // fragments have even lengths
                FaultyStream aStream(aMovie, aMovie.size(), aFault, canSeek);
                CountingAllocator anAllocator;
                PixelStreamRun aRun(aValue);
                // Frames that end too early show what there is of them.
                aRun.itsTrusted = aFault == Fault::FAILS
                                      ? aValue.size()
                                      : CountFrames(aMovie, aStart, i) * (aValue.size() / 3);
                // Before the frames are looked for, or when that has been done.
                aRun.Run(aStream, anAllocator,
                         [&]
                         {
                             if (aRun.itsSteps >= static_cast<int>(i % 2))
                             {
                                 aStream.SetGoodBytes(i);
                             }
                         });
                const std::string anInput =
                    aFile.itsName + ", byte " + std::to_string(i) + ", fault " + std::to_string(int(aFault));
                EXPECT_STREQ(aRun.itsFault, nullptr) << anInput;
                EXPECT_EQ(anAllocator.GetLiveBlocks(), 0u) << anInput;
                ASSERT_FALSE(HasFailure());
            }
        }
    }
}

TEST_F(StreamFault, AFullDisk)
{
    const Outcome anOutcome = RunPart10(FaultFiles::Get().front().itsFile, nullptr);
    const Renderable& anImage = *anOutcome.Image();
    DataSet aDataSet;
    aDataSet.SetText(DICOMTags::SOPInstanceUID, "1.2.3");
    const std::function<void(const char*)> kSaves[] = {
        [&](const char* theName) { anImage.saveToFile(theName); }, [&](const char* theName)
        { aDataSet.SaveToFile(theName, TransferSyntaxType::TSExplicitLittleEndianUID); }};
    rlimit aFormer{};
    ::getrlimit(RLIMIT_FSIZE, &aFormer);
    const auto aHandler = ::signal(SIGXFSZ, SIG_IGN);
    for (const auto& aSave : kSaves)
    {
        const auto aFailure = [&](const char* theName) { return FailureOf([&] { aSave(theName); }); };
        EXPECT_TRUE(aFailure("/dev/full").ends_with(" [67, 28]"));
        const TemporaryFile aFile;
        EXPECT_EQ(aFailure(aFile.GetName()), "(nothing)");
        const Bytes aContent = aFile.GetContent();
        for (std::size_t i = 0; i < aContent.size(); ++i)
        {
            const TemporaryFile aShortFile;
            const rlimit aLimit{i, aFormer.rlim_max};
            ::setrlimit(RLIMIT_FSIZE, &aLimit);
            const std::string aText = aFailure(aShortFile.GetName());
            ::setrlimit(RLIMIT_FSIZE, &aFormer);
            EXPECT_TRUE(aText.ends_with(" [67, 27]") && !aText.starts_with(" [")) << i << aText;
            EXPECT_TRUE(
                i < 64 || &aSave != kSaves ||
                aText.starts_with("Renderable::saveToFile: saveToFile: error writing pixel data to file "))
                << i << aText;
        }
        EXPECT_EQ(aFailure(aFile.GetName()), "(nothing)");
        EXPECT_EQ(aFile.GetContent(), aContent);
    }
    ::signal(SIGXFSZ, aHandler);
}
} // namespace

// Codestreams cut off at any byte inside a file that is in order, and headers with any byte changed: an
// error or pixels, in bounded time.

namespace
{
class HeaderFault : public FaultTest
{
};

void ExpectBounded(const Bytes& theFile, const std::string& theInput)
{
    // A sanitized program on a slow machine keeps this many times over.
    constexpr double kMostSeconds = 2;
    const std::clock_t aStart = std::clock();
    FaultFiles::ExpectListed(RunPart10(theFile), theInput);
    EXPECT_LT(static_cast<double>(std::clock() - aStart) / CLOCKS_PER_SEC, kMostSeconds) << theInput;
}

TEST_F(HeaderFault, CodestreamsCutOffAnywhere)
{
    for (const FaultFile& aFile : FaultFiles::Get())
    {
        for (std::size_t i = 0; i < aFile.itsFrame.size() && !HasFailure(); ++i)
        {
            const Bytes aFrame(aFile.itsFrame.data(), aFile.itsFrame.data() + i);
            ExpectBounded(FaultFiles::WithFrame(aFile, aFrame), aFile.itsName + ", " + std::to_string(i));
        }
    }
}

/// How many bytes from the first one on are no entropy-coded data.
std::size_t GetHeaderSize(const FaultFile& theFile)
{
    const auto aFrame = std::search(theFile.itsFile.begin(), theFile.itsFile.end(), theFile.itsFrame.begin(),
                                    theFile.itsFrame.end());
    const bool isJpeg2000 = theFile.itsName.find("2000") != std::string::npos;
    const Bytes aEnd = isJpeg2000 ? Bytes{0xff, 0x93} : Bytes{0xff, 0xda};
    const auto aData = std::search(aFrame, theFile.itsFile.end(), aEnd.begin(), aEnd.end());
    const auto aSize = static_cast<std::size_t>(aData - theFile.itsFile.begin());
    return std::min(aSize + 16, theFile.itsFile.size());
}

TEST_F(HeaderFault, AnyByteChanged)
{
    // Preamble bytes say nothing.
    constexpr std::size_t kPreamble = 128;
    // The usual run sets each byte to 0, 255 and its complement; a long one turns each bit over as well.
    const int aWays = Rounds(1) == 1 ? 3 : 11;
    for (const FaultFile& aFile : FaultFiles::Get())
    {
        for (std::size_t i = kPreamble; i < GetHeaderSize(aFile); ++i)
        {
            for (int aWay = 0; aWay < aWays && !HasFailure(); ++aWay)
            {
                Bytes aChanged = aFile.itsFile;
                const int kValues[] = {0, 255, ~aChanged[i]};
                aChanged[i] =
                    static_cast<std::uint8_t>(aWay < 3 ? kValues[aWay] : aChanged[i] ^ (1 << (aWay - 3)));
                ExpectBounded(aChanged, aFile.itsName + ", byte " + std::to_string(i) + " is " +
                                            std::to_string(aChanged[i]));
            }
        }
    }
}
} // namespace
