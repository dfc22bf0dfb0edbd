// SPDX-License-Identifier: Apache-2.0
// JPEG2000Decoder's converters: decoded lines as DICOM samples.
#include <cstddef>

#include "codecs/jpeg2000/JPEG2000Decoder.h"
#include "codecs/jpeg2000/detail/JPEG2000LineChecks.h"
#include "codecs/jpeg2000/detail/JPEG2000SampleKernels.h"
#include "engine/kdu_line_buf.h"

namespace
{
void Convert(JPEG2000LineKind theKind, const void* theSource, void* theOutput, int theCount, int theBits,
             bool theSigned, int theBytes, int theStride)
{
    JPEG2000LineChecks::Check(theKind, theBits, theBytes);
    auto* const anOutput = static_cast<std::uint8_t*>(theOutput);
    const auto aCount = static_cast<std::size_t>(theCount > 0 ? theCount : 0);
    if (theStride != 1)
    {
        JPEG2000SampleKernels::ToStrided(theKind, theSource, anOutput, aCount, theBits, theSigned, theBytes,
                                         static_cast<std::size_t>(theStride > 0 ? theStride : 0));
    }
    else if (theBytes == 1)
    {
        JPEG2000SampleKernels::ToBytes(theKind, theSource, anOutput, aCount, theBits, theSigned);
    }
    else
    {
        JPEG2000SampleKernels::ToWords(theKind, theSource, anOutput, aCount, theBits, theSigned);
    }
}
} // namespace

void JPEG2000Decoder::CopySamplesToOutput(const kdu_line_buf& theLine, void* theOutput,
                                          int theBitsStoredPerOutputSample, bool theSignedOutput,
                                          int theBytesPerOutputSample, int theStride)
{
    const void* const aSource = JPEG2000LineChecks::SamplesOf(theLine);
    Convert(JPEG2000LineChecks::KindOf(theLine), aSource, theOutput, theLine.get_width(),
            theBitsStoredPerOutputSample, theSignedOutput, theBytesPerOutputSample, theStride);
}

void JPEG2000Decoder::ConvertShortsToOutputSamples(const kdu_sample16* theSource, void* theOutput,
                                                   int theCount, int theBitsStoredPerOutputSample,
                                                   bool theSignedOutput, int theBytesPerOutputSample,
                                                   int theStride)
{
    Convert(JPEG2000LineKind::SHORTS, theSource, theOutput, theCount, theBitsStoredPerOutputSample,
            theSignedOutput, theBytesPerOutputSample, theStride);
}

void JPEG2000Decoder::ConvertIntsToOutputSamples(const kdu_sample32* theSource, void* theOutput, int theCount,
                                                 int theBitsStoredPerOutputSample, bool theSignedOutput,
                                                 int theBytesPerOutputSample, int theStride)
{
    Convert(JPEG2000LineKind::INTS, theSource, theOutput, theCount, theBitsStoredPerOutputSample,
            theSignedOutput, theBytesPerOutputSample, theStride);
}

void JPEG2000Decoder::ConvertFixedPointToOutputSamples(const kdu_sample16* theSource, void* theOutput,
                                                       int theCount, int theBitsStoredPerOutputSample,
                                                       bool theSignedOutput, int theBytesPerOutputSample,
                                                       int theStride)
{
    Convert(JPEG2000LineKind::FIXED_POINT, theSource, theOutput, theCount, theBitsStoredPerOutputSample,
            theSignedOutput, theBytesPerOutputSample, theStride);
}

void JPEG2000Decoder::ConvertFloatsToOutputSamples(const kdu_sample32* theSource, void* theOutput,
                                                   int theCount, int theBitsStoredPerOutputSample,
                                                   bool theSignedOutput, int theBytesPerOutputSample,
                                                   int theStride)
{
    Convert(JPEG2000LineKind::FLOATS, theSource, theOutput, theCount, theBitsStoredPerOutputSample,
            theSignedOutput, theBytesPerOutputSample, theStride);
}
