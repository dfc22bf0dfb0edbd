// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/VR.h"

#include <cstdlib>

#include "toolkit/base/Exceptions.h"

namespace
{
class HeapAllocater final : public MemoryAllocater
{
public:
    void* Allocate(std::uint64_t theSize) override
    {
        void* aBlock = theSize <= SIZE_MAX ? std::malloc(theSize > 0 ? theSize : 1) : nullptr;
        if (aBlock == nullptr)
        {
            throw BadAllocException(theSize);
        }
        return aBlock;
    }

    void Free(void* theBlock) override { std::free(theBlock); }
};
} // namespace

VR::VR(DICOMTag theTag, std::uint16_t theTypeCode, DLEndian::Endian theEndian)
    : itsTag(theTag), itsTypeCode(theTypeCode), itsEndian(theEndian)
{
}

VR::~VR() = default;

const void* VR::GetData() const
{
    return nullptr;
}

PixelInputStreamVR* VR::GetPixelInputStream()
{
    return nullptr;
}

PixelDataFragmentInputStreamVR* VR::GetPixelDataFragmentInputStream()
{
    return nullptr;
}

MemoryAllocater& VR::GetDefaultMemoryAllocater()
{
    // Never destroyed: values may be freed while the program ends.
    static MemoryAllocater& anAllocater = *new HeapAllocater;
    return anAllocater;
}

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

PixelInputStreamVR::~PixelInputStreamVR() = default;
