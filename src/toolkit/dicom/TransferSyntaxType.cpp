// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/TransferSyntaxType.h"

#include <utility>

#include "toolkit/dicom/DataSetReader.h"

TransferSyntaxType::TransferSyntaxType(RWCString theUID, DLEndian::Endian theEndian, bool isExplicitVR,
                                       bool isEncapsulated, bool isDeflated)
    : itsUID(std::move(theUID)), itsEndian(theEndian), itsExplicitVR(isExplicitVR),
      itsEncapsulated(isEncapsulated), itsDeflated(isDeflated)
{
}

std::unique_ptr<DataSetReader>
TransferSyntaxType::CreateDataSetReader(Part10InputStream& theStream,
                                        MemoryAllocater& thePixelAllocator) const
{
    return std::make_unique<DataSetReader>(theStream, *this, thePixelAllocator);
}
