// SPDX-License-Identifier: Apache-2.0
#include "report/InfoReport.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include <nlohmann/json.hpp>

#include "codecs/jpeg/JPEGHeader.h"
#include "codecs/sources/CompressedSources.h"
#include "decode/DecodedFrame.h"
#include "decoding/CodecTable.h"
#include "decoding/DecoderFactory.h"
#include "inputs/J2KHeader.h"
#include "jp2/jp2_box_textualizer.h"
#include "report/Reporter.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/DataSetReader.h"
#include "toolkit/dicom/Part10InputStream.h"
#include "toolkit/dicom/TransferSyntaxManager.h"

namespace
{
int IntegerOf(const DICOMDataObject& theDataSet, DICOMTag theTag)
{
    std::int32_t aValue = 0;
    return theDataSet.GetInteger(theTag, aValue) && aValue >= 0 ? aValue : -1;
}

std::string Dump(const nlohmann::ordered_json& theValue)
{
    return theValue.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

/// A fact and its value on a line of their own, several values on one each; nothing for what is not known.
std::string ToBlock(const std::string& theName, const nlohmann::ordered_json& theValue)
{
    if (theValue.is_null())
    {
        return "";
    }
    if (!theValue.is_array())
    {
        const std::string aText = theValue.is_string() ? theValue.get<std::string>() : Dump(theValue);
        return "  " + theName + ": " + Reporter::WithoutControls(aText) + "\n";
    }
    std::string aBlock = "  " + theName + ":\n";
    for (const nlohmann::ordered_json& aLine : theValue)
    {
        aBlock += "    " + Reporter::WithoutControls(aLine.get<std::string>()) + "\n";
    }
    return aBlock;
}
} // namespace

InfoReport::InfoReport(const InputSource& theSource, JImageType theKind)
{
    switch (theKind)
    {
    case IMAGE_TYPE_DICOM_PART10:
        ReadDICOM(theSource);
        break;
    case IMAGE_TYPE_JPEG:
    case IMAGE_TYPE_JPEGLS:
        ReadJPEG(theSource);
        break;
    case IMAGE_TYPE_JPEG2000:
    case IMAGE_TYPE_JPEG2000_LOSSLESS:
        ReadJPEG2000(theSource, theKind);
        break;
    }
}

void InfoReport::DescribeCodec(const std::string& theUID, int theBitsStored)
{
    itsTransferSyntax = theUID;
    itsCodec = CodecTable::GetName(theUID);
    const TransferSyntaxType* const aType =
        TransferSyntaxManager::GetDefaultInstance().GetTransferSyntaxType(theUID);
    if (aType != nullptr && !aType->IsEncapsulated())
    {
        itsCodecAvailable = true;
        return;
    }
    try
    {
        const CodecRow* const aRow = CodecTable::Find(theUID, Reading::BY_MEANING);
        const std::unique_ptr<Decoder> aCodec(DecoderFactory::Create(aRow != nullptr ? aRow->itsUID : theUID,
                                                                     1, Decoder::PET_FAST, false,
                                                                     theBitsStored, Reading::BY_MEANING));
        itsCodecAvailable = aCodec != nullptr;
    }
    catch (const ExceptionBase&)
    {
        itsCodecAvailable = false; // bits stored that this transfer syntax does not allow
    }
}

void InfoReport::ReadDICOM(const InputSource& theSource)
{
    itsType = "DICOM";
    const std::unique_ptr<InputStream> aStream = theSource.Open();
    Part10InputStreamInputStream aPart10;
    aPart10.AcceptWithoutPreamble();
    aPart10.Open(aStream.get(), false, Part10InputStream::DefaultsToLenientParsing());
    const TransferSyntaxType* const aType =
        TransferSyntaxManager::GetDefaultInstance().GetTransferSyntaxType(aPart10.GetTransferSyntaxUID());
    if (aType == nullptr)
    {
        itsTransferSyntax = aPart10.GetTransferSyntaxUID();
        itsCodec = CodecTable::GetName(itsTransferSyntax);
        if (itsCodec != "unknown")
        {
            return;
        }
        throw StreamIOException("Unable to get transfer syntax UID", DLRC_PARSE_ERROR, 0);
    }
    DICOMDataObject aDataSet;
    const std::unique_ptr<DataSetReader> aReader =
        aType->CreateDataSetReader(aPart10, VR::GetDefaultMemoryAllocater());
    std::unique_ptr<VR> anElement = aReader->Next();
    while (anElement != nullptr && anElement->GetTag() != DICOMTags::PixelData)
    {
        aDataSet.ReplaceVR(std::move(anElement));
        anElement = aReader->Next();
    }
    itsHasPixelData = anElement != nullptr;
    itsHasImage = itsHasPixelData || !DecodedFrame::IsOfNoImage(aDataSet);
    DescribeDataSet(aDataSet);
    DescribeCodec(aPart10.GetTransferSyntaxUID(), itsBitsStored);
}

void InfoReport::DescribeDataSet(const DICOMDataObject& theDataSet)
{
    itsRows = IntegerOf(theDataSet, DICOMTags::Rows);
    itsColumns = IntegerOf(theDataSet, DICOMTags::Columns);
    itsSamplesPerPixel = IntegerOf(theDataSet, DICOMTags::SamplesPerPixel);
    itsBitsAllocated = IntegerOf(theDataSet, DICOMTags::BitsAllocated);
    itsBitsStored = IntegerOf(theDataSet, DICOMTags::BitsStored);
    itsHighBit = IntegerOf(theDataSet, DICOMTags::HighBit);
    itsSigned = IntegerOf(theDataSet, DICOMTags::PixelRepresentation);
    itsPlanar = IntegerOf(theDataSet, DICOMTags::PlanarConfiguration);
    itsFrames = std::max(IntegerOf(theDataSet, DICOMTags::NumberOfFrames), 1);
    theDataSet.GetString(DICOMTags::PhotometricInterpretation, itsPhotometric);
    theDataSet.GetString(DICOMTags::SOPClassUID, itsSOPClassUID);
    theDataSet.GetString(DICOMTags::SOPInstanceUID, itsSOPInstanceUID);
    if (RWCString aLossy; theDataSet.GetString(DICOMTags::LossyImageCompression, aLossy))
    {
        itsLossy = theDataSet.IsMarkedLossy() ? 1 : 0;
    }
}

template <class Header>
void InfoReport::DescribeSamples(const Header& theHeader)
{
    itsRows = theHeader.itsRows;
    itsColumns = theHeader.itsColumns;
    itsSamplesPerPixel = theHeader.itsComponents;
    itsBitsAllocated = theHeader.itsPrecision > 8 ? 16 : 8;
    itsBitsStored = theHeader.itsPrecision;
    itsHighBit = theHeader.itsPrecision - 1;
}

void InfoReport::ReadJPEG(const InputSource& theSource)
{
    const std::optional<JPEGHeader> aHeader = JPEGHeader::Read(*theSource.Open());
    if (!aHeader)
    {
        throw StreamIOException("no JPEG frame header found", DLRC_DECODER_ERROR, 0);
    }
    itsType = aHeader->IsJPEGLS() ? "JPEG-LS" : "JPEG";
    DescribeSamples(*aHeader);
    itsSigned = 0;
    itsLossy = aHeader->IsLossless() ? 0 : 1;
    DescribeCodec(aHeader->GetTransferSyntaxUID(), aHeader->itsPrecision);
    itsCodec = aHeader->GetProcessName();
}

void InfoReport::ReadJPEG2000(const InputSource& theSource, JImageType theKind)
{
    itsType = "JPEG 2000";
    const std::optional<J2KHeader> aHeader = J2KHeader::Read(*theSource.Open());
    if (!aHeader)
    {
        throw StreamIOException("no JPEG 2000 codestream header found", DLRC_DECODER_ERROR, 0);
    }
    DescribeSamples(*aHeader);
    itsSigned = aHeader->itsSigned ? 1 : 0;
    DescribeCodec(CodecTable::FindImageType(theKind)->itsUID, aHeader->itsPrecision);
    if (InputClassifier::IsJP2(theSource.ReadHead(InputClassifier::kHeadLength)))
    {
        const std::unique_ptr<InputStream> aStream = theSource.Open();
        InputStreamAdapter aFile(*aStream);
        itsBoxes = jp2_box_textualizer::Textualize(aFile);
    }
}

std::string InfoReport::ToText(const std::string& theInput, bool isJSON) const
{
    const auto Number = [](int theValue)
    { return theValue < 0 ? nlohmann::ordered_json() : nlohmann::ordered_json(theValue); };
    const auto Flag = [](int theValue)
    { return theValue < 0 ? nlohmann::ordered_json() : nlohmann::ordered_json(theValue != 0); };
    const auto Text = [](const std::string& theValue)
    { return theValue.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(theValue); };
    const nlohmann::ordered_json aFacts = {
        {"file", theInput},
        {"result_code", 0},
        {"message", "Completed successfully"},
        {"type", itsType},
        {"sop_class_uid", Text(itsSOPClassUID)},
        {"sop_instance_uid", Text(itsSOPInstanceUID)},
        {"transfer_syntax", itsTransferSyntax},
        {"codec", itsCodec},
        {"codec_available", itsCodecAvailable},
        {"pixel_data", itsHasPixelData},
        {"frames", itsFrames},
        {"rows", Number(itsRows)},
        {"columns", Number(itsColumns)},
        {"samples_per_pixel", Number(itsSamplesPerPixel)},
        {"bits_allocated", Number(itsBitsAllocated)},
        {"bits_stored", Number(itsBitsStored)},
        {"high_bit", Number(itsHighBit)},
        {"signed", Flag(itsSigned)},
        {"photometric", Text(itsPhotometric)},
        {"planar", Flag(itsPlanar)},
        {"lossy", Flag(itsLossy)},
        {"boxes", itsBoxes.empty() ? nlohmann::ordered_json() : nlohmann::ordered_json(itsBoxes)}};
    if (isJSON)
    {
        return Dump(aFacts) + "\n";
    }
    std::string aText = Reporter::WithoutControls(theInput) + "\n";
    for (auto aFact = std::next(aFacts.begin(), 3); aFact != aFacts.end(); ++aFact)
    {
        aText += ToBlock(aFact.key(), aFact.value());
    }
    return aText;
}
