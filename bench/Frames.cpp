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

std::vector<Frame> LoadFrames(const std::string& theName)
{
    DICOMDataObject aDataSet;
    std::vector<Frame> aFrames(1);
    if (LoadDataSet(theName, aDataSet))
    {
        const DcmtkPeer aPeer(ReadInput(theName));
        aDataSet.GetString(DICOMTags::TransferSyntaxUID, aFrames[0].itsTransferSyntaxUID);
        aFrames[0].itsBitsStored = Get(aDataSet, DICOMTags::BitsStored);
        aFrames[0].itsSize = static_cast<std::size_t>(Get(aDataSet, DICOMTags::Rows)) *
                             static_cast<std::size_t>(Get(aDataSet, DICOMTags::Columns)) *
                             static_cast<std::size_t>(Get(aDataSet, DICOMTags::SamplesPerPixel)) *
                             static_cast<std::size_t>(Get(aDataSet, DICOMTags::BitsAllocated) / 8);
        aFrames.resize(aPeer.CountFrames(), aFrames[0]);
        for (unsigned int i = 0; i < aFrames.size(); ++i)
        {
            aFrames[i].itsCompressed = aPeer.GetFrame(i);
        }
    }
    return aFrames;
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
    const std::vector<Frame> aFrames = LoadFrames(theName);
    DICOMDataObject aDataSet;
    LoadDataSet(theName, aDataSet);
    Bytes anOutput(aFrames[0].itsSize);
    std::size_t aNext = 0;
    for (auto _ : theState)
    {
        DecodeWithOurs(aFrames[aNext++ % aFrames.size()], aDataSet, anOutput.data());
    }
    ReportSize(theState, anOutput.size());
}

void BenchDcmtk(benchmark::State& theState, const std::string& theName)
{
    const DcmtkPeer aPeer(ReadInput(theName));
    const unsigned int aCount = aPeer.CountFrames();
    Bytes anOutput(LoadFrames(theName)[0].itsSize);
    unsigned int aNext = 0;
    for (auto _ : theState)
    {
        if (!aPeer.DecodeFrame(aNext++ % aCount, anOutput.data(), anOutput.size()))
        {
            theState.SkipWithError("DCMTK reports an error");
            break;
        }
    }
    ReportSize(theState, anOutput.size());
}

void ReportSize(benchmark::State& theState, std::size_t theSize)
{
    theState.SetBytesProcessed(static_cast<std::int64_t>(theSize) * theState.iterations());
}
