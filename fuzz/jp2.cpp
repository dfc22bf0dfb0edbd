// SPDX-License-Identifier: Apache-2.0
// The boxes of a JP2 file: as text, as colours, and up to the codestream.
#include <algorithm>
#include <exception>

#include "FuzzInput.h"
#include "jp2/jp2_box_textualizer.h"
#include "jp2/jp2_source.h"
#include "support/ByteSource.h"

namespace
{
void CheckColours(const JP2Colours& theColours, std::size_t theComponents)
{
    RWCString aProblem;
    const std::vector<JP2Channel> someColours = theColours.GetChannels(theComponents, aProblem);
    Require(someColours.empty() || (aProblem.empty() && (someColours.size() == 1 || someColours.size() == 3)),
            "colours are none, one or three");
    for (const JP2Channel& aColour : someColours)
    {
        Require(aColour.itsComponent < std::min<std::size_t>(theComponents, 4), "a colour has a component");
        for (const std::uint16_t anEntry : aColour.itsEntries)
        {
            Require(anEntry >> aColour.itsBits == 0, "entries have the bits that are said");
        }
    }
}
} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* theData, std::size_t theSize)
{
    FuzzInput anInput(theData, theSize);
    const std::size_t aPutBack = static_cast<std::size_t>(anInput.TakeNumber(0, 16));
    const Bytes aFile = anInput.GetRest();
    ByteSource aText(aFile, 5);
    for (const std::string& aLine : jp2_box_textualizer::Textualize(aText, 200))
    {
        for (const char aCharacter : aLine)
        {
            Require(aCharacter >= ' ' && aCharacter <= '~', "lines are printable");
        }
    }
    ByteSource aSource(aFile);
    Bytes aFront(std::min(aPutBack, aFile.size()));
    if (!aFront.empty())
    {
        aSource.read(aFront.data(), static_cast<int>(aFront.size()));
    }
    try
    {
        jp2_family_src aFamily;
        aFamily.open(&aSource);
        aFamily.put_back(aFront.data(), aFront.size());
        jp2_source aJp2;
        aJp2.open(&aFamily);
        aJp2.read_header();
        for (const std::size_t aComponents : {1U, 2U, 3U, 4U, 9U})
        {
            CheckColours(aJp2.get_colours(), aComponents);
        }
        Bytes aCodestream(aFile.size() + 1);
        Require(aFamily.read(aCodestream.data(), aCodestream.size()) + aFamily.get_pos() >= aFile.size(),
                "the codestream can be read to its end");
    }
    catch (const std::exception&)
    {
        // The engine's own error, or the codecs' where their message objects are linked in.
    }
    return 0;
}
