// SPDX-License-Identifier: Apache-2.0
#include "support/RleEncoder.h"

#include <algorithm>

namespace
{
using RleEncoder::Bytes;

/// Equal bytes from theFirst on, or with theWantsEqual false bytes that each differ from the next; 128 at
/// most.
std::size_t CountRun(const Bytes& thePlane, std::size_t theFirst, std::size_t theEnd, bool theWantsEqual)
{
    const std::size_t aLast = std::min(theEnd, theFirst + 128);
    std::size_t i = theFirst + 1;
    while (i < aLast && (thePlane[i] == thePlane[i - 1]) == theWantsEqual)
    {
        ++i;
    }
    return i - theFirst;
}

void PackRow(const Bytes& thePlane, std::size_t theFirst, std::size_t theEnd, Bytes& theOutput)
{
    while (theFirst < theEnd)
    {
        const auto aBegin = thePlane.begin() + static_cast<std::ptrdiff_t>(theFirst);
        std::size_t aCount = CountRun(thePlane, theFirst, theEnd, true);
        const bool isRepeat = aCount >= 2;
        aCount = isRepeat ? aCount : CountRun(thePlane, theFirst, theEnd, false);
        theOutput.push_back(static_cast<std::uint8_t>(isRepeat ? 257 - aCount : aCount - 1));
        theOutput.insert(theOutput.end(), aBegin,
                         aBegin + static_cast<std::ptrdiff_t>(isRepeat ? 1 : aCount));
        theFirst += aCount;
    }
}

void Put32(std::uint32_t theValue, Bytes& theOutput)
{
    for (int aShift = 0; aShift < 32; aShift += 8)
    {
        theOutput.push_back(static_cast<std::uint8_t>(theValue >> aShift));
    }
}
} // namespace

Bytes RleEncoder::PackBits(const Bytes& thePlane, std::size_t theRowLength)
{
    const std::size_t aRow = theRowLength == 0 ? std::max<std::size_t>(thePlane.size(), 1) : theRowLength;
    Bytes aResult;
    for (std::size_t i = 0; i < thePlane.size(); i += aRow)
    {
        PackRow(thePlane, i, std::min(thePlane.size(), i + aRow), aResult);
    }
    return aResult;
}

Bytes RleEncoder::Header(std::uint32_t theCount, const std::vector<std::uint32_t>& theOffsets)
{
    Bytes aResult;
    Put32(theCount, aResult);
    for (std::size_t i = 0; i < 15; ++i)
    {
        Put32(i < theOffsets.size() ? theOffsets[i] : 0, aResult);
    }
    return aResult;
}

Bytes RleEncoder::Frame(const std::vector<Bytes>& theSegments)
{
    Bytes aBody;
    std::vector<std::uint32_t> anOffsets;
    for (const Bytes& aSegment : theSegments)
    {
        anOffsets.push_back(static_cast<std::uint32_t>(64 + aBody.size()));
        aBody.insert(aBody.end(), aSegment.begin(), aSegment.end());
        if (aBody.size() % 2 != 0)
        {
            aBody.push_back(0);
        }
    }
    Bytes aResult = Header(static_cast<std::uint32_t>(theSegments.size()), anOffsets);
    aResult.insert(aResult.end(), aBody.begin(), aBody.end());
    return aResult;
}

Bytes RleEncoder::Encode(const Bytes& thePixels, std::size_t theBytesPerSample,
                         std::size_t theSamplesPerPixel, std::size_t theColumns)
{
    const std::size_t aPixelBytes = theBytesPerSample * theSamplesPerPixel;
    std::vector<Bytes> aSegments;
    for (std::size_t s = 0; s < theSamplesPerPixel; ++s)
    {
        for (std::size_t b = theBytesPerSample; b-- > 0;) // the most significant byte first
        {
            Bytes aPlane;
            for (std::size_t i = s * theBytesPerSample + b; i < thePixels.size(); i += aPixelBytes)
            {
                aPlane.push_back(thePixels[i]);
            }
            aSegments.push_back(PackBits(aPlane, theColumns));
        }
    }
    return Frame(aSegments);
}
