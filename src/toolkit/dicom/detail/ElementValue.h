// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/dicom/VR.h"

class DcmElement;

/// The value of a DCMTK element as text, number or bytes.
///
/// An element of unknown value representation (UN) is read as what the dictionary, or the caller,
/// says it is; its bytes are then little-endian (PS3.5 6.2.2). Internal to this room.
class ElementValue
{
public:
    explicit ElementValue(DcmElement& theElement);

    /// theTypeCodeOfUnknown: what a UN value is read as.
    ElementValue(DcmElement& theElement, std::uint16_t theTypeCodeOfUnknown);

    /// Whether an element is of the type, US or one of text, and has just this value.
    /// @{
    static bool IsUnsignedShort(DcmElement& theElement, std::uint16_t theValue);
    static bool IsText(DcmElement& theElement, std::uint16_t theTypeCode, const RWCString& theValue);
    /// @}

    /// All values, trimmed at the end; false for what is neither text nor number.
    bool GetText(RWCString& theValue) const;

    /// The first value; false when empty or no number. The fraction of a DS is cut off.
    bool GetInteger(std::int64_t& theValue) const;

    /// The bytes, words in the order asked for; false for a sequence.
    bool GetBytes(DLEndian::Endian theEndian, std::vector<std::uint8_t>& theValue) const;

private:
    bool GetRawText(RWCString& theValue) const;

    DcmElement& itsElement;
    std::uint16_t itsTypeCode;
    bool itsUnknown; ///< UN in the data set
};

/// An ordinary element or a sequence: a DCMTK element outside a data set.
///
/// Moves between reader, factory and data set without conversion. Internal to this room: never included
/// by a public header.
class ElementVR final : public VR
{
public:
    /// theEndian: what GetEndian says and the order in which GetData gives words.
    ElementVR(std::unique_ptr<DcmElement> theElement, DLEndian::Endian theEndian);
    ~ElementVR() override;

    std::uint64_t GetLength() const override;

    /// A copy of the value, made on the first call; null for a sequence.
    const void* GetData() const override;

    /// Gives the element away; this object is only fit for destruction afterwards.
    std::unique_ptr<DcmElement> Release();

private:
    std::unique_ptr<DcmElement> itsElement;
    mutable std::vector<std::uint8_t> itsBytes;
    mutable bool itsBytesMade = false;
};
