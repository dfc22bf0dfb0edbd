// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "toolkit/base/BaseTypes.h"

/// Names of the private elements that this library reads and writes.
///
/// Public elements are looked up in DCMTK's dictionary; this one only knows those of PrivateElements:
/// "OrigSOPInstUID" (UI, xx01), "ReconstImageFlag" (US, xx02) and "LosslessCmpFlag" (US, xx03). Immutable;
/// one instance serves every data set and thread.
class QUORIX_API DataDictionary
{
public:
    /// Where a private element stands and what it holds.
    struct PrivateElement
    {
        std::uint8_t itsElement;   ///< low byte of the element number inside the reserved block
        std::uint16_t itsTypeCode; ///< see VR::MakeTypeCode
    };

    /// The one instance.
    static const DataDictionary& GetDefaultInstance();

    /// Null for a creator or name that is not known.
    const PrivateElement* FindPrivateElement(const RWCString& theCreator, const RWCString& theName) const;
};
