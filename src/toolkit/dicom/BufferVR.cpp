// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/BufferVR.h"

BufferVR::BufferVR(DICOMTag theTag, std::uint16_t theTypeCode, DLEndian::Endian theEndian, void* theData,
                   std::uint64_t theSize)
    : VR(theTag, theTypeCode, theEndian), itsData(theData), itsSize(theSize)
{
}

BufferVR::~BufferVR()
{
    if (itsAllocator != nullptr)
    {
        itsAllocator->Free(itsData);
    }
}

void BufferVR::TakeOwnership(MemoryAllocater& theAllocator)
{
    itsAllocator = &theAllocator;
}
