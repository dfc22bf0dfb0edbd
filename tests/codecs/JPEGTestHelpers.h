// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "codecs/jpeg/JPEG12BitDecoder.h"
#include "codecs/jpeg/JPEG16BitDecoder.h"
#include "codecs/jpeg/JPEG8BitDecoder.h"
#include "support/ByteSource.h"
#include "support/JpegFixtures.h"
#include "toolkit/base/ExceptionBase.h"

using Bytes = std::vector<std::uint8_t>;
using Samples = std::vector<std::uint16_t>;

/// A codec whose data set is stood in for by the colour model that it would name.
template <typename Codec>
class WithModel final : public Codec
{
public:
    explicit WithModel(Decoder::ColorModel theModel) : itsModel(theModel) {}
    Decoder::ColorModel GetOriginalPhotometricInterpretation() const override { return itsModel; }

private:
    Decoder::ColorModel itsModel;
};

inline std::unique_ptr<JPEGDecoder> MakeDecoder(int theBits,
                                                Decoder::ColorModel theModel = Decoder::COLOR_MODEL_UNKNOWN)
{
    switch (theBits)
    {
    case 8:
        return std::make_unique<WithModel<JPEG8BitDecoder>>(theModel);
    case 12:
        return std::make_unique<WithModel<JPEG12BitDecoder>>(theModel);
    default:
        return std::make_unique<WithModel<JPEG16BitDecoder>>(theModel);
    }
}

/// The samples of a decoded buffer, whatever their size.
inline Samples ToSamples(const Bytes& theBuffer, int theBitsAllocated)
{
    Samples aSamples(theBitsAllocated > 8 ? theBuffer.size() / 2 : theBuffer.size());
    if (theBitsAllocated > 8)
    {
        std::memcpy(aSamples.data(), theBuffer.data(), aSamples.size() * 2);
    }
    else
    {
        aSamples.assign(theBuffer.begin(), theBuffer.end());
    }
    return aSamples;
}

/// Header and pixels in one go, into a buffer of exactly the size that the codec announces.
inline Bytes DecodeBytes(JPEGDecoder& theDecoder, kdu_compressed_source& theSource)
{
    theDecoder.SetSource(nullptr, theSource);
    Bytes aBuffer(theDecoder.GetOutputSize());
    theDecoder.Decode(0, aBuffer.data(), aBuffer.size());
    return aBuffer;
}

inline Samples DecodeSamples(JPEGDecoder& theDecoder, const Bytes& theJpeg)
{
    ByteSource aSource(theJpeg);
    return ToSamples(DecodeBytes(theDecoder, aSource), theDecoder.GetBitsAllocatedPerSample());
}

/// The text of the exception that decoding ends in; "" when there was none.
inline std::string DecodeError(JPEGDecoder& theDecoder, kdu_compressed_source& theSource)
{
    try
    {
        DecodeBytes(theDecoder, theSource);
    }
    catch (const ExceptionBase& anException)
    {
        return anException.GetMessageText();
    }
    return "";
}
