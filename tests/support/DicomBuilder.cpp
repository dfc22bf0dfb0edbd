// SPDX-License-Identifier: Apache-2.0
#include "support/DicomBuilder.h"

#include <utility>

#include <zlib.h>

namespace
{
constexpr DICOMTag kItem{0xfffe, 0xe000}, kItemEnd{0xfffe, 0xe00d}, kSequenceEnd{0xfffe, 0xe0dd};
} // namespace

DicomBuilder::DicomBuilder(Syntax theSyntax, std::string theTransferSyntaxUID)
    : itsSyntax(theSyntax),
      itsUID(theTransferSyntaxUID.empty() ? UIDOf(theSyntax) : std::move(theTransferSyntaxUID))
{
}

const char* DicomBuilder::UIDOf(Syntax theSyntax)
{
    constexpr const char* kUIDs[] = {"1.2.840.10008.1.2", "1.2.840.10008.1.2.1", "1.2.840.10008.1.2.2",
                                     "1.2.840.10008.1.2.1.99"};
    return kUIDs[static_cast<int>(theSyntax)];
}

DicomBuilder& DicomBuilder::Put(std::uint64_t theValue, int theBytes)
{
    for (int i = 0; i < theBytes; ++i)
    {
        const int aShift = 8 * (itsSyntax == Syntax::EXPLICIT_BIG ? theBytes - 1 - i : i);
        itsBytes.push_back(static_cast<std::uint8_t>(theValue >> aShift));
    }
    return *this;
}

DicomBuilder& DicomBuilder::AddHeader(DICOMTag theTag, const std::string& theVR, std::uint32_t theLength)
{
    Put(theTag.itsGroup, 2).Put(theTag.itsElement, 2);
    // Items and delimiters never carry a value representation.
    if (itsSyntax == Syntax::IMPLICIT_LITTLE || theTag.itsGroup == 0xfffe)
    {
        return Put(theLength, 4);
    }
    itsBytes.insert(itsBytes.end(), theVR.begin(), theVR.end());
    // Those whose explicit length has four bytes after two reserved ones.
    const std::string aLongForms = " OB OD OF OL OV OW SQ SV UC UN UR UT UV ";
    const bool isLong = aLongForms.find(' ' + theVR + ' ') != std::string::npos;
    return isLong ? Put(0, 2).Put(theLength, 4) : Put(theLength, 2);
}

DicomBuilder& DicomBuilder::AddRaw(const Bytes& theBytes)
{
    itsBytes.insert(itsBytes.end(), theBytes.begin(), theBytes.end());
    return *this;
}

DicomBuilder& DicomBuilder::AddBytes(DICOMTag theTag, const std::string& theVR, Bytes theValue)
{
    theValue.resize((theValue.size() + 1) / 2 * 2);
    return AddHeader(theTag, theVR, static_cast<std::uint32_t>(theValue.size())).AddRaw(theValue);
}

DicomBuilder& DicomBuilder::AddString(DICOMTag theTag, const std::string& theVR, std::string theValue)
{
    theValue.resize((theValue.size() + 1) / 2 * 2, theVR == "UI" ? '\0' : ' ');
    return AddBytes(theTag, theVR, Bytes(theValue.begin(), theValue.end()));
}

DicomBuilder& DicomBuilder::AddSequence(DICOMTag theTag, const std::vector<DicomBuilder>& theItems,
                                        bool theUndefinedLength)
{
    DicomBuilder aContent(itsSyntax);
    for (const DicomBuilder& anItem : theItems)
    {
        const auto aLength = static_cast<std::uint32_t>(anItem.itsBytes.size());
        aContent.AddHeader(kItem, "", theUndefinedLength ? UNDEFINED_LENGTH : aLength)
            .AddRaw(anItem.itsBytes);
        if (theUndefinedLength)
        {
            aContent.AddHeader(kItemEnd, "", 0);
        }
    }
    if (!theUndefinedLength)
    {
        return AddBytes(theTag, "SQ", aContent.itsBytes);
    }
    return AddHeader(theTag, "SQ", UNDEFINED_LENGTH).AddRaw(aContent.itsBytes).AddHeader(kSequenceEnd, "", 0);
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
    AddNumbers(kItem, "", theBasicOffsets);
    for (const Bytes& aFragment : theFragments)
    {
        AddHeader(kItem, "", static_cast<std::uint32_t>(aFragment.size())).AddRaw(aFragment);
    }
    return theDelimiter ? AddHeader(kSequenceEnd, "", 0) : *this;
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
    AddUS(DICOMTags::Rows, {theRows}).AddUS(DICOMTags::Columns, {theColumns});
    AddUS(DICOMTags::BitsAllocated, {theBitsAllocated}).AddUS(DICOMTags::BitsStored, {theBitsStored});
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
    const auto aLength = static_cast<std::uint32_t>(aMeta.itsBytes.size());
    return DicomBuilder(Syntax::EXPLICIT_LITTLE)
        .AddUL({0x0002, 0x0000}, {aLength})
        .AddRaw(aMeta.itsBytes)
        .itsBytes;
}

DicomBuilder::Bytes DicomBuilder::Build() const
{
    DicomBuilder aFile(Syntax::EXPLICIT_LITTLE);
    aFile.AddRaw(Bytes(128, 0)).AddRaw({'D', 'I', 'C', 'M'}).AddRaw(FileMeta());
    if (itsSyntax != Syntax::DEFLATED)
    {
        return aFile.AddRaw(itsBytes).itsBytes;
    }
    uLongf aSize = compressBound(itsBytes.size());
    Bytes aStream(aSize);
    compress(aStream.data(), &aSize, itsBytes.data(), itsBytes.size());
    // What is between zlib's header of two bytes and its check sum of four is the raw stream.
    return aFile.AddRaw(Bytes(aStream.data() + 2, aStream.data() + aSize - 4)).itsBytes;
}
