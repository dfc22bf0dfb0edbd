// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <vector>

#include "toolkit/dicom/Part10InputStream.h"
#include "toolkit/dicom/detail/StreamFilters.h"

/// What was found before the data set, and the stream that stands at it.
///
/// Internal to this room: never included by a public header.
struct Part10InputStream::State
{
    /// What the pixel streams that a reader gives out keep alive too. Null while nothing is open.
    std::shared_ptr<PeekableInputStream> itsSource;
    RWCString itsTransferSyntaxUID;
    std::vector<std::unique_ptr<VR>> itsFileMeta; ///< in stream order; the first reader takes them out

    /// Starts on a stream, which is borrowed.
    void Attach(InputStream& theStream);

    /// Passes preamble and "DICM". False, with nothing consumed, when they are not there.
    bool ReadPreamble();

    /// Whether an element of a group that files begin with stands here.
    bool StandsAtElements();

    /// Reads group 0002 for as long as it goes on, whatever its group length says.
    void ReadFileMeta();

    /// Takes the transfer syntax from the data set's own look where the file meta information named none.
    void GuessTransferSyntax();
};
