// SPDX-License-Identifier: Apache-2.0
#include "codecs/rle/detail/RLEInput.h"

#include <algorithm>
#include <cstring>

namespace
{
constexpr std::size_t kStep = 16;
constexpr std::size_t kMiddle = 64;
constexpr std::uint8_t kNoOperation = 128;
constexpr std::uint64_t kEveryByte = 0x0101010101010101u;
constexpr std::ptrdiff_t kLongestPacketBytes = 129;

/// The moving parts of an RLEPackets, apart from it: a store through a byte pointer would otherwise make the
/// compiler load them anew each time.
struct Cursor
{
    const std::uint8_t* itsIn;
    std::uint8_t* itsOut;
    std::size_t itsLiteralLength;
};

bool IsLiteral(std::uint8_t theControl)
{
    return theControl < kNoOperation;
}

/// For any control byte but kNoOperation.
std::size_t CountSamples(std::uint8_t theControl)
{
    return IsLiteral(theControl) ? theControl + std::size_t{1} : std::size_t{257} - theControl;
}

/// Writes the first 16 samples without asking which kind of packet it is: with short packets the processor
/// cannot predict that, and guessing wrong costs more than the packet.
inline void CopyFirstStep(const std::uint8_t* theIn, std::uint8_t* theOut, std::uint64_t theLiteralMask)
{
    const std::uint64_t aRepeated = theIn[1] * kEveryByte & ~theLiteralMask;
    std::uint64_t aLow = 0;
    std::uint64_t aHigh = 0;
    std::memcpy(&aLow, theIn + 1, sizeof aLow);
    std::memcpy(&aHigh, theIn + 9, sizeof aHigh);
    aLow = (aLow & theLiteralMask) | aRepeated;
    aHigh = (aHigh & theLiteralMask) | aRepeated;
    std::memcpy(theOut, &aLow, sizeof aLow);
    std::memcpy(theOut + 8, &aHigh, sizeof aHigh);
}

/// Writes samples From … To − 1; with both known the compiler makes a few vector moves of it.
template <std::size_t From, std::size_t To>
inline void CopyLiteral(const std::uint8_t* theSamples, std::uint8_t* theOut)
{
    std::memcpy(theOut + From, theSamples + From, To - From);
}

inline void Repeat(std::uint64_t theRepeated, std::uint8_t* theOut, std::size_t theFrom, std::size_t theTo)
{
    for (std::size_t i = theFrom; i < theTo; i += kStep)
    {
        std::memcpy(theOut + i, &theRepeated, sizeof theRepeated);
        std::memcpy(theOut + i + 8, &theRepeated, sizeof theRepeated);
    }
}

/// Writes all samples of the packet, and up to 63 bytes more: lengths come in three classes, because a
/// loop that ends where the packet does is mispredicted for nearly every one.
inline void CopyPacket(const std::uint8_t* theIn, std::uint8_t* theOut, std::size_t theLength)
{
    const std::uint64_t aMask = IsLiteral(*theIn) ? ~std::uint64_t{0} : 0;
    CopyFirstStep(theIn, theOut, aMask);
    if (theLength <= kStep)
    {
        return;
    }
    if (aMask == 0)
    {
        const std::uint64_t aRepeated = theIn[1] * kEveryByte;
        Repeat(aRepeated, theOut, kStep, kMiddle);
        if (theLength > kMiddle)
        {
            Repeat(aRepeated, theOut, kMiddle, RLEPackets::kLongestPacket);
        }
        return;
    }
    CopyLiteral<kStep, kMiddle>(theIn + 1, theOut);
    if (theLength > kMiddle)
    {
        CopyLiteral<kMiddle, RLEPackets::kLongestPacket>(theIn + 1, theOut);
    }
}

inline void CopyPacketAndMove(Cursor& theCursor, std::size_t theLength)
{
    const bool isLiteral = IsLiteral(*theCursor.itsIn);
    CopyPacket(theCursor.itsIn, theCursor.itsOut, theLength);
    theCursor.itsOut += theLength;
    theCursor.itsIn += isLiteral ? theLength + 1 : 2;
    theCursor.itsLiteralLength = isLiteral ? theLength : theCursor.itsLiteralLength;
}

/// Packets that fit whatever their length is, because the longest would.
void DecodeUnchecked(Cursor& theCursor, const std::uint8_t* theInLast, const std::uint8_t* theOutLast)
{
    Cursor aCursor = theCursor;
    while (aCursor.itsIn <= theInLast && aCursor.itsOut <= theOutLast)
    {
        if (*aCursor.itsIn == kNoOperation)
        {
            ++aCursor.itsIn;
            continue;
        }
        CopyPacketAndMove(aCursor, CountSamples(*aCursor.itsIn));
    }
    theCursor = aCursor;
}

/// Goes on packet by packet. theOutLimit: where the samples that are due end.
void DecodeChecked(Cursor& theCursor, const std::uint8_t* theInEnd, const std::uint8_t* theOutEnd,
                   std::uint64_t theSamplesLeft)
{
    while (theCursor.itsIn < theInEnd && theCursor.itsOut < theOutEnd && theSamplesLeft > 0)
    {
        const std::uint8_t aControl = *theCursor.itsIn;
        const std::size_t aLength = RLEPackets::GetSampleCount(aControl);
        const auto anInput = static_cast<std::size_t>(theInEnd - theCursor.itsIn);
        if (anInput < RLEPackets::GetByteCount(aControl) || theSamplesLeft < aLength)
        {
            return;
        }
        if (aControl == kNoOperation)
        {
            ++theCursor.itsIn;
            continue;
        }
        CopyPacketAndMove(theCursor, aLength);
        theSamplesLeft -= aLength;
    }
}
} // namespace

std::size_t RLEPackets::GetSampleCount(std::uint8_t theControl)
{
    return theControl == kNoOperation ? 0 : CountSamples(theControl);
}

std::size_t RLEPackets::GetByteCount(std::uint8_t theControl)
{
    if (theControl == kNoOperation)
    {
        return 1;
    }
    return IsLiteral(theControl) ? theControl + std::size_t{2} : 2;
}

void RLEPackets::Decode()
{
    Cursor aCursor{itsIn, itsOut, itsLiteralLength};
    const std::uint64_t aRoom = itsOut < itsOutEnd ? static_cast<std::uint64_t>(itsOutEnd - itsOut) : 0;
    const std::uint64_t aDue = std::min(itsSamplesLeft, aRoom);
    if (itsInEnd - itsIn >= kLongestPacketBytes && aDue >= kLongestPacket)
    {
        DecodeUnchecked(aCursor, itsInEnd - kLongestPacketBytes, itsOut + (aDue - kLongestPacket));
    }
    const auto aDone = static_cast<std::uint64_t>(aCursor.itsOut - itsOut);
    DecodeChecked(aCursor, itsInEnd, itsOutEnd, itsSamplesLeft - aDone);
    itsSamplesLeft -= static_cast<std::uint64_t>(aCursor.itsOut - itsOut);
    itsIn = aCursor.itsIn;
    itsOut = aCursor.itsOut;
    itsLiteralLength = static_cast<unsigned int>(aCursor.itsLiteralLength);
}
