// SPDX-License-Identifier: Apache-2.0
#include "dicomfix/detail/LossyHistory.h"

#include <algorithm>

#include "dicomfix/detail/ReconstitutionMark.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/MVRFactory.h"

namespace
{
/// What our Derivation Descriptions end with, and how they are known again.
constexpr const char* kSignature = "(QUORIX)";

/// Lossy compression changes pixel values, so recorded ranges are no longer true.
constexpr DICOMTag kValueRangeTags[] = {
    DICOMTags::SmallestImagePixelValue,        DICOMTags::LargestImagePixelValue,
    DICOMTags::SmallestPixelValueInSeries,     DICOMTags::LargestPixelValueInSeries,
    DICOMTags::SmallestImagePixelValueInPlane, DICOMTags::LargestImagePixelValueInPlane,
};

RWCString LastValue(const RWCString& theText)
{
    const std::size_t aBackslash = theText.rfind('\\');
    return aBackslash == RWCString::npos ? theText : theText.substr(aBackslash + 1);
}

RWCString ToUpper(RWCString theText)
{
    const auto upper = [](char theLetter)
    { return theLetter >= 'a' && theLetter <= 'z' ? static_cast<char>(theLetter - 'a' + 'A') : theLetter; };
    std::transform(theText.begin(), theText.end(), theText.begin(), upper);
    return theText;
}
} // namespace

LossyHistory::LossyHistory(DICOMDataObject& theDataSet, const MVRFactory& theFactory,
                           const RWCString& theCompression, int theRatio, Reading theReading)
    : itsDataSet(theDataSet), itsFactory(theFactory), itsRatio(theRatio), itsReading(theReading)
{
    const RWCString aKind = ToUpper(theCompression);
    for (const CompressionTerms* aTerms : LossyCompressions::kAll)
    {
        if (aKind == aTerms->itsKind)
        {
            itsTerms = *aTerms;
        }
    }
}

void LossyHistory::Write()
{
    RemoveValueRanges();
    ReplaceText(DICOMTags::LossyImageCompression, "01");
    const RWCString aDerivedType = MakeDerivedImageType();
    if (GetText(DICOMTags::DerivationDescription).find(kSignature) != RWCString::npos)
    {
        ReplaceText(DICOMTags::ImageType, aDerivedType);
        return;
    }
    WriteMethod();
    WriteImageType(aDerivedType);
    WriteDerivation();
    WriteRatio();
    WriteSourceImage();
}

void LossyHistory::RemoveValueRanges()
{
    for (const DICOMTag aTag : kValueRangeTags)
    {
        itsDataSet.RemoveVR(aTag);
    }
}

RWCString LossyHistory::MakeDerivedImageType() const
{
    const RWCString aType = GetText(DICOMTags::ImageType);
    const std::size_t aSecondValue = aType.find('\\');
    return aSecondValue == RWCString::npos ? "DERIVED\\PRIMARY" : "DERIVED" + aType.substr(aSecondValue);
}

void LossyHistory::WriteMethod()
{
    if (*itsTerms.itsMethod == '\0')
    {
        return;
    }
    const RWCString aBefore = GetText(DICOMTags::LossyImageCompressionMethod);
    if (IsTold(LastValue(aBefore), itsTerms.itsMethod))
    {
        return;
    }
    ReplaceText(DICOMTags::LossyImageCompressionMethod,
                aBefore + (aBefore.empty() ? "" : "\\") + itsTerms.itsMethod);
}

void LossyHistory::WriteImageType(const RWCString& theDerivedType)
{
    const RWCString aToken = itsTerms.itsShortName + RWCString("LOSSY");
    if (IsTold(LastValue(theDerivedType), aToken))
    {
        ReplaceText(DICOMTags::ImageType, theDerivedType);
        return;
    }
    // Our token is the fourth value or later; an image type of two values gets an empty third.
    const auto aBackslashes = std::count(theDerivedType.begin(), theDerivedType.end(), '\\');
    ReplaceText(DICOMTags::ImageType, theDerivedType + (aBackslashes < 2 ? "\\" : "") + "\\" + aToken);
}

void LossyHistory::WriteDerivation()
{
    const RWCString aRatio = itsRatio < 1 ? "?" : std::to_string(itsRatio);
    ReplaceText(DICOMTags::DerivationDescription,
                RWCString("LOSSY ") + itsTerms.itsLongName + " COMPRESSION " + aRatio + ":1 " + kSignature);
}

void LossyHistory::WriteRatio()
{
    if (itsRatio < 1)
    {
        return;
    }
    const RWCString aBefore = GetText(DICOMTags::LossyImageCompressionRatio);
    const int aLast = itsDataSet.GetLossyImageCompressionRatio(nullptr, 0, 0, true);
    if (IsTold(std::to_string(aLast), std::to_string(itsRatio)))
    {
        return;
    }
    ReplaceText(DICOMTags::LossyImageCompressionRatio,
                aBefore + (aBefore.empty() ? "" : "\\") + std::to_string(itsRatio));
}

void LossyHistory::WriteSourceImage()
{
    const RWCString aClassUID = GetText(DICOMTags::SOPClassUID);
    RWCString anInstanceUID = ReconstitutionMark::GetOriginalInstanceUID(itsDataSet);
    if (anInstanceUID.empty())
    {
        anInstanceUID = GetText(DICOMTags::SOPInstanceUID);
    }
    if (aClassUID.empty() || anInstanceUID.empty() || IsSourceTold(anInstanceUID))
    {
        return;
    }
    // An item of this sequence names the source by the UIDs' own tags; readers of our objects know it so.
    DICOMDataObject anItem(itsDataSet.GetEndian());
    anItem.ReplaceVR(itsFactory.CreateUID(DICOMTags::SOPClassUID, aClassUID));
    anItem.ReplaceVR(itsFactory.CreateUID(DICOMTags::SOPInstanceUID, anInstanceUID));
    EnsureSourceSequence();
    itsDataSet.AddSequenceItem(DICOMTags::SourceImageSequence, anItem);
}

bool LossyHistory::IsSourceTold(const RWCString& theInstanceUID) const
{
    const std::size_t aCount = itsDataSet.GetSequenceItemCount(DICOMTags::SourceImageSequence);
    RWCString aLast;
    return aCount > 0 &&
           itsDataSet.GetSequenceItemString(DICOMTags::SourceImageSequence, aCount - 1,
                                            DICOMTags::SOPInstanceUID, aLast) &&
           IsTold(aLast, theInstanceUID);
}

bool LossyHistory::IsTold(const RWCString& theLast, const RWCString& theValue) const
{
    return itsReading == Reading::BY_MEANING && theLast == theValue;
}

void LossyHistory::EnsureSourceSequence()
{
    if (!itsDataSet.IsSequence(DICOMTags::SourceImageSequence))
    {
        itsDataSet.ReplaceVR(itsFactory.CreateSequence(DICOMTags::SourceImageSequence));
    }
}

RWCString LossyHistory::GetText(DICOMTag theTag) const
{
    RWCString aText;
    itsDataSet.GetString(theTag, aText);
    return aText;
}

void LossyHistory::ReplaceText(DICOMTag theTag, const RWCString& theValue)
{
    itsDataSet.ReplaceVR(itsFactory.CreateString(theTag, theValue));
}
