// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/ColorPalette.h"

#include <optional>

#include "toolkit/dicom/DICOMDataObject.h"

namespace
{
constexpr std::uint32_t kLargestTable = 65536;

using Bytes = std::vector<std::uint8_t>;
using Entries = std::vector<std::uint16_t>;

std::uint16_t Word(const Bytes& theBytes, std::size_t theIndex)
{
    return static_cast<std::uint16_t>(theBytes[2 * theIndex] | (theBytes[2 * theIndex + 1] << 8));
}

std::uint16_t Widen(unsigned theByte)
{
    return static_cast<std::uint16_t>(theByte * 257);
}

/// The table of a channel, given the tag of the red one.
DICOMTag ChannelTag(DICOMTag theRedTag, std::uint16_t theChannelIndex)
{
    return {theRedTag.itsGroup, static_cast<std::uint16_t>(theRedTag.itsElement + theChannelIndex)};
}

/// Expands segmented lookup table data (PS3.3 C.7.9.2).
///
/// Every segment has an opcode, a length and, but for indirect ones, values; all have the width of an
/// entry. Each accepted segment yields an entry at least, and expansion ends with the last declared
/// entry, so the work is bounded by the number of entries.
class SegmentExpander
{
public:
    SegmentExpander(const Bytes& theData, int theBitsPerEntry, std::size_t theNumberOfEntries)
        : itsData(theData), itsIsWide(theBitsPerEntry == 16), itsNumberOfEntries(theNumberOfEntries)
    {
    }

    /// The entries as they are stored, or nothing when the segments make no sense or are too few.
    std::optional<Entries> Expand()
    {
        itsEntries.reserve(itsNumberOfEntries);
        std::size_t aUnit = 0;
        while (!IsFull())
        {
            const bool isExpanded = UnitAt(aUnit) == INDIRECT ? ExpandIndirect(aUnit) : ExpandDirect(aUnit);
            if (!isExpanded)
            {
                return std::nullopt;
            }
        }
        return std::move(itsEntries);
    }

private:
    static constexpr std::uint16_t DISCRETE = 0;
    static constexpr std::uint16_t LINEAR = 1;
    static constexpr std::uint16_t INDIRECT = 2;

    std::size_t UnitCount() const { return itsData.size() / (itsIsWide ? 2 : 1); }
    bool IsFull() const { return itsEntries.size() >= itsNumberOfEntries; }

    /// Past the end 0xFFFF, which is no opcode.
    std::uint16_t UnitAt(std::size_t theUnit) const
    {
        if (theUnit >= UnitCount())
        {
            return 0xffff;
        }
        return itsIsWide ? Word(itsData, theUnit) : itsData[theUnit];
    }

    /// A discrete or linear segment; theUnit goes past it. False for anything else, and for no entries.
    bool ExpandDirect(std::size_t& theUnit)
    {
        const std::uint16_t anOpcode = UnitAt(theUnit);
        if (anOpcode > LINEAR || UnitCount() - theUnit < 2)
        {
            return false;
        }
        const std::size_t aLength = UnitAt(theUnit + 1);
        const std::size_t aValues = anOpcode == DISCRETE ? aLength : 1;
        theUnit += 2;
        if (aLength == 0 || UnitCount() - theUnit < aValues)
        {
            return false;
        }
        const bool isExpanded =
            anOpcode == DISCRETE ? AddDiscrete(theUnit, aLength) : AddLinear(UnitAt(theUnit), aLength);
        theUnit += aValues;
        return isExpanded;
    }

    bool AddDiscrete(std::size_t theUnit, std::size_t theLength)
    {
        for (std::size_t anIndex = 0; anIndex < theLength && !IsFull(); ++anIndex)
        {
            itsEntries.push_back(UnitAt(theUnit + anIndex));
        }
        return true;
    }

    /// A straight line from the last entry there is, which stays as it is, to theTarget. Rounds to nearest.
    bool AddLinear(std::uint16_t theTarget, std::size_t theLength)
    {
        if (itsEntries.empty())
        {
            return false;
        }
        const std::int64_t aStart = itsEntries.back();
        const std::int64_t aLength = static_cast<std::int64_t>(theLength);
        for (std::int64_t aStep = 1; aStep <= aLength && !IsFull(); ++aStep)
        {
            const std::int64_t aWeighted = aStart * (aLength - aStep) + std::int64_t{theTarget} * aStep;
            itsEntries.push_back(static_cast<std::uint16_t>((2 * aWeighted + aLength) / (2 * aLength)));
        }
        return true;
    }

    /// Expands again a number of segments from a byte offset (four bytes, least significant part first).
    /// Those may not be indirect themselves, so nothing recurses.
    bool ExpandIndirect(std::size_t& theUnit)
    {
        const std::size_t anOffsetUnits = itsIsWide ? 2 : 4;
        if (UnitCount() - theUnit < 2 + anOffsetUnits)
        {
            return false;
        }
        const std::size_t aCount = UnitAt(theUnit + 1);
        std::size_t anOffset = 0;
        for (std::size_t anIndex = anOffsetUnits; anIndex > 0; --anIndex)
        {
            anOffset = (anOffset << (itsIsWide ? 16 : 8)) | UnitAt(theUnit + 1 + anIndex);
        }
        theUnit += 2 + anOffsetUnits;
        if (aCount == 0 || (itsIsWide && anOffset % 2 != 0))
        {
            return false;
        }
        std::size_t aUnit = itsIsWide ? anOffset / 2 : anOffset;
        for (std::size_t aSegment = 0; aSegment < aCount && !IsFull(); ++aSegment)
        {
            if (!ExpandDirect(aUnit))
            {
                return false;
            }
        }
        return true;
    }

