// SPDX-License-Identifier: Apache-2.0
#include "outputs/DICOMWriter.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "outputs/OutputFile.h"
#include "toolkit/dicom/MVRFactory.h"

namespace
{
constexpr DICOMTag kImagePosition = {0x0020, 0x0032};
constexpr DICOMTag kImageOrientation = {0x0020, 0x0037};
constexpr DICOMTag kPixelSpacing = {0x0028, 0x0030};
constexpr DICOMTag kMatrix[] = {
    DICOMTags::DimensionOrganizationType,
    DICOMTags::TotalPixelMatrixColumns,
    DICOMTags::TotalPixelMatrixRows,
    {0x0048, 0x0008}, // Total Pixel Matrix Origin Sequence
};
constexpr DICOMTag kSpacings[] = {
    {0x0018, 0x1164}, // Imager Pixel Spacing
    {0x0018, 0x2010}, // Nominal Scanned Pixel Spacing
    {0x0018, 0x9404}, // Object Pixel Spacing in Center of Beam
    {0x0070, 0x0101}, // Presentation Pixel Spacing
    kPixelSpacing,
};
constexpr DICOMTag kUltrasoundRegions = {0x0018, 0x6011};
constexpr DICOMTag kFirstShutter = {0x0018, 0x1600}; // shutters and collimators, in rows and columns
constexpr DICOMTag kLastShutter = {0x0018, 0x1720};
constexpr DICOMTag kSharedFunctionalGroups = {0x5200, 0x9229};
constexpr DICOMTag kFunctionalGroupsOfFrames = {0x5200, 0x9230};

/// A number as a decimal string, which has 16 characters at most.
std::string ToDecimalString(double theNumber)
{
    char aText[40];
    for (int aPrecision = 15; aPrecision > 0; --aPrecision)
    {
        if (std::snprintf(aText, sizeof(aText), "%.*g", aPrecision, theNumber) <= 16)
        {
            break;
        }
    }
    return aText;
}

/// The values as text, whatever value representation they have been given.
std::string ReadText(const DICOMDataObject& theDataSet, DICOMTag theTag)
{
    RWCString aText;
    std::vector<std::uint8_t> aBytes;
    if (!theDataSet.GetString(theTag, aText) && theDataSet.GetBytes(theTag, aBytes))
    {
        aText.assign(aBytes.begin(), aBytes.end());
    }
    return aText;
}

std::string Trim(const std::string& theText)
{
    const std::size_t aFirst = theText.find_first_not_of(" +");
    return aFirst == std::string::npos
               ? ""
               : theText.substr(aFirst, theText.find_last_not_of(std::string(" \0", 2)) + 1 - aFirst);
}

/// All values; nothing when one of them is no number.
std::optional<std::vector<double>> ReadNumbers(const std::string& theValues)
{
    std::vector<double> aNumbers;
    for (std::size_t aStart = 0; aStart <= theValues.size();)
    {
        const std::size_t anEnd = std::min(theValues.find('\\', aStart), theValues.size());
        const std::string aText = Trim(theValues.substr(aStart, anEnd - aStart));
        double aNumber = 0.0;
        const auto aResult = std::from_chars(aText.data(), aText.data() + aText.size(), aNumber);
        if (aResult.ec != std::errc() || aResult.ptr != aText.data() + aText.size() ||
            !std::isfinite(aNumber))
        {
            return std::nullopt;
        }
        aNumbers.push_back(aNumber);
        aStart = anEnd + 1;
    }
    return aNumbers;
}

/// The element with these values; without it where there are none.
void Replace(DICOMDataObject& theDataSet, const MVRFactory& theFactory, DICOMTag theTag,
             const std::optional<std::vector<double>>& theNumbers)
{
    if (!theNumbers)
    {
        theDataSet.RemoveVR(theTag);
        return;
    }
    std::string aText;
    for (const double aNumber : *theNumbers)
    {
        aText += (aText.empty() ? "" : "\\") + ToDecimalString(aNumber);
    }
    aText += aText.size() % 2 != 0 ? " " : ""; // decimal strings are padded with a blank
    theDataSet.ReplaceVR(theFactory.CreateString(theTag, VR::MakeTypeCode('D', 'S'), aText));
}

/// Whether the element speaks of pixels of the full image by their rows and columns.
bool IsInPixels(DICOMTag theTag)
{
    const bool isOverlay = theTag.itsGroup >= 0x6000 && theTag.itsGroup <= 0x60ff;
    return isOverlay || theTag == kUltrasoundRegions || (theTag >= kFirstShutter && theTag <= kLastShutter);
}

void AdaptSpacings(DICOMDataObject& theDataSet, const MVRFactory& theFactory, double theFactor)
{
    for (const DICOMTag aTag : kSpacings)
    {
        if (!theDataSet.Contains(aTag))
        {
            continue;
        }
        std::optional<std::vector<double>> aNumbers = ReadNumbers(ReadText(theDataSet, aTag));
        if (aNumbers)
        {
            std::for_each(aNumbers->begin(), aNumbers->end(),
                          [=](double& theNumber) { theNumber *= theFactor; });
        }
        Replace(theDataSet, theFactory, aTag, aNumbers);
    }
}

/// The centre of the first pixel lies as far from that of the image's as rows and columns are apart (PS3.3
/// C.7.6.2.1.1).
void MovePosition(DICOMDataObject& theDataSet, const MVRFactory& theFactory, double theColumns,
                  double theRows)
{
    if (!theDataSet.Contains(kImagePosition))
    {
        return;
    }
    auto aPosition = ReadNumbers(ReadText(theDataSet, kImagePosition));
    const auto aDirections = ReadNumbers(ReadText(theDataSet, kImageOrientation));
    const auto aSpacing = ReadNumbers(ReadText(theDataSet, kPixelSpacing));
    if (!aPosition || aPosition->size() != 3 || !aDirections || aDirections->size() != 6 || !aSpacing ||
        aSpacing->size() != 2)
    {
        theDataSet.RemoveVR(kImagePosition);
        return;
    }
    for (std::size_t i = 0; i < 3; ++i)
    {
        (*aPosition)[i] += (*aDirections)[i] * theColumns * (*aSpacing)[1] +
                           (*aDirections)[i + 3] * theRows * (*aSpacing)[0];
    }
    Replace(theDataSet, theFactory, kImagePosition, aPosition);
}

/// Another image than the full one: two of one identity would be taken for each other.
void MakeDerived(DICOMDataObject& theDataSet, const MVRFactory& theFactory)
{
    RWCString aType;
    theDataSet.GetString(DICOMTags::ImageType, aType);
    const std::size_t aSecondValue = aType.find('\\');
    aType = aSecondValue == RWCString::npos ? "DERIVED\\PRIMARY" : "DERIVED" + aType.substr(aSecondValue);
    theDataSet.ReplaceVR(theFactory.CreateString(DICOMTags::ImageType, aType));
    theDataSet.ReplaceVR(theFactory.CreateUID(DICOMTags::SOPInstanceUID, SecondaryCapture::MakeUID()));
}
} // namespace

