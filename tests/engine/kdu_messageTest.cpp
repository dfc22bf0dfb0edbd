// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_message.h"

#include "engine/detail/Reports.h"

#include <gtest/gtest.h>

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

} // namespace
