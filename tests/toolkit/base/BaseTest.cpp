// SPDX-License-Identifier: Apache-2.0
#include <thread>

#include <gtest/gtest.h>

#include "toolkit/base/Exceptions.h"
#include "toolkit/base/System.h"

namespace
{
/// The exception's clone, cause included, after the original is gone.
template <class Exception>
std::unique_ptr<ExceptionBase> Clone(Exception theException)
{
    DLRuntimeException aCause("cause");
    aCause.SetException(DLRuntimeException("root"));
    theException.SetException(aCause);
    return static_cast<const ExceptionBase&>(theException).Clone();
}

// Messages shown to users are made of these texts; a class that forgets to override one would answer for its
// base, and a clone would lose its type, its cause and its codes.
TEST(ExceptionBase, ClonesKeepNameTextCodesAndCause)
{
    const auto aBase = Clone(ExceptionBase("text"));
    const auto aRuntime = Clone(DLRuntimeException("100 %s"));
    const auto aBadAlloc = Clone(BadAllocException(0xffffffffffffffff));
    const auto aLib = Clone(DICOMLibException("lock", DLRC_LOCK_FAILURE, 2));
    const auto aStream = Clone(StreamIOException("read", DLRC_IO_ERROR, 5));
    const auto aStop = Clone(DecodingInterruptedException("stop", 1));
    EXPECT_EQ(aBase->ToString(), "ExceptionBase: text");
    EXPECT_EQ(aRuntime->ToString(), "DLRuntimeException: 100 %s");
    EXPECT_EQ(aBadAlloc->ToString(),
              "BadAllocException: Memory allocation of 18446744073709551615 bytes failed");
    EXPECT_EQ(aLib->ToString(), "DICOMLibException: lock");
    EXPECT_EQ(aStream->ToString(), "StreamIOException: read");
    EXPECT_EQ(aStop->ToString(), "DecodingInterruptedException: stop");
    for (const auto* aClone : {&aBase, &aRuntime, &aBadAlloc, &aLib, &aStream, &aStop})
    {
        EXPECT_EQ((*aClone)->ClassName() + ": " + (*aClone)->what(), (*aClone)->ToString());
        EXPECT_EQ((*aClone)->GetException()->ToString(), "DLRuntimeException: cause");
        EXPECT_STREQ((*aClone)->GetException()->GetException()->what(), "root");
    }
    EXPECT_EQ(dynamic_cast<const BadAllocException&>(*aBadAlloc).GetSize(), 0xffffffffffffffff);
    EXPECT_EQ(dynamic_cast<const StreamIOException&>(*aStream).GetResultCode(), 67);
    EXPECT_EQ(dynamic_cast<const StreamIOException&>(*aStream).GetSystemErrorCode(), 5);
    EXPECT_EQ(dynamic_cast<const DICOMLibException&>(*aLib).GetResultCode(), 64);
    EXPECT_EQ(dynamic_cast<const DecodingInterruptedException&>(*aStop).GetReason(), 1);
}
// Objects that lock call each other while they hold the lock: with a plain mutex this test would hang.
TEST(CriticalSection, IsRecursiveAndKeepsOthersOut)
{
    CriticalSection aSection;
    int aCounter = 0;
    const auto anIncrement = [&]
    {
        for (int aRound = 0; aRound < 20000; ++aRound)
        {
            const CriticalSectionWhileInScope anOuter(aSection);
            const CriticalSectionWhileInScope anInner(aSection);
            ++aCounter;
        }
    };
    std::thread anOther(anIncrement);
    anIncrement();
    anOther.join();
    EXPECT_EQ(aCounter, 40000);
}
} // namespace
