// SPDX-License-Identifier: Apache-2.0
#include "decoding/DecoderFactory.h"

#include <atomic>

#include "decoding/CodecTable.h"
#include "toolkit/base/Exceptions.h"

namespace
{
std::atomic<bool> theHasExtensions{false};
} // namespace

void DecoderFactory::EnableExtensions(bool isEnabled)
{
    theHasExtensions = isEnabled;
}

bool DecoderFactory::HasExtensions()
{
    return theHasExtensions;
}

Decoder* DecoderFactory::Create(const RWCString& theTransferSyntaxUID, int theScaleFactor,
                                Decoder::ParsingErrorTolerance theTolerance, bool isFileStream,
                                int theBitsStored)
{
    return Create(theTransferSyntaxUID, theScaleFactor, theTolerance, isFileStream, theBitsStored,
                  Reading::BY_CONTRACT);
}

Decoder* DecoderFactory::Create(const RWCString& theTransferSyntaxUID, int theScaleFactor,
                                Decoder::ParsingErrorTolerance theTolerance, bool isFileStream,
                                int theBitsStored, Reading theReading)
{
    const CodecRow* const aRow = CodecTable::Find(theTransferSyntaxUID, theReading);
    // Deliberately ahead of giving up on an unknown transfer syntax: one without bits stored is refused with
    // this text too.
    if (theBitsStored == 0 && (aRow == nullptr || aRow->itsHasBitsStoredRule))
    {
        throw StreamIOException(
            "DecoderFactory::Create() bits stored == 0 is invalid for JPEG or RLE decompression",
            DLRC_BITS_STORED_INVALID, 0);
    }
    // A raw pointer because the interface fixes one; it is the caller's from here on.
    return aRow != nullptr
               ? aRow->itsCreate({theScaleFactor, theTolerance, isFileStream, theBitsStored}).release()
               : nullptr;
}
