// SPDX-License-Identifier: Apache-2.0
#include "jp2/JP2Colours.h"

#include <algorithm>
#include <stdexcept>

#include "jp2/detail/JP2BoxWalker.h"

namespace
{
using Bytes = std::vector<std::uint8_t>;

/// Matrix coefficients as ITU-T H.273 numbers them; those of BT.470 and BT.601 are the same.
constexpr std::uint32_t kIdentity = 0;
constexpr std::uint32_t kUnspecified = 2;
constexpr std::uint32_t kBT470 = 5;
constexpr std::uint32_t kBT601 = 6;
/// Samples from 0 to their highest value; without it black and white are inside.
constexpr std::uint32_t kFullRange = 0x10000;

/// Why boxes cannot be applied.
class Fault : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

void Demand(bool isMet, const char* theText)
{
    if (!isMet)
    {
        throw Fault(theText);
    }
}

/// Two bytes; both must be there.
std::size_t Pair(const Bytes& theBytes, std::size_t thePosition)
{
    return theBytes[thePosition] * std::size_t{256} + theBytes[thePosition + 1];
}

/// An entry of theFrom bits as one of eight.
std::uint16_t ToEight(std::uint16_t theEntry, int theFrom)
{
    if (theFrom > 8)
    {
        return static_cast<std::uint16_t>(theEntry >> (theFrom - 8));
    }
    const int aMost = (1 << theFrom) - 1;
    return static_cast<std::uint16_t>((theEntry * 255 + aMost / 2) / aMost);
}
} // namespace

/// A column of the palette box.
struct JP2Colours::Column
{
    std::vector<std::uint16_t> itsEntries;
    int itsBits = 0;
};

/// One pass over the boxes, for a codestream of so many components. Throws Fault.
struct JP2Colours::Resolver
{
    const JP2Colours& itsBoxes;
    std::size_t itsComponents;

    std::vector<JP2Channel> Run() const
    {
        const std::vector<JP2Channel> someChannels = ReadMapping();
        std::vector<JP2Channel> someColours;
        for (const std::size_t aChannel : ReadDefinition(someChannels.size()))
        {
            someColours.push_back(someChannels[aChannel]);
        }
        Demand(someColours.size() == 1 || someColours.size() == 3, "there are neither one nor three colours");
        // Of more components a single one may be part of a component transform.
        Demand(someColours.size() == 3 || itsComponents <= 2, "one colour of three or more components");
        return IsPlain(someColours) ? std::vector<JP2Channel>() : Finished(std::move(someColours));
    }

    /// Every component by itself, in the order of the codestream.
    bool IsPlain(const std::vector<JP2Channel>& theColours) const
    {
        bool isPlain = theColours.size() == itsComponents;
        for (std::size_t i = 0; i < theColours.size(); ++i)
        {
            isPlain = isPlain && theColours[i].itsComponent == i && theColours[i].itsEntries.empty();
        }
        return isPlain;
    }

    static std::vector<JP2Channel> Finished(std::vector<JP2Channel> theColours)
    {
        for (JP2Channel& aColour : theColours)
        {
            Demand(aColour.itsComponent < kMostComponents, "a colour is in a component beyond the fourth");
            if (theColours.size() == 3 && !aColour.itsEntries.empty())
            {
                for (std::uint16_t& anEntry : aColour.itsEntries)
                {
                    anEntry = ToEight(anEntry, aColour.itsBits);
                }
                aColour.itsBits = 8;
            }
        }
        return theColours;
    }

