// SPDX-License-Identifier: Apache-2.0
#include "support/DicomBuilder.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace
{
/// Value representations whose explicit length has four bytes after two reserved ones (PS3.5 7.1.2).
bool IsLongForm(const std::string& theVR)
{
    static const std::vector<std::string> aLongForms{"OB", "OD", "OF", "OL", "OV", "OW", "SQ",
                                                     "SV", "UC", "UN", "UR", "UT", "UV"};
    return std::find(aLongForms.begin(), aLongForms.end(), theVR) != aLongForms.end();
}
} // namespace

DicomBuilder::DicomBuilder(Syntax theSyntax, std::string theTransferSyntaxUID)
    : itsSyntax(theSyntax),
      itsUID(theTransferSyntaxUID.empty() ? UIDOf(theSyntax) : std::move(theTransferSyntaxUID))
{
}

const char* DicomBuilder::UIDOf(Syntax theSyntax)
{
    switch (theSyntax)
    {
    case Syntax::IMPLICIT_LITTLE:
        return "1.2.840.10008.1.2";
    case Syntax::EXPLICIT_BIG:
        return "1.2.840.10008.1.2.2";
    case Syntax::DEFLATED:
        return "1.2.840.10008.1.2.1.99";
    case Syntax::EXPLICIT_LITTLE:
        break;
    }
    return "1.2.840.10008.1.2.1";
}

void DicomBuilder::Put16(std::uint16_t theValue)
{
    const auto aHigh = static_cast<std::uint8_t>(theValue >> 8);
    const auto aLow = static_cast<std::uint8_t>(theValue & 0xff);
    const bool aBig = itsSyntax == Syntax::EXPLICIT_BIG;
    itsBytes.push_back(aBig ? aHigh : aLow);
    itsBytes.push_back(aBig ? aLow : aHigh);
}

void DicomBuilder::Put32(std::uint32_t theValue)
{
    const auto aHigh = static_cast<std::uint16_t>(theValue >> 16);
    const auto aLow = static_cast<std::uint16_t>(theValue & 0xffff);
    const bool aBig = itsSyntax == Syntax::EXPLICIT_BIG;
    Put16(aBig ? aHigh : aLow);
    Put16(aBig ? aLow : aHigh);
}

DicomBuilder& DicomBuilder::AddHeader(DICOMTag theTag, const std::string& theVR, std::uint32_t theLength)
{
    Put16(theTag.itsGroup);
    Put16(theTag.itsElement);
    // Items and delimiters never carry a value representation.
    if (itsSyntax == Syntax::IMPLICIT_LITTLE || theTag.itsGroup == 0xfffe)
    {
        Put32(theLength);
        return *this;
    }
    itsBytes.insert(itsBytes.end(), theVR.begin(), theVR.end());
    if (IsLongForm(theVR))
    {
        Put16(0);
        Put32(theLength);
    }
    else
    {
        Put16(static_cast<std::uint16_t>(theLength));
    }
    return *this;
}

DicomBuilder& DicomBuilder::AddRaw(const Bytes& theBytes)
{
    itsBytes.insert(itsBytes.end(), theBytes.begin(), theBytes.end());
    return *this;
}

DicomBuilder& DicomBuilder::AddBytes(DICOMTag theTag, const std::string& theVR, Bytes theValue)
{
    if (theValue.size() % 2 != 0)
    {
        theValue.push_back(0);
    }
    AddHeader(theTag, theVR, static_cast<std::uint32_t>(theValue.size()));
    return AddRaw(theValue);
}

DicomBuilder& DicomBuilder::AddString(DICOMTag theTag, const std::string& theVR, std::string theValue)
{
    if (theValue.size() % 2 != 0)
    {
        theValue.push_back(theVR == "UI" ? '\0' : ' ');
    }
    return AddBytes(theTag, theVR, Bytes(theValue.begin(), theValue.end()));
}

DicomBuilder& DicomBuilder::AddUS(DICOMTag theTag, const std::vector<std::uint16_t>& theValues,
                                  const std::string& theVR)
{
    AddHeader(theTag, theVR, static_cast<std::uint32_t>(theValues.size() * 2));
    for (const std::uint16_t aValue : theValues)
    {
        Put16(aValue);
    }
    return *this;
}

DicomBuilder& DicomBuilder::AddUL(DICOMTag theTag, const std::vector<std::uint32_t>& theValues,
                                  const std::string& theVR)
{
    AddHeader(theTag, theVR, static_cast<std::uint32_t>(theValues.size() * 4));
    for (const std::uint32_t aValue : theValues)
    {
        Put32(aValue);
    }
    return *this;
}

DicomBuilder& DicomBuilder::AddOV(DICOMTag theTag, const std::vector<std::uint64_t>& theValues)
{
    const bool aBig = itsSyntax == Syntax::EXPLICIT_BIG;
    AddHeader(theTag, "OV", static_cast<std::uint32_t>(theValues.size() * 8));
    for (const std::uint64_t aValue : theValues)
    {
        const auto aHigh = static_cast<std::uint32_t>(aValue >> 32);
        const auto aLow = static_cast<std::uint32_t>(aValue & 0xffffffff);
        Put32(aBig ? aHigh : aLow);
        Put32(aBig ? aLow : aHigh);
    }
    return *this;
}

