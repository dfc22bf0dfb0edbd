// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "image/Renderable.h"
#include "toolkit/base/BaseTypes.h"

/// The conditions that a Renderable must meet before its colours are converted.
///
/// Each check throws DLRuntimeException with a text that begins with "DecompressionLibUtils::", the
/// operation's name and a colon. Immutable.
class ConversionChecks
{
public:
    /// theOperation: the name that the texts carry.
    explicit ConversionChecks(const char* theOperation) : itsOperation(theOperation) {}

    void CheckInterpretation(const Renderable& theRenderable,
                             Renderable::PhotometricInterpretation theExpected) const;

    /// Three samples per pixel. The text names YBR_FULL encoding whatever the conversion: deliberately, it
    /// is the text that callers know.
    void CheckSamplesPerPixel(const Renderable& theRenderable) const;

    /// 8 or 16 bits allocated.
    void CheckBitsAllocated(const Renderable& theRenderable) const;

    /// Rows × columns. Negative dimensions fail.
    std::uint64_t GetPixelCount(const Renderable& theRenderable) const;

    /// theAvailable bytes are enough for theSamples of the Renderable's width, and are there at all.
    void CheckBufferSize(const Renderable& theRenderable, const void* theData, std::uint64_t theAvailable,
                         std::uint64_t theSamples) const;

    [[noreturn]] void Fail(const RWCString& theText) const;

private:
    const char* itsOperation;
};
