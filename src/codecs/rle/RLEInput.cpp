// SPDX-License-Identifier: Apache-2.0
#include "codecs/rle/detail/RLEInput.h"

#include <algorithm>
#include <cstring>
#include <utility>

RLEInput::RLEInput(kdu_compressed_source& theSource) : itsSource(theSource) {}

int RLEInput::Read(kdu_byte* theBuffer, int theCount)
{
    const auto aCount = static_cast<std::size_t>(theCount);
    if (aCount > GetWindowSize())
    {
        return ReadPastWindow(theBuffer, theCount);
    }
    std::memcpy(theBuffer, GetWindow(), aCount);
    Consume(aCount);
    return theCount;
}

int RLEInput::ReadPastWindow(kdu_byte* theBuffer, int theCount)
{
    const auto aKept = static_cast<int>(GetWindowSize());
    if (aKept > 0)
    {
        std::memcpy(theBuffer, GetWindow(), GetWindowSize());
        itsBegin = itsEnd;
    }
    const int aRest = theCount - aKept;
    const int aResult = itsHasPendingAnswer ? 0 : ReadBehindWindow(theBuffer + aKept, aRest);
    if (itsHasPendingAnswer)
    {
        // One read would have delivered what there was; the next one tells why it was not more.
        return aKept > 0 ? aKept : TakePendingAnswer();
    }
    if (aResult == aRest)
    {
        itsPosition += static_cast<std::uint64_t>(theCount);
    }
    return aKept + aResult;
}

/// Reads once. Where no bytes come, what came instead becomes the pending answer; 0 is returned then.
int RLEInput::ReadBehindWindow(kdu_byte* theBuffer, int theCount)
{
    try
    {
        itsPendingAnswer = itsSource.read(theBuffer, theCount);
    }
    catch (...)
    {
        itsPendingException = std::current_exception();
        itsPendingAnswer = 0;
    }
    itsHasPendingAnswer = itsPendingAnswer <= 0;
    return itsHasPendingAnswer ? 0 : itsPendingAnswer;
}

int RLEInput::TakePendingAnswer()
{
    itsHasPendingAnswer = false;
    if (itsPendingException)
    {
        std::rethrow_exception(std::exchange(itsPendingException, nullptr));
    }
    return itsPendingAnswer;
}

bool RLEInput::ReadAhead(std::uint64_t theWanted)
{
    if (itsHasPendingAnswer)
    {
        return false;
    }
    MoveWindowToFront();
    const auto aWanted = static_cast<int>(std::min<std::uint64_t>(theWanted, kWindowBytes - itsEnd));
    if (aWanted == 0)
    {
        return false;
    }
    const int aResult = ReadBehindWindow(itsWindow.get() + itsEnd, aWanted);
    itsEnd += static_cast<std::size_t>(std::min(aResult, aWanted));
    return aResult > 0;
}

void RLEInput::MoveWindowToFront()
{
    if (!itsWindow)
    {
        // The slack is cleared because it is copied around, though never used.
        itsWindow = std::make_unique_for_overwrite<kdu_byte[]>(kWindowBytes + kSlack);
        std::memset(itsWindow.get() + kWindowBytes, 0, kSlack);
    }
    const std::size_t aSize = GetWindowSize();
    if (aSize > 0 && itsBegin > 0)
    {
        std::memmove(itsWindow.get(), GetWindow(), aSize);
    }
    itsBegin = 0;
    itsEnd = aSize;
}

void RLEInput::Consume(std::size_t theCount)
{
    itsBegin += theCount;
    itsPosition += theCount;
}
