// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "toolkit/base/System.h"
#include "toolkit/dicom/Part10InputStream.h"
#include "toolkit/dicom/TransferSyntaxType.h"
#include "toolkit/dicom/VR.h"

/// Reads a data set's elements one at a time, in stream order.
///
/// The elements of the file meta information come first. Ordinary elements arrive with their value in
/// memory. Pixel Data arrives as a stream over the bytes that follow: its value is not read ahead, so
/// elements after it cannot be read before it has been used up, and this reader ends there. Made by
/// TransferSyntaxType::CreateDataSetReader; the Part 10 stream must outlive it and every pixel stream it
/// gave out.
class QUORIX_API DataSetReader
{
public:
    /// What TransferSyntaxType::CreateDataSetReader makes. Throws StreamIOException (code 38) where theStream
    /// is not open.
    DataSetReader(Part10InputStream& theStream, const TransferSyntaxType& theType,
                  MemoryAllocater& thePixelAllocator);
    ~DataSetReader();
    DataSetReader(const DataSetReader&) = delete;
    DataSetReader& operator=(const DataSetReader&) = delete;

    /// The next element, or null where the stream ends at an element boundary. Throws StreamIOException
    /// (code 38) where it ends inside an element or makes no sense, and passes on what the stream threw.
    std::unique_ptr<VR> Next();

    /// Tag that stops the reading: Next gives null when the next element's tag is not below it, and the
    /// element is not read.
    void SetStopTag(DICOMTag theTag);

    /// Items outside of a sequence are passed over from now on, contents and all.
    void PassStrayItems();

    /// Whether there were any.
    bool HasPassedItems() const;

private:
    struct State;
    std::unique_ptr<State> itsState;
};
