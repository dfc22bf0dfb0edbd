// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <cstdlib>
#include <random>
#include <stdexcept>

#include "codecs/JPEGTestHelpers.h"
#include "codecs/jpeg/detail/JPEGPath.h"
#include "codecs/jpeg/detail/JPEGTurbo.h"

namespace turbo_encoder
{
extern "C"
{
#include <jpeglib.h>
}
} // namespace turbo_encoder

/// An image as libjpeg-turbo's encoder makes it, with every choice that changes the coding.
struct DctSpec
{
    int itsWidth = 61;
    int itsHeight = 45;
    int itsComponents = 3;
    int itsH = 1; ///< sampling factors of the first component; the others have 1
    int itsV = 1;
    int itsQuality = 90;
    bool isProgressive = false;
    bool isOptimised = false;
    bool isRGB = false; ///< colour is coded as RGB instead of YCbCr
    int itsRestartInterval = 0;
    enum class Content
    {
        SMOOTH,
        NOISE, ///< both ends of the range at random
    };
    Content itsContent = Content::SMOOTH;
};

inline Bytes MakeContent(const DctSpec& theSpec, unsigned int theSeed)
{
    std::mt19937 aRandom(theSeed);
    Bytes aPixels;
    for (int i = 0; i < theSpec.itsWidth * theSpec.itsHeight * theSpec.itsComponents; ++i)
    {
        const int aPixel = i / theSpec.itsComponents;
        const int aX = aPixel % theSpec.itsWidth;
        const int aY = aPixel / theSpec.itsWidth;
        const unsigned int aNoise = aRandom();
        const int aSmooth = (aX * 5 + aY * 3 + (i % theSpec.itsComponents) * 80) % 256;
        aPixels.push_back(static_cast<std::uint8_t>(theSpec.itsContent == DctSpec::Content::NOISE
                                                        ? (aNoise & 1u) * 255
                                                        : (static_cast<unsigned int>(aSmooth) + aNoise % 9)));
    }
    return aPixels;
}

inline Bytes MakeDctJpeg(const DctSpec& theSpec, unsigned int theSeed = 1)
{
    using namespace turbo_encoder;
    jpeg_compress_struct anInfo{};
    jpeg_error_mgr anErrorManager{};
    anInfo.err = jpeg_std_error(&anErrorManager);
    anErrorManager.error_exit = [](j_common_ptr) { throw std::logic_error("the encoder refuses"); };
    jpeg_CreateCompress(&anInfo, JPEG_LIB_VERSION, sizeof(anInfo));
    unsigned char* aData = nullptr;
    unsigned long aSize = 0;
    jpeg_mem_dest(&anInfo, &aData, &aSize);
    anInfo.image_width = static_cast<JDIMENSION>(theSpec.itsWidth);
    anInfo.image_height = static_cast<JDIMENSION>(theSpec.itsHeight);
    anInfo.input_components = theSpec.itsComponents;
    anInfo.in_color_space = theSpec.itsComponents == 1   ? JCS_GRAYSCALE
                            : theSpec.itsComponents == 3 ? JCS_RGB
                                                         : JCS_CMYK;
    jpeg_set_defaults(&anInfo);
    if (theSpec.isRGB)
    {
        jpeg_set_colorspace(&anInfo, JCS_RGB);
    }
    jpeg_set_quality(&anInfo, theSpec.itsQuality, TRUE);
    for (int i = 0; i < theSpec.itsComponents; ++i)
    {
        anInfo.comp_info[i].h_samp_factor = i == 0 ? theSpec.itsH : 1;
        anInfo.comp_info[i].v_samp_factor = i == 0 ? theSpec.itsV : 1;
    }
    anInfo.optimize_coding = theSpec.isOptimised ? TRUE : FALSE;
    anInfo.restart_interval = static_cast<unsigned int>(theSpec.itsRestartInterval);
    if (theSpec.isProgressive)
    {
        jpeg_simple_progression(&anInfo);
    }
    Bytes aPixels = MakeContent(theSpec, theSeed);
    jpeg_start_compress(&anInfo, TRUE);
    while (anInfo.next_scanline < anInfo.image_height)
    {
        JSAMPROW aRow = aPixels.data() + std::size_t{anInfo.next_scanline} * anInfo.image_width *
                                             static_cast<std::size_t>(theSpec.itsComponents);
        jpeg_write_scanlines(&anInfo, &aRow, 1);
    }
    jpeg_finish_compress(&anInfo);
    const Bytes aJpeg(aData, aData + aSize);
    jpeg_destroy_compress(&anInfo);
    std::free(aData);
    return aJpeg;
}

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

    bool operator==(const Outcome& theOther) const
    {
        return itsPixels == theOther.itsPixels && IsSameButPixels(theOther);
    }
    bool IsSameButPixels(const Outcome& theOther) const
    {
        return itsError == theOther.itsError && itsReads == theOther.itsReads &&
               itsCloses == theOther.itsCloses && itsLastRead == theOther.itsLastRead &&
               itsTotal == theOther.itsTotal && itsHandOver == theOther.itsHandOver &&
               itsPixels.size() == theOther.itsPixels.size();
    }
};

