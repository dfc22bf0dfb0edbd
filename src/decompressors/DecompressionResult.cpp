// SPDX-License-Identifier: Apache-2.0
#include "decompressors/DecompressionResult.h"

#include <string>
#include <utility>

#include "image/Renderable.h"

/// One image, and what the copies made of its result hold together; the last of them frees it.
struct DecompressionResult::Holder
{
    std::unique_ptr<Renderable> itsRenderable;
};

DecompressionResult::DecompressionResult() = default;

DecompressionResult::~DecompressionResult() = default;

void DecompressionResult::setRenderable(Renderable* theRenderable)
{
    if (theRenderable == getRenderable())
    {
        return;
    }
    if (theRenderable == nullptr)
    {
        // Deliberately not freed: whoever took the image over with getRenderable owns it from now on.
        static_cast<void>(itsHolder->itsRenderable.release());
        return;
    }
    auto aHolder = std::make_shared<Holder>(Holder{std::unique_ptr<Renderable>(theRenderable)});
    forgetRenderable();
    itsHolder = std::move(aHolder);
}

void DecompressionResult::forgetRenderable() noexcept
{
    if (itsHolder && itsHolder.use_count() == 1)
    {
        static_cast<void>(itsHolder->itsRenderable.release());
    }
    itsHolder.reset();
}

Renderable* DecompressionResult::getRenderable() const
{
    return itsHolder ? itsHolder->itsRenderable.get() : nullptr;
}

void DecompressionResult::addWarnings(const std::vector<DecodeWarning>& theWarnings)
{
    itsWarnings.insert(itsWarnings.end(), theWarnings.begin(), theWarnings.end());
}

RWCString DecompressionResult::ToString() const
{
    return "DecompressionResult:\n\titsDCMLibResultCode = " +
           std::to_string(static_cast<int>(itsDCMLibResultCode)) +
           "\n\titsSystemErrorCode = " + std::to_string(itsSystemErrorCode) +
           "\n\titsMessage = " + itsMessage;
}

void DecompressionResult::setOutOfMemory(DLResultCode theCode, Reading theReading) noexcept
{
    itsDCMLibResultCode = theReading == Reading::BY_MEANING ? DLRC_ALLOCATION_FAILED : theCode;
    itsSystemErrorCode = 0;
    itsMessage = "Out of memory"; // short enough for every string's own storage
}
