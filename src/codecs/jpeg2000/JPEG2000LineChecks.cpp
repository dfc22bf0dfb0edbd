// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg2000/detail/JPEG2000LineChecks.h"

#include <cstdint>

#include "engine/kdu_line_buf.h"
#include "toolkit/base/RWCString.h"
#include "toolkit/base/StreamIOException.h"

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

JPEG2000LineKind JPEG2000LineChecks::KindOf(const kdu_line_buf& theLine)
{
    if (theLine.get_buf16() != nullptr)
    {
        return theLine.is_absolute() ? JPEG2000LineKind::SHORTS : JPEG2000LineKind::FIXED_POINT;
    }
    return theLine.is_absolute() ? JPEG2000LineKind::INTS : JPEG2000LineKind::FLOATS;
}

const void* JPEG2000LineChecks::SamplesOf(const kdu_line_buf& theLine)
{
    return theLine.get_buf16() != nullptr ? static_cast<const void*>(theLine.get_buf16())
                                          : static_cast<const void*>(theLine.get_buf32());
}

void JPEG2000LineChecks::Check(JPEG2000LineKind theKind, int theBits, int theBytes)
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
