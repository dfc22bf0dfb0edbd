// SPDX-License-Identifier: Apache-2.0
#include "decode/FrameDecoder.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "codecs/jpeg/JPEGHeader.h"
#include "decoding/CodecTable.h"
#include "decompressors/BareStreamDecode.h"
#include "decompressors/DICOMPart10StreamDecompressor.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "toolkit/base/System.h"
#include "toolkit/dicom/DICOMTag.h"

namespace
{
/// Decodes a bare JPEG or JPEG 2000 input, which is one frame.
class BareImageDecoder final : public FrameDecoder
{
public:
    BareImageDecoder(JImageType theKind, const InputSource& theSource, const DecodeSettings& theSettings)
        : itsKind(theKind), itsSource(theSource), itsSettings(theSettings)
    {
    }

    int GetNumberOfFrames(const DecodedFrame&) const override { return 1; }

protected:
    void DecodeInto(DecodedFrame& theResult) override;

private:
    /// The transfer syntax that a DICOM file with this codestream would have; empty where nobody knows.
    RWCString FindTransferSyntax() const;
    RWCString LossyKind(const RWCString& theUID) const;

    JImageType itsKind;
    const InputSource& itsSource;
    DecodeSettings itsSettings;
};

/// Decodes frames of a DICOM Part 10 input, each from a stream of its own.
class DICOMFrameDecoder final : public FrameDecoder
{
public:
    DICOMFrameDecoder(const InputSource& theSource, const DecodeSettings& theSettings)
        : itsSource(theSource), itsSettings(theSettings)
    {
    }

    /// Number of Frames of the data set that was read with theFrame; 1 for a set without it.
    int GetNumberOfFrames(const DecodedFrame& theFrame) const override;

protected:
    void DecodeInto(DecodedFrame& theResult) override;

private:
    const InputSource& itsSource;
    DecodeSettings itsSettings;
};

/// What a data set says of its transfer syntax, else what the request found.
RWCString FindTransferSyntax(const DICOMDataObject& theDataSet, const DecompressionRequest& theRequest)
{
    RWCString aUID;
    theDataSet.GetString(DICOMTags::TransferSyntaxUID, aUID);
    return aUID.empty() ? theRequest.getTransferSyntaxUID() : aUID;
}

/// Which lossy history the data set is to record; empty for none.
RWCString LossyKind(const DICOMDataObject& theDataSet, const RWCString& theUID, Reading theReading)
{
    // Where the transfer syntax allows both, the codec has marked the data set when there was loss.
    RWCString aLossy;
    const bool isMarked = theDataSet.GetString(DICOMTags::LossyImageCompression, aLossy) && !aLossy.empty() &&
                          theDataSet.IsMarkedLossy();
    const CodecRow* const aRow = CodecTable::Find(theUID, theReading);
    return aRow != nullptr ? aRow->GetLossyKind(isMarked) : "";
}
} // namespace

DecodedFrame FrameDecoder::Decode(int theFrame)
{
    DecodedFrame aFrame;
    aFrame.itsFrame = theFrame;
    const DMTickCounter aCounter;
    try
    {
        DecodeInto(aFrame);
    }
    catch (...)
    {
        aFrame.FailWithCurrentException();
    }
    if (aFrame.IsDecoded() && aFrame.itsRenderable->getTotalTimeTakenToLoad() <= 0.0)
    {
        aFrame.itsRenderable->setTotalTimeTakenToLoad(aCounter.Total() * 1000.0);
    }
    return aFrame;
}

std::unique_ptr<FrameDecoder> FrameDecoder::Create(JImageType theKind, const InputSource& theSource,
                                                   const DecodeSettings& theSettings)
{
    if (theKind == IMAGE_TYPE_DICOM_PART10)
    {
        return std::make_unique<DICOMFrameDecoder>(theSource, theSettings);
    }
    return std::make_unique<BareImageDecoder>(theKind, theSource, theSettings);
}

RWCString BareImageDecoder::FindTransferSyntax() const
{
    const CodecRow* const aRow = CodecTable::FindImageType(itsKind, itsSettings.itsReading);
    if (aRow == nullptr || !aRow->itsHasJPEGHeader)
    {
        return aRow != nullptr ? aRow->itsUID : "";
    }
    const std::optional<JPEGHeader> aHeader = JPEGHeader::Read(*itsSource.Open());
    return aHeader ? aHeader->GetTransferSyntaxUID() : "";
}

/// Of a codestream that has lost something: one without loss by its process, of which parts are missing, is
/// called what its kind of input is.
RWCString BareImageDecoder::LossyKind(const RWCString& theUID) const
{
    const CodecRow* const aRows[] = {CodecTable::Find(theUID, itsSettings.itsReading),
                                     CodecTable::FindImageType(itsKind, itsSettings.itsReading)};
    RWCString aKind;
    for (const CodecRow* const aRow : aRows)
    {
        aKind = aKind.empty() && aRow != nullptr ? aRow->GetLossyKind(true) : aKind;
    }
    return aKind;
}

void BareImageDecoder::DecodeInto(DecodedFrame& theResult)
{
    if (theResult.itsFrame != 0)
    {
        theResult.Fail(DLRC_GENERAL_FAILURE, 0, "no such frame: this input has one");
        return;
    }
    DMTickCounter aCounter;
    const std::unique_ptr<InputStream> aStream = itsSource.Open();
    const double anOpenTime = aCounter.Lap() * 1000.0;
    theResult.itsTransferSyntaxUID = FindTransferSyntax();
    theResult.itsReading = itsSettings.itsReading;
    theResult.itsRegion = itsSettings.itsRegion;
    ReadingContext aContext(itsSettings.itsReading, true);
    theResult.itsRenderable =
        BareStreamDecode::Run(*aStream, itsKind, itsSettings.itsScale, itsSettings.itsRegion, aContext);
    theResult.itsWarnings = aContext.TakeWarnings();
    theResult.itsResultCode = DLRC_SUCCESS;
    theResult.itsMessage = "Completed successfully";
    if (theResult.itsRenderable->getTimeTakenToOpenStream() <= 0.0)
    {
        theResult.itsRenderable->setTimeTakenToOpenStream(anOpenTime);
    }
    if (theResult.itsRenderable->isLossyImageCompression())
    {
        theResult.itsCompressionKind = LossyKind(theResult.itsTransferSyntaxUID);
    }
}

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
    DecompressionRequest aRequest(aStream.get(), theResult.itsDataSet.get(), "", true, itsSettings.itsScale,
                                  theResult.itsFrame, "", false);
    theResult.itsReading = itsSettings.itsReading;
    theResult.itsRegion = itsSettings.itsRegion;
    aRequest.setReading(itsSettings.itsReading);
    aRequest.setRegion(itsSettings.itsRegion);
    aRequest.setSilent(true);
    DecompressionResult aResult;
    DICOMPart10StreamDecompressor().Decompress(aRequest, aResult);
    theResult.Take(aResult);
    theResult.itsTransferSyntaxUID = FindTransferSyntax(*theResult.itsDataSet, aRequest);
    if (theResult.IsDecoded())
    {
        theResult.itsCompressionKind =
            LossyKind(*theResult.itsDataSet, theResult.itsTransferSyntaxUID, itsSettings.itsReading);
        // Other codecs report the scale that was asked for and deliver full size.
        const CodecRow* const aRow = CodecTable::Find(aRequest.getTransferSyntaxUID(), aRequest.getReading());
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
