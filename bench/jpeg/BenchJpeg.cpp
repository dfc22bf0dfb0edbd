// SPDX-License-Identifier: Apache-2.0
// JPEG: our codecs beside their own library's path, the three IJG builds and libjpeg-turbo in the plain loop
// of the library's example, and DCMTK. Then the whole way from a Part 10 stream to a finished Renderable,
// beside the bare codec into memory that is as new.

#include <memory>

#include "Frames.h"
#include "Part10.h"
#include "codecs/jpeg/JPEGDecoders.h"
#include "codecs/jpeg/detail/JPEGLibrary.h"
#include "codecs/sources/CompressedSources.h"
#include "image/VMMemoryAllocator.h"
#include "jpeg/JpegPeer.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/io/InputStream.h"

namespace
{
using JpegDecode = std::size_t (*)(const std::uint8_t*, std::size_t, void*);

void Plain(benchmark::State& theState, const std::string& theName, JpegDecode theDecode)
{
    const Frame aFrame = LoadFrames(theName).front();
    Bytes anOutput(aFrame.itsSize);
    for (auto _ : theState)
    {
        if (theDecode(aFrame.itsCompressed.data(), aFrame.itsCompressed.size(), anOutput.data()) !=
            aFrame.itsSize)
        {
            theState.SkipWithError("the library reports an error");
            break;
        }
    }
    ReportSize(theState, aFrame.itsSize);
}

std::unique_ptr<JPEGDecoder> MakeCodec(int theBits)
{
    switch (theBits)
    {
    case 8:
        return std::make_unique<JPEG8BitDecoder>();
    case 12:
        return std::make_unique<JPEG12BitDecoder>();
    default:
        return std::make_unique<JPEG16BitDecoder>();
    }
}

/// Our codec, forced to the library's own loop.
void LibraryPath(benchmark::State& theState, const std::string& theName, int theBits)
{
    const Frame aFrame = LoadFrames(theName).front();
    DICOMDataObject aDataSet;
    LoadDataSet(theName, aDataSet);
    Bytes anOutput(aFrame.itsSize);
    for (auto _ : theState)
    {
        MemoryInputStream aStream(aFrame.itsCompressed.data(), aFrame.itsCompressed.size());
        InputStreamAdapter aSource(aStream);
        const std::unique_ptr<JPEGDecoder> aCodec = MakeCodec(theBits);
        aCodec->SetPath(JPEGPath::LIBRARY);
        aCodec->SetSource(&aDataSet, aSource);
        aCodec->Decode(0, anOutput.data(), anOutput.size());
    }
    ReportSize(theState, aFrame.itsSize);
}

void Codec(benchmark::State& theState, const std::string& theName)
{
    const Frame aFrame = LoadFrames(theName).front();
    DICOMDataObject aDataSet;
    LoadDataSet(theName, aDataSet);
    for (auto _ : theState)
    {
        void* const anOutput = VMMemoryAllocator::VMAlloc(aFrame.itsSize);
        DecodeWithOurs(aFrame, aDataSet, anOutput);
        VMMemoryAllocator::VMFree(anOutput);
    }
    ReportSize(theState, aFrame.itsSize);
}

template <typename... Arguments>
void Register(const std::string& theName, Arguments&&... theArguments)
{
    benchmark::RegisterBenchmark(theName.c_str(), std::forward<Arguments>(theArguments)...);
}

void RegisterKind(const std::string& theKind, int theBits, const std::string& theSide, bool theTurbo)
{
    const std::string anInput = "jpeg/" + theKind + "_" + theSide;
    Register(anInput + "/ours", BenchOurs, anInput);
    Register(anInput + "/library", LibraryPath, anInput, theBits);
    Register(anInput + "/dcmtk", BenchDcmtk, anInput);
    if (theBits == 8)
    {
        Register(anInput + "/ijg8", Plain, anInput, DecodeWithIjg8);
    }
    else if (theBits == 12)
    {
        Register(anInput + "/ijg12", Plain, anInput, DecodeWithIjg12);
    }
    else
    {
        Register(anInput + "/ijg16", Plain, anInput, DecodeWithIjg16);
    }
    if (theTurbo)
    {
        Register(anInput + "/turbo", Plain, anInput, DecodeWithTurbo);
    }
}

[[maybe_unused]] const bool isRegistered = []
{
    for (const std::string& aSide : GetSides())
    {
        for (const char* aKind : {"grey8_baseline", "rgb_baseline420", "rgb_baseline422", "rgb_baseline444",
                                  "rgb_progressive420"})
        {
            RegisterKind(aKind, 8, aSide, true);
        }
        for (const char* aKind :
             {"grey12_extended", "rgb12_extended420", "rgb12_extended422", "rgb12_extended444"})
        {
            RegisterKind(aKind, 12, aSide, false);
        }
        for (const char* aPredictor : {"1", "4", "6"})
        {
            const std::string aSuffix = std::string("_lossless") + aPredictor;
            RegisterKind("grey8" + aSuffix, 8, aSide, false);
            RegisterKind("grey12" + aSuffix, 12, aSide, false);
            RegisterKind("grey16" + aSuffix, 16, aSide, false);
            RegisterKind("rgb" + aSuffix, 8, aSide, false);
        }
    }
    for (const char* aKind : {"grey8_baseline", "rgb_baseline420", "grey12_extended", "grey16_lossless1"})
    {
        const std::string aCase = std::string(aKind) + "_2048";
        Register("jpeg_whole/" + aCase + "/warm", BenchOurs, "jpeg/" + aCase);
        Register("jpeg_whole/" + aCase + "/codec", Codec, "jpeg/" + aCase);
        Register("jpeg_whole/" + aCase + "/part10", BenchPart10, "jpeg/" + aCase);
    }
    return true;
}();
} // namespace
