// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <utility>
#include <vector>

#include "engine/detail/blocks/HTTables.h"

/// Writes the clean-up segment of a high-throughput block (T.814), whichever code words its choice falls on.
class HTEncoder
{
public:
    using Bytes = std::vector<std::uint8_t>;

    /// theChoose(n): a number below n. theSamples in rows; outside the block there are zeros.
    HTEncoder(std::size_t theWidth, std::vector<std::int32_t> theSamples,
              std::function<std::uint32_t(std::uint32_t)> theChoose)
        : itsWidth(theWidth), itsSamples(std::move(theSamples)), itsChoose(std::move(theChoose))
    {
        PutVLC(15, 4); // where half of the suffix's length goes
    }

    Bytes Encode()
    {
        const std::size_t aRows = (itsSamples.size() / itsWidth + 1) / 2;
        for (std::size_t r = 0; r < aRows; ++r)
        {
            for (std::size_t q = 0; 2 * q < itsWidth; q += 2)
            {
                PutPair(r, q, 2 * q + 2 < itsWidth);
            }
        }
        return Finish();
    }

private:
    std::int32_t GetSample(std::size_t theX, std::size_t theY) const // 0 where a coordinate is -1, too
    {
        const std::size_t anIndex = theY * itsWidth + theX;
        return theX < itsWidth && theY < itsSamples.size() / itsWidth ? itsSamples[anIndex] : 0;
    }

    std::uint32_t GetExponent(std::size_t theX, std::size_t theY) const
    {
        const std::int32_t aSample = GetSample(theX, theY);
        return aSample == 0 ? 0
                            : static_cast<std::uint32_t>(
                                  std::bit_width(2 * static_cast<std::uint32_t>(std::abs(aSample)) - 1));
    }

    std::uint32_t GetContext(std::size_t theRow, std::size_t theColumn) const
    {
        const std::size_t x = 2 * theColumn;
        const std::size_t y = 2 * theRow;
        const auto aBit = [this](std::size_t theX, std::size_t theY)
        { return GetSample(theX, theY) != 0 ? 1U : 0U; };
        if (theRow == 0)
        {
            return aBit(x - 2, y) | aBit(x - 2, y + 1) | aBit(x - 1, y) << 1 | aBit(x - 1, y + 1) << 2;
        }
        return aBit(x - 1, y - 1) | aBit(x, y - 1) | (aBit(x - 1, y) | aBit(x - 1, y + 1)) << 1 |
               (aBit(x + 1, y - 1) | aBit(x + 2, y - 1)) << 2;
    }

    std::uint32_t GetKappa(std::size_t theRow, std::size_t theColumn, std::uint32_t theRho) const
    {
        std::uint32_t aLargest = 2;
        for (std::size_t i = 0; i < 4 && theRow > 0 && std::popcount(theRho) > 1; ++i)
        {
            aLargest = std::max(aLargest, GetExponent(2 * theColumn + i - 1, 2 * theRow - 1));
        }
        return aLargest - 1;
    }

    /// Any code that says which samples are significant, and nothing of top bits that is not so. Returns u.
    std::uint32_t PutQuad(std::size_t theRow, std::size_t theColumn)
    {
        std::array<std::uint32_t, 4> anExponents{};
        std::array<std::uint32_t, 4> aValues{}; // 2 (m - 1) + s
        std::uint32_t aRho = 0;
        for (unsigned int n = 0; n < 4; ++n)
        {
            const std::int32_t aSample = GetSample(2 * theColumn + n / 2, 2 * theRow + n % 2);
            anExponents[n] = GetExponent(2 * theColumn + n / 2, 2 * theRow + n % 2);
            aRho |= aSample != 0 ? 1U << n : 0;
            aValues[n] = 2 * static_cast<std::uint32_t>(std::abs(aSample)) - (aSample < 0 ? 1 : 2);
        }
        const std::uint32_t aKappa = GetKappa(theRow, theColumn, aRho);
        const std::uint32_t aWidth =
            std::max(aKappa, *std::max_element(anExponents.begin(), anExponents.end()));
        const std::uint32_t aContext = GetContext(theRow, theColumn);
        if (aContext == 0)
        {
            PutEvent(aRho != 0);
        }
        std::uint32_t aFound = 0;
        const auto& aTable = theRow == 0 ? j2k::kHTFirstRowCodes : j2k::kHTOtherRowCodes;
        const std::uint32_t aStart = itsChoose(128);
        for (std::uint32_t i = 0; i < 128 && aFound == 0 && (aContext != 0 || aRho != 0); ++i)
        {
            const std::uint32_t anIndex = (aStart + i) % 128;
            const std::uint32_t aCode = aTable[128 * aContext + anIndex];
            const bool hasResidual = (aCode & j2k::HTQuad::kHasResidual) != 0;
            bool isRight = (aCode >> j2k::HTQuad::kRhoShift & 15) == aRho && hasResidual == (aWidth > aKappa);
            for (unsigned int n = 0; n < 4; ++n)
            {
                const bool isOne = (aCode >> (j2k::HTQuad::kOnesShift + n) & 1) != 0;
                const bool isKnown = (aCode >> (j2k::HTQuad::kKnownShift + n) & 1) != 0;
                isRight = isRight && (!isKnown || isOne == (anExponents[n] == aWidth));
            }
            if (isRight)
            {
                aFound = aCode;
                PutVLC(anIndex, aCode & j2k::HTQuad::kLengthMask);
            }
        }
        for (unsigned int n = 0; n < 4; ++n)
        {
            if ((aRho >> n & 1) != 0)
            {
                PutMagSgn(aValues[n], aWidth - (aFound >> (j2k::HTQuad::kKnownShift + n) & 1));
            }
        }
        return (aFound & j2k::HTQuad::kHasResidual) != 0 ? aWidth - aKappa : 0;
    }