void ReducedDataSet::Adapt(DICOMDataObject& theDataSet, int theHalvings,
                           const std::optional<PixelRegion>& theRegion)
{
    if (theHalvings <= 0 && !theRegion)
    {
        return;
    }
    if (theDataSet.Contains(kSharedFunctionalGroups) || theDataSet.Contains(kFunctionalGroupsOfFrames))
    {
        throw RefusedOutput(
            theRegion ? "a region cannot be written: the positions in functional groups are not adapted"
                      : "a reduced image cannot be written: the pixel spacing in functional groups is "
                        "not adapted");
    }
    for (const DICOMTag aTag : theDataSet.GetTags())
    {
        if (IsInPixels(aTag))
        {
            theDataSet.RemoveVR(aTag);
        }
    }
    const MVRFactory aFactory(theDataSet.GetDataDictionary(), theDataSet.GetEndian(),
                              VR::GetDefaultMemoryAllocater());
    if (theRegion)
    {
        // Halved pixels stand where the first of theirs stands.
        const PixelRegion aFirst = theRegion->Reduced(theHalvings);
        MovePosition(theDataSet, aFactory, std::ldexp(static_cast<double>(aFirst.itsX), theHalvings),
                     std::ldexp(static_cast<double>(aFirst.itsY), theHalvings));
        for (const DICOMTag aTag : kMatrix)
        {
            theDataSet.RemoveVR(aTag);
        }
    }
    AdaptSpacings(theDataSet, aFactory, std::ldexp(1.0, theHalvings));
    MakeDerived(theDataSet, aFactory);
}
