// SPDX-License-Identifier: Apache-2.0
// JPEG-LS: our codec, which looks through the stream and hands it to CharLS, beside CharLS alone. The streams
// are made here, out of the images of other inputs.

#include <map>

#include <charls/charls.h>

#include "Frames.h"
#include "codecs/jpegls/JPEGLSDecoder.h"
#include "codecs/sources/CompressedSources.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/io/InputStream.h"

namespace
{
/// A stream and what it decodes to.
struct JpegLsCase
{
    std::string itsSource; ///< kind of the JPEG input that has the pixels
    int itsBits;
    int itsComponents = 1;
    charls::interleave_mode itsMode = charls::interleave_mode::none;
    int itsNear = 0;
};

const std::map<std::string, JpegLsCase> kCases = {
    {"grey8", {"grey8", 8}},
    {"grey12", {"grey12", 12}},
    {"grey12_near2", {"grey12", 12, 1, charls::interleave_mode::none, 2}},
    {"grey16", {"grey16", 16}},
    {"rgb_lines", {"rgb", 8, 3, charls::interleave_mode::line}},
    {"rgb_pixels", {"rgb", 8, 3, charls::interleave_mode::sample}},
    {"rgb_planes", {"rgb", 8, 3, charls::interleave_mode::none}},
};

struct Stream
{
    Bytes itsBytes;
    std::size_t itsSize; ///< decoded bytes
};

Stream MakeStream(const JpegLsCase& theCase, const std::string& theSide)
{
    const std::string anInput = "jpeg/" + theCase.itsSource + "_lossless1_" + theSide;
    const Frame aFrame = LoadFrames(anInput).front();
    DICOMDataObject aDataSet;
    LoadDataSet(anInput, aDataSet);
    Bytes aPixels(aFrame.itsSize);
    DecodeWithOurs(aFrame, aDataSet, aPixels.data());
    const auto aSide = static_cast<std::uint32_t>(std::stoul(theSide));
    charls::jpegls_encoder anEncoder;
    anEncoder.frame_info({aSide, aSide, theCase.itsBits, theCase.itsComponents})
        .interleave_mode(theCase.itsMode)
        .near_lossless(theCase.itsNear);
    Bytes aStream(anEncoder.estimated_destination_size());
    anEncoder.destination(aStream);
    aStream.resize(anEncoder.encode(aPixels));
    return {std::move(aStream), aPixels.size()};
}

void Ours(benchmark::State& theState, const JpegLsCase& theCase, const std::string& theSide)
{
    const Stream aStream = MakeStream(theCase, theSide);
    Bytes anOutput(aStream.itsSize);
    for (auto _ : theState)
    {
        MemoryInputStream aMemory(aStream.itsBytes.data(), aStream.itsBytes.size());
        InputStreamAdapter aSource(aMemory);
        JPEGLSDecoder aCodec;
        aCodec.SetSource(nullptr, aSource);
        aCodec.Decode(0, anOutput.data(), anOutput.size());
    }
    ReportSize(theState, aStream.itsSize);
}

/// Scans of one component leave planes, which ours makes pixels of.
void CharLS(benchmark::State& theState, const JpegLsCase& theCase, const std::string& theSide)
{
    const Stream aStream = MakeStream(theCase, theSide);
    Bytes anOutput(aStream.itsSize);
    for (auto _ : theState)
    {
        charls::jpegls_decoder aDecoder(aStream.itsBytes, true);
        aDecoder.decode(anOutput);
    }
    ReportSize(theState, aStream.itsSize);
}

[[maybe_unused]] const bool isRegistered = []
{
    for (const auto& [aName, aCase] : kCases)
    {
        for (const char* aSide : {"512", "2048"})
        {
            const std::string aStart = "jpegls/" + aName + "_" + aSide;
            benchmark::RegisterBenchmark((aStart + "/ours").c_str(), Ours, aCase, aSide);
            benchmark::RegisterBenchmark((aStart + "/charls").c_str(), CharLS, aCase, aSide);
        }
    }
    return true;
}();
} // namespace
