// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/dicom/DICOMObject.h"
#include "toolkit/io/InputStream.h"

/// A DICOM Part 10 stream: preamble, file meta information, data set.
///
/// This base knows what was found in the file meta information; where the bytes come from is the derived
/// class's part. Not thread-safe.
class QUORIX_API Part10InputStream
{
public:
    virtual ~Part10InputStream();
    Part10InputStream(const Part10InputStream&) = delete;
    Part10InputStream& operator=(const Part10InputStream&) = delete;

    /// Whether readers that are not told otherwise survive small non-conformances from the standard: true.
    static bool DefaultsToLenientParsing();

    /// The UID of the file meta information; empty while nothing is open.
    const RWCString& GetTransferSyntaxUID() const;

    /// Whether theBytes, theCount of them, are how file meta information or a data set without a preamble
    /// begin: an element of one of the first groups. Eight bytes are enough to tell.
    static bool LooksLikeElements(const unsigned char* theBytes, std::size_t theCount);

protected:
    Part10InputStream();

    friend class DataSetReader;
    struct State;
    /// The parser's state, which keeps DCMTK out of this header.
    std::unique_ptr<State> itsState;
};

/// A Part 10 stream read from an InputStream.
class QUORIX_API Part10InputStreamInputStream final : public Part10InputStream
{
public:
    Part10InputStreamInputStream();
    ~Part10InputStreamInputStream() override;

    /// Reads preamble, "DICM" and file meta information. theStream is borrowed until Close or
    /// destruction and is read from its current position. isStreamClosed: whether Close also closes it.
    /// isLenient: survive small non-conformances. Throws StreamIOException: code 38 where this is no Part 10
    /// stream, and whatever the stream itself throws.
    void Open(InputStream* theStream, bool isStreamClosed, bool isLenient);

    /// From the next Open on streams are taken, too, that begin with file meta information, or with the data
    /// set.
    void AcceptWithoutPreamble() { itsAcceptsWithoutPreamble = true; }

    /// Whether the stream that is open has a preamble.
    bool HasPreamble() const { return itsHasPreamble; }

    /// Forgets the stream. Closing twice is allowed.
    void Close();

private:
    InputStream* itsStream = nullptr;
    bool itsCloseStream = false;
    bool itsAcceptsWithoutPreamble = false;
    bool itsHasPreamble = false;
};
