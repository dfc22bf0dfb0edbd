// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "decoding/Decoder.h"

/// Chooses the codec for one compressed image. Thread-safe; the switch for extensions is all its state.
class QUORIX_API DecoderFactory
{
public:
    /// A new codec, owned by the caller, or null for a transfer syntax without one. isFileStream: the
    /// JPEG 2000 data may be a JP2 file. theBitsStored chooses among the JPEG precisions; a value the
    /// transfer syntax does not allow throws StreamIOException (code 7).
    static Decoder* Create(const RWCString& theTransferSyntaxUID, int theScaleFactor,
                           Decoder::ParsingErrorTolerance theTolerance, bool isFileStream, int theBitsStored);

    /// The same for a request that reads so: by meaning, transfer syntaxes that are extensions have a codec.
    static Decoder* Create(const RWCString& theTransferSyntaxUID, int theScaleFactor,
                           Decoder::ParsingErrorTolerance theTolerance, bool isFileStream, int theBitsStored,
                           Reading theReading);

    /// Whether the extensions (rows of CodecTable that are marked so) are there by contract too, for the
    /// whole program; off at the start. Meant for start-up: requests that are under way may see either.
    /// @{
    static void EnableExtensions(bool isEnabled);
    static bool HasExtensions();
    /// @}
};
