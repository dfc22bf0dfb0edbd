// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// Which frames of an input are asked for, counted from 0. A plain value.
class FrameSelection
{
public:
    /// Frame 0.
    FrameSelection() = default;

    /// "0-9,20" or "5-", which goes to the last frame. Numbers must rise. Throws std::invalid_argument, with
    /// the reason, for anything else.
    static FrameSelection Parse(const std::string& theText);

    int GetFirst() const { return itsRanges.front().itsFirst; }

    /// Whether more than one frame may be meant.
    bool HasSeveral() const
    {
        return itsRanges.size() > 1 || itsRanges.front().itsFirst != itsRanges.front().itsLast;
    }

    /// The next one behind theFrame, of an input that has theCount frames; none at the end. Frames that are
    /// asked for by number are asked for whether there are so many or not.
    std::optional<int> GetNext(int theFrame, int theCount) const;

    /// How many that makes behind theFrame.
    std::uint64_t CountBehind(int theFrame, int theCount) const;

    /// As Parse takes it.
    std::string ToText() const;

private:
    struct Range
    {
        int itsFirst = 0;
        int itsLast = 0; ///< kOpen for the last one that there is
    };
    static constexpr int kOpen = -1;

    static int GetEnd(const Range& theRange, int theCount)
    {
        return theRange.itsLast == kOpen ? theCount - 1 : theRange.itsLast;
    }

    std::vector<Range> itsRanges{Range{}};
};
