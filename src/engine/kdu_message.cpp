// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_message.h"

#include "engine/detail/Reports.h"

#include <atomic>

namespace
{
std::atomic<kdu_message*> theWarningHandler{nullptr};
std::atomic<kdu_message*> theErrorHandler{nullptr};
} // namespace

kdu_message::~kdu_message() = default;

void kdu_message::put_text(const std::uint16_t*) {}

void kdu_message::flush(bool) {}

void kdu_message::start_message() {}

void kdu_customize_warnings(kdu_message* theHandler)
{
    theWarningHandler.store(theHandler, std::memory_order_release);
}

void kdu_customize_errors(kdu_message* theHandler)
{
    theErrorHandler.store(theHandler, std::memory_order_release);
}

namespace j2k
{

kdu_message* GetWarningHandler()
{
    return theWarningHandler.load(std::memory_order_acquire);
}

kdu_message* GetErrorHandler()
{
    return theErrorHandler.load(std::memory_order_acquire);
}

} // namespace j2k

void kdu_report_error(const std::string& theText)
{
    j2k::Reports().Error(theText);
}
