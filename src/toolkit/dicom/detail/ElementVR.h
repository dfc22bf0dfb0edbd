// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "toolkit/dicom/VR.h"

class DcmElement;

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

    DcmElement& GetElement() const { return *itsElement; }

    /// Gives the element away; this object is only fit for destruction afterwards.
    std::unique_ptr<DcmElement> Release();

private:
    std::unique_ptr<DcmElement> itsElement;
    mutable std::vector<std::uint8_t> itsBytes;
    mutable bool itsBytesMade = false;
};