DicomBuilder& DicomBuilder::AddSequence(DICOMTag theTag, const std::vector<DicomBuilder>& theItems,
                                        bool theUndefinedLength)
{
    std::size_t aLength = 0;
    for (const DicomBuilder& anItem : theItems)
    {
        aLength += 8 + anItem.itsBytes.size();
    }
    AddHeader(theTag, "SQ", theUndefinedLength ? UNDEFINED_LENGTH : static_cast<std::uint32_t>(aLength));
    for (const DicomBuilder& anItem : theItems)
    {
        const auto anItemLength = static_cast<std::uint32_t>(anItem.itsBytes.size());
        AddHeader({0xfffe, 0xe000}, "", theUndefinedLength ? UNDEFINED_LENGTH : anItemLength);
        AddRaw(anItem.itsBytes);
        if (theUndefinedLength)
        {
            AddHeader({0xfffe, 0xe00d}, "", 0);
        }
    }
    if (theUndefinedLength)
    {
        AddHeader({0xfffe, 0xe0dd}, "", 0);
    }
    return *this;
}

DicomBuilder& DicomBuilder::AddNativePixelData(Bytes theValue, const std::string& theVR)
{
    AddHeader(DICOMTags::PixelData, theVR, static_cast<std::uint32_t>(theValue.size()));
    return AddRaw(theValue);
}

DicomBuilder& DicomBuilder::AddEncapsulatedPixelData(const std::vector<Bytes>& theFragments,
                                                     const std::vector<std::uint32_t>& theBasicOffsets,
                                                     bool theDelimiter)
{
    AddHeader(DICOMTags::PixelData, "OB", UNDEFINED_LENGTH);
    AddHeader({0xfffe, 0xe000}, "", static_cast<std::uint32_t>(theBasicOffsets.size() * 4));
    for (const std::uint32_t anOffset : theBasicOffsets)
    {
        Put32(anOffset);
    }
    for (const Bytes& aFragment : theFragments)
    {
        AddHeader({0xfffe, 0xe000}, "", static_cast<std::uint32_t>(aFragment.size()));
        AddRaw(aFragment);
    }
    if (theDelimiter)
    {
        AddHeader({0xfffe, 0xe0dd}, "", 0);
    }
    return *this;
}

DicomBuilder& DicomBuilder::AddImageAttributes(std::uint16_t theSamples, const std::string& thePhotometric,
                                               std::uint16_t theRows, std::uint16_t theColumns,
                                               std::uint16_t theBitsAllocated, std::uint16_t theBitsStored,
                                               std::uint16_t thePixelRepresentation, int theFrames)
{
    AddUS(DICOMTags::SamplesPerPixel, {theSamples});
    AddString(DICOMTags::PhotometricInterpretation, "CS", thePhotometric);
    if (theSamples > 1)
    {
        AddUS(DICOMTags::PlanarConfiguration, {0});
    }
    if (theFrames != 1)
    {
        AddString(DICOMTags::NumberOfFrames, "IS", std::to_string(theFrames));
    }
    AddUS(DICOMTags::Rows, {theRows});
    AddUS(DICOMTags::Columns, {theColumns});
    AddUS(DICOMTags::BitsAllocated, {theBitsAllocated});
    AddUS(DICOMTags::BitsStored, {theBitsStored});
    AddUS(DICOMTags::HighBit, {static_cast<std::uint16_t>(theBitsStored - 1)});
    return AddUS(DICOMTags::PixelRepresentation, {thePixelRepresentation});
}

DicomBuilder::Bytes DicomBuilder::FileMeta() const
{
    DicomBuilder aMeta(Syntax::EXPLICIT_LITTLE);
    aMeta.AddBytes({0x0002, 0x0001}, "OB", {0, 1});
    aMeta.AddString({0x0002, 0x0002}, "UI", "1.2.840.10008.5.1.4.1.1.7");
    aMeta.AddString({0x0002, 0x0003}, "UI", "1.2.3.4.5");
    aMeta.AddString({0x0002, 0x0010}, "UI", itsUID);
    aMeta.AddString({0x0002, 0x0012}, "UI", "1.2.3.4");

    DicomBuilder aGroup(Syntax::EXPLICIT_LITTLE);
    aGroup.AddUL({0x0002, 0x0000}, {static_cast<std::uint32_t>(aMeta.itsBytes.size())});
    aGroup.AddRaw(aMeta.itsBytes);
    return aGroup.itsBytes;
}

DicomBuilder::Bytes DicomBuilder::Build() const
{
    Bytes aFile(128, 0);
    for (const char aLetter : {'D', 'I', 'C', 'M'})
    {
        aFile.push_back(static_cast<std::uint8_t>(aLetter));
    }
    const Bytes aMeta = FileMeta();
    aFile.insert(aFile.end(), aMeta.begin(), aMeta.end());
    const Bytes aBody = itsSyntax == Syntax::DEFLATED ? Deflate(itsBytes) : itsBytes;
    aFile.insert(aFile.end(), aBody.begin(), aBody.end());
    return aFile;
}

DicomBuilder::Bytes DicomBuilder::Deflate(const Bytes& theBytes)
{
    Bytes aResult;
    std::size_t aPosition = 0;
    do
    {
        const std::size_t aCount = std::min<std::size_t>(theBytes.size() - aPosition, 65535);
        const bool aLast = aPosition + aCount == theBytes.size();
        const auto aLow = static_cast<std::uint8_t>(aCount & 0xff);
        const auto aHigh = static_cast<std::uint8_t>(aCount >> 8);
        aResult.push_back(aLast ? 1 : 0); // final-block flag, block type 0
        aResult.push_back(aLow);
        aResult.push_back(aHigh);
        aResult.push_back(static_cast<std::uint8_t>(~aLow & 0xff));
        aResult.push_back(static_cast<std::uint8_t>(~aHigh & 0xff));
        aResult.insert(aResult.end(), theBytes.begin() + static_cast<std::ptrdiff_t>(aPosition),
                       theBytes.begin() + static_cast<std::ptrdiff_t>(aPosition + aCount));
        aPosition += aCount;
    } while (aPosition < theBytes.size());
    return aResult;
}
