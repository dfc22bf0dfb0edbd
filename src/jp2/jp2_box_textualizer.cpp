// SPDX-License-Identifier: Apache-2.0
#include "jp2/jp2_box_textualizer.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "jp2/detail/JP2BoxWalker.h"
#include "jp2/jp2_source.h"

namespace
{
/// The part of a box's contents that a description looks at.
constexpr std::size_t kMostContents = 512;

/// The contents of a box, read from front to back; zeros behind the end.
class Contents
{
public:
    explicit Contents(JP2BoxWalker& theBox) : itsBytes(kMostContents)
    {
        itsBytes.resize(theBox.Read(itsBytes.data(), itsBytes.size()));
    }

    bool Has(std::size_t theCount) const { return itsBytes.size() - itsPosition >= theCount; }

    std::uint32_t Take(std::size_t theCount)
    {
        std::uint32_t aNumber = 0;
        for (std::size_t i = 0; i < theCount; ++i)
        {
            aNumber = aNumber << 8 | (itsPosition < itsBytes.size() ? itsBytes[itsPosition++] : 0U);
        }
        return aNumber;
    }

    std::string Text(std::size_t theCount) { return std::to_string(Take(theCount)); }

private:
    std::vector<std::uint8_t> itsBytes;
    std::size_t itsPosition = 0;
};

/// Four characters, what cannot be printed as a dot.
std::string TypeText(std::uint32_t theType)
{
    std::string aText;
    for (int aShift = 24; aShift >= 0; aShift -= 8)
    {
        const auto aCharacter = static_cast<unsigned char>(theType >> aShift & 0xff);
        aText += aCharacter >= ' ' && aCharacter < 0x7f ? static_cast<char>(aCharacter) : '.';
    }
    return aText;
}

/// The depth of samples as boxes state it: the sign, and the bits less one.
std::string DepthText(std::uint32_t theCode)
{
    if (theCode == 255)
    {
        return "varying depth";
    }
    return std::to_string((theCode & 0x7f) + 1) + " bits " + (theCode & 0x80 ? "signed" : "unsigned");
}

std::string FileTypeText(Contents& theContents)
{
    std::string aText = "brand \"" + TypeText(theContents.Take(4)) + "\"";
    aText += ", version " + theContents.Text(4) + ", compatible with";
    while (theContents.Has(4))
    {
        aText += " \"" + TypeText(theContents.Take(4)) + "\"";
    }
    return aText;
}

std::string ImageHeaderText(Contents& theContents)
{
    const std::string aHeight = theContents.Text(4);
    std::string aText = theContents.Text(4) + " x " + aHeight;
    aText += ", " + theContents.Text(2) + " components";
    aText += ", " + DepthText(theContents.Take(1));
    aText += ", compression " + theContents.Text(1);
    aText += theContents.Take(1) != 0 ? ", colour space unknown" : ", colour space known";
    aText += theContents.Take(1) != 0 ? ", with property rights" : "";
    return aText;
}

std::string BitsPerComponentText(Contents& theContents)
{
    std::string aText;
    while (theContents.Has(1))
    {
        aText += (aText.empty() ? "" : ", ") + DepthText(theContents.Take(1));
    }
    return aText;
}

std::string ColourText(Contents& theContents)
{
    const std::uint32_t aMethod = theContents.Take(1);
    theContents.Take(2); // precedence and approximation
    if (aMethod == 1)
    {
        const std::uint32_t aSpace = theContents.Take(4);
        const char* const aName = aSpace == 16   ? " (sRGB)"
                                  : aSpace == 17 ? " (greyscale)"
                                  : aSpace == 18 ? " (sYCC)"
                                                 : "";
        return "enumerated colour space " + std::to_string(aSpace) + aName;
    }
    switch (aMethod)
    {
    case 2:
        return "restricted ICC profile of " + theContents.Text(4) + " bytes";
    case 3:
        return "ICC profile of " + theContents.Text(4) + " bytes";
    case 5:
    {
        std::string aText = "parameters of ITU-T H.273: primaries " + theContents.Text(2);
        aText += ", transfer " + theContents.Text(2);
        aText += ", matrix " + theContents.Text(2);
        return aText + (theContents.Take(1) >= 0x80 ? ", full range" : ", narrow range");
    }
    default:
        return "method " + std::to_string(aMethod);
    }
}

std::string PaletteText(Contents& theContents)
{
    std::string aText = theContents.Text(2) + " entries";
    const std::uint32_t aColumns = theContents.Take(1);
    aText += ", " + std::to_string(aColumns) + " columns:";
    for (std::uint32_t i = 0; i < aColumns && theContents.Has(1); ++i)
    {
        aText += (i == 0 ? " " : ", ") + DepthText(theContents.Take(1));
    }
    return aText;
}

std::string ComponentMappingText(Contents& theContents)
{
    std::string aText;
    while (theContents.Has(4))
    {
        const std::string aComponent = theContents.Text(2);
        const bool isPalette = theContents.Take(1) == 1;
        const std::string aColumn = theContents.Text(1);
        aText += (aText.empty() ? "" : ", ") + ("component " + aComponent) +
                 (isPalette ? " by palette column " + aColumn : " directly");
    }
    return aText;
}

std::string ChannelDefinitionText(Contents& theContents)
{
    std::string aText;
    theContents.Take(2); // the number of descriptions, which the length tells
    while (theContents.Has(6))
    {
        aText += (aText.empty() ? "" : ", ") + ("channel " + theContents.Text(2));
        aText += " of type " + theContents.Text(2);
        aText += " for " + theContents.Text(2);
    }
    return aText;
}

/// Grid points a metre.
std::string ResolutionText(Contents& theContents)
{
    std::uint32_t aParts[4];
    for (std::uint32_t& aPart : aParts)
    {
        aPart = theContents.Take(2);
    }
    std::string aText;
    for (int i = 0; i < 2; ++i)
    {
        const int anExponent = static_cast<std::int8_t>(theContents.Take(1));
        char aNumber[80];
        std::snprintf(aNumber, sizeof(aNumber), "%s %u/%u x 10^%d", i == 0 ? "vertically" : ", horizontally",
                      aParts[2 * i], aParts[2 * i + 1], anExponent);
        aText += aNumber;
    }
    return aText + " a metre";
}

struct BoxKind
{
    std::uint32_t itsType;
    const char* itsName;
    std::string (*itsDescribe)(Contents&);
};

constexpr BoxKind kKinds[] = {
    {JP2BoxTypes::Signature, "signature", nullptr},
    {JP2BoxTypes::FileType, "file type", FileTypeText},
    {JP2BoxTypes::Header, "JP2 header", nullptr},
    {JP2BoxTypes::ImageHeader, "image header", ImageHeaderText},
    {JP2BoxTypes::BitsPerComponent, "bits per component", BitsPerComponentText},
    {JP2BoxTypes::Colour, "colour specification", ColourText},
    {JP2BoxTypes::Palette, "palette", PaletteText},
    {JP2BoxTypes::ComponentMapping, "component mapping", ComponentMappingText},
    {JP2BoxTypes::ChannelDefinition, "channel definition", ChannelDefinitionText},
    {JP2BoxTypes::Resolution, "resolution", nullptr},
    {JP2BoxTypes::CaptureResolution, "capture resolution", ResolutionText},
    {JP2BoxTypes::DisplayResolution, "display resolution", ResolutionText},
    {JP2BoxTypes::Codestream, "contiguous codestream", nullptr},
    {JP2BoxTypes::Make("jp2i"), "intellectual property", nullptr},
    {JP2BoxTypes::Make("xml "), "XML", nullptr},
    {JP2BoxTypes::Make("uuid"), "UUID", nullptr},
    {JP2BoxTypes::Make("uinf"), "UUID information", nullptr},
};

std::string Describe(JP2BoxWalker& theBox)
{
    std::string aText(2 * theBox.GetDepth(), ' ');
    aText += TypeText(theBox.GetType()) + ": ";
    const auto* const aKind =
        std::find_if(std::begin(kKinds), std::end(kKinds),
                     [&](const BoxKind& theKind) { return theKind.itsType == theBox.GetType(); });
    const bool isKnown = aKind != std::end(kKinds);
    aText += isKnown ? std::string(aKind->itsName) + ", " : "";
    aText += theBox.GetLength() == JP2BoxWalker::kUnknownLength
                 ? "to the end of the file"
                 : std::to_string(theBox.GetLength()) + " bytes";
    aText += " at " + std::to_string(theBox.GetPosition());
    if (isKnown && aKind->itsDescribe != nullptr)
    {
        Contents aContents(theBox);
        aText += ": " + aKind->itsDescribe(aContents);
    }
    return aText;
}
} // namespace

std::vector<std::string> jp2_box_textualizer::Textualize(kdu_compressed_source& theSource,
                                                         std::size_t theMostLines)
{
    jp2_family_src aFile;
    aFile.open(&theSource);
    JP2BoxWalker aBox(aFile);
    std::vector<std::string> aLines;
    JP2BoxWalker::Step aStep = aBox.Next();
    for (; aStep == JP2BoxWalker::Step::BOX && aLines.size() < theMostLines; aStep = aBox.Next())
    {
        aLines.push_back(Describe(aBox));
        if (aBox.GetType() == JP2BoxTypes::Header || aBox.GetType() == JP2BoxTypes::Resolution)
        {
            aBox.Enter();
        }
    }
    if (aStep == JP2BoxWalker::Step::BOX)
    {
        aLines.emplace_back("more boxes follow");
    }
    else if (aStep == JP2BoxWalker::Step::BROKEN)
    {
        aLines.push_back("damaged: " + aBox.GetProblem());
    }
    return aLines;
}
