// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "FuzzInput.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "decompressors/detail/Part10FrontEnd.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/TransferSyntaxType.h"
#include "toolkit/io/InputStream.h"

/// Puts preamble and file meta information in front of the elements of an explicit little-endian data set.
inline Bytes MakePart10(const Bytes& theElements)
{
    Bytes aFile(128);
    const auto aPut = [&aFile](const void* theBytes, std::size_t theCount)
    {
        const auto* const aBytes = static_cast<const std::uint8_t*>(theBytes);
        aFile.insert(aFile.end(), aBytes, aBytes + theCount);
    };
    aPut("DICM\x02\x00\x00\x00UL\x04\x00\x1c\x00\x00\x00", 16);
    aPut("\x02\x00\x10\x00UI\x14\x00"
         "1.2.840.10008.1.2.1\0",
         28);
    aPut(theElements.data(), theElements.size());
    return aFile;
}

/// Reads what it can of the elements into theDataSet.
inline void ReadDataSet(const Bytes& theElements, DICOMDataObject& theDataSet, MemoryAllocater& theAllocator)
{
    const Bytes aFile = MakePart10(theElements);
    MemoryInputStream aStream(aFile.data(), aFile.size());
    DecompressionRequest aRequest(&aStream, &theDataSet, "", false, 1, 0, "", false);
    DecompressionResult aResult;
    Part10FrontEnd aFrontEnd(aRequest, theAllocator);
    try
    {
        // Elements of the file meta group at the beginning can spoil it.
        if (aFrontEnd.Open(aResult))
        {
            aFrontEnd.Parse();
        }
    }
    catch (const ExceptionBase&)
    {
        // What was read so far stays in the data set; most data sets here have no image.
    }
}
