// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "codecs/jpeg2000/detail/JPEG2000SampleKernels.h"

class kdu_line_buf;

/// What the converters ask of a line and of the samples to make of it.
class JPEG2000LineChecks
{
public:
    JPEG2000LineChecks() = delete;

    static JPEG2000LineKind KindOf(const kdu_line_buf& theLine);

    /// The line's samples as the kernels take them.
    static const void* SamplesOf(const kdu_line_buf& theLine);

    /// Throws StreamIOException (code 62), in the name of theKind's converter, unless theBits fit the
    /// representation and theBytes, and theBytes is 1 or 2. In this order.
    static void Check(JPEG2000LineKind theKind, int theBits, int theBytes);
};
