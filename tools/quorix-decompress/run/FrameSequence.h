// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <functional>
#include <future>
#include <optional>
#include <string>

#include "decode/FrameDecoder.h"
#include "report/FrameReport.h"
#include "run/FrameSelection.h"

/// Why an output was not written.
struct WriteFailure
{
    std::string itsReason; ///< empty where it was
    bool itsIsRefusal = false;
};

/// A frame with all that can be done of it without regard to the others.
struct FinishedFrame
{
    DecodedFrame itsFrame;
    std::optional<FrameReport> itsReport; ///< where somebody wants lines of facts
    std::string itsOutput;                ///< empty for none
    WriteFailure itsFailure;
};

/// The frames of one input that are asked for, one after the other; those that come next are decoded and
/// finished meanwhile, each on a thread of its own. Used by one thread.
class FrameSequence
{
public:
    struct Source
    {
        JImageType itsKind;
        const InputSource& itsInput; ///< loaded; borrowed
        DecodeSettings itsSettings;
        const FrameSelection& itsFrames; ///< borrowed
    };

    /// Writes a frame and describes it, hasSeveral telling whether the input has more outputs than this one.
    /// Called from several threads at once where there are several; never throws.
    using Finisher = std::function<FinishedFrame(DecodedFrame theFrame, bool hasSeveral)>;

    /// theThreads: frames that are worked on at a time, at least 1.
    FrameSequence(const Source& theSource, Finisher theFinisher, int theThreads);

    /// Whether there is one more.
    bool HasNext() const { return itsNext.has_value(); }

    /// Its number.
    int GetNextIndex() const { return *itsNext; }

    /// Whether it is being made already.
    bool IsNextBegun() const { return !itsAhead.empty(); }

    /// Waits for it. isLast: no other is begun meanwhile.
    FinishedFrame TakeNext(bool isLast = false);

    /// Frames of the input, which is known once the first one was taken; 1 before.
    int GetCount() const { return itsCount; }

    /// How many are left of those asked for.
    std::uint64_t CountLeft() const;

private:
    FinishedFrame TakeFirst();
    FinishedFrame Make(int theFrame) const;
    void MakeAhead();
    std::optional<int> FindNext(int theFrame) const
    {
        return itsSource.itsFrames.GetNext(theFrame, itsCount);
    }

    Source itsSource;
    Finisher itsFinisher;
    std::size_t itsThreads;
    int itsCount = 1;
    bool itsIsBegun = false;
    std::optional<int> itsNext;
    std::deque<std::future<FinishedFrame>> itsAhead; ///< those from itsNext on
};
