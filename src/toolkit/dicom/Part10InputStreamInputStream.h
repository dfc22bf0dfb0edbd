// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "toolkit/dicom/Part10InputStream.h"

/// A Part 10 stream read from an InputStream.
class QUORIX_API Part10InputStreamInputStream final : public Part10InputStream
{
public:
    Part10InputStreamInputStream();
    ~Part10InputStreamInputStream() override;

    /// Reads preamble, "DICM" and file meta information. theStream is borrowed until Close or
    /// destruction and is read from its current position. theCloseStream: whether Close also closes it.
    /// theLenient: survive small non-conformances. Throws StreamIOException: code 38 where this is no Part 10
    /// stream, and whatever the stream itself throws.
    void Open(InputStream* theStream, bool theCloseStream, bool theLenient);

    /// Forgets the stream. Closing twice is allowed.
    void Close();

private:
    InputStream* itsStream = nullptr;
    bool itsCloseStream = false;
};
