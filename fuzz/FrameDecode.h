// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>

#include "FuzzInput.h"
#include "decoding/CompressedCodestreamDecoder.h"
#include "decoding/DecoderFactory.h"
#include "support/ByteSource.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/MVRFactory.h"
#include "toolkit/io/InputStream.h"

/// One compressed frame, what a data set says of it, and how it is asked for. The numbers are the
/// parameters of the run.
struct FuzzFrame
{
    explicit FuzzFrame(FuzzInput& theInput)
        : itsBitsStored(theInput.TakeNumber(1, 16)), itsScaleFactor(theInput.TakeNumber(1, 4)),
          itsTolerance(static_cast<Decoder::ParsingErrorTolerance>(theInput.TakeNumber(1, 3))),
          itsForcesUnsigned(theInput.TakeFlag()), itsRows(theInput.TakeNumber(0, 255)),
          itsColumns(theInput.TakeNumber(0, 255)), itsSamples(theInput.TakeOne({1, 3, 2, 4})),
          itsBitsAllocated(theInput.TakeOne({8, 16})), itsPixelRepresentation(theInput.TakeNumber(0, 1)),
          itsInterpretation(theInput.TakeOne(
              {"MONOCHROME2", "RGB", "YBR_FULL", "YBR_FULL_422", "PALETTE COLOR", "YBR_RCT", "YBR_ICT", ""})),
          itsBytes(theInput.GetRest())
    {
    }

    void Describe(DICOMDataObject& theDataSet) const
    {
        const MVRFactory aFactory(theDataSet.GetDataDictionary(), theDataSet.GetEndian(),
                                  VR::GetDefaultMemoryAllocater());
        const std::pair<DICOMTag, int> kNumbers[] = {
            {DICOMTags::Rows, itsRows},
            {DICOMTags::Columns, itsColumns},
            {DICOMTags::SamplesPerPixel, itsSamples},
            {DICOMTags::BitsAllocated, itsBitsAllocated},
            {DICOMTags::BitsStored, itsBitsStored},
            {DICOMTags::HighBit, itsBitsStored - 1},
            {DICOMTags::PixelRepresentation, itsPixelRepresentation}};
        for (const auto& [aTag, aNumber] : kNumbers)
        {
            theDataSet.ReplaceVR(aFactory.CreateUnsignedShort(aTag, static_cast<std::uint16_t>(aNumber)));
        }
        theDataSet.ReplaceVR(aFactory.CreateString(DICOMTags::PhotometricInterpretation, itsInterpretation));
    }

    int itsBitsStored;
    int itsScaleFactor;
    Decoder::ParsingErrorTolerance itsTolerance;
    bool itsForcesUnsigned;
    int itsRows;
    int itsColumns;
    int itsSamples;
    int itsBitsAllocated;
    int itsPixelRepresentation;
    const char* itsInterpretation;
    std::optional<PixelRegion> itsRegion; ///< not a parameter: a target may set it
    Bytes itsBytes;
};

/// The size of the image that the codec announces, or else the one that the data set describes; nothing for
/// a header that ends in an error and for images that take a fuzzer too long.
inline std::optional<std::uint64_t> GetFrameSize(const FuzzFrame& theFrame, const RWCString& theUID)
{
    DICOMDataObject aDataSet;
    theFrame.Describe(aDataSet);
    ByteSource aSource(theFrame.itsBytes);
    try
    {
        const std::unique_ptr<Decoder> aCodec(DecoderFactory::Create(
            theUID, theFrame.itsScaleFactor, theFrame.itsTolerance, false, theFrame.itsBitsStored));
        if (theFrame.itsRegion)
        {
            aCodec->SetRegion(*theFrame.itsRegion);
        }
        aCodec->SetSource(&aDataSet, aSource);
        std::uint64_t aSize = aCodec->GetOutputSize();
        if (aSize == 0)
        {
            aSize = std::uint64_t(theFrame.itsRows) * std::uint64_t(theFrame.itsColumns) *
                    std::uint64_t(theFrame.itsSamples) * std::uint64_t(theFrame.itsBitsAllocated / 8);
        }
        return aSize <= Limits::Get().itsBytesPerFrame ? std::optional(aSize) : std::nullopt;
    }
    catch (const ExceptionBase&)
    {
        return std::nullopt;
    }
}

/// One frame through the driver into a buffer that is theSlack bytes larger than needed.
inline void DecodeFrame(const FuzzFrame& theFrame, const RWCString& theUID, int theSlack)
{
    // The driver replaces a codec of the wrong precision, so it is worth a try even where this one fails.
    const std::int64_t aSize = static_cast<std::int64_t>(GetFrameSize(theFrame, theUID).value_or(4096));
    Bytes aPixels(static_cast<std::size_t>(std::max<std::int64_t>(aSize + theSlack, 0)));
    DICOMDataObject aDataSet;
    theFrame.Describe(aDataSet);
    MemoryInputStream aStream(theFrame.itsBytes.data(), theFrame.itsBytes.size());
    try
    {
        CompressedCodestreamDecoder aDriver(theUID, theFrame.itsBitsStored, aStream, aDataSet,
                                            theFrame.itsScaleFactor, theFrame.itsTolerance);
        aDriver.SetForceUnsignedPixelOutput(theFrame.itsForcesUnsigned);
        aDriver.SetRegion(theFrame.itsRegion);
        aDriver.Decode(static_cast<unsigned>(theFrame.itsBytes.size()), aPixels.data(), aPixels.size());
    }
    catch (const ExceptionBase& anException)
    {
        Require(!anException.GetMessageText().empty(), "every exception has a text");
    }
}
