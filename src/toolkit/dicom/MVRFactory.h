// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <vector>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/dicom/DICOMObject.h"
#include "toolkit/dicom/DataDictionary.h"
#include "toolkit/dicom/VR.h"

/// Makes data elements for a data set. Keeps references only; cheap to make where it is needed.
class QUORIX_API MVRFactory
{
public:
    /// theDictionary tells where private elements stand. theEndian: the byte order that elements are said to
    /// have, that of their data set as a rule. theAllocator: where Pixel Data of CreateBytes gets its memory.
    MVRFactory(const DataDictionary& theDictionary, DLEndian::Endian theEndian,
               MemoryAllocater& theAllocator);

    /// An element of a string value representation, which the public dictionary names for theTag (CS
    /// for Photometric Interpretation and so on). Odd lengths are padded when written.
    std::unique_ptr<VR> CreateString(DICOMTag theTag, const RWCString& theValue) const;

    /// The same with the value representation stated, for example VR::MakeTypeCode('L', 'O').
    std::unique_ptr<VR> CreateString(DICOMTag theTag, std::uint16_t theTypeCode,
                                     const RWCString& theValue) const;

    /// An element of value representation US, whatever the dictionary has for theTag.
    std::unique_ptr<VR> CreateUnsignedShort(DICOMTag theTag, std::uint16_t theValue) const;

    /// Several unsigned shorts, as lookup table descriptors have.
    std::unique_ptr<VR> CreateUnsignedShorts(DICOMTag theTag,
                                             const std::vector<std::uint16_t>& theValues) const;

    /// An OB, OW or UN element; the bytes are copied. Words are in this factory's byte order.
    std::unique_ptr<VR> CreateBytes(DICOMTag theTag, std::uint16_t theTypeCode,
                                    const std::vector<std::uint8_t>& theValue) const;

    /// An element of value representation UI. The text is taken as it is.
    std::unique_ptr<VR> CreateUID(DICOMTag theTag, const RWCString& theValue) const;

    /// A sequence without items.
    std::unique_ptr<VR> CreateSequence(DICOMTag theTag) const;

    /// A private element of theTarget by creator and name; theTarget reserves the block when it has
    /// none. Null for a name the dictionary does not know.
    /// @{
    std::unique_ptr<VR> CreatePrivateUnsignedShort(DICOMObject& theTarget, const RWCString& theCreator,
                                                   const RWCString& theName, std::uint16_t theValue) const;
    std::unique_ptr<VR> CreatePrivateString(DICOMObject& theTarget, const RWCString& theCreator,
                                            const RWCString& theName, const RWCString& theValue) const;
    /// @}

    /// Pixel Data over a buffer that is borrowed, not copied (see BufferVR). theEndian: the byte order
    /// the words really have.
    std::unique_ptr<BufferVR> CreatePixelData(void* theBuffer, std::uint64_t theSize,
                                              std::uint16_t theTypeCode, DLEndian::Endian theEndian) const;

private:
    const DataDictionary& itsDictionary;
    DLEndian::Endian itsEndian;
    MemoryAllocater& itsAllocator;
};
