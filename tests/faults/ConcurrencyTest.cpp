// SPDX-License-Identifier: Apache-2.0
// Requests of all codecs side by side, with what they share: message collectors, the counters of the
// operating system's memory, cache files, limits. Made for the thread sanitizer; without it the results
// still have to be right.
#include "faults/PixelStreamRun.h"
#include "image/VMMemoryAllocator.h"
#include "support/LongRun.h"
#include "support/SampleTable.h"
#include "support/SideBySide.h"
#include "support/TemporaryFile.h"

namespace
{
class Concurrency : public FaultTest
{
};

TEST_F(Concurrency, EveryRequestIsAnsweredAsIfItWereAlone)
{
    // Every file whole, with its data cut off, and with a marker in its header that makes a report.
    std::vector<Bytes> aFiles;
    for (const FaultFile& aFile : FaultFiles::Get())
    {
        aFiles.push_back(aFile.itsFile);
        if (!aFile.itsFrame.empty())
        {
            Bytes aFrame = aFile.itsFrame;
            aFrame.resize(aFrame.size() / 2);
            aFiles.push_back(FaultFiles::WithFrame(aFile, aFrame));
            aFrame = aFile.itsFrame;
            aFrame[5] = static_cast<std::uint8_t>(~aFrame[5]);
            aFiles.push_back(FaultFiles::WithFrame(aFile, aFrame));
        }
    }
    for (const std::string& aName : SampleTable::ListFolder("dicom"))
    {
        const Bytes aReal = SampleTable::ReadFile(aName);
        aFiles.insert(aFiles.end(), Rounds(1) > 1 && aReal.size() < 100'000 ? 1 : 0, aReal);
    }
    const std::uint64_t aBlocks = VMMemoryAllocator::GetNumHeapBlocks();
    // The threads come first: what is made at its first use is made while others want it, too.
    std::vector<std::vector<FaultFiles::Answer>> anAnswers(4, std::vector<FaultFiles::Answer>(aFiles.size()));
    RunSideBySide(
        [&](int theThread)
        {
            auto& anOwn = anAnswers[static_cast<std::size_t>(theThread)];
            for (int aRound = 0; aRound < Rounds(5); ++aRound)
            {
                for (std::size_t i = 0; i < aFiles.size(); ++i)
                {
                    // Neighbours in time are different codecs, and sometimes the same.
                    const std::size_t aNumber = (i * (theThread % 2 == 0 ? 1 : 7)) % aFiles.size();
                    FaultFiles::Answer anAnswer = FaultFiles::Ask(aFiles[aNumber]);
                    EXPECT_TRUE(aRound == 0 || anAnswer == anOwn[aNumber]) << aNumber;
                    anOwn[aNumber] = std::move(anAnswer);
                }
            }
        });
    EXPECT_EQ(VMMemoryAllocator::GetNumHeapBlocks(), aBlocks);
    for (std::size_t i = 0; i < aFiles.size(); ++i)
    {
        const FaultFiles::Answer anAnswer = FaultFiles::Ask(aFiles[i]);
        for (const auto& anOther : anAnswers)
        {
            EXPECT_EQ(anOther[i], anAnswer) << i;
        }
    }
}

TEST_F(Concurrency, PixelStreamsAreReadSideBySide)
{
    const std::vector<FaultFile> aFiles = FaultFiles::GetMovies();
    std::vector<Bytes> aValues;
    for (const FaultFile& aFile : aFiles)
    {
        aValues.push_back(PixelStreamRun::GetValue(aFile));
    }
    RunSideBySide(
        [&](int theThread)
        {
            for (std::size_t i = 0; i < static_cast<std::size_t>(Rounds(50)); ++i)
            {
                const std::size_t aNumber = (i * (theThread % 2 == 0 ? 1 : 2)) % aFiles.size();
                MemoryInputStream aStream(aFiles[aNumber].itsMovie.data(), aFiles[aNumber].itsMovie.size());
                PixelStreamRun aRun(aValues[aNumber]);
                aRun.Run(aStream, VMMemoryAllocator::GetDefaultInstance());
                EXPECT_STREQ(aRun.itsFault, nullptr) << aFiles[aNumber].itsName;
                EXPECT_EQ(aRun.itsFailures, 0) << aFiles[aNumber].itsName;
            }
        });
}

TEST_F(Concurrency, CacheFilesAreSharedByManyReadersAndTheirOwnWriters)
{
    const Outcome anOutcome = RunPart10(FaultFiles::Get().front().itsFile, nullptr);
    const TemporaryFile aShared;
    anOutcome.Image()->saveToFileLocked(aShared.GetName());
    RunSideBySide(
        [&](int)
        {
            const TemporaryFile anOwn;
            for (int aRound = 0; aRound < Rounds(20); ++aRound)
            {
                Renderable::setIOBufferSize(16384);
                for (const char* const aName : {aShared.GetName(), anOwn.GetName()})
                {
                    Renderable anImage;
                    if (aName == anOwn.GetName())
                    {
                        anOutcome.Image()->saveToFileLocked(aName);
                    }
                    EXPECT_TRUE(anImage.loadFromFileLocked(aName));
                    EXPECT_EQ(std::memcmp(anImage.getPixelData(), anOutcome.Image()->getPixelData(),
                                          anImage.getPixelDataSize()),
                              0);
                }
            }
        });
}
} // namespace
