// SPDX-License-Identifier: Apache-2.0
#include "codecs/detail/JPEGInputBuffer.h"

#include <algorithm>
#include <utility>

#include "engine/kdu_compressed_source.h"

JPEGInputBuffer::JPEGInputBuffer() : itsOwn(std::make_unique<std::uint8_t[]>(theCapacity)) {}

JPEGInputBuffer::~JPEGInputBuffer() = default;

std::unique_ptr<std::uint8_t[]> JPEGInputBuffer::Take()
{
    itsSuppliedIsNext = false;
    return std::move(itsSuppliedIsCurrent ? itsSupplied : itsOwn);
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

bool JPEGInputBuffer::ConsumeSupplied()
{
    return std::exchange(itsSuppliedIsNext, false);
}

int JPEGInputBuffer::Read(kdu_compressed_source& theSource)
{
    if (itsOwn == nullptr)
    {
        itsOwn = std::make_unique<std::uint8_t[]>(theCapacity);
    }
    itsSuppliedIsCurrent = false;
    itsBytesRead = theSource.read(itsOwn.get(), theCapacity);
    return itsBytesRead;
}

const std::uint8_t* JPEGInputBuffer::GetData() const
{
    return (itsSuppliedIsCurrent ? itsSupplied : itsOwn).get();
}
