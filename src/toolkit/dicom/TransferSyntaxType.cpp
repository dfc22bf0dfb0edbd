// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/TransferSyntaxType.h"

#include <utility>

#include "toolkit/dicom/DataSetReader.h"

TransferSyntaxType::TransferSyntaxType(RWCString theUID, DLEndian::Endian theEndian, bool theExplicitVR,
                                       bool theEncapsulated, bool theDeflated)
    : itsUID(std::move(theUID)), itsEndian(theEndian), itsExplicitVR(theExplicitVR),
      itsEncapsulated(theEncapsulated), itsDeflated(theDeflated)
{
}

std::unique_ptr<DataSetReader>
TransferSyntaxType::CreateDataSetReader(Part10InputStream& theStream,
                                        MemoryAllocater& thePixelAllocator) const
{
    return std::make_unique<DataSetReader>(theStream, *this, thePixelAllocator);
}