    std::vector<Column> ReadPalette() const
    {
        const Bytes& aBox = *itsBoxes.itsPalette;
        Demand(aBox.size() >= 3, "the palette is too short");
        const std::size_t anEntries = Pair(aBox, 0);
        std::vector<Column> someColumns(aBox[2]);
        Demand(anEntries >= 1 && anEntries <= 1024 && !someColumns.empty(), "the palette has no valid size");
        Demand(aBox.size() >= 3 + someColumns.size(), "the palette is too short");
        std::size_t aRowLength = 0;
        for (std::size_t c = 0; c < someColumns.size(); ++c)
        {
            const std::uint8_t aDepth = aBox[3 + c]; // its highest bit says that entries are signed
            Demand(aDepth < 16, "the palette has entries that are signed or of more than 16 bits");
            someColumns[c].itsBits = aDepth + 1;
            aRowLength += aDepth / 8 + 1U;
        }
        Demand(aBox.size() == 3 + someColumns.size() + anEntries * aRowLength,
               "the palette is not as long as its entries");
        std::size_t aPosition = 3 + someColumns.size();
        for (std::size_t anEntry = 0; anEntry < anEntries; ++anEntry)
        {
            for (Column& aColumn : someColumns)
            {
                const std::size_t aValue = aColumn.itsBits > 8 ? Pair(aBox, aPosition) : aBox[aPosition];
                const std::size_t aMost = (std::size_t{1} << aColumn.itsBits) - 1;
                aColumn.itsEntries.push_back(static_cast<std::uint16_t>(std::min(aValue, aMost)));
                aPosition += aColumn.itsBits > 8 ? 2 : 1;
            }
        }
        return someColumns;
    }

    /// The channels: the components, or what the palette makes of them.
    std::vector<JP2Channel> ReadMapping() const
    {
        std::vector<JP2Channel> someChannels;
        if (!itsBoxes.itsPalette && !itsBoxes.itsMapping)
        {
            for (std::size_t c = 0; c < itsComponents; ++c)
            {
                someChannels.push_back({c});
            }
            return someChannels;
        }
        Demand(itsBoxes.itsPalette && itsBoxes.itsMapping,
               "a palette and a mapping of components must be there together");
        const std::vector<Column> someColumns = ReadPalette();
        const Bytes& aBox = *itsBoxes.itsMapping;
        Demand(!aBox.empty() && aBox.size() % 4 == 0, "the mapping of components has no valid size");
        // As many as can be colours and opacities; each has a column of its own to hold.
        Demand(aBox.size() / 4 <= 2 * kMostComponents, "the mapping of components has too many channels");
        for (std::size_t i = 0; i < aBox.size(); i += 4)
        {
            JP2Channel aChannel{Pair(aBox, i)};
            Demand(aChannel.itsComponent < itsComponents, "the mapping names a component that is not there");
            Demand(aBox[i + 2] <= 1, "the mapping has an unknown type");
            if (aBox[i + 2] == 1)
            {
                Demand(aBox[i + 3] < someColumns.size(), "the mapping names a column that is not there");
                aChannel.itsEntries = someColumns[aBox[i + 3]].itsEntries;
                aChannel.itsBits = someColumns[aBox[i + 3]].itsBits;
            }
            someChannels.push_back(std::move(aChannel));
        }
        return someChannels;
    }

    /// The channels that are colours, in the order of colours. Opacities and what has no meaning are left
    /// out.
    std::vector<std::size_t> ReadDefinition(std::size_t theChannels) const
    {
        std::vector<std::size_t> someColours;
        if (!itsBoxes.itsDefinition)
        {
            for (std::size_t c = 0; c < theChannels; ++c)
            {
                someColours.push_back(c);
            }
            return someColours;
        }
        const Bytes& aBox = *itsBoxes.itsDefinition;
        Demand(aBox.size() >= 2 && aBox.size() == 2 + 6 * Pair(aBox, 0) && Pair(aBox, 0) == theChannels,
               "the definition of channels is not as long as there are channels");
        std::vector<bool> isDefined(theChannels);
        std::vector<std::size_t> someChannels(theChannels, theChannels); // by colour
        for (std::size_t i = 2; i < aBox.size(); i += 6)
        {
            const std::size_t aChannel = Pair(aBox, i);
            Demand(aChannel < theChannels && !isDefined[aChannel],
                   "the definition of channels does not name each channel once");
            isDefined[aChannel] = true;
            if (Pair(aBox, i + 2) == 0)
            {
                // Of a single colour real files say that it stands for the whole image.
                const std::size_t aNumber = Pair(aBox, i + 4);
                const std::size_t aColour = aNumber == 0 && theChannels <= 2 ? 1 : aNumber;
                Demand(aColour >= 1 && aColour <= theChannels && someChannels[aColour - 1] == theChannels,
                       "the definition of channels does not name each colour once");
                someChannels[aColour - 1] = aChannel;
            }
        }
        // Colours are numbered without a gap.
        const auto anEnd = std::ranges::find(someChannels, theChannels);
        Demand(std::all_of(anEnd, someChannels.end(),
                           [&](std::size_t theChannel) { return theChannel == theChannels; }),
               "the definition of channels leaves out a colour");
        someColours.assign(someChannels.begin(), anEnd);
        return someColours;
    }

