// SPDX-License-Identifier: Apache-2.0
// One compressed frame into a buffer that is there already: what the codecs cost.

#include <benchmark/benchmark.h>

#include "DcmtkPeer.h"
#include "Inputs.h"
#include "JpegPeer.h"
#include "decoding/CompressedCodestreamDecoder.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/io/MemoryInputStream.h"

namespace
{
struct Frame
{
    Bytes itsCompressed;
    RWCString itsTransferSyntaxUID;
    int itsBitsStored = 0;
    std::size_t itsSize = 0; ///< decoded bytes
};

bool Load(const std::string& theName, DICOMDataObject& theDataSet)
{
    DLResultCode aCode = DLRC_SUCCESS;
    int aSystemErrorCode = 0;
    return theDataSet.LoadFromFile(InputPath(theName), aCode, aSystemErrorCode, DICOMTags::PixelData);
}

std::int32_t Get(const DICOMDataObject& theDataSet, DICOMTag theTag)
{
    std::int32_t aValue = 0;
    theDataSet.GetInteger(theTag, aValue);
    return aValue;
}

Frame LoadFrame(const std::string& theName)
{
    DICOMDataObject aDataSet;
    Frame aFrame;
    if (Load(theName, aDataSet))
    {
        aFrame.itsCompressed = DcmtkPeer(ReadInput(theName)).GetFrame();
        aDataSet.GetString(DICOMTags::TransferSyntaxUID, aFrame.itsTransferSyntaxUID);
        aFrame.itsBitsStored = Get(aDataSet, DICOMTags::BitsStored);
        aFrame.itsSize = static_cast<std::size_t>(Get(aDataSet, DICOMTags::Rows)) *
                         static_cast<std::size_t>(Get(aDataSet, DICOMTags::Columns)) *
                         static_cast<std::size_t>(Get(aDataSet, DICOMTags::SamplesPerPixel)) *
                         static_cast<std::size_t>(Get(aDataSet, DICOMTags::BitsAllocated) / 8);
    }
    return aFrame;
}

void Report(benchmark::State& theState, std::size_t theSize)
{
    theState.SetBytesProcessed(static_cast<std::int64_t>(theSize) * theState.iterations());
}

void Ours(benchmark::State& theState, const std::string& theName)
{
    const Frame aFrame = LoadFrame(theName);
    DICOMDataObject aDataSet;
    Load(theName, aDataSet);
    Bytes anOutput(aFrame.itsSize);
    for (auto _ : theState)
    {
        MemoryInputStream aStream(aFrame.itsCompressed.data(), aFrame.itsCompressed.size());
        CompressedCodestreamDecoder aDecoder(aFrame.itsTransferSyntaxUID, aFrame.itsBitsStored, aStream,
                                             aDataSet, 1, Decoder::PET_FAST);
        aDecoder.Decode(static_cast<unsigned int>(aFrame.itsCompressed.size()), anOutput.data(),
                        anOutput.size());
    }
    Report(theState, aFrame.itsSize);
}

void Dcmtk(benchmark::State& theState, const std::string& theName)
{
    const std::size_t aSize = LoadFrame(theName).itsSize;
    const DcmtkPeer aPeer(ReadInput(theName));
    Bytes anOutput(aSize);
    for (auto _ : theState)
    {
        if (!aPeer.DecodeFrame(anOutput.data(), anOutput.size()))
        {
            theState.SkipWithError("DCMTK reports an error");
            break;
        }
    }
    Report(theState, aSize);
}

using JpegDecode = std::size_t (*)(const std::uint8_t*, std::size_t, void*);

void Jpeg(benchmark::State& theState, const std::string& theName, JpegDecode theDecode)
{
    const Frame aFrame = LoadFrame(theName);
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
    Report(theState, aFrame.itsSize);
}

void RegisterJpeg(const std::string& theName, const char* theLibrary, JpegDecode theDecode)
{
    benchmark::RegisterBenchmark(("frame/" + theName + "/" + theLibrary).c_str(), Jpeg, theName, theDecode);
}

[[maybe_unused]] const bool isRegistered = []
{
    for (const char* aSide : {"512", "2048"})
    {
        for (const char* aKind : {"grey8_%_rle", "grey16_%_rle", "rgb_%_rle", "grey8_%_baseline",
                                  "rgb_%_baseline420", "rgb_%_baseline444", "grey12_%_extended",
                                  "grey8_%_lossless", "grey16_%_lossless", "rgb_%_lossless"})
        {
            std::string aName = aKind;
            aName.replace(aName.find('%'), 1, aSide);
            benchmark::RegisterBenchmark(("frame/" + aName + "/ours").c_str(), Ours, aName);
            benchmark::RegisterBenchmark(("frame/" + aName + "/dcmtk").c_str(), Dcmtk, aName);
            if (aName.find("rle") != std::string::npos)
            {
                continue;
            }
            if (aName.find("extended") != std::string::npos)
            {
                RegisterJpeg(aName, "ijg12", DecodeWithIjg12);
            }
            else if (aName.find("grey16") != std::string::npos)
            {
                RegisterJpeg(aName, "ijg16", DecodeWithIjg16);
            }
            else
            {
                RegisterJpeg(aName, "ijg8", DecodeWithIjg8);
            }
            if (aName.find("baseline") != std::string::npos)
            {
                RegisterJpeg(aName, "turbo", DecodeWithTurbo);
            }
        }
    }
    return true;
}();
} // namespace
