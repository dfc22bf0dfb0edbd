// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/NativeFrameReader.h"

#include "toolkit/base/Exceptions.h"
#include "toolkit/io/InputStream.h"

namespace
{
[[noreturn]] void ThrowShortData()
{
    throw StreamIOException("Failed to read the pixel data", DLRC_PIXEL_DATA_TOO_SHORT, 0);
}

/// Moves all bits of the buffer down by theShift (1 … 7); theNext supplies the highest ones.
void ShiftDown(unsigned char* theBuffer, std::uint64_t theCount, unsigned theShift, unsigned char theNext)
{
    for (std::uint64_t i = 0; i < theCount; ++i)
    {
        const unsigned aNext = i + 1 < theCount ? theBuffer[i + 1] : theNext;
        theBuffer[i] = static_cast<unsigned char>((theBuffer[i] >> theShift) | (aNext << (8 - theShift)));
    }
}
} // namespace

NativeFrameReader::NativeFrameReader(InputStream& theStream, std::uint64_t theFrameBits)
    : itsStream(theStream), itsFrameBits(theFrameBits)
{
}

void NativeFrameReader::Expect(int theFrameIndex) const
{
    std::uint64_t aLastBit = 0;
    const long long aLength = itsStream.Length();
    if (theFrameIndex < 0 ||
        __builtin_mul_overflow(itsFrameBits, static_cast<std::uint64_t>(theFrameIndex) + 1, &aLastBit) ||
        (aLength >= 0 && aLastBit / 8 + (aLastBit % 8 != 0) > static_cast<std::uint64_t>(aLength)))
    {
        ThrowShortData();
    }
}

std::uint64_t NativeFrameReader::FirstBit(int theFrameIndex) const
{
    std::uint64_t aFirstBit = 0;
    if (theFrameIndex < 0 ||
        __builtin_mul_overflow(itsFrameBits, static_cast<std::uint64_t>(theFrameIndex), &aFirstBit))
    {
        ThrowShortData();
    }
    return aFirstBit;
}

std::uint64_t NativeFrameReader::ReadWindow(int theFrameIndex, const Layout& theLayout,
                                            const PixelRegion& theWindow, unsigned char* theBuffer)
{
    const std::uint64_t aFrame = FirstBit(theFrameIndex) / 8;
    // Whole rows follow each other without gaps.
    const bool isWhole = theWindow.itsWidth == theLayout.itsColumns;
    const std::uint64_t aStrips = isWhole ? 1 : theWindow.itsHeight;
    const std::uint64_t aStripBytes =
        theWindow.itsWidth * (theWindow.itsHeight / aStrips) * theLayout.itsPixelBytes;
    unsigned char* aTarget = theBuffer;
    for (std::uint64_t p = 0; p < theLayout.itsPlanes; ++p)
    {
        for (std::uint64_t s = 0; s < aStrips; ++s)
        {
            const std::uint64_t aRow = p * theLayout.itsRows + theWindow.itsY + s;
            GoTo(aFrame + (aRow * theLayout.itsColumns + theWindow.itsX) * theLayout.itsPixelBytes);
            Read(aTarget, aStripBytes);
            aTarget += aStripBytes;
        }
    }
    return static_cast<std::uint64_t>(aTarget - theBuffer);
}

std::uint64_t NativeFrameReader::ReadFrame(int theFrameIndex, unsigned char* theBuffer)
{
    const std::uint64_t aFirstBit = FirstBit(theFrameIndex);
    const std::uint64_t aSize = (itsFrameBits + 7) / 8;
    const auto aShift = static_cast<unsigned>(aFirstBit % 8);
    GoTo(aFirstBit / 8);
    Read(theBuffer, aSize);
    if (aShift != 0)
    {
        unsigned char aNext = 0;
        if ((aShift + itsFrameBits + 7) / 8 > aSize)
        {
            Read(&aNext, 1);
        }
        ShiftDown(theBuffer, aSize, aShift, aNext);
    }
    return aSize;
}

void NativeFrameReader::GoTo(std::uint64_t thePosition)
{
    if (itsPosition > 0 && thePosition == itsPosition - 1 && itsLastByteIsKnown)
    {
        itsLastByteIsPending = true;
        itsPosition = thePosition;
        return;
    }
    itsLastByteIsKnown = false;
    if (thePosition < itsPosition ||
        itsStream.SkipFully(thePosition - itsPosition) != thePosition - itsPosition)
    {
        ThrowShortData();
    }
    itsPosition = thePosition;
}

void NativeFrameReader::Read(unsigned char* theBuffer, std::uint64_t theCount)
{
    if (theCount == 0)
    {
        return;
    }
    std::uint64_t aDone = 0;
    if (itsLastByteIsPending)
    {
        itsLastByteIsPending = false;
        theBuffer[aDone++] = itsLastByte;
    }
    aDone += itsStream.ReadFully(theBuffer + aDone, theCount - aDone);
    if (aDone != theCount)
    {
        ThrowShortData();
    }
    itsPosition += theCount;
    itsLastByte = theBuffer[theCount - 1];
    itsLastByteIsKnown = true;
}
