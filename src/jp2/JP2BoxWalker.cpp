// SPDX-License-Identifier: Apache-2.0
#include "jp2/detail/JP2BoxWalker.h"

#include <algorithm>
#include <vector>

#include "jp2/jp2_source.h"

namespace
{
std::uint64_t Number(const std::uint8_t* theBytes, std::size_t theCount)
{
    std::uint64_t aNumber = 0;
    for (std::size_t i = 0; i < theCount; ++i)
    {
        aNumber = aNumber << 8 | theBytes[i];
    }
    return aNumber;
}
} // namespace

JP2BoxWalker::Step JP2BoxWalker::Next()
{
    if (!SkipRest())
    {
        return Fail("the file ends inside a box");
    }
    while (itsDepth > 0 && itsFile.get_pos() >= GetLevelEnd())
    {
        --itsDepth;
    }
    return ReadHeader();
}

bool JP2BoxWalker::Enter()
{
    if (itsDepth == kMaximumDepth || itsBoxEnd == kUnknownLength)
    {
        return false;
    }
    itsEnds[itsDepth++] = itsBoxEnd;
    itsBoxEnd = itsFile.get_pos();
    return true;
}

std::size_t JP2BoxWalker::Read(std::uint8_t* theBytes, std::size_t theCount)
{
    const std::uint64_t aLeft = GetRemaining();
    return itsFile.read(theBytes, static_cast<std::size_t>(std::min<std::uint64_t>(theCount, aLeft)));
}

std::uint64_t JP2BoxWalker::GetRemaining() const
{
    return itsBoxEnd == kUnknownLength ? kUnknownLength : itsBoxEnd - itsFile.get_pos();
}

/// False when the file ends first, unless the box is to reach to the file's end.
bool JP2BoxWalker::SkipRest()
{
    if (GetRemaining() == 0)
    {
        return true;
    }
    std::vector<std::uint8_t> aScratch(16384);
    while (GetRemaining() > 0)
    {
        if (Read(aScratch.data(), aScratch.size()) == 0)
        {
            return itsBoxEnd == kUnknownLength;
        }
    }
    return true;
}

JP2BoxWalker::Step JP2BoxWalker::ReadHeader()
{
    constexpr std::size_t kShortHeader = 8;
    constexpr std::size_t kLongHeader = 16;
    itsBoxPosition = itsFile.get_pos();
    std::array<std::uint8_t, kLongHeader> aHeader{};
    if (GetLevelEnd() - itsBoxPosition < kShortHeader)
    {
        return Fail("a box has no room for the box inside it");
    }
    const std::size_t aGot = itsFile.read(aHeader.data(), kShortHeader);
    if (aGot == 0 && itsDepth == 0)
    {
        return Step::END;
    }
    if (aGot != kShortHeader)
    {
        return Fail("the file ends inside a box header");
    }
    itsType = static_cast<std::uint32_t>(Number(aHeader.data() + 4, 4));
    const std::uint64_t aLength = Number(aHeader.data(), 4);
    if (aLength != 1)
    {
        return TakeLength(aLength, kShortHeader) ? Step::BOX : Step::BROKEN;
    }
    // The length of a large box follows its type.
    if (GetLevelEnd() - itsBoxPosition < kLongHeader || itsFile.read(aHeader.data() + 8, 8) != 8)
    {
        return Fail("a box header is cut off");
    }
    const std::uint64_t aLongLength = Number(aHeader.data() + 8, 8);
    if (aLongLength < kLongHeader)
    {
        return Fail("the length " + std::to_string(aLongLength) + " of a box is shorter than its header");
    }
    return TakeLength(aLongLength, kLongHeader) ? Step::BOX : Step::BROKEN;
}

/// 0 stands for "to the end of the file".
bool JP2BoxWalker::TakeLength(std::uint64_t theLength, std::uint64_t theHeaderLength)
{
    if (theLength == 0)
    {
        if (itsDepth > 0)
        {
            Fail("a box inside another has no length");
            return false;
        }
        itsBoxLength = kUnknownLength;
        itsBoxEnd = kUnknownLength;
        return true;
    }
    if (theLength < theHeaderLength)
    {
        Fail("the length " + std::to_string(theLength) + " of a box is shorter than its header");
        return false;
    }
    // Files are shorter than 2^63 bytes, so the last end of all is as good as any beyond them.
    if (theLength >= kUnknownLength - itsBoxPosition || itsBoxPosition + theLength > GetLevelEnd())
    {
        Fail("the length " + std::to_string(theLength) + " of a box goes beyond the box around it");
        return false;
    }
    itsBoxLength = theLength;
    itsBoxEnd = itsBoxPosition + theLength;
    return true;
}

JP2BoxWalker::Step JP2BoxWalker::Fail(const std::string& theText)
{
    itsProblem = theText + " (at byte " + std::to_string(itsBoxPosition) + " of the file)";
    return Step::BROKEN;
}