    static constexpr std::size_t kMostComponents = 4; ///< that are decoded: three colours and an opacity
};

bool JP2Colours::IsOfInterest(std::uint32_t theType)
{
    return theType == JP2BoxTypes::Colour || theType == JP2BoxTypes::Palette ||
           theType == JP2BoxTypes::ComponentMapping || theType == JP2BoxTypes::ChannelDefinition;
}

void JP2Colours::Add(std::uint32_t theType, std::vector<std::uint8_t> theContents)
{
    const auto aTake = [&](std::uint32_t theWanted, Contents& theMember)
    {
        if (theType == theWanted && !theMember)
        {
            theMember = std::move(theContents);
        }
    };
    aTake(JP2BoxTypes::Colour, itsColour);
    aTake(JP2BoxTypes::Palette, itsPalette);
    aTake(JP2BoxTypes::ComponentMapping, itsMapping);
    aTake(JP2BoxTypes::ChannelDefinition, itsDefinition);
}

/// How colours are to be had from the components: the matrix coefficients of ITU-T H.273, and kFullRange.
/// Behind the method of a colour box precedence and approximation have a byte each. Method 1: an enumerated
/// space in four bytes. Method 5: primaries, transfer characteristics and matrix in two bytes each, a byte
/// with the range on top.
std::uint32_t JP2Colours::GetMatrix() const
{
    constexpr std::uint8_t kEnumerated = 1;
    constexpr std::uint8_t kParameterized = 5;
    constexpr std::size_t kSYCC = 18;
    if (!itsColour || itsColour->size() < 7)
    {
        return kUnspecified;
    }
    if (itsColour->front() == kEnumerated && Pair(*itsColour, 3) == 0 && Pair(*itsColour, 5) == kSYCC)
    {
        return kFullRange | kBT601;
    }
    if (itsColour->front() == kParameterized && itsColour->size() >= 10)
    {
        return static_cast<std::uint32_t>(Pair(*itsColour, 7)) | ((*itsColour)[9] >= 0x80 ? kFullRange : 0);
    }
    return kUnspecified;
}

bool JP2Colours::IsSYCC() const
{
    const std::uint32_t aMatrix = GetMatrix();
    return aMatrix == (kFullRange | kBT601) || aMatrix == (kFullRange | kBT470);
}

bool JP2Colours::IsOtherYCC() const
{
    const std::uint32_t aMatrix = GetMatrix() & ~kFullRange;
    return aMatrix != kIdentity && aMatrix != kUnspecified && !IsSYCC();
}

std::vector<JP2Channel> JP2Colours::GetChannels(std::size_t theComponents, RWCString& theProblem) const
{
    theProblem.clear();
    if (!itsPalette && !itsMapping && !itsDefinition)
    {
        return {};
    }
    try
    {
        return Resolver{*this, theComponents}.Run();
    }
    catch (const Fault& aFault)
    {
        theProblem = aFault.what();
        return {};
    }
}
