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

std::optional<ModalityRescale> FromTexts(const RWCString& theSlope, const RWCString& theIntercept)
{
    const std::optional<double> aFactor = ParseNumber(theSlope);
    const std::optional<double> anOffset = ParseNumber(theIntercept);
    if (!aFactor || !anOffset || *aFactor == 0.0)
    {
        return std::nullopt;
    }
    return ModalityRescale{*aFactor, *anOffset};
}

/// theGetText: reads the text of a tag from one place, false where it has none.
template <class GetText>
std::optional<ModalityRescale> FindIn(const GetText& theGetText)
{
    RWCString aSlope;
    RWCString anIntercept;
    const bool isThere =
        theGetText(DICOMTags::RescaleSlope, aSlope) && theGetText(DICOMTags::RescaleIntercept, anIntercept);
    return isThere ? FromTexts(aSlope, anIntercept) : std::nullopt;
}

std::optional<ModalityRescale> FindInGroups(const DICOMObject& theDataSet, DICOMTag theGroups,
                                            std::size_t theItem)
{
    return FindIn(
        [&](DICOMTag theTag, RWCString& theText)
        {
            return theDataSet.GetNestedItemString(
                theGroups, theItem, DICOMTags::PixelValueTransformationSequence, theTag, theText);
        });
}

/// Of frames that have none of their own.
ModalityRescale FindCommon(const DICOMObject& theDataSet)
{
    auto aRescale = FindInGroups(theDataSet, DICOMTags::SharedFunctionalGroupsSequence, 0);
    if (!aRescale)
    {
        aRescale = FindIn([&](DICOMTag theTag, RWCString& theText)
                          { return theDataSet.GetString(theTag, theText); });
    }
    return aRescale.value_or(ModalityRescale());
}
} // namespace

ModalityRescale ModalityRescale::Find(const DICOMObject& theDataSet, std::int32_t theFrame)
{
    const auto anOwn = FindInGroups(theDataSet, DICOMTags::PerFrameFunctionalGroupsSequence,
                                    static_cast<std::size_t>(theFrame));
    return anOwn ? *anOwn : FindCommon(theDataSet);
}

FrameRescales::FrameRescales(const DICOMObject& theDataSet) : itsOthers(FindCommon(theDataSet))
{
    using namespace DICOMTags;
    bool isAny = false;
    theDataSet.ForEachSequenceItem(
        PerFrameFunctionalGroupsSequence,
        {{PixelValueTransformationSequence, RescaleSlope},
         {PixelValueTransformationSequence, RescaleIntercept}},
        [&](const std::vector<RWCString>& theTexts)
        { isAny = itsOwn.emplace_back(FromTexts(theTexts[0], theTexts[1])).has_value() || isAny; });
    if (!isAny)
    {
        itsOwn = {};
    }
}

ModalityRescale FrameRescales::Get(std::int32_t theFrame) const
{
    const auto anIndex = static_cast<std::size_t>(theFrame);
    return anIndex < itsOwn.size() && itsOwn[anIndex] ? *itsOwn[anIndex] : itsOthers;
}
