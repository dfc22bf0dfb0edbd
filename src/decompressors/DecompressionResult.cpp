// SPDX-License-Identifier: Apache-2.0
#include "decompressors/DecompressionResult.h"

#include <string>

#include "image/Renderable.h"

/// What all copies of a result hold together; the last copy frees the image.
struct DecompressionResult::Holder
{
    std::unique_ptr<Renderable> itsRenderable;
};

DecompressionResult::DecompressionResult() : itsHolder(std::make_shared<Holder>()) {}

DecompressionResult::~DecompressionResult() = default;

void DecompressionResult::setRenderable(Renderable* theRenderable)
{
    // Deliberately not freed: whoever took the image over with getRenderable owns it from now on.
    static_cast<void>(itsHolder->itsRenderable.release());
    itsHolder->itsRenderable.reset(theRenderable);
}

Renderable* DecompressionResult::getRenderable() const
{
    return itsHolder->itsRenderable.get();
}

RWCString DecompressionResult::ToString() const
{
    return "DecompressionResult:\n\titsDCMLibResultCode = " +
           std::to_string(static_cast<int>(itsDCMLibResultCode)) +
           "\n\titsSystemErrorCode = " + std::to_string(itsSystemErrorCode) +
           "\n\titsMessage = " + itsMessage;
}

void DecompressionResult::setOutOfMemory(DLResultCode theCode) noexcept
{
    itsDCMLibResultCode = theCode;
    itsSystemErrorCode = 0;
    itsMessage = "Out of memory"; // short enough for every string's own storage
}
