// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// What the JPEG 2000 engine reports, and to whom.

#include <cstdint>
#include <string>

#include "toolkit/base/BaseTypes.h"

/// Receives the engine's reports: any number of put_text calls on the reporting thread, then flush(true).
///
/// One object serves all threads, so an implementation keeps what it collects per thread. flush may throw;
/// the engine is exception-safe and stays destructible.
class QUORIX_API kdu_message
{
public:
    virtual ~kdu_message();

    /// UTF-16 text. The engine writes none; the default drops it.
    virtual void put_text(const std::uint16_t* theText);

    /// Adds to the report of the calling thread. The text is zero-terminated ASCII.
    virtual void put_text(const char* theText) = 0;

    /// True: the report is complete.
    virtual void flush(bool isEndOfMessage = false);

    /// Called before the first text of a report. The default does nothing.
    virtual void start_message();
};

/// Install what receives warnings and errors from now on, for the process; null for none. The object is
/// borrowed and stays installed until it is replaced. Thread-safe.
///
/// An error whose flush returns, or that nobody receives, ends the operation with a std::runtime_error
/// carrying the text; a warning that returns lets the operation go on.
/// @{
QUORIX_API void kdu_customize_warnings(kdu_message* theHandler);
QUORIX_API void kdu_customize_errors(kdu_message* theHandler);
/// @}

/// Reports an error as the engine reports its own, and never returns. For readers of the file formats around
/// a codestream. Thread-safe.
[[noreturn]] QUORIX_API void kdu_report_error(const std::string& theText);