    void PutPair(std::size_t theRow, std::size_t theColumn, bool hasSecond)
    {
        std::uint32_t aFirst = PutQuad(theRow, theColumn);
        std::uint32_t aSecond = hasSecond ? PutQuad(theRow, theColumn + 1) : 0;
        bool isShort = false;
        if (theRow == 0 && aFirst > 0 && aSecond > 0)
        {
            const bool areLarge = aFirst > 2 && aSecond > 2;
            PutEvent(areLarge);
            aFirst -= areLarge ? 2 : 0;
            aSecond -= areLarge ? 2 : 0;
            isShort = !areLarge && aFirst > 2;
        }
        PutPrefix(aFirst);
        if (isShort)
        {
            PutVLC(aSecond - 1, 1);
        }
        else
        {
            PutPrefix(aSecond);
        }
        PutSuffix(aFirst);
        PutSuffix(aSecond);
    }

    void PutPrefix(std::uint32_t theResidual)
    {
        constexpr std::array<std::uint32_t, 6> kLengths{0, 1, 2, 3, 3, 3};
        const std::uint32_t aLength = kLengths[std::min(theResidual, 5U)];
        PutVLC(theResidual > 4 || aLength == 0 ? 0 : 1U << (aLength - 1), aLength);
    }

    /// No extensions: residuals are at most 32.
    void PutSuffix(std::uint32_t theResidual)
    {
        if (theResidual > 2)
        {
            PutVLC(theResidual - (theResidual > 4 ? 5 : 3), theResidual > 4 ? 5 : 1);
        }
    }

    void PutEvent(bool isOne)
    {
        constexpr std::array<std::uint32_t, 13> kExponents{0, 0, 0, 1, 1, 1, 2, 2, 2, 3, 3, 4, 5};
        const std::uint32_t anExponent = kExponents[itsState];
        if (isOne)
        {
            PutMEL(itsRun, anExponent + 1);
            itsState -= itsState > 0 ? 1 : 0;
            itsRun = 0;
        }
        else if (++itsRun == 1U << anExponent)
        {
            PutMEL(1, 1);
            itsState = std::min(itsState + 1, 12U);
            itsRun = 0;
        }
    }

    /// A stream and the byte that is being filled.
    struct Stream
    {
        bool IsBehind(std::uint32_t theByte) const { return itsBytes.empty() || itsBytes.back() >= theByte; }

        void Add(std::uint32_t theByte, std::uint32_t theSize)
        {
            itsByte = theByte;
            if (++itsCount == theSize)
            {
                itsBytes.push_back(static_cast<std::uint8_t>(itsByte));
                itsByte = 0;
                itsCount = 0;
            }
        }

        Bytes itsBytes;
        std::uint32_t itsByte = 0;
        std::uint32_t itsCount = 0;
    };

    void PutMagSgn(std::uint32_t theBits, std::uint32_t theCount)
    {
        for (Stream& s = itsMagSgn; theCount > 0; --theCount, theBits >>= 1)
        {
            s.Add(s.itsByte | (theBits & 1) << s.itsCount, s.itsBytes.empty() || !s.IsBehind(0xFF) ? 8 : 7);
        }
    }

    void PutVLC(std::uint32_t theBits, std::uint32_t theCount)
    {
        for (Stream& s = itsVLC; theCount > 0; --theCount, theBits >>= 1)
        {
            const std::uint32_t aByte = s.itsByte | (theBits & 1) << s.itsCount;
            s.Add(aByte, aByte == 0x7F && s.IsBehind(0x90) ? 7 : 8);
        }
    }

    void PutMEL(std::uint32_t theBits, std::uint32_t theCount)
    {
        for (Stream& s = itsMEL; theCount-- > 0;)
        {
            s.Add(s.itsByte << 1 | (theBits >> theCount & 1),
                  s.itsBytes.empty() || !s.IsBehind(0xFF) ? 8 : 7);
        }
    }

    Bytes Finish()
    {
        PutMEL(1, itsRun > 0 ? 1 : 0);
        PutMEL(0, (8 - itsMEL.itsCount) % 8);
        PutVLC(0, (8 - itsVLC.itsCount) % 8);
        PutMagSgn(0xFF, (8 - itsMagSgn.itsCount) % 8);
        Bytes aSegment = itsMagSgn.itsBytes;
        aSegment.insert(aSegment.end(), itsMEL.itsBytes.begin(), itsMEL.itsBytes.end());
        aSegment.insert(aSegment.end(), itsVLC.itsBytes.rbegin(), itsVLC.itsBytes.rend());
        const std::size_t aLength = itsMEL.itsBytes.size() + itsVLC.itsBytes.size() + 1;
        aSegment.back() = static_cast<std::uint8_t>((aSegment.back() & 0xF0U) | aLength % 16);
        aSegment.push_back(static_cast<std::uint8_t>(aLength / 16));
        return aSegment;
    }

    std::size_t itsWidth;
    std::vector<std::int32_t> itsSamples;
    std::function<std::uint32_t(std::uint32_t)> itsChoose;
    Stream itsMagSgn;
    Stream itsVLC;
    Stream itsMEL;
    std::uint32_t itsState = 0;
    std::uint32_t itsRun = 0;
};
