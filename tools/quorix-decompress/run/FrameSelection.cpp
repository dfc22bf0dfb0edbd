// SPDX-License-Identifier: Apache-2.0
#include "run/FrameSelection.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace
{
/// A number at theText's beginning, which is taken off.
int TakeNumber(std::string_view& theText)
{
    int aNumber = 0;
    const auto aResult = std::from_chars(theText.data(), theText.data() + theText.size(), aNumber);
    if (aResult.ec != std::errc() || aNumber < 0)
    {
        throw std::invalid_argument("must be frame numbers and ranges such as 0-9,20 or 5-");
    }
    theText.remove_prefix(static_cast<std::size_t>(aResult.ptr - theText.data()));
    return aNumber;
}

bool TakeCharacter(std::string_view& theText, char theCharacter)
{
    const bool isThere = theText.starts_with(theCharacter);
    theText.remove_prefix(isThere ? 1 : 0);
    return isThere;
}
} // namespace

FrameSelection FrameSelection::Parse(const std::string& theText)
{
    FrameSelection aSelection;
    aSelection.itsRanges.clear();
    std::string_view aText = theText;
    do
    {
        Range aRange;
        aRange.itsFirst = aRange.itsLast = TakeNumber(aText);
        if (TakeCharacter(aText, '-'))
        {
            aRange.itsLast = aText.empty() ? kOpen : TakeNumber(aText);
        }
        const int aBefore = aSelection.itsRanges.empty() ? -1 : aSelection.itsRanges.back().itsLast;
        if (aRange.itsFirst <= aBefore || (aRange.itsLast != kOpen && aRange.itsLast < aRange.itsFirst))
        {
            throw std::invalid_argument("frame numbers must rise");
        }
        aSelection.itsRanges.push_back(aRange);
    } while (TakeCharacter(aText, ','));
    if (!aText.empty())
    {
        TakeNumber(aText); // says what is wrong
        throw std::invalid_argument("a comma is missing between frame numbers");
    }
    return aSelection;
}

std::optional<int> FrameSelection::GetNext(int theFrame, int theCount) const
{
    for (const Range& aRange : itsRanges)
    {
        if (theFrame < GetEnd(aRange, theCount))
        {
            return std::max(theFrame + 1, aRange.itsFirst);
        }
    }
    return std::nullopt;
}

std::uint64_t FrameSelection::CountBehind(int theFrame, int theCount) const
{
    std::uint64_t aCount = 0;
    for (const Range& aRange : itsRanges)
    {
        const std::int64_t aFirst = std::max(std::int64_t{theFrame} + 1, std::int64_t{aRange.itsFirst});
        aCount +=
            static_cast<std::uint64_t>(std::max<std::int64_t>(GetEnd(aRange, theCount) - aFirst + 1, 0));
    }
    return aCount;
}

std::string FrameSelection::ToText() const
{
    std::string aText;
    for (const Range& aRange : itsRanges)
    {
        aText += (aText.empty() ? "" : ",") + std::to_string(aRange.itsFirst);
        if (aRange.itsLast != aRange.itsFirst)
        {
            aText += "-" + (aRange.itsLast == kOpen ? "" : std::to_string(aRange.itsLast));
        }
    }
    return aText;
}
