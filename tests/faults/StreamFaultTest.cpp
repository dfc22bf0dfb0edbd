// SPDX-License-Identifier: Apache-2.0
// Streams that fail or end at any byte, and disks that are full.
#include <cerrno>

#include <signal.h>
#include <sys/resource.h>

#include "faults/PixelStreamRun.h"
#include "support/DataSet.h"
#include "support/FailureOf.h"
#include "toolkit/base/Exceptions.h"

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
