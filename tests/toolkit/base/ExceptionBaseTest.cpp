// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/ExceptionBase.h"

#include <typeinfo>

#include <gtest/gtest.h>

#include "toolkit/base/BadAllocException.h"
#include "toolkit/base/DLRuntimeException.h"
#include "toolkit/base/DecodingInterruptedException.h"
#include "toolkit/base/StreamIOException.h"

namespace
{
struct ExceptionCase
{
    std::shared_ptr<ExceptionBase> itsException;
    const char* itsClassName;
    const char* itsText;
};

class ExceptionTree : public testing::TestWithParam<ExceptionCase>
{
};

// Messages shown to users are made of these two texts; a class that forgets to override one would
// answer for its base, and a clone would lose its type and codes.
TEST_P(ExceptionTree, KeepsNameTextAndCauseWhenCloned)
{
    const ExceptionCase& aCase = GetParam();
    {
        DLRuntimeException aCause("cause");
        aCause.SetException(DLRuntimeException("root"));
        aCase.itsException->SetException(aCause);
    }
    const std::unique_ptr<ExceptionBase> aClone = aCase.itsException->Clone();
    for (const ExceptionBase* anException : {static_cast<const ExceptionBase*>(aCase.itsException.get()),
                                             static_cast<const ExceptionBase*>(aClone.get())})
    {
        const ExceptionBase& anOriginal = *aCase.itsException;
        EXPECT_EQ(typeid(*anException), typeid(anOriginal));
        EXPECT_EQ(anException->ClassName(), aCase.itsClassName);
        EXPECT_EQ(anException->GetMessageText(), aCase.itsText);
        EXPECT_STREQ(anException->what(), aCase.itsText);
        EXPECT_EQ(anException->ToString(), RWCString(aCase.itsClassName) + ": " + aCase.itsText);
        ASSERT_NE(anException->GetException(), nullptr);
        EXPECT_EQ(anException->GetException()->ToString(), "DLRuntimeException: cause");
        ASSERT_NE(anException->GetException()->GetException(), nullptr);
        EXPECT_EQ(anException->GetException()->GetException()->GetMessageText(), "root");
    }
    EXPECT_NE(aClone->GetException(), aCase.itsException->GetException()) << "the cause is shared";
}

INSTANTIATE_TEST_SUITE_P(
    All, ExceptionTree,
    testing::Values(ExceptionCase{std::make_shared<ExceptionBase>("text"), "ExceptionBase", "text"},
                    ExceptionCase{std::make_shared<DLRuntimeException>(""), "DLRuntimeException", ""},
                    ExceptionCase{std::make_shared<BadAllocException>(0xffffffffffffffff),
                                  "BadAllocException",
                                  "Memory allocation of 18446744073709551615 bytes failed"},
                    ExceptionCase{std::make_shared<DICOMLibException>("%s", DLRC_LOCK_FAILURE, 2),
                                  "DICOMLibException", "%s"},
                    ExceptionCase{std::make_shared<StreamIOException>("read", DLRC_IO_ERROR, 5),
                                  "StreamIOException", "read"},
                    ExceptionCase{std::make_shared<DecodingInterruptedException>("stop", 1),
                                  "DecodingInterruptedException", "stop"}),
    [](const auto& theInfo) { return std::string(theInfo.param.itsClassName); });

TEST(ExceptionBase, ClonesKeepTheirCodes)
{
    const StreamIOException aStream("", DLRC_IO_ERROR, 5);
    const std::unique_ptr<ExceptionBase> aStreamClone = aStream.Clone();
    const auto& aCopy = dynamic_cast<const DICOMLibException&>(*aStreamClone);
    EXPECT_EQ(aCopy.GetResultCode(), 67);
    EXPECT_EQ(aCopy.GetSystemErrorCode(), 5);
    const std::unique_ptr<ExceptionBase> anInterruption = DecodingInterruptedException("", 1).Clone();
    EXPECT_EQ(dynamic_cast<const DecodingInterruptedException&>(*anInterruption).GetReason(), 1);
    EXPECT_EQ(BadAllocException(7).GetSize(), 7u);
}

} // namespace
