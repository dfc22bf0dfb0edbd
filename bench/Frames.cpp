// SPDX-License-Identifier: Apache-2.0
#include "Frames.h"

#include "DcmtkPeer.h"
#include "decoding/CompressedCodestreamDecoder.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/io/InputStream.h"

namespace
{
std::int32_t Get(const DICOMDataObject& theDataSet, DICOMTag theTag)
{
    std::int32_t aValue = 0;
    theDataSet.GetInteger(theTag, aValue);
    return aValue;
}
} // namespace

bool LoadDataSet(const std::string& theName, DICOMDataObject& theDataSet)
{
    DLResultCode aCode = DLRC_SUCCESS;
    int aSystemErrorCode = 0;
    return theDataSet.LoadFromFile(InputPath(theName), aCode, aSystemErrorCode, DICOMTags::PixelData);
}

Frame LoadFrame(const std::string& theName)
{
    DICOMDataObject aDataSet;
    Frame aFrame;
    if (LoadDataSet(theName, aDataSet))
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

void DecodeWithOurs(const Frame& theFrame, DICOMDataObject& theDataSet, void* theOutput)
{
    MemoryInputStream aStream(theFrame.itsCompressed.data(), theFrame.itsCompressed.size());
    CompressedCodestreamDecoder aDecoder(theFrame.itsTransferSyntaxUID, theFrame.itsBitsStored, aStream,
                                         theDataSet, 1, Decoder::PET_FAST);
    aDecoder.Decode(static_cast<unsigned int>(theFrame.itsCompressed.size()), theOutput, theFrame.itsSize);
}

void BenchOurs(benchmark::State& theState, const std::string& theName)
{
    const Frame aFrame = LoadFrame(theName);
    DICOMDataObject aDataSet;
    LoadDataSet(theName, aDataSet);
    Bytes anOutput(aFrame.itsSize);
    for (auto _ : theState)
    {
        DecodeWithOurs(aFrame, aDataSet, anOutput.data());
    }
    ReportSize(theState, aFrame.itsSize);
}

void BenchDcmtk(benchmark::State& theState, const std::string& theName)
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
    ReportSize(theState, aSize);
}

void ReportSize(benchmark::State& theState, std::size_t theSize)
{
    theState.SetBytesProcessed(static_cast<std::int64_t>(theSize) * theState.iterations());
}
