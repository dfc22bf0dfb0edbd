// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg2000/KDUMessagingWrapper.h"

#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "codecs/jpeg/JPEGDecoderException.h"
#include "codecs/jpeg2000/JPEG2000Decoder.h"
#include "codecs/jpeg2000/KDUErrorMessageCallbackException.h"
#include "codecs/jpeg2000/KDUErrorMessagingWrapper.h"
#include "codecs/jpeg2000/KDUWarningMessageCallbackException.h"
#include "codecs/jpeg2000/KDUWarningMessagingWrapper.h"

namespace
{
/// The exact class and the text that flush(true) throws.
template <class Exception>
void ExpectReport(KDUMessagingWrapper& theWrapper, const std::string& theText)
{
    try
    {
        theWrapper.flush(true);
        ADD_FAILURE() << "a report without an exception";
    }
    catch (const Exception& aReport)
    {
        EXPECT_EQ(aReport.GetMessageText(), theText);
        EXPECT_EQ(aReport.Clone()->ClassName(), aReport.ClassName());
        EXPECT_EQ(aReport.Clone()->GetMessageText(), theText);
    }
}

TEST(KDUMessagingWrapper, CollectsATextUntilItIsFlushed)
{
    KDUWarningMessagingWrapper aWarnings;
    KDUErrorMessagingWrapper anErrors;
    aWarnings.put_text("one ");
    anErrors.put_text("other");
    aWarnings.flush(false);
    aWarnings.put_text(static_cast<const char*>(nullptr));
    aWarnings.put_text("two");
    ExpectReport<KDUWarningMessageCallbackException>(aWarnings, "one two");
    ExpectReport<KDUWarningMessageCallbackException>(aWarnings, "");
    ExpectReport<KDUErrorMessageCallbackException>(anErrors, "other");
}

TEST(KDUMessagingWrapper, ThreadsReportingAtOnceGetTheirOwnText)
{
    KDUWarningMessagingWrapper aWarnings;
    KDUErrorMessagingWrapper anErrors;
    std::vector<std::thread> aThreads;
    for (int t = 0; t < 4; ++t)
    {
        aThreads.emplace_back(
            [&, t]
            {
                for (int aRound = 0; aRound < 500; ++aRound)
                {
                    const std::string aText = std::to_string(t) + "/" + std::to_string(aRound);
                    for (const char aLetter : aText)
                    {
                        const char aPiece[] = {aLetter, 0};
                        aWarnings.put_text(aPiece);
                        anErrors.put_text(aPiece);
                        std::this_thread::yield();
                    }
                    ExpectReport<KDUWarningMessageCallbackException>(aWarnings, aText);
                    ExpectReport<KDUErrorMessageCallbackException>(anErrors, aText);
                }
            });
    }
    for (std::thread& aThread : aThreads)
    {
        aThread.join();
    }
}

TEST(KDUMessagingWrapper, AThreadThatEndsInTheMiddleLeavesNothingBehind)
{
    // A later thread may get the identifier of the one that ended; the leak would show under a sanitizer.
    KDUErrorMessagingWrapper anErrors;
    for (int i = 0; i < 20; ++i)
    {
        std::thread([&] { anErrors.put_text("a text that is long enough to need memory of its own"); })
            .join();
        std::thread([&] { ExpectReport<KDUErrorMessageCallbackException>(anErrors, ""); }).join();
    }
}

TEST(JPEG2000Decoder, TurnsReportsIntoDecoderExceptions)
{
    const KDUWarningMessageCallbackException aWarning("it is odd");
    const KDUErrorMessageCallbackException anError("it is wrong");
    const KDUErrorMessageCallbackException aSilentError("");
    const KDUMessageCallbackException aPlainReport("neither");
    const KDUWarningMessageCallbackException aSilentWarning("");
    struct Case
    {
        const KDUMessageCallbackException* itsReport;
        int itsCode;
        const char* itsText;
    };
    for (const Case& aCase :
         {Case{&aWarning, 1, "Here: it is odd"}, Case{&anError, 0, "Here: it is wrong"},
          Case{&aPlainReport, 0, "Here: neither"},
          Case{&aSilentError, 0, "Here: Unknown message callback from decompression engine"},
          Case{&aSilentWarning, 1, "Here: Unknown message callback from decompression engine"},
          Case{nullptr, 0, "Here: Unknown message callback from decompression engine"}})
    {
        try
        {
            JPEG2000Decoder::ThrowDecoderException("Here: ", aCase.itsReport);
        }
        catch (const JPEGDecoderException& anException)
        {
            EXPECT_EQ(anException.GetMessageText(), aCase.itsText);
            EXPECT_EQ(anException.GetCode(), aCase.itsCode);
        }
    }
}
} // namespace
