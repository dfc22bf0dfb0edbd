// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "codecs/rle/detail/RLEFrameDecoder.h"
#include "support/ByteSource.h"
#include "toolkit/base/DICOMLibException.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/MVRFactory.h"

namespace RLETest
{
using Bytes = std::vector<std::uint8_t>;

/// What one decode led to.
struct Outcome
{
    Bytes itsBuffer;
    std::string itsText; ///< empty: success
    int itsCode = 0;
    std::size_t itsConsumed = 0; ///< after success only

    friend bool operator==(const Outcome&, const Outcome&) = default;
};

/// Runs one path over the bytes behind a header. theBuffer is what the output held before.
inline Outcome DecodeFrame(RLEPath thePath, ByteSource theSource, const RLEPixelLayout& theLayout,
                           const std::vector<std::uint32_t>& theOffsets, Bytes theBuffer)
{
    Outcome anOutcome;
    try
    {
        RLEFrameDecoder aDecoder(theSource, theLayout, theOffsets.data(), theBuffer.data(), theBuffer.size());
        aDecoder.Decode(thePath);
        anOutcome.itsConsumed = theSource.GetPosition();
    }
    catch (const DICOMLibException& anException)
    {
        anOutcome.itsText = anException.GetMessageText();
        anOutcome.itsCode = anException.GetResultCode();
    }
    anOutcome.itsBuffer = std::move(theBuffer);
    return anOutcome;
}

inline void SetNumber(DICOMDataObject& theSet, DICOMTag theTag, std::uint16_t theValue)
{
    const MVRFactory aFactory(theSet.GetDataDictionary(), theSet.GetEndian(),
                              VR::GetDefaultMemoryAllocater());
    theSet.ReplaceVR(aFactory.CreateUnsignedShort(theTag, theValue));
}

inline void SetText(DICOMDataObject& theSet, DICOMTag theTag, const std::string& theValue)
{
    const MVRFactory aFactory(theSet.GetDataDictionary(), theSet.GetEndian(),
                              VR::GetDefaultMemoryAllocater());
    theSet.ReplaceVR(aFactory.CreateString(theTag, theValue));
}

/// The attributes that the decoder reads.
inline void Describe(DICOMDataObject& theSet, std::uint16_t theRows, std::uint16_t theColumns,
                     std::uint16_t theSamples, std::uint16_t theBitsStored, const std::string& thePhotometric)
{
    SetNumber(theSet, DICOMTags::Rows, theRows);
    SetNumber(theSet, DICOMTags::Columns, theColumns);
    SetNumber(theSet, DICOMTags::SamplesPerPixel, theSamples);
    SetNumber(theSet, DICOMTags::BitsAllocated, theBitsStored > 8 ? 16 : 8);
    SetNumber(theSet, DICOMTags::BitsStored, theBitsStored);
    SetNumber(theSet, DICOMTags::HighBit, static_cast<std::uint16_t>(theBitsStored - 1));
    SetNumber(theSet, DICOMTags::PixelRepresentation, 0);
    SetText(theSet, DICOMTags::PhotometricInterpretation, thePhotometric);
}
} // namespace RLETest
