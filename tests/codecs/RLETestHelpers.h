// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "codecs/rle/detail/RLEFrameDecoder.h"
#include "decoding/FakeDecoder.h"
#include "toolkit/base/Exceptions.h"

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

/// The attributes that the decoder reads.
inline void Describe(DICOMDataObject& theSet, int theRows, int theColumns, int theSamples, int theBitsStored,
                     const char* thePhotometric)
{
    for (const auto& [aTag, aValue] : {std::pair{DICOMTags::Rows, theRows},
                                       {DICOMTags::Columns, theColumns},
                                       {DICOMTags::SamplesPerPixel, theSamples},
                                       {DICOMTags::BitsAllocated, theBitsStored > 8 ? 16 : 8},
                                       {DICOMTags::BitsStored, theBitsStored},
                                       {DICOMTags::HighBit, theBitsStored - 1},
                                       {DICOMTags::PixelRepresentation, 0}})
    {
        Put(theSet, aTag, aValue);
    }
    Put(theSet, DICOMTags::PhotometricInterpretation, thePhotometric);
}
} // namespace RLETest
