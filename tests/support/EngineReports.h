// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>

#include "engine/kdu_message.h"

/// What the engine reported, as it is thrown by EngineReports.
struct EngineReport
{
    bool itsIsWarning = false;
    std::string itsText;
};

/// What an operation reports, behind "warning: " or "error: "; "" when nothing. Other exceptions pass.
template <class Operation>
std::string ReportOf(Operation theOperation)
{
    try
    {
        theOperation();
    }
    catch (const EngineReport& aReport)
    {
        return (aReport.itsIsWarning ? "warning: " : "error: ") + aReport.itsText;
    }
    return "";
}

/// While it lives, every report of the engine leaves as an EngineReport. One at a time in the process.
class EngineReports
{
public:
    EngineReports()
    {
        kdu_customize_warnings(&itsWarnings);
        kdu_customize_errors(&itsErrors);
    }

    ~EngineReports()
    {
        kdu_customize_warnings(nullptr);
        kdu_customize_errors(nullptr);
    }

    EngineReports(const EngineReports&) = delete;
    EngineReports& operator=(const EngineReports&) = delete;

private:
    class Message final : public kdu_message
    {
    public:
        explicit Message(bool theIsWarning) : itsIsWarning(theIsWarning) {}

        void start_message() override { itsText.clear(); }
        using kdu_message::put_text;
        void put_text(const char* theText) override { itsText += theText; }
        void flush(bool theEndOfMessage) override
        {
            if (theEndOfMessage)
            {
                throw EngineReport{itsIsWarning, std::exchange(itsText, std::string())};
            }
        }

    private:
        bool itsIsWarning;
        std::string itsText;
    };

    Message itsWarnings{true};
    Message itsErrors{false};
};
