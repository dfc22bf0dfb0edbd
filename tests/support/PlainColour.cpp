// SPDX-License-Identifier: Apache-2.0
#include "support/PlainColour.h"

#include <algorithm>

namespace
{
std::uint8_t Clamp(float theValue)
{
    return static_cast<std::uint8_t>(std::clamp(static_cast<int>(theValue), 0, 255));
}

int Word(const std::vector<std::uint8_t>& theBytes, std::size_t theIndex)
{
    return theBytes.at(2 * theIndex) + 256 * theBytes.at(2 * theIndex + 1);
}
/// Appends the entries of theCount segments from word thePosition on.
void Expand(const std::vector<std::uint8_t>& theSegments, std::size_t thePosition, std::size_t theCount,
            std::vector<int>& theEntries)
{
    for (; theCount > 0 && 2 * thePosition + 3 < theSegments.size(); --theCount)
    {
        const int aKind = Word(theSegments, thePosition);
        const int aLength = Word(theSegments, thePosition + 1);
        thePosition += 2;
        if (aKind == 0)
        {
            for (int i = 0; i < aLength; ++i)
            {
                theEntries.push_back(Word(theSegments, thePosition++));
            }
        }
        else if (aKind == 1)
        {
            const double aStart = theEntries.back();
            const double aStep = (Word(theSegments, thePosition++) - aStart) / aLength;
            for (int i = 1; i <= aLength; ++i)
            {
                theEntries.push_back(static_cast<int>(aStart + aStep * i + 0.5));
            }
        }
        else
        {
            const int aByteOffset =
                Word(theSegments, thePosition) + 65536 * Word(theSegments, thePosition + 1);
            Expand(theSegments, static_cast<std::size_t>(aByteOffset / 2), static_cast<std::size_t>(aLength),
                   theEntries);
            thePosition += 2;
        }
    }
}
} // namespace

std::vector<std::uint8_t> PlainYBRToRGB(const std::vector<std::uint8_t>& theYBR)
{
    std::vector<std::uint8_t> anRGB;
    for (std::size_t i = 0; i + 2 < theYBR.size(); i += 3)
    {
        const auto aY = static_cast<float>(theYBR[i]);
        const auto aCb = static_cast<float>(theYBR[i + 1] - 128);
        const auto aCr = static_cast<float>(theYBR[i + 2] - 128);
        anRGB.push_back(Clamp(aY + 1.402F * aCr));
        anRGB.push_back(Clamp(aY - 0.344136F * aCb - 0.714136F * aCr));
        anRGB.push_back(Clamp(aY + 1.772F * aCb));
    }
    return anRGB;
}

std::vector<std::uint8_t> PlainUnpack422(const std::vector<std::uint8_t>& theGroups)
{
    std::vector<std::uint8_t> aPixels;
    for (std::size_t i = 0; i + 3 < theGroups.size(); i += 4)
    {
        aPixels.insert(aPixels.end(), {theGroups[i], theGroups[i + 2], theGroups[i + 3], theGroups[i + 1],
                                       theGroups[i + 2], theGroups[i + 3]});
    }
    return aPixels;
}

std::vector<std::uint8_t> PlainHighBytes(const std::vector<std::uint8_t>& theWords)
{
    std::vector<std::uint8_t> aBytes;
    for (std::size_t i = 1; i < theWords.size(); i += 2)
    {
        aBytes.push_back(theWords[i]);
    }
    return aBytes;
}

std::vector<std::uint8_t> PlainUnpackBits(const std::vector<std::uint8_t>& theBytes, std::size_t theCount)
{
    std::vector<std::uint8_t> aBits;
    for (std::size_t i = 0; i < theCount; ++i)
    {
        aBits.push_back(static_cast<std::uint8_t>((theBytes.at(i / 8) >> (i % 8)) & 1));
    }
    return aBits;
}

std::vector<std::uint8_t> PlainExpandSegments(const std::vector<std::uint8_t>& theSegments)
{
    std::vector<int> anEntries;
    Expand(theSegments, 0, theSegments.size(), anEntries);
    std::vector<std::uint8_t> aBytes;
    for (const int anEntry : anEntries)
    {
        aBytes.insert(aBytes.end(),
                      {static_cast<std::uint8_t>(anEntry & 255), static_cast<std::uint8_t>(anEntry >> 8)});
    }
    return aBytes;
}

std::vector<std::uint8_t> PlainPalette::Apply(const std::vector<std::uint8_t>& theIndices,
                                              int theIndexBytes) const
{
    const int anEntries = Word(itsDescriptor, 0) == 0 ? 65536 : Word(itsDescriptor, 0);
    const int aFirst = Word(itsDescriptor, 1);
    std::vector<std::uint8_t> anRGB;
    for (std::size_t i = 0; i < theIndices.size() / static_cast<std::size_t>(theIndexBytes); ++i)
    {
        const int anIndex = theIndexBytes == 1 ? theIndices[i] : Word(theIndices, i);
        const auto anEntry = static_cast<std::size_t>(std::clamp(anIndex - aFirst, 0, anEntries - 1));
        for (const std::vector<std::uint8_t>& aChannel : itsChannels)
        {
            anRGB.insert(anRGB.end(), {aChannel.at(2 * anEntry), aChannel.at(2 * anEntry + 1)});
        }
    }
    return anRGB;
}
