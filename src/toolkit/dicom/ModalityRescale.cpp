// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/ModalityRescale.h"

#include <charconv>
#include <cmath>
#include <optional>

#include "toolkit/dicom/DICOMObject.h"
#include "toolkit/dicom/DICOMTag.h"

namespace
{
/// A whole text as a number, whatever the process's locale calls one; nothing for several values.
std::optional<double> ParseNumber(const RWCString& theText)
{
    const std::size_t aFirst = theText.find_first_not_of(' ');
    if (aFirst == RWCString::npos)
    {
        return std::nullopt;
    }
    const char* const aBegin = theText.data() + aFirst + (theText[aFirst] == '+' ? 1 : 0);
    const char* const anEnd = theText.data() + theText.size();
    double aNumber = 0.0;
    const auto aResult = std::from_chars(aBegin, anEnd, aNumber);
    const bool isNumber = aResult.ec == std::errc() && aResult.ptr == anEnd && std::isfinite(aNumber);
    return isNumber ? std::optional(aNumber) : std::nullopt;
}

/// theGetText: reads the text of a tag from one place, false where it has none.
template <class GetText>
std::optional<ModalityRescale> FindIn(const GetText& theGetText)
{
    RWCString aSlope;
    RWCString anIntercept;
    if (!theGetText(DICOMTags::RescaleSlope, aSlope) || !theGetText(DICOMTags::RescaleIntercept, anIntercept))
    {
        return std::nullopt;
    }
    const std::optional<double> aFactor = ParseNumber(aSlope);
    const std::optional<double> anOffset = ParseNumber(anIntercept);
    if (!aFactor || !anOffset || *aFactor == 0.0)
    {
        return std::nullopt;
    }
    return ModalityRescale{*aFactor, *anOffset};
}
} // namespace

ModalityRescale ModalityRescale::Find(const DICOMObject& theDataSet, std::int32_t theFrame)
{
    const auto FindInGroups = [&](DICOMTag theGroups, std::size_t theItem)
    {
        return FindIn(
            [&](DICOMTag theTag, RWCString& theText)
            {
                return theDataSet.GetNestedItemString(
                    theGroups, theItem, DICOMTags::PixelValueTransformationSequence, theTag, theText);
            });
    };
    auto aRescale =
        FindInGroups(DICOMTags::PerFrameFunctionalGroupsSequence, static_cast<std::size_t>(theFrame));
    if (!aRescale)
    {
        aRescale = FindInGroups(DICOMTags::SharedFunctionalGroupsSequence, 0);
    }
    if (!aRescale)
    {
        aRescale = FindIn([&](DICOMTag theTag, RWCString& theText)
                          { return theDataSet.GetString(theTag, theText); });
    }
    return aRescale.value_or(ModalityRescale());
}
