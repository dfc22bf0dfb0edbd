// SPDX-License-Identifier: Apache-2.0
#include "report/FrameReport.h"

#include <nlohmann/json.hpp>
#include <openssl/evp.h>

#include "decoding/CodecTable.h"
#include "toolkit/dicom/DICOMTag.h"

namespace
{
const char* const kImageFields[] = {"rows",
                                    "columns",
                                    "samples_per_pixel",
                                    "bits_allocated",
                                    "bits_stored",
                                    "high_bit",
                                    "signed",
                                    "photometric",
                                    "planar",
                                    "lossy",
                                    "compression_ratio",
                                    "scale_factor",
                                    "bytes",
                                    "sha256",
                                    "output",
                                    "time_total_ms",
                                    "time_open_ms",
                                    "time_header_ms",
                                    "time_allocate_ms",
                                    "time_pixels_ms"};

std::string SHA256(const void* theBytes, std::size_t theCount)
{
    unsigned char aDigest[EVP_MAX_MD_SIZE];
    unsigned int aLength = 0;
    if (EVP_Digest(theBytes, theCount, aDigest, &aLength, EVP_sha256(), nullptr) != 1)
    {
        return "";
    }
    std::string aText;
    for (unsigned int i = 0; i < aLength; ++i)
    {
        aText += "0123456789abcdef"[aDigest[i] >> 4];
        aText += "0123456789abcdef"[aDigest[i] & 15];
    }
    return aText;
}

/// theValue where it is known, else null.
template <class Value>
nlohmann::ordered_json OrNull(const Value& theValue, bool isKnown)
{
    return isKnown ? nlohmann::ordered_json(theValue) : nlohmann::ordered_json();
}

/// Only where one was asked for.
void AddRegion(nlohmann::ordered_json& theLine, const std::optional<PixelRegion>& theRegion)
{
    if (theRegion)
    {
        theLine["region"] = {{"x", theRegion->itsX},
                             {"y", theRegion->itsY},
                             {"width", theRegion->itsWidth},
                             {"height", theRegion->itsHeight}};
    }
}

/// One line with its line feed. Names need not be UTF-8.
std::string Dump(const nlohmann::ordered_json& theLine)
{
    return theLine.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}
} // namespace

FrameReport::ImageFacts FrameReport::FactsOf(const Renderable& theImage)
{
    return {theImage.getRows(),
            theImage.getColumns(),
            theImage.getSamplesPerPixel(),
            theImage.getBitsAllocated(),
            theImage.getBitsStored(),
            theImage.getHighBit(),
            theImage.isSigned(),
            Renderable::photometricInterpretationTypeToString(theImage.getPhotometricInterpretation()),
            theImage.isPlanarConfiguration(),
            theImage.isLossyImageCompression(),
            theImage.getCompressionRatio(),
            theImage.getScaleFactor(),
            theImage.getPixelDataSize(),
            SHA256(theImage.getPixelData(), theImage.getPixelDataSize()),
            {theImage.getTotalTimeTakenToLoad(), theImage.getTimeTakenToOpenStream(),
             theImage.getTimeTakenToLoadHeader(), theImage.getTimeTakenToAllocateMemmory(),
             theImage.getTimeTakenToLoadPixelData()}};
}

FrameReport::FrameReport(const std::string& theInput, const DecodedFrame& theFrame, Outcome theOutcome)
    : itsInput(theInput), itsOutcome(theOutcome), itsFrame(theFrame.itsFrame),
      itsResultCode(theFrame.itsResultCode), itsSystemError(theFrame.itsSystemError),
      itsMessage(theFrame.itsMessage), itsWarnings(theFrame.itsWarnings),
      itsTransferSyntaxUID(theFrame.itsTransferSyntaxUID), itsRegion(theFrame.itsRegion)
{
    if (theFrame.itsDataSet != nullptr)
    {
        theFrame.itsDataSet->GetString(DICOMTags::SOPClassUID, itsSOPClassUID);
        theFrame.itsDataSet->GetString(DICOMTags::SOPInstanceUID, itsSOPInstanceUID);
    }
    if (theFrame.IsDecoded())
    {
        itsIsLossless = theFrame.itsCompressionKind.empty();
        itsFacts = FactsOf(*theFrame.itsRenderable);
    }
}