    const Bytes& itsData;
    bool itsIsWide;
    std::size_t itsNumberOfEntries;
    Entries itsEntries;
};
} // namespace

ColorPalette::ColorPalette(char theChannel, int theNumberOfEntries, int theFirstMappedValue,
                           int theBitsPerEntry)
    : itsChannel(theChannel),
      itsNumberOfEntries(static_cast<std::uint32_t>(std::clamp<int>(theNumberOfEntries, 0, kLargestTable))),
      itsFirstMappedValue(std::clamp(theFirstMappedValue, -32768, 65535)), itsBitsPerEntry(theBitsPerEntry)
{
}

void ColorPalette::Init(const DICOMDataObject& theDataSet)
{
    itsEntries.clear();
    itsValid = itsBitsEncodedBitsDiffers = false;
    const std::uint16_t aChannelIndex = itsChannel == 'R' ? 0 : itsChannel == 'G' ? 1 : 2;
    if (!ReadDescriptor(theDataSet, aChannelIndex))
    {
        return;
    }
    Bytes aData;
    if (theDataSet.GetBytes(ChannelTag(DICOMTags::RedPaletteColorLookupTableData, aChannelIndex), aData) &&
        !aData.empty())
    {
        itsValid = TakeTable(aData);
    }
    else if (theDataSet.GetBytes(
                 ChannelTag(DICOMTags::SegmentedRedPaletteColorLookupTableData, aChannelIndex), aData))
    {
        std::optional<Entries> anEntries =
            SegmentExpander(aData, itsBitsPerEntry, itsNumberOfEntries).Expand();
        itsValid = anEntries.has_value();
        if (itsValid)
        {
            itsEntries = std::move(*anEntries);
            if (itsBitsPerEntry == 8)
            {
                std::transform(itsEntries.begin(), itsEntries.end(), itsEntries.begin(), Widen);
            }
        }
    }
}

// Three 16-bit values: number of entries, first mapped value, bits an entry. The second one's sign is a
// matter of its value representation, which goes by Pixel Representation.
bool ColorPalette::ReadDescriptor(const DICOMDataObject& theDataSet, std::uint16_t theChannelIndex)
{
    Bytes aDescriptor;
    const DICOMTag aTag = ChannelTag(DICOMTags::RedPaletteColorLookupTableDescriptor, theChannelIndex);
    if (!theDataSet.GetBytes(aTag, aDescriptor) || aDescriptor.size() < 6)
    {
        return false;
    }
    std::int32_t aPixelRepresentation = 0;
    theDataSet.GetInteger(DICOMTags::PixelRepresentation, aPixelRepresentation);
    const std::uint16_t aNumberOfEntries = Word(aDescriptor, 0);
    const std::uint16_t aFirst = Word(aDescriptor, 1);
    itsNumberOfEntries = aNumberOfEntries == 0 ? kLargestTable : aNumberOfEntries;
    itsFirstMappedValue = aPixelRepresentation == 1 ? static_cast<std::int16_t>(aFirst) : aFirst;
    itsBitsPerEntry = Word(aDescriptor, 2);
    return itsBitsPerEntry == 8 || itsBitsPerEntry == 16;
}

// Takes plain data: words where there is a word for every entry, else bytes where there is one for every
// entry and at most the pad byte besides. Any other length leaves the meaning open.
bool ColorPalette::TakeTable(const std::vector<std::uint8_t>& theData)
{
    const std::size_t aCount = itsNumberOfEntries;
    if (theData.size() >= 2 * aCount)
    {
        itsEntries.resize(aCount);
        for (std::size_t anEntry = 0; anEntry < aCount; ++anEntry)
        {
            itsEntries[anEntry] = Word(theData, anEntry);
        }
        JudgeWords();
        return true;
    }
    if (theData.size() != aCount && theData.size() != aCount + aCount % 2)
    {
        return false;
    }
    itsEntries.resize(aCount);
    std::transform(theData.begin(), theData.begin() + static_cast<std::ptrdiff_t>(aCount), itsEntries.begin(),
                   Widen);
    return true;
}

// Entries of 8 bits in words have their value in the low byte. Some writers put it in the high byte; read by
// the rule such a table would be all black.
void ColorPalette::JudgeWords()
{
    std::uint16_t aUsedBits = 0;
    for (const std::uint16_t anEntry : itsEntries)
    {
        aUsedBits |= anEntry;
    }
    const bool isInHighBytes = aUsedBits > 0xff && (aUsedBits & 0xff) == 0;
    itsBitsEncodedBitsDiffers = itsBitsPerEntry == 8 && !isInHighBytes;
}
