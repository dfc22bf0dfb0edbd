// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "codecs/rle/detail/RLEFrameDecoder.h"
#include "decoding/FakeDecoder.h"

namespace RLETest
{
using Bytes = std::vector<std::uint8_t>;

/// What one decode led to.
struct Outcome
{
    Bytes itsBuffer;
    std::string itsFailure;      ///< of FailureOf
    std::size_t itsConsumed = 0; ///< after success only

    friend bool operator==(const Outcome&, const Outcome&) = default;
};

/// Runs one path over the bytes behind a header. theBuffer is what the output held before.
inline Outcome DecodeFrame(RLEPath thePath, ByteSource theSource, const RLEPixelLayout& theLayout,
                           const std::vector<std::uint32_t>& theOffsets, Bytes theBuffer)
{
    Outcome anOutcome;
    anOutcome.itsFailure = FailureOf<DICOMLibException>(
        [&]
        {
            RLEFrameDecoder aDecoder(theSource, theLayout, theOffsets.data(), theBuffer.data(),
                                     theBuffer.size());
            aDecoder.Decode(thePath);
            anOutcome.itsConsumed = theSource.GetPosition();
        });
    anOutcome.itsBuffer = std::move(theBuffer);
    return anOutcome;
}

/// The attributes that the decoder reads.
inline void Describe(DataSet& theSet, int theRows, int theColumns, int theSamples, int theBitsStored,
                     const char* thePhotometric)
{
    theSet.SetGrey(theRows, theColumns, theBitsStored > 8 ? 16 : 8, theBitsStored);
    theSet.SetNumber(DICOMTags::SamplesPerPixel, theSamples);
    theSet.SetText(DICOMTags::PhotometricInterpretation, thePhotometric);
}
} // namespace RLETest