FrameReport::FrameReport(const std::string& theInput, Outcome theOutcome, const std::string& theMessage)
    : itsInput(theInput), itsOutcome(theOutcome), itsResultCode(DLRC_GENERAL_FAILURE), itsSystemError(0),
      itsMessage(theMessage)
{
}

std::string FrameReport::ToManifestLine() const
{
    nlohmann::ordered_json aLine = {
        {"file", itsInput},
        {"frame", OrNull(itsFrame.value_or(0), itsFrame.has_value())},
        {"sop_instance_uid", OrNull(itsSOPInstanceUID, !itsSOPInstanceUID.empty())},
        {"outcome", GetName(itsOutcome)},
        {"result_code", itsResultCode},
        {"sha256", OrNull(itsFacts ? itsFacts->itsSHA256 : "", itsFacts.has_value())}};
    aLine["warnings"] = nlohmann::ordered_json::array();
    for (const DecodeWarning& aWarning : itsWarnings)
    {
        aLine["warnings"].push_back(aWarning.itsIdentifier + ": " + aWarning.itsText);
    }
    return Dump(aLine);
}

std::string FrameReport::ToLine() const
{
    nlohmann::ordered_json aLine = {
        {"file", itsInput},
        {"frame", OrNull(itsFrame.value_or(0), itsFrame.has_value())},
        {"outcome", GetName(itsWriteError.empty() ? itsOutcome : Outcome::FAILED)},
        {"result_code", itsResultCode},
        {"system_error", itsSystemError},
        {"message", itsWriteError.empty() ? itsMessage : "output not written: " + itsWriteError}};
    aLine["warnings"] = nlohmann::ordered_json::array();
    for (const DecodeWarning& aWarning : itsWarnings)
    {
        aLine["warnings"].push_back({{"identifier", aWarning.itsIdentifier}, {"text", aWarning.itsText}});
    }
    aLine["sop_class_uid"] = OrNull(itsSOPClassUID, !itsSOPClassUID.empty());
    aLine["sop_instance_uid"] = OrNull(itsSOPInstanceUID, !itsSOPInstanceUID.empty());
    const bool hasTransferSyntax = !itsTransferSyntaxUID.empty();
    aLine["transfer_syntax"] = OrNull(itsTransferSyntaxUID, hasTransferSyntax);
    aLine["codec"] = OrNull(CodecTable::GetName(itsTransferSyntaxUID), hasTransferSyntax);
    aLine["lossless"] = OrNull(itsIsLossless.value_or(false), itsIsLossless.has_value());
    for (const char* const aField : kImageFields)
    {
        aLine[aField] = nullptr;
    }
    if (itsFacts)
    {
        aLine["rows"] = itsFacts->itsRows;
        aLine["columns"] = itsFacts->itsColumns;
        aLine["samples_per_pixel"] = itsFacts->itsSamplesPerPixel;
        aLine["bits_allocated"] = itsFacts->itsBitsAllocated;
        aLine["bits_stored"] = itsFacts->itsBitsStored;
        aLine["high_bit"] = itsFacts->itsHighBit;
        aLine["signed"] = itsFacts->itsSigned;
        aLine["photometric"] = itsFacts->itsPhotometric;
        aLine["planar"] = itsFacts->itsPlanar;
        aLine["lossy"] = itsFacts->itsLossy;
        aLine["compression_ratio"] = itsFacts->itsCompressionRatio;
        aLine["scale_factor"] = itsFacts->itsScaleFactor;
        aLine["bytes"] = itsFacts->itsBytes;
        aLine["sha256"] = itsFacts->itsSHA256;
        for (int i = 0; i < 5; ++i)
        {
            aLine[kImageFields[15 + i]] = itsFacts->itsTimes[i];
        }
    }
    AddRegion(aLine, itsRegion);
    if (!itsOutput.empty())
    {
        aLine["output"] = itsOutput;
    }
    return Dump(aLine);
}
