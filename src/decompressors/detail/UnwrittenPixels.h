// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "toolkit/base/BaseTypes.h"

class Renderable;

/// Keeps what used to be in a block of memory, another patient's image for example, out of decoded images.
class UnwrittenPixels
{
public:
    UnwrittenPixels() = delete;

    /// Whether the codec of the transfer syntax may leave samples unwritten without an error.
    static bool MayLeaveSamples(const RWCString& theTransferSyntaxUID);

    /// To be called between allocation and decoding: sets the pixel buffer to zeros where the codec of the
    /// transfer syntax may leave samples unwritten without an error and the allocator may deliver used
    /// memory.
    static void Blank(Renderable& theRenderable, const RWCString& theTransferSyntaxUID);
};
