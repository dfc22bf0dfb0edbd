// SPDX-License-Identifier: Apache-2.0
// Requests of all codecs side by side, with what they share: message collectors, the counters of the
// operating system's memory, cache files, limits. Made for the thread sanitizer; without it the results
// still have to be right.
#include <functional>
#include <thread>

#include "faults/FaultFiles.h"
#include "image/VMMemoryAllocator.h"
#include "support/LongRun.h"
#include "support/TemporaryFile.h"

namespace
{
class Concurrency : public FaultTest
{
};

constexpr int theThreads = 4;

void RunSideBySide(const std::function<void(int theThread)>& theWork)
{
    std::vector<std::thread> aThreads;
    for (int i = 0; i < theThreads; ++i)
    {
        aThreads.emplace_back(theWork, i);
    }
    for (std::thread& aThread : aThreads)
    {
        aThread.join();
    }
}

/// What one request came to, of an image in the operating system's memory.
struct Answer
{
    int itsCode = 0;
    RWCString itsMessage;
    Bytes itsPixels;
    bool operator==(const Answer&) const = default;
};

Answer Ask(const Bytes& theFile)
{
    DICOMDataObject aDataSet;
    MemoryInputStream aStream(theFile.data(), theFile.size());
    DecompressionRequest aRequest(&aStream, &aDataSet, "", false, 1, 0, "", false);
    DecompressionResult aResult;
    DICOMPart10StreamDecompressor().Decompress(aRequest, aResult);
    Answer anAnswer{aResult.getDCMLibResultCode(), aResult.getMessage(), {}};
    if (const Renderable* const anImage = aResult.getRenderable())
    {
        const auto* const aData = static_cast<const std::uint8_t*>(anImage->getPixelData());
        anAnswer.itsPixels.assign(aData, aData + anImage->getPixelDataSize());
    }
    return anAnswer;
}

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
    std::vector<Answer> anAnswers;
    for (const Bytes& aFile : aFiles)
    {
        anAnswers.push_back(Ask(aFile));
    }
    const std::uint64_t aBlocks = VMMemoryAllocator::GetNumHeapBlocks();
    RunSideBySide(
        [&](int theThread)
        {
            for (int aRound = 0; aRound < Rounds(5); ++aRound)
            {
                for (std::size_t i = 0; i < aFiles.size(); ++i)
                {
                    // Neighbours in time are different codecs, and sometimes the same.
                    const std::size_t aNumber = (i * (theThread % 2 == 0 ? 1 : 7)) % aFiles.size();
                    EXPECT_EQ(Ask(aFiles[aNumber]), anAnswers[aNumber]) << aNumber;
                }
            }
        });
    EXPECT_EQ(VMMemoryAllocator::GetNumHeapBlocks(), aBlocks);
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
