// SPDX-License-Identifier: Apache-2.0
#include "run/FrameSequence.h"

#include <algorithm>
#include <system_error>

FrameSequence::FrameSequence(const Source& theSource, Finisher theFinisher, int theThreads)
    : itsSource(theSource), itsFinisher(std::move(theFinisher)),
      itsThreads(static_cast<std::size_t>(theThreads)), itsNext(theSource.itsFrames.GetFirst())
{
}

/// Only its data set tells how many there are.
FinishedFrame FrameSequence::TakeFirst()
{
    itsIsBegun = true;
    const auto aDecoder = FrameDecoder::Create(itsSource.itsKind, itsSource.itsInput, itsSource.itsSettings);
    DecodedFrame aFrame = aDecoder->Decode(*itsNext);
    itsCount = aDecoder->GetNumberOfFrames(aFrame);
    return itsFinisher(std::move(aFrame), FindNext(*itsNext).has_value());
}

FinishedFrame FrameSequence::Make(int theFrame) const
{
    const auto aDecoder = FrameDecoder::Create(itsSource.itsKind, itsSource.itsInput, itsSource.itsSettings);
    return itsFinisher(aDecoder->Decode(theFrame), true);
}

FinishedFrame FrameSequence::TakeNext(bool isLast)
{
    FinishedFrame aFrame;
    if (!itsIsBegun)
    {
        aFrame = TakeFirst();
    }
    else
    {
        if (!isLast)
        {
            MakeAhead();
        }
        if (itsAhead.empty())
        {
            aFrame = Make(*itsNext);
        }
        else
        {
            aFrame = itsAhead.front().get();
            itsAhead.pop_front();
        }
    }
    itsNext = FindNext(*itsNext);
    return aFrame;
}

void FrameSequence::MakeAhead()
{
    if (itsThreads == 1)
    {
        return;
    }
    std::optional<int> aFrame = itsNext;
    for (std::size_t i = 0; i < itsAhead.size() && aFrame; ++i)
    {
        aFrame = FindNext(*aFrame);
    }
    try
    {
        while (aFrame && itsAhead.size() < itsThreads)
        {
            itsAhead.push_back(std::async(std::launch::async, &FrameSequence::Make, this, *aFrame));
            aFrame = FindNext(*aFrame);
        }
    }
    catch (const std::system_error&)
    {
        itsThreads = std::max<std::size_t>(itsAhead.size(), 1); // no more threads to be had
    }
}

std::uint64_t FrameSequence::CountLeft() const
{
    return itsNext ? 1 + itsSource.itsFrames.CountBehind(*itsNext, itsCount) : 0;
}
