// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/detail/JPEGLosslessInput.h"

#include <algorithm>

JPEGLosslessInput::JPEGLosslessInput(JPEGLosslessSource& theSource) : itsSource(theSource) {}

void JPEGLosslessInput::Begin()
{
    itsReservoir = Reservoir{0, 0, itsBytes.data()};
    itsEnd = itsBytes.data();
    itsAfterFF = false;
    itsOverrun = false;
    itsEnded = itsSource.GetMarker() != 0;
    std::fill_n(itsEnd, 2 * kWordBytes, std::uint8_t{0});
    // Without data, the first refill supplies them.
    itsLimit = itsEnded ? itsEnd + kWordBytes : nullptr;
}

JPEGLosslessInput::Reservoir JPEGLosslessInput::Supply(Reservoir theReservoir)
{
    if (!itsEnded)
    {
        const auto aRest = static_cast<std::size_t>(itsEnd - theReservoir.itsNext);
        std::memmove(itsBytes.data(), theReservoir.itsNext, aRest);
        theReservoir.itsNext = itsBytes.data();
        itsEnd = itsBytes.data() + aRest;
        while (!itsEnded && static_cast<std::size_t>(itsEnd - itsBytes.data()) < kWordBytes)
        {
            Unstuff();
        }
        if (itsEnded)
        {
            std::fill_n(itsEnd, 2 * kWordBytes, std::uint8_t{0});
        }
    }
    else
    {
        // More than a word of zeros has been used; they all look alike.
        itsOverrun = true;
        theReservoir.itsNext = itsEnd;
    }
    itsLimit = itsEnded ? itsEnd + kWordBytes : itsEnd - kWordBytes;
    return theReservoir;
}

/// Takes as many bytes as the source has at hand and there is room for.
void JPEGLosslessInput::Unstuff()
{
    const JPEGLosslessSource::Bytes aGiven = itsSource.Peek();
    const auto aRoom = kCapacity - static_cast<std::size_t>(itsEnd - itsBytes.data());
    const std::uint8_t* aByte = aGiven.itsBegin;
    const std::uint8_t* const aStop = aByte + std::min(aGiven.itsCount, aRoom);
    while (aByte != aStop)
    {
        if (itsAfterFF)
        {
            const std::uint8_t aFollower = *aByte++;
            if (aFollower == 0)
            {
                *itsEnd++ = 0xff;
                itsAfterFF = false;
            }
            else if (aFollower != 0xff)
            {
                itsEnded = true;
                itsSource.SetMarker(aFollower);
                break;
            }
            continue;
        }
        const auto aLength = static_cast<std::size_t>(aStop - aByte);
        const auto* const anFF = static_cast<const std::uint8_t*>(std::memchr(aByte, 0xff, aLength));
        const std::size_t aPlain = anFF != nullptr ? static_cast<std::size_t>(anFF - aByte) : aLength;
        std::memcpy(itsEnd, aByte, aPlain);
        itsEnd += aPlain;
        aByte += aPlain;
        if (anFF != nullptr)
        {
            ++aByte;
            itsAfterFF = true;
        }
    }
    itsSource.Advance(static_cast<std::size_t>(aByte - aGiven.itsBegin));
}

bool JPEGLosslessInput::IsOverrun(Reservoir theReservoir) const
{
    const std::ptrdiff_t aBits = (theReservoir.itsNext - itsEnd) * 8;
    return itsEnded && (itsOverrun || aBits > static_cast<std::ptrdiff_t>(theReservoir.itsCount & 255));
}

std::size_t JPEGLosslessInput::Finish()
{
    const std::ptrdiff_t aBits =
        (itsEnd - itsReservoir.itsNext) * 8 + static_cast<std::ptrdiff_t>(itsReservoir.itsCount & 255);
    std::size_t aLeftOver = itsOverrun || aBits < 0 ? 0 : static_cast<std::size_t>(aBits / 8);
    itsEnd = itsBytes.data();
    while (itsAfterFF && !itsEnded)
    {
        // The marker may begin with the last byte taken.
        Unstuff();
    }
    aLeftOver += static_cast<std::size_t>(itsEnd - itsBytes.data());
    return aLeftOver;
}
