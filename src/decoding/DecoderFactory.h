// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "decoding/Decoder.h"

/// Chooses the codec for one compressed image. Stateless and thread-safe.
class QUORIX_API DecoderFactory
{
public:
    /// A new codec, owned by the caller, or null for a transfer syntax without one. isFileStream: the
    /// JPEG 2000 data may be a JP2 file. theBitsStored chooses among the JPEG precisions; a value the
    /// transfer syntax does not allow throws StreamIOException (code 7).
    static Decoder* Create(const RWCString& theTransferSyntaxUID, int theScaleFactor,
                           Decoder::ParsingErrorTolerance theTolerance, bool isFileStream, int theBitsStored);
};
