// SPDX-License-Identifier: Apache-2.0
// Memory that runs out: the n-th block of the allocator, and the n-th operator new, for every n.
#include <cstdlib>
#include <new>

#include "faults/PixelStreamRun.h"

namespace
{
/// What operator new does on this thread.
thread_local long long theAllocationsLeft = -1; ///< before one fails; below 0: none does
thread_local bool theFailureLasts = false;      ///< all after it fail too
thread_local bool theHasFailed = false;
thread_local long long theBlocks = 0; ///< made less freed

void* AllocateOrFail(std::size_t theSize)
{
    if (theAllocationsLeft == 0)
    {
        theHasFailed = true;
        theAllocationsLeft = theFailureLasts ? 0 : -1;
        return nullptr;
    }
    theAllocationsLeft -= theAllocationsLeft > 0 ? 1 : 0;
    void* const aBlock = std::malloc(theSize == 0 ? 1 : theSize);
    theBlocks += aBlock != nullptr ? 1 : 0;
    return aBlock;
}
} // namespace

// Not inlined, as the compiler would see malloc in one place and operator delete in the other.
[[gnu::noinline]] void* operator new(std::size_t theSize)
{
    void* const aBlock = AllocateOrFail(theSize);
    return aBlock != nullptr ? aBlock : throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new[](std::size_t theSize)
{
    return operator new(theSize);
}
[[gnu::noinline]] void* operator new(std::size_t theSize, const std::nothrow_t&) noexcept
{
    return AllocateOrFail(theSize);
}
[[gnu::noinline]] void* operator new[](std::size_t theSize, const std::nothrow_t&) noexcept
{
    return AllocateOrFail(theSize);
}
[[gnu::noinline]] void operator delete(void* theBlock) noexcept
{
    theBlocks -= theBlock != nullptr ? 1 : 0;
    std::free(theBlock);
}
[[gnu::noinline]] void operator delete[](void* theBlock) noexcept
{
    operator delete(theBlock);
}
void operator delete(void* theBlock, std::size_t) noexcept
{
    operator delete(theBlock);
}
void operator delete[](void* theBlock, std::size_t) noexcept
{
    operator delete(theBlock);
}
void operator delete(void* theBlock, const std::nothrow_t&) noexcept
{
    operator delete(theBlock);
}
void operator delete[](void* theBlock, const std::nothrow_t&) noexcept
{
    operator delete(theBlock);
}

/// Asked by the leak sanitizer, where there is one. DCMTK's inflater does not survive its own construction
/// without losing a block or two.
extern "C" __attribute__((visibility("default"))) const char* __lsan_default_suppressions()
{
    return "leak:DcmZLibInputFilter";
}

namespace
{
class AllocationFault : public FaultTest
{
};

TEST_F(AllocationFault, AnyBlockOfTheAllocator)
{
    for (const FaultFile& aFile : FaultFiles::Get())
    {
        const Bytes aPixels = RunPart10(aFile.itsFile, nullptr).Pixels();
        ASSERT_FALSE(aPixels.empty()) << aFile.itsName;
        bool hasFailed = true;
        for (std::size_t i = 0; hasFailed; ++i)
        {
            DICOMDataObject aDataSet;
            MemoryInputStream aStream(aFile.itsFile.data(), aFile.itsFile.size());
            auto anAllocator = std::make_unique<CountingAllocator>();
            anAllocator->FailAt(i);
            const Outcome anOutcome = RunStream(aStream, &aDataSet, {}, std::move(anAllocator));
            hasFailed = anOutcome.itsAllocator->GetAllocations() > i;
            FaultFiles::ExpectListed(anOutcome, aFile.itsName + ", block " + std::to_string(i));
            EXPECT_EQ(anOutcome.Code() != 0, hasFailed) << aFile.itsName << ", block " << i;
            FaultFiles::ExpectUsable(aFile, aPixels);
        }
    }
}

/// One request during which the theNumber-th call of operator new fails, and all later ones if theLasts. True
/// when there were so many. By meaning no lack of memory passes for a damaged file.
bool RunWithFailure(const FaultFile& theFile, long long theNumber, bool theLasts,
                    Reading theReading = Reading::BY_CONTRACT)
{
    Outcome anOutcome;
    DICOMDataObject aDataSet;
    MemoryInputStream aStream(theFile.itsFile.data(), theFile.itsFile.size());
    DecompressionRequest aRequest(&aStream, &aDataSet, "", false, 1, 0, "", false);
    aRequest.setReading(theReading);
    DICOMPart10StreamDecompressor aDecompressor(*anOutcome.itsAllocator);
    theHasFailed = false;
    theFailureLasts = theLasts;
    theAllocationsLeft = theNumber;
    aDecompressor.Decompress(aRequest, anOutcome.itsResult);
    theAllocationsLeft = -1;
    const bool hasFailed = theHasFailed;
    const std::string anInput = theFile.itsName + ", operator new " + std::to_string(theNumber);
    FaultFiles::ExpectListed(anOutcome, anInput);
    if (theReading == Reading::BY_MEANING && anOutcome.Code() != 0)
    {
        const bool isConversion = anOutcome.Code() == DLRC_NOT_SUPPORTED;
        EXPECT_TRUE(isConversion || anOutcome.Code() == DLRC_ALLOCATION_FAILED) << anInput;
        EXPECT_NE(anOutcome.Message().find(isConversion ? "Memory" : "Out of memory"), RWCString::npos)
            << anInput << anOutcome.Message();
    }
    return hasFailed;
}

TEST_F(AllocationFault, AnyOperatorNew)
{
    for (const FaultFile& aFile : FaultFiles::Get())
    {
        const Bytes aPixels = RunPart10(aFile.itsFile, nullptr).Pixels();
        const long long aLoss = aFile.itsName == "deflated" ? 2 : 0;
        // What is made once and kept is there before blocks are counted.
        RunWithFailure(aFile, 0, false);
        RunWithFailure(aFile, 1LL << 40, false);
        for (const auto& [aLasts, aReading] :
             {std::pair(false, Reading::BY_CONTRACT), std::pair(true, Reading::BY_CONTRACT),
              std::pair(false, Reading::BY_MEANING), std::pair(true, Reading::BY_MEANING)})
        {
            bool hasFailed = true;
            for (long long i = 0; hasFailed && !HasFailure(); ++i)
            {
                const long long aBlocks = theBlocks;
                hasFailed = RunWithFailure(aFile, i, aLasts, aReading);
                EXPECT_LE(theBlocks, aBlocks + aLoss)
                    << aFile.itsName << ", operator new " << i << ": blocks were never given back";
            }
        }
        FaultFiles::ExpectUsable(aFile, aPixels);
    }
}

/// The frames of a movie read like native ones while the theNumber-th block, or operator new, fails, and all
/// later ones if theLasts. True when there were so many.
bool ReadWithFailure(const FaultFile& theFile, const Bytes& theValue, long long theNumber, bool theLasts,
                     bool theIsBlock)
{
    PixelStreamRun aRun(theValue);
    CountingAllocator anAllocator;
    MemoryInputStream aStream(theFile.itsMovie.data(), theFile.itsMovie.size());
    std::size_t aFirst = 0; // block to fail
    theHasFailed = false;
    theFailureLasts = theLasts;
    aRun.Run(aStream, anAllocator,
             [&]
             {
                 if (aRun.itsSteps == 0)
                 {
                     aFirst = anAllocator.GetAllocations() + static_cast<std::size_t>(theNumber);
                     theAllocationsLeft = theIsBlock ? -1 : theNumber;
                 }
                 if (theIsBlock)
                 {
                     anAllocator.FailAt(theLasts ? std::max(aFirst, anAllocator.GetAllocations()) : aFirst);
                 }
             });
    theAllocationsLeft = -1;
    const bool hasFailed = theIsBlock ? anAllocator.GetAllocations() > aFirst : theHasFailed;
    const std::string anInput = theFile.itsName + ", " + std::to_string(theNumber);
    EXPECT_STREQ(aRun.itsFault, nullptr) << anInput;
    EXPECT_TRUE(hasFailed || (aRun.itsFailures == 0 && aRun.itsDelivered > theValue.size())) << anInput;
    EXPECT_EQ(anAllocator.GetLiveBlocks(), 0u) << anInput;
    return hasFailed;
}

TEST_F(AllocationFault, AnyOfAPixelStream)
{
    for (const FaultFile& aFile : FaultFiles::GetMovies())
    {
        const Bytes aValue = PixelStreamRun::GetValue(aFile);
        // What is made once and kept is there before blocks are counted.
        ReadWithFailure(aFile, aValue, 0, false, false);
        ReadWithFailure(aFile, aValue, 0, false, true);
        ReadWithFailure(aFile, aValue, 1LL << 40, false, false);
        for (const auto& [isBlock, aLasts] :
             {std::pair(true, false), std::pair(true, true), std::pair(false, false), std::pair(false, true)})
        {
            bool hasFailed = true;
            for (long long i = 0; hasFailed && !HasFailure(); ++i)
            {
                const long long aBlocks = theBlocks;
                hasFailed = ReadWithFailure(aFile, aValue, i, aLasts, isBlock);
                EXPECT_LE(theBlocks, aBlocks)
                    << aFile.itsName << ", " << i << ": blocks were never given back";
            }
        }
    }
}
} // namespace
