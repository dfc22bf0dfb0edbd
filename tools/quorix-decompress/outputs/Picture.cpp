// SPDX-License-Identifier: Apache-2.0
#include "outputs/Picture.h"

#include <algorithm>
#include <bit>

#include "outputs/OutputFile.h"

namespace
{
template <unsigned Bytes>
std::uint64_t LoadWord(const unsigned char* theBytes, bool isLittleEndian)
{
    std::uint64_t aWord = 0;
    for (unsigned i = 0; i < Bytes; ++i)
    {
        aWord = aWord << 8 | theBytes[isLittleEndian ? Bytes - 1 - i : i];
    }
    return aWord;
}
} // namespace

SampleReader::SampleReader(const Renderable& theImage)
    : itsBytes(static_cast<const unsigned char*>(theImage.getPixelData())),
      itsRows(static_cast<std::uint32_t>(theImage.getRows())),
      itsColumns(static_cast<std::uint32_t>(theImage.getColumns())),
      itsSamplesPerPixel(static_cast<std::uint32_t>(theImage.getSamplesPerPixel())),
      itsBitsAllocated(theImage.getBitsAllocated()), itsBitsStored(theImage.getBitsStored()),
      itsShift(theImage.getHighBit() + 1 - theImage.getBitsStored()), itsSigned(theImage.isSigned()),
      itsLittleEndian(theImage.isPixelDataLittleEndian())
{
    constexpr std::int32_t kLimit = 1 << 20; // keeps every product below inside 64 bits
    if (theImage.getRows() < 1 || theImage.getColumns() < 1 || theImage.getRows() > kLimit ||
        theImage.getColumns() > kLimit)
    {
        throw RefusedOutput("the image has no usable size");
    }
    if ((itsSamplesPerPixel != 1 && itsSamplesPerPixel != 3) ||
        (itsBitsAllocated != 1 && itsBitsAllocated != 8 && itsBitsAllocated != 16 &&
         itsBitsAllocated != 32) ||
        (itsSamplesPerPixel == 3 && theImage.isPlanarConfiguration()))
    {
        throw RefusedOutput("no picture of " + std::to_string(theImage.getSamplesPerPixel()) +
                            " samples of " + std::to_string(itsBitsAllocated) + " bits");
    }
    const std::uint64_t aBits = std::uint64_t{itsRows} * itsColumns * itsSamplesPerPixel *
                                static_cast<std::uint64_t>(itsBitsAllocated);
    if (itsBytes == nullptr || (aBits + 7) / 8 > theImage.getPixelDataSize())
    {
        throw RefusedOutput("the image has fewer bytes than its size needs");
    }
    if (itsBitsStored < 1 || itsShift < 0 || itsShift + itsBitsStored > itsBitsAllocated)
    {
        // Bits Stored and High Bit contradict the sample size: the whole sample is the value.
        itsBitsStored = itsBitsAllocated;
        itsShift = 0;
    }
    else if (itsBitsAllocated == 16 && itsBitsStored <= 8 && itsShift == 0)
    {
        itsBitsStored = CountUsedBits();
    }
}

/// A frame that was found deeper than its data set says keeps Bits Stored of 8 and fewer: its samples are to
/// be seen whole. Otherwise what stands above the bits stored, an overlay for instance, is none of the
/// value's.
int SampleReader::CountUsedBits() const
{
    const std::uint64_t aCount = std::uint64_t{itsRows} * itsColumns * itsSamplesPerPixel;
    std::uint64_t aUsed = 0;
    for (std::uint64_t i = 0; i < aCount; ++i)
    {
        const std::uint64_t aWord = LoadWord<2>(itsBytes + i * 2, itsLittleEndian);
        const bool isSmallNegative =
            itsSigned && aWord >> (itsBitsStored - 1) == 0xffffU >> (itsBitsStored - 1);
        aUsed |= isSmallNegative ? 0 : aWord;
    }
    return std::max(itsBitsStored, static_cast<int>(std::bit_width(aUsed)));
}

std::int64_t SampleReader::Value(std::uint64_t theWord) const
{
    const std::uint64_t aValue = (theWord >> itsShift) & ((std::uint64_t{1} << itsBitsStored) - 1);
    const std::uint64_t aSignBit = itsSigned ? std::uint64_t{1} << (itsBitsStored - 1) : 0;
    return static_cast<std::int64_t>(aValue ^ aSignBit) - static_cast<std::int64_t>(aSignBit);
}

void SampleReader::ReadRow(std::uint32_t theRow, std::vector<std::int64_t>& theValues) const
{
    const std::size_t aCount = std::size_t{itsColumns} * itsSamplesPerPixel;
    const std::size_t aFirst = aCount * theRow;
    theValues.resize(aCount);
    for (std::size_t i = 0; i < aCount; ++i)
    {
        const std::size_t anIndex = aFirst + i;
        switch (itsBitsAllocated)
        {
        case 1:
            theValues[i] = Value(itsBytes[anIndex / 8] >> (anIndex % 8) & 1U);
            break;
        case 8:
            theValues[i] = Value(itsBytes[anIndex]);
            break;
        case 16:
            theValues[i] = Value(LoadWord<2>(itsBytes + anIndex * 2, itsLittleEndian));
            break;
        default:
            theValues[i] = Value(LoadWord<4>(itsBytes + anIndex * 4, itsLittleEndian));
            break;
        }
    }
}

Picture::Picture(const DecodedFrame& theFrame, const std::optional<WindowOption>& theWindow)
    : itsReader(*theFrame.itsRenderable)
{
    if (theWindow && !IsColour())
    {
        itsWindow.emplace(*theWindow, *theFrame.itsRenderable, theFrame.itsDataSet.get());
        MakeViewTable();
        return;
    }
    if (itsReader.GetBitsStored() > 16)
    {
        throw RefusedOutput("samples of " + std::to_string(itsReader.GetBitsStored()) +
                            " bits do not fit a picture file; use --window, or --format raw, rend or dicom");
    }
    itsDepth = itsReader.GetBitsAllocated() > 16 ? 16 : itsReader.GetBitsAllocated();
    itsOffset = itsReader.IsSigned() ? 1 << (itsDepth - 1) : 0;
}

void Picture::MakeViewTable()
{
    if (itsReader.GetBitsStored() > 16)
    {
        return;
    }
    const std::int64_t aCount = std::int64_t{1} << itsReader.GetBitsStored();
    itsLowestValue = itsReader.IsSigned() ? -aCount / 2 : 0;
    itsViewTable.reserve(static_cast<std::size_t>(aCount));
    for (std::int64_t i = 0; i < aCount; ++i)
    {
        itsViewTable.push_back(itsWindow->Map(itsLowestValue + i));
    }
}

std::uint8_t Picture::View(std::int64_t theValue) const
{
    return itsViewTable.empty() ? itsWindow->Map(theValue)
                                : itsViewTable[static_cast<std::size_t>(theValue - itsLowestValue)];
}

void Picture::GetRow(std::uint32_t theRow, std::vector<unsigned char>& theBytes)
{
    itsReader.ReadRow(theRow, itsValues);
    theBytes.clear();
    theBytes.reserve(itsValues.size() * 2);
    for (const std::int64_t aValue : itsValues)
    {
        if (itsWindow)
        {
            theBytes.push_back(View(aValue));
            continue;
        }
        const std::int64_t aSample = aValue + itsOffset;
        if (itsDepth == 16)
        {
            theBytes.push_back(static_cast<unsigned char>(aSample >> 8));
        }
        theBytes.push_back(static_cast<unsigned char>(aSample));
    }
}
