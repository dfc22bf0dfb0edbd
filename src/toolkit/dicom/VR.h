// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/System.h"
#include "toolkit/dicom/DICOMTag.h"

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
