// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "codecs/jpeg/JPEGDecoders.h"
#include "codecs/jpeg/detail/JPEGLibrary.h"
#include "support/ByteSource.h"
#include "support/FailureOf.h"
#include "support/JpegFixtures.h"

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

/// The least build for an image.
inline int BuildFor(const JpegSpec& theSpec)
{
    return theSpec.itsPrecision <= 8 ? 8 : theSpec.itsPrecision <= 12 ? 12 : 16;
}

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
    Samples aSamples(theBuffer.begin(), theBuffer.end());
    if (theBitsAllocated > 8)
    {
        aSamples.resize(theBuffer.size() / 2);
        std::memcpy(aSamples.data(), theBuffer.data(), aSamples.size() * 2);
    }
    return aSamples;
}

/// What Decode makes of a codec that has a header, into a buffer of exactly the size that it announces.
inline Bytes DecodeRest(JPEGDecoder& theDecoder)
{
    Bytes aBuffer(theDecoder.GetOutputSize());
    theDecoder.Decode(0, aBuffer.data(), aBuffer.size());
    return aBuffer;
}

/// Header and pixels in one go.
inline Bytes DecodeBytes(JPEGDecoder& theDecoder, kdu_compressed_source& theSource)
{
    theDecoder.SetSource(nullptr, theSource);
    return DecodeRest(theDecoder);
}

inline Samples DecodeSamples(JPEGDecoder& theDecoder, const Bytes& theJpeg)
{
    ByteSource aSource(theJpeg);
    return ToSamples(DecodeBytes(theDecoder, aSource), theDecoder.GetBitsAllocatedPerSample());
}

/// The text of the exception that an operation ends in; "" when there was none.
template <class Operation>
std::string DecodeErrorOf(Operation theOperation)
{
    const std::string aFailure = FailureOf<ExceptionBase>(theOperation);
    return aFailure == "(nothing)" ? "" : aFailure;
}

inline std::string DecodeError(JPEGDecoder& theDecoder, kdu_compressed_source& theSource)
{
    return DecodeErrorOf([&] { DecodeBytes(theDecoder, theSource); });
}

inline Bytes Cut(const Bytes& theBytes, std::size_t theCount)
{
    return {theBytes.begin(), theBytes.begin() + static_cast<std::ptrdiff_t>(theCount)};
}

/// The first bytes in a buffer to be handed over.
inline std::uint8_t* NewBuffer(const Bytes& theBytes, std::size_t theCount, std::size_t theCapacity = 32768)
{
    auto* const aBuffer = new std::uint8_t[theCapacity]();
    std::copy_n(theBytes.begin(), theCount, aBuffer);
    return aBuffer;
}

/// Samples, of MakeSamples unless they are given, and their code.
struct Image
{
    Image(const JpegSpec& theSpec, Samples theSamples)
        : itsSamples(std::move(theSamples)), itsJpeg(MakeJpeg(theSpec, itsSamples))
    {
    }
    explicit Image(const JpegSpec& theSpec) : Image(theSpec, MakeSamples(theSpec)) {}
    Bytes Rest(std::size_t theFirst) const
    {
        return {itsJpeg.begin() + static_cast<std::ptrdiff_t>(theFirst), itsJpeg.end()};
    }

    Samples itsSamples;
    Bytes itsJpeg;
};

/// All that a caller can see of a decoding.
struct Outcome
{
    Bytes itsPixels;
    std::string itsError; ///< "" when there are pixels
    int itsReads = 0;
    int itsCloses = 0;
    int itsLastRead = 0;
    std::uint64_t itsTotal = 0;
    Bytes itsHandOver = {}; ///< the bytes of the most recent fill

    bool operator==(const Outcome&) const = default;
};

struct Setting
{
    int itsBuild = 8;
    Decoder::ColorModel itsModel = Decoder::COLOR_MODEL_UNKNOWN;
    int itsLargestRead = 1 << 20;
};

/// Decodes on one path, at most four megabytes of pixels.
inline Outcome DecodeOn(JPEGPath thePath, const Setting& theSetting, const Bytes& theJpeg)
{
    const auto aDecoder = MakeDecoder(theSetting.itsBuild, theSetting.itsModel);
    aDecoder->SetPath(thePath);
    ByteSource aSource(theJpeg, theSetting.itsLargestRead);
    Outcome anOutcome;
    anOutcome.itsError = DecodeErrorOf(
        [&]
        {
            aDecoder->SetSource(nullptr, aSource);
            // What was in the buffer before must not show.
            Bytes aPixels(std::min<std::uint64_t>(aDecoder->GetOutputSize(), 1u << 22),
                          thePath == JPEGPath::LIBRARY ? 0x00 : 0x5a);
            aDecoder->Decode(0, aPixels.data(), aPixels.size());
            anOutcome.itsPixels = std::move(aPixels);
        });
    anOutcome.itsReads = aSource.GetReads();
    anOutcome.itsCloses = aSource.GetCloses();
    anOutcome.itsLastRead = aDecoder->GetBytesRead();
    anOutcome.itsTotal = aDecoder->GetTotalBytesRead();
    const std::unique_ptr<std::uint8_t[]> aBuffer(aDecoder->TakeBuffer());
    anOutcome.itsHandOver.assign(aBuffer.get(), aBuffer.get() + anOutcome.itsLastRead);
    return anOutcome;
}

/// Compares the IJG library's own decoding with that of the fast paths.
inline testing::AssertionResult PathsAgree(const Setting& theSetting, const Bytes& theJpeg,
                                           bool theNeedsPixels = true)
{
    const Outcome aLibrary = DecodeOn(JPEGPath::LIBRARY, theSetting, theJpeg);
    const Outcome aFast = DecodeOn(JPEGPath::FAST, theSetting, theJpeg);
    if (aLibrary == aFast && aLibrary.itsError.empty() >= theNeedsPixels)
    {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << theSetting.itsBuild << "-bit build: \"" << aLibrary.itsError
                                       << "\" and \"" << aFast.itsError << "\"";
}
