// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/Part10InputStreamInputStream.h"

#include <utility>

#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/detail/Part10InputStreamState.h"

Part10InputStreamInputStream::Part10InputStreamInputStream() = default;

Part10InputStreamInputStream::~Part10InputStreamInputStream() = default;

void Part10InputStreamInputStream::Open(InputStream* theStream, bool theCloseStream, bool theLenient)
{
    *itsState = State();
    itsStream = theStream;
    itsCloseStream = theCloseStream;
    if (theStream == nullptr)
    {
        throw StreamIOException("Part10InputStreamInputStream::Open: no stream", DLRC_PARSE_ERROR, 0);
    }
    State aState;
    aState.Attach(*theStream);
    if (!aState.ReadPreamble())
    {
        throw StreamIOException(
            "Part10InputStreamInputStream::Open: not a DICOM Part 10 stream (no preamble with \"DICM\")",
            DLRC_PARSE_ERROR, 0);
    }
    aState.ReadFileMeta();
    if (theLenient)
    {
        aState.GuessTransferSyntax();
    }
    *itsState = std::move(aState);
}

void Part10InputStreamInputStream::Close()
{
    *itsState = State();
    InputStream* aStream = std::exchange(itsStream, nullptr);
    if (aStream != nullptr && itsCloseStream)
    {
        aStream->Close();
    }
}
