// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "toolkit/dicom/VR.h"

/// An element whose value is one block of memory that is never copied: pixel data.
///
/// The block is either borrowed (the caller keeps it alive) or owned; an owned block goes back to the
/// allocator it came from when this object is destroyed.
class QUORIX_API BufferVR final : public VR
{
public:
    /// Borrows theSize bytes at theData. theEndian: the byte order that the words really have.
    BufferVR(DICOMTag theTag, std::uint16_t theTypeCode, DLEndian::Endian theEndian, void* theData,
             std::uint64_t theSize);
    ~BufferVR() override;

    std::uint64_t GetLength() const override { return itsSize; }
    const void* GetData() const override { return itsData; }
    /// The block itself, to be written to.
    void* GetData() { return itsData; }

    /// From now on the block belongs to this object and is freed through theAllocator, which must
    /// outlive it.
    void TakeOwnership(MemoryAllocater& theAllocator);

private:
    void* itsData;
    std::uint64_t itsSize;
    MemoryAllocater* itsAllocator = nullptr; ///< null while the block is borrowed
};
