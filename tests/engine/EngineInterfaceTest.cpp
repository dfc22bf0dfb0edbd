// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_line_buf.h"
#include "engine/kdu_message.h"

#include "engine/detail/Reports.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace
{

/// Notes what it is called with and returns from everything.
class QuietMessage final : public kdu_message
{
public:
    using kdu_message::put_text;
    void start_message() override { itsCalls.push_back("start"); }
    void put_text(const char* theText) override { itsCalls.push_back(theText); }
    void flush(bool theEndOfMessage) override { itsCalls.push_back(theEndOfMessage ? "end" : "flush"); }

    std::vector<std::string> itsCalls;
};

std::string TextOf(const j2k::Reports& theReports)
{
    try
    {
        theReports.Error("Trouble", 12);
    }
    catch (const std::runtime_error& anError)
    {
        return anError.what();
    }
    return "";
}

TEST(KduMessage, AnErrorNeverReturns)
{
    const std::string aText = "Trouble (at byte 12 of the codestream)";
    EXPECT_EQ(TextOf(j2k::Reports()), aText);
    QuietMessage aMessage;
    kdu_customize_errors(&aMessage);
    EXPECT_EQ(TextOf(j2k::Reports()), aText);
    kdu_customize_errors(nullptr);
    EXPECT_EQ(aMessage.itsCalls, (std::vector<std::string>{"start", aText, "end"}));
}

TEST(KduMessage, AWarningThatReturnsLetsTheOperationGoOn)
{
    QuietMessage aMessage;
    kdu_customize_warnings(&aMessage);
    j2k::Reports aReports;
    aReports.SetTolerance(j2k::Tolerance::Fussy);
    aReports.NonConformance("Odd", 3);
    kdu_customize_warnings(nullptr);
    aReports.NonConformance("Odd without a handler", 4);
    EXPECT_EQ(aMessage.itsCalls,
              (std::vector<std::string>{"start", "Odd (at byte 3 of the codestream)", "end"}));
}

TEST(kdu_sample_allocatorTest, SharesAreAlignedAndApart)
{
    kdu_sample_allocator anAllocator;
    const std::size_t aSizes[] = {1, 64, 65, 0, 1000};
    for (const std::size_t aSize : aSizes)
    {
        anAllocator.pre_alloc(aSize);
    }
    anAllocator.finalize();
    unsigned char* anEnd = nullptr;
    for (const std::size_t aSize : aSizes)
    {
        auto* const aShare = static_cast<unsigned char*>(anAllocator.alloc(aSize));
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(aShare) % kdu_sample_allocator::kAlignment, 0u);
        EXPECT_GE(aShare, anEnd);
        std::memset(aShare, 0xAA, aSize); // for the sanitizers
        anEnd = aShare + aSize;
    }
}

TEST(kdu_sample_allocatorTest, RefusesWhatWasNotAnnouncedOrComesTooLate)
{
    kdu_sample_allocator anAllocator;
    anAllocator.pre_alloc(64);
    EXPECT_THROW(anAllocator.alloc(64), std::logic_error);
    anAllocator.finalize();
    EXPECT_THROW(anAllocator.alloc(65), std::logic_error);
    EXPECT_NO_THROW(anAllocator.alloc(64));
    EXPECT_THROW(anAllocator.alloc(1), std::logic_error);
    EXPECT_THROW(anAllocator.pre_alloc(1), std::logic_error);
    EXPECT_THROW(anAllocator.finalize(), std::logic_error);
    // A sum that wraps around is no memory.
    constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
    kdu_sample_allocator aLargeAllocator;
    EXPECT_THROW(aLargeAllocator.pre_alloc(kMost), std::bad_alloc);
    aLargeAllocator.pre_alloc(kMost / 2);
    EXPECT_THROW(aLargeAllocator.pre_alloc(kMost / 2 + 1), std::bad_alloc);
}
} // namespace
