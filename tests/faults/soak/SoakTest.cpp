// SPDX-License-Identifier: Apache-2.0
// Real and damaged images in any order from four threads, for some seconds or, in a long run, a quarter of
// an hour: every result is that of the first time, and memory stays where it was.
#include <atomic>
#include <chrono>
#include <fstream>
#include <mutex>
#include <random>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

#include "faults/FaultFiles.h"
#include "image/VMMemoryAllocator.h"
#include "support/LongRun.h"
#include "support/SampleTable.h"
#include "support/SideBySide.h"

namespace
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool kMemoryIsOurs = false;
#else
constexpr bool kMemoryIsOurs = true;
#endif

using Clock = std::chrono::steady_clock;

struct Input
{
    std::string itsName;
    RWCString itsUID; ///< of a bare image; empty for a DICOM file
    Bytes itsBytes;
};

/// Samples that do not take long, and three damaged copies of everything.
std::vector<Input> CollectInputs()
{
    const std::size_t aLargest = Rounds(1) == 1 ? 150'000 : 600'000;
    std::vector<Input> anInputs;
    for (const FaultFile& aFile : FaultFiles::Get())
    {
        anInputs.push_back({aFile.itsName, "", aFile.itsFile});
    }
    const std::pair<const char*, RWCString> kFolders[] = {{"dicom", ""},
                                                          {"damaged", ""},
                                                          {"damaged", TransferSyntaxType::TSJPEG2KUID},
                                                          {"jpeg", TransferSyntaxType::TSJPEG50UID},
                                                          {"jp2", TransferSyntaxType::TSJPEG2KUID},
                                                          {"jpeg2000", TransferSyntaxType::TSJPEG2KUID}};
    for (const auto& [aFolder, aUID] : kFolders)
    {
        for (const std::string& aName : SampleTable::ListFolder(aFolder))
        {
            anInputs.push_back({aName, aUID, SampleTable::ReadFile(aName)});
        }
    }
    std::erase_if(anInputs,
                  [aLargest](const Input& theInput) { return theInput.itsBytes.size() > aLargest; });
    std::mt19937 aRandom(5);
    for (std::size_t i = 0, aCount = anInputs.size(); i < 3 * aCount; ++i)
    {
        Input aCopy = anInputs[i % aCount];
        for (int aChange = 0; aChange < 3 && !aCopy.itsBytes.empty(); ++aChange)
        {
            aCopy.itsBytes[aRandom() % aCopy.itsBytes.size()] = static_cast<std::uint8_t>(aRandom());
        }
        aCopy.itsBytes.resize(i < aCount ? aRandom() % (aCopy.itsBytes.size() + 1) : aCopy.itsBytes.size());
        aCopy.itsName += ", copy " + std::to_string(i / aCount);
        anInputs.push_back(std::move(aCopy));
    }
    return anInputs;
}

std::size_t GetResidentBytes()
{
    std::ifstream aFile("/proc/self/statm");
    std::size_t aTotal = 0;
    std::size_t aResident = 0;
    aFile >> aTotal >> aResident;
    return aResident * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

/// What four threads found in the given time.
class Soak
{
public:
    explicit Soak(std::vector<Input> theInputs) : itsInputs(std::move(theInputs))
    {
        for (const Input& anInput : itsInputs)
        {
            itsAnswers.push_back(FaultFiles::Ask(anInput.itsBytes, anInput.itsUID));
        }
    }

    void Run(std::chrono::seconds theDuration)
    {
        const Clock::time_point anEnd = Clock::now() + theDuration;
        std::thread aWatch(
            [&]
            {
                while (Clock::now() < anEnd)
                {
                    std::this_thread::sleep_for(std::chrono::milliseconds(200));
                    itsMemory.push_back(GetResidentBytes());
                }
            });
        RunSideBySide([&](int theThread) { AskUntil(anEnd, static_cast<unsigned>(theThread)); });
        aWatch.join();
    }

    /// Most memory in the given tenth of the time.
    std::size_t GetMemory(std::size_t theTenth) const
    {
        const std::size_t aCount = itsMemory.size();
        const auto aBegin = itsMemory.begin() + static_cast<std::ptrdiff_t>(aCount * theTenth / 10);
        const auto anEnd = itsMemory.begin() + static_cast<std::ptrdiff_t>(aCount * (theTenth + 1) / 10);
        return aBegin == anEnd ? 0 : *std::max_element(aBegin, anEnd);
    }

    std::size_t CountInputs() const { return itsInputs.size(); }
    std::uint64_t GetRequests() const { return itsRequests; }
    const std::set<std::string>& GetDifferences() const { return itsDifferences; }

private:
    void AskUntil(Clock::time_point theEnd, unsigned theSeed)
    {
        std::mt19937 aRandom(theSeed);
        while (Clock::now() < theEnd)
        {
            const std::size_t aNumber = aRandom() % itsInputs.size();
            const Input& anInput = itsInputs[aNumber];
            const FaultFiles::Answer anAnswer = FaultFiles::Ask(anInput.itsBytes, anInput.itsUID);
            ++itsRequests;
            if (anAnswer != itsAnswers[aNumber])
            {
                const std::lock_guard aLock(itsMutex);
                itsDifferences.insert(anInput.itsName + ": " + anAnswer.itsMessage + " instead of " +
                                      itsAnswers[aNumber].itsMessage);
            }
        }
    }

    std::vector<Input> itsInputs;
    std::vector<FaultFiles::Answer> itsAnswers;
    std::atomic<std::uint64_t> itsRequests = 0;
    std::vector<std::size_t> itsMemory;
    std::mutex itsMutex;
    std::set<std::string> itsDifferences;
};

TEST(Soak, EveryResultIsThatOfTheFirstTimeAndMemoryStaysFlat)
{
    const std::chrono::seconds aDuration(Rounds(1) == 1 ? 5 : 900);
    const std::uint64_t aBlocks = VMMemoryAllocator::GetNumHeapBlocks();
    const int anOutput = ::dup(STDOUT_FILENO), anErrors = ::dup(STDERR_FILENO);
    const int aNowhere = ::open("/dev/null", O_WRONLY | O_CLOEXEC);
    ::dup2(aNowhere, STDOUT_FILENO);
    ::dup2(aNowhere, STDERR_FILENO);
    auto aSoak = std::make_unique<Soak>(CollectInputs());
    aSoak->Run(aDuration);
    std::fflush(nullptr);
    ::dup2(anOutput, STDOUT_FILENO);
    ::dup2(anErrors, STDERR_FILENO);
    std::cout << aSoak->CountInputs() << " inputs, " << aSoak->GetRequests() << " requests; MiB:";
    for (std::size_t aTenth = 0; aTenth < 10; ++aTenth)
    {
        std::cout << ' ' << (aSoak->GetMemory(aTenth) >> 20);
    }
    std::cout << std::endl;
    EXPECT_GT(aSoak->GetRequests(), 0u);
    for (const std::string& aDifference : aSoak->GetDifferences())
    {
        ADD_FAILURE() << aDifference;
    }
    EXPECT_EQ(VMMemoryAllocator::GetNumHeapBlocks(), aBlocks);
    if (kMemoryIsOurs)
    {
        // Four requests at a time need what they need; that comes and goes, a leak only comes.
        constexpr std::size_t kSlack = 32u << 20;
        EXPECT_LT(aSoak->GetMemory(9), aSoak->GetMemory(2) * 11 / 10 + kSlack);
    }
}
} // namespace
