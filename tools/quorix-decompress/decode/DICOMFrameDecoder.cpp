// SPDX-License-Identifier: Apache-2.0
#include "decode/DICOMFrameDecoder.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "decoding/CodecTable.h"
#include "decompressors/DICOMPart10StreamDecompressor.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "toolkit/base/System.h"
#include "toolkit/dicom/DICOMTag.h"

namespace
{
/// Which lossy history the data set is to record; empty for none.
RWCString LossyKind(const DICOMDataObject& theDataSet)
{
    RWCString aUID;
    theDataSet.GetString(DICOMTags::TransferSyntaxUID, aUID);
    // Where the transfer syntax allows both, the codec has marked the data set when there was loss.
    RWCString aLossy;
    const bool isMarked = theDataSet.GetString(DICOMTags::LossyImageCompression, aLossy) && !aLossy.empty() &&
                          theDataSet.IsMarkedLossy();
    const CodecRow* const aRow = CodecTable::Find(aUID);
    return aRow != nullptr ? aRow->GetLossyKind(isMarked) : "";
}
} // namespace

int DICOMFrameDecoder::GetNumberOfFrames(const DecodedFrame& theFrame) const
{
    RWCString aText;
    if (theFrame.itsDataSet == nullptr || !theFrame.itsDataSet->GetString(DICOMTags::NumberOfFrames, aText))
    {
        return 1;
    }
    const long aCount = std::strtol(aText.c_str(), nullptr, 10);
    return static_cast<int>(std::clamp<long>(aCount, 1, std::numeric_limits<int>::max()));
}

void DICOMFrameDecoder::DecodeInto(DecodedFrame& theResult)
{
    DMTickCounter aCounter;
    const std::unique_ptr<InputStream> aStream = itsSource.Open();
    const double anOpenTime = aCounter.Lap() * 1000.0;

    theResult.itsDataSet = std::make_unique<DICOMDataObject>();
    DecompressionRequest aRequest(aStream.get(), theResult.itsDataSet.get(), "", true, itsScale,
                                  theResult.itsFrame, "", false);
    DecompressionResult aResult;
    DICOMPart10StreamDecompressor().Decompress(aRequest, aResult);
    theResult.Take(aResult);
    if (theResult.IsDecoded())
    {
        theResult.itsCompressionKind = LossyKind(*theResult.itsDataSet);
        // Other codecs report the scale that was asked for and deliver full size.
        const CodecRow* const aRow = CodecTable::Find(aRequest.getTransferSyntaxUID());
        if (aRow != nullptr && aRow->itsCanReduce)
        {
            theResult.itsHalvings = theResult.itsRenderable->getScaleFactor() - 1;
        }
        if (theResult.itsRenderable->getTimeTakenToOpenStream() <= 0.0)
        {
            theResult.itsRenderable->setTimeTakenToOpenStream(anOpenTime);
        }
    }
}
