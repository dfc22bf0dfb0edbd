// SPDX-License-Identifier: Apache-2.0
// JPEG2000Decoder's converters: decoded lines as DICOM samples.
#include "codecs/jpeg2000/JPEG2000Decoder.h"

#include <cstddef>
#include <cstdint>

#include "codecs/jpeg2000/detail/JPEG2000SampleKernels.h"
#include "engine/kdu_line_buf.h"
#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/Exceptions.h"

namespace
{
const char* ConverterOf(JPEG2000LineKind theKind)
{
    switch (theKind)
    {
    case JPEG2000LineKind::SHORTS:
        return "ConvertShortsToOutputSamples";
    case JPEG2000LineKind::FIXED_POINT:
        return "ConvertFixedPointToOutputSamples";
    case JPEG2000LineKind::INTS:
        return "ConvertIntsToOutputSamples";
    case JPEG2000LineKind::FLOATS:
        return "ConvertFloatsToOutputSamples";
    }
    return "";
}

[[noreturn]] void Refuse(JPEG2000LineKind theKind, const char* theText)
{
    throw StreamIOException(RWCString("JPEG2000Decoder::") + ConverterOf(theKind) + ": " + theText,
                            DLRC_DECODER_ERROR, 0);
}
} // namespace

JPEG2000LineKind JPEG2000LineOutput::KindOf(const kdu_line_buf& theLine)
{
    if (theLine.get_buf16() != nullptr)
    {
        return theLine.is_absolute() ? JPEG2000LineKind::SHORTS : JPEG2000LineKind::FIXED_POINT;
    }
    return theLine.is_absolute() ? JPEG2000LineKind::INTS : JPEG2000LineKind::FLOATS;
}

const void* JPEG2000LineOutput::SamplesOf(const kdu_line_buf& theLine)
{
    return theLine.get_buf16() != nullptr ? static_cast<const void*>(theLine.get_buf16())
                                          : static_cast<const void*>(theLine.get_buf32());
}

void JPEG2000LineOutput::Check(JPEG2000LineKind theKind, int theBits, int theBytes)
{
    if (theKind == JPEG2000LineKind::FIXED_POINT && theBits > KDU_FIXED_POINT)
    {
        Refuse(theKind, "theBitsStoredPerOutputSample > KDU_FIXED_POINT (13)");
    }
    if (theBits > std::int64_t{8} * theBytes)
    {
        Refuse(theKind, "theBitsStoredPerOutputSample > (8 * theBytesPerOutputSample)");
    }
    if (theBytes != 1 && theBytes != 2)
    {
        // Deliberately "> 2" for every other width: the text that callers know.
        Refuse(theKind, "theBytesPerOutputSample > 2");
    }
    if (theBits < 1)
    {
        Refuse(theKind, "theBitsStoredPerOutputSample < 1");
    }
}

void JPEG2000LineOutput::Convert(JPEG2000LineKind theKind, const void* theSource, void* theOutput,
                                 int theCount, int theBits, bool isSigned, int theBytes, int theStride)
{
    Check(theKind, theBits, theBytes);
    auto* const anOutput = static_cast<std::uint8_t*>(theOutput);
    const auto aCount = static_cast<std::size_t>(theCount > 0 ? theCount : 0);
    if (theStride != 1)
    {
        JPEG2000SampleKernels::ToStrided(theKind, theSource, anOutput, aCount, theBits, isSigned, theBytes,
                                         static_cast<std::size_t>(theStride > 0 ? theStride : 0));
    }
    else if (theBytes == 1)
    {
        JPEG2000SampleKernels::ToBytes(theKind, theSource, anOutput, aCount, theBits, isSigned);
    }
    else
    {
        JPEG2000SampleKernels::ToWords(theKind, theSource, anOutput, aCount, theBits, isSigned);
    }
}

void JPEG2000LineOutput::Copy(const kdu_line_buf& theLine, void* theOutput, int theBits, bool isSigned,
                              int theBytes, int theStride)
{
    Convert(KindOf(theLine), SamplesOf(theLine), theOutput, theLine.get_width(), theBits, isSigned, theBytes,
            theStride);
}

void JPEG2000Decoder::CopySamplesToOutput(const kdu_line_buf& theLine, void* theOutput,
                                          int theBitsStoredPerOutputSample, bool isOutputSigned,
                                          int theBytesPerOutputSample, int theStride)
{
    JPEG2000LineOutput::Copy(theLine, theOutput, theBitsStoredPerOutputSample, isOutputSigned,
                             theBytesPerOutputSample, theStride);
}

void JPEG2000Decoder::ConvertShortsToOutputSamples(const kdu_sample16* theSource, void* theOutput,
                                                   int theCount, int theBitsStoredPerOutputSample,
                                                   bool isOutputSigned, int theBytesPerOutputSample,
                                                   int theStride)
{
    JPEG2000LineOutput::Convert(JPEG2000LineKind::SHORTS, theSource, theOutput, theCount,
                                theBitsStoredPerOutputSample, isOutputSigned, theBytesPerOutputSample,
                                theStride);
}

void JPEG2000Decoder::ConvertIntsToOutputSamples(const kdu_sample32* theSource, void* theOutput, int theCount,
                                                 int theBitsStoredPerOutputSample, bool isOutputSigned,
                                                 int theBytesPerOutputSample, int theStride)
{
    JPEG2000LineOutput::Convert(JPEG2000LineKind::INTS, theSource, theOutput, theCount,
                                theBitsStoredPerOutputSample, isOutputSigned, theBytesPerOutputSample,
                                theStride);
}

void JPEG2000Decoder::ConvertFixedPointToOutputSamples(const kdu_sample16* theSource, void* theOutput,
                                                       int theCount, int theBitsStoredPerOutputSample,
                                                       bool isOutputSigned, int theBytesPerOutputSample,
                                                       int theStride)
{
    JPEG2000LineOutput::Convert(JPEG2000LineKind::FIXED_POINT, theSource, theOutput, theCount,
                                theBitsStoredPerOutputSample, isOutputSigned, theBytesPerOutputSample,
                                theStride);
}

void JPEG2000Decoder::ConvertFloatsToOutputSamples(const kdu_sample32* theSource, void* theOutput,
                                                   int theCount, int theBitsStoredPerOutputSample,
                                                   bool isOutputSigned, int theBytesPerOutputSample,
                                                   int theStride)
{
    JPEG2000LineOutput::Convert(JPEG2000LineKind::FLOATS, theSource, theOutput, theCount,
                                theBitsStoredPerOutputSample, isOutputSigned, theBytesPerOutputSample,
                                theStride);
}
