// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/System.h"
#include "toolkit/dicom/DICOMTag.h"
#include "toolkit/io/InputStream.h"

class PixelInputStreamVR;
class PixelDataFragmentInputStreamVR;

/// One data element outside a data set: a tag, a value-representation type code and a value.
///
/// Elements are made by MVRFactory or by reading a stream, and move into a data set with
/// DICOMObject::ReplaceVR or AddVR. Where the value lives depends on the derived class: in memory
/// (ordinary elements, BufferVR) or still in a stream (the pixel-data streams). Not thread-safe.
class QUORIX_API VR
{
public:
    /// The two letters of a value representation as a number: MakeTypeCode('O', 'W') is 0x4F57.
    static constexpr std::uint16_t MakeTypeCode(char theFirst, char theSecond)
    {
        return static_cast<std::uint16_t>((static_cast<unsigned char>(theFirst) << 8) |
                                          static_cast<unsigned char>(theSecond));
    }
    static constexpr std::uint16_t TYPE_OB = 0x4f42; ///< 20290
    static constexpr std::uint16_t TYPE_OW = 0x4f57; ///< 20311
    static constexpr std::uint16_t TYPE_UN = 0x554e; ///< 21838
    static constexpr std::uint16_t TYPE_SQ = 0x5351; ///< 21329

    /// theTypeCode as MakeTypeCode gives it. theEndian: byte order of the value's words.
    VR(DICOMTag theTag, std::uint16_t theTypeCode, DLEndian::Endian theEndian);
    virtual ~VR();
    VR(const VR&) = delete;
    VR& operator=(const VR&) = delete;

    /// Where the element stands in a data set.
    DICOMTag GetTag() const { return itsTag; }

    /// The value representation, see MakeTypeCode. Setting it leaves the value's bytes alone.
    /// @{
    std::uint16_t GetTypeCode() const { return itsTypeCode; }
    void SetTypeCode(std::uint16_t theTypeCode) { itsTypeCode = theTypeCode; }
    /// @}

    /// Byte order of the value's words.
    DLEndian::Endian GetEndian() const { return itsEndian; }

    /// Length of the value in bytes; for a value of undefined length 0.
    virtual std::uint64_t GetLength() const = 0;

    /// The value's bytes where it is in memory as plain bytes, else null. Borrowed.
    virtual const void* GetData() const;

    /// This element as native pixel data still in a stream, or null.
    virtual PixelInputStreamVR* GetPixelInputStream();

    /// This element as encapsulated pixel data still in a stream, or null.
    virtual PixelDataFragmentInputStreamVR* GetPixelDataFragmentInputStream();

    /// Where values get their memory when nobody says otherwise. Thread-safe; lives for ever.
    static MemoryAllocater& GetDefaultMemoryAllocater();

private:
    DICOMTag itsTag;
    std::uint16_t itsTypeCode;
    DLEndian::Endian itsEndian;
};

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

/// Native pixel data that is read as a stream: an element and an InputStream at once.
///
/// Bytes come as they are in the file; words keep the byte order GetEndian(). Positions count from the
/// first byte of the value.
class QUORIX_API PixelInputStreamVR : public VR, public InputStream
{
public:
    using VR::VR;
    ~PixelInputStreamVR() override;

    PixelInputStreamVR* GetPixelInputStream() override { return this; }

    /// The whole value read into memory as an ordinary element.
    virtual std::unique_ptr<VR> GetVR() = 0;
};
