// SPDX-License-Identifier: Apache-2.0
// Java's calls side by side, each thread with a virtual machine of its own. Made for the thread sanitizer.
#include "faults/FaultFiles.h"
#include "faults/SideBySide.h"
#include "image/VMMemoryAllocator.h"
#include "jni/FakeDecompressor.h"
#include "support/LongRun.h"

namespace
{
class JavaConcurrency : public FaultTest
{
};

TEST_F(JavaConcurrency, EveryCallIsAnsweredAsIfItWereAlone)
{
    const std::vector<FaultFile>& aFiles = FaultFiles::Get();
    const std::uint64_t aBlocks = VMMemoryAllocator::GetNumHeapBlocks();
    std::vector<std::vector<Bytes>> anAnswers(4);
    RunSideBySide(
        [&](int theThread)
        {
            std::vector<Bytes>& anOwn = anAnswers[static_cast<std::size_t>(theThread)];
            for (int aRound = 0; aRound < Rounds(5); ++aRound)
            {
                for (const FaultFile& aFile : aFiles)
                {
                    FakeDecompressor aCall(aFile.itsFile);
                    aCall.Run(FakeDecompressor::Method::STREAM, 3);
                    anOwn.push_back(aCall.itsPixels);
                    FakeDecompressor aQueueCall(aFile.itsFrame);
                    aQueueCall.Run(FakeDecompressor::Method::QUEUE,
                                   aFile.itsName.find("2000") != std::string::npos ? 2 : 1);
                    anOwn.push_back(aQueueCall.itsPixels);
                    EXPECT_EQ(aCall.GetLostReferences() + aQueueCall.GetLostReferences(), 0u)
                        << aFile.itsName;
                }
            }
        });
    EXPECT_EQ(VMMemoryAllocator::GetNumHeapBlocks(), aBlocks);
    for (std::size_t i = 0; i < anAnswers[0].size(); ++i)
    {
        const FaultFile& aFile = aFiles[i / 2 % aFiles.size()];
        EXPECT_TRUE(i % 2 == 1 || anAnswers[0][i] == RunPart10(aFile.itsFile, nullptr).Pixels())
            << aFile.itsName;
        for (const std::vector<Bytes>& anOther : anAnswers)
        {
            EXPECT_EQ(anOther[i], anAnswers[0][i]) << aFile.itsName;
        }
    }
}
} // namespace