/// Decodes through the codec of so many bits on one path. Images of more than theLimit bytes count as
/// refused.
inline Outcome DecodeOn(JPEGPath thePath, const Bytes& theJpeg, int theLargestRead = 1 << 20,
                        Decoder::ColorModel theModel = Decoder::COLOR_MODEL_UNKNOWN,
                        std::uint64_t theLimit = 1 << 20, int theBits = 8)
{
    const auto aDecoder = MakeDecoder(theBits, theModel);
    aDecoder->SetPath(thePath);
    ByteSource aSource(theJpeg, theLargestRead);
    Outcome anOutcome;
    try
    {
        aDecoder->SetSource(nullptr, aSource);
        if (aDecoder->GetOutputSize() > theLimit)
        {
            throw std::length_error("too large for a test");
        }
        Bytes aPixels(aDecoder->GetOutputSize());
        aDecoder->Decode(0, aPixels.data(), aPixels.size());
        anOutcome.itsPixels = std::move(aPixels);
    }
    catch (const ExceptionBase& anException)
    {
        anOutcome.itsError = anException.GetMessageText();
    }
    catch (const std::length_error& anException)
    {
        anOutcome.itsError = anException.what();
    }
    anOutcome.itsReads = aSource.GetReads();
    anOutcome.itsCloses = aSource.GetCloses();
    anOutcome.itsLastRead = aDecoder->GetBytesRead();
    anOutcome.itsTotal = aDecoder->GetTotalBytesRead();
    const std::unique_ptr<std::uint8_t[]> aBuffer(aDecoder->TakeBuffer());
    anOutcome.itsHandOver.assign(aBuffer.get(), aBuffer.get() + anOutcome.itsLastRead);
    return anOutcome;
}

/// Whether libjpeg-turbo itself takes the image, with theHeader made from theSpec.
struct TurboResult
{
    bool isTaken = false;
    Bytes itsPixels;
};

class MemoryClient final : public JPEGLibrary::Client
{
public:
    explicit MemoryClient(const Bytes& theBytes) : itsBytes(theBytes) {}
    int FillInput(const std::uint8_t*& theData) override
    {
        theData = itsBytes.data() + itsPosition;
        const auto aCount = std::min<std::size_t>(itsBytes.size() - itsPosition, 1000);
        itsPosition += aCount;
        return static_cast<int>(aCount);
    }
    void CloseInput() override {}
    void InputAccepted(int) override {}
    std::uint64_t GetInputTotal() const override { return itsPosition; }

private:
    const Bytes& itsBytes;
    std::size_t itsPosition = 0;
};

inline TurboResult DecodeWithTurbo(const Bytes& theJpeg, const DctSpec& theSpec, int thePrecision = 8)
{
    JPEGFrameHeader aHeader;
    aHeader.itsWidth = static_cast<std::uint32_t>(theSpec.itsWidth);
    aHeader.itsHeight = static_cast<std::uint32_t>(theSpec.itsHeight);
    aHeader.itsComponents = theSpec.itsComponents;
    aHeader.itsPrecision = thePrecision;
    aHeader.itsProcess = theSpec.isProgressive ? JPEGProcess::PROGRESSIVE : JPEGProcess::SEQUENTIAL;
    aHeader.itsHSampling = {static_cast<std::uint8_t>(theSpec.itsH), 1, 1, 1};
    aHeader.itsVSampling = {static_cast<std::uint8_t>(theSpec.itsV), 1, 1, 1};
    aHeader.itsOutputColorSpace =
        theSpec.itsComponents == 1 ? JPEGColorSpace::GRAYSCALE : JPEGColorSpace::RGB;
    aHeader.itsColorSpace = theSpec.itsComponents == 1 ? JPEGColorSpace::GRAYSCALE
                            : theSpec.isRGB            ? JPEGColorSpace::RGB
                                                       : JPEGColorSpace::YCBCR;
    MemoryClient aClient(theJpeg);
    TurboResult aResult;
    aResult.itsPixels.resize(static_cast<std::size_t>(theSpec.itsWidth * theSpec.itsHeight *
                                                      theSpec.itsComponents * (thePrecision > 8 ? 2 : 1)));
    aResult.isTaken = JPEGTurbo::Decode(aClient, aHeader, aResult.itsPixels.data());
    return aResult;
}

inline Outcome DecodeDeepOn(JPEGPath thePath, const Bytes& theJpeg)
{
    return DecodeOn(thePath, theJpeg, 500, Decoder::COLOR_MODEL_UNKNOWN, 1 << 20, 12);
}

/// A grey image of 12 bits.
inline JpegSpec MakeDeepSpec(bool theProgressive, int theWidth, int theHeight, int theStep)
{
    JpegSpec aSpec;
    aSpec.itsProcess = theProgressive ? JpegSpec::Process::PROGRESSIVE : JpegSpec::Process::EXTENDED;
    aSpec.itsPrecision = 12;
    aSpec.itsWidth = theWidth;
    aSpec.itsHeight = theHeight;
    aSpec.itsQuantization = theStep;
    return aSpec;
}
