// SPDX-License-Identifier: Apache-2.0
#include "outputs/Picture.h"

#include "outputs/OutputError.h"

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
        throw OutputError("samples of " + std::to_string(itsReader.GetBitsStored()) +
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
