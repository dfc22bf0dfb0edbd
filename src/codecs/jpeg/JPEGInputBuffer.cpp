// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/detail/JPEGInputBuffer.h"

#include <algorithm>
#include <utility>

#include "engine/kdu_compressed_source.h"

JPEGInputBuffer::JPEGInputBuffer() = default;
JPEGInputBuffer::~JPEGInputBuffer() = default;
JPEGInputBuffer& JPEGInputBuffer::operator=(JPEGInputBuffer&&) noexcept = default;

std::unique_ptr<std::uint8_t[]> JPEGInputBuffer::Take()
{
    StopKeeping();
    itsNext = itsKept.size();
    itsSuppliedIsNext = false;
    if (itsSuppliedIsCurrent)
    {
        return std::move(itsSupplied);
    }
    if (std::exchange(itsIsTaken, true))
    {
        return nullptr;
    }
    auto aBuffer = std::make_unique<std::uint8_t[]>(kCapacity);
    std::copy_n(itsPresent.itsData, std::clamp(itsPresent.itsCount, 0, kCapacity), aBuffer.get());
    return aBuffer;
}

void JPEGInputBuffer::Supply(std::unique_ptr<std::uint8_t[]> theBuffer)
{
    if (itsSupplied != nullptr)
    {
        itsRetired.push_back(std::move(itsSupplied));
    }
    const auto aKnown = std::find(itsRetired.begin(), itsRetired.end(), theBuffer);
    if (aKnown != itsRetired.end())
    {
        // The same buffer again: it has its one owner already.
        static_cast<void>(theBuffer.release());
        theBuffer = std::move(*aKnown);
        itsRetired.erase(aKnown);
    }
    itsSupplied = std::move(theBuffer);
    itsSuppliedIsCurrent = true;
    itsSuppliedIsNext = true;
}

void JPEGInputBuffer::FillFromSupplied(int theBytes)
{
    itsSuppliedIsNext = false;
    SetPresent({itsSupplied.get(), theBytes});
}

void JPEGInputBuffer::Refill(kdu_compressed_source& theSource)
{
    if (IsRewound())
    {
        itsPresent = itsKept[itsNext];
        if (itsNext++ >= itsStanding.itsKeptFills)
        {
            itsBytesRead = itsPresent.itsCount;
            itsSuppliedIsCurrent = itsPresent.itsData != nullptr && itsPresent.itsData == itsSupplied.get();
        }
        return;
    }
    std::uint8_t* const aRoom = MakeRoom();
    // The source may throw, and what was present may be gone by now.
    itsPresent = {};
    itsSuppliedIsCurrent = false;
    itsIsTaken = false;
    itsBytesRead = theSource.read(aRoom, kCapacity);
    itsUsed += static_cast<std::size_t>(std::clamp(itsBytesRead, 0, kCapacity));
    SetPresent({aRoom, itsBytesRead});
}

std::uint8_t* JPEGInputBuffer::MakeRoom()
{
    if (!itsIsKeeping)
    {
        // Whoever asks for the next fill has done with the one before.
        itsBlocks.resize(std::min<std::size_t>(itsBlocks.size(), 1));
        itsKept.clear();
        itsNext = 0;
        itsUsed = 0;
    }
    if (itsBlocks.empty() || kBlockSize - itsUsed < kCapacity)
    {
        itsBlocks.push_back(std::make_unique_for_overwrite<std::uint8_t[]>(kBlockSize));
        itsUsed = 0;
    }
    return itsBlocks.back().get() + itsUsed;
}

void JPEGInputBuffer::SetPresent(Span theSpan)
{
    itsPresent = theSpan;
    if (itsIsKeeping)
    {
        itsKept.push_back(theSpan);
        itsNext = itsKept.size();
    }
}

void JPEGInputBuffer::StartKeeping()
{
    itsBlocks.resize(std::min<std::size_t>(itsBlocks.size(), 1));
    itsPresent = {};
    itsKept.clear();
    itsNext = 0;
    itsUsed = 0;
    itsTotalBefore = itsTotal;
    itsIsKeeping = true;
}

void JPEGInputBuffer::StopKeeping()
{
    itsIsKeeping = false;
}

void JPEGInputBuffer::BeginAnew()
{
    itsStanding = {itsPresent, itsKept.size(), itsBytesRead, itsTotal, itsSuppliedIsCurrent};
    itsNext = 0;
    itsTotal = itsTotalBefore;
}

void JPEGInputBuffer::GoBack()
{
    itsNext = itsStanding.itsKeptFills;
    itsPresent = itsStanding.itsPresent;
    itsBytesRead = itsStanding.itsBytesRead;
    itsTotal = itsStanding.itsTotal;
    itsSuppliedIsCurrent = itsStanding.itsSuppliedIsCurrent;
}
