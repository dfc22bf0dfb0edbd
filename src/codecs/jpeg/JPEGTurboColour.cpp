// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/detail/JPEGTurboColour.h"

#include <algorithm>
#include <utility>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "codecs/jpeg/JPEGTurboColour.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace JPEGTurboColourVectors
{
namespace HWY_NAMESPACE
{
namespace hn = hwy::HWY_NAMESPACE;

using Ints = hn::CappedTag<int32_t, 8>;
using Words = hn::Rebind<uint16_t, Ints>;
using IntVector = hn::Vec<Ints>;

/// Three parts of a row and one of the next one above or below; of four times 4095 all 14 bits are needed.
void SumRows(const uint16_t* theNear, const uint16_t* theFar, size_t theCount, uint16_t* theSums)
{
    const Words aTag;
    for (size_t i = 0; i < theCount; i += hn::Lanes(aTag))
    {
        const auto aNear = hn::LoadU(aTag, theNear + i);
        const auto aSum = hn::Add(hn::Add(aNear, hn::Add(aNear, aNear)), hn::LoadU(aTag, theFar + i));
        hn::StoreU(aSum, aTag, theSums + i);
    }
}

/// Between two samples there are two new ones, each three parts of the nearer and one of the other. Halves
/// are rounded in turn. theShift: 2 for samples, 4 for sums. Reads one sample before and some behind.
template <int theShift>
void Widen(const uint16_t* theSums, size_t theCount, uint16_t* theOutput)
{
    const Words aTag;
    const auto aLeftRounding = hn::Set(aTag, uint16_t{theShift == 2 ? 1 : 8});
    const auto aRightRounding = hn::Set(aTag, uint16_t{theShift == 2 ? 2 : 7});
    for (size_t i = 0; i < theCount; i += hn::Lanes(aTag))
    {
        const auto aSum = hn::LoadU(aTag, theSums + i);
        const auto aTriple = hn::Add(aSum, hn::Add(aSum, aSum));
        const auto aLeft = hn::Add(hn::Add(aTriple, hn::LoadU(aTag, theSums + i - 1)), aLeftRounding);
        const auto aRight = hn::Add(hn::Add(aTriple, hn::LoadU(aTag, theSums + i + 1)), aRightRounding);
        hn::StoreInterleaved2(hn::ShiftRight<theShift>(aLeft), hn::ShiftRight<theShift>(aRight), aTag,
                              theOutput + 2 * i);
    }
}

/// A row of theCount samples, whose sums are there already or, without theFar, taken from theNear; both have
/// one more vector of room.
void WidenRow(const uint16_t* theNear, const uint16_t* theFar, size_t theCount, uint16_t* theSums,
              uint16_t* theOutput)
{
    if (theFar != nullptr)
    {
        SumRows(theNear, theFar, theCount, theSums + 1);
    }
    else
    {
        std::copy_n(theNear, theCount, theSums + 1);
    }
    theSums[0] = theSums[1];
    theSums[theCount + 1] = theSums[theCount];
    theFar != nullptr ? Widen<4>(theSums + 1, theCount, theOutput)
                      : Widen<2>(theSums + 1, theCount, theOutput);
}

/// Rounds products with factors in units of 1/65536.
HWY_INLINE IntVector Scale(IntVector theProducts)
{
    return hn::ShiftRight<16>(hn::Add(theProducts, hn::Set(Ints(), 1 << 15)));
}

HWY_INLINE hn::Vec<Words> Limit(IntVector theValues)
{
    const Ints aTag;
    return hn::DemoteTo(Words(), hn::Clamp(theValues, hn::Zero(aTag), hn::Set(aTag, 4095)));
}

HWY_INLINE void PutPixels(const std::array<const uint16_t*, 3>& theRows, size_t theFirst, bool isConverted,
                          uint16_t* theOutput)
{
    const Ints aTag;
    const Words aWordTag;
    const auto aFirst = hn::LoadU(aWordTag, theRows[0] + theFirst);
    const auto aSecond = hn::LoadU(aWordTag, theRows[1] + theFirst);
    const auto aThird = hn::LoadU(aWordTag, theRows[2] + theFirst);
    if (!isConverted)
    {
        hn::StoreInterleaved3(aFirst, aSecond, aThird, aWordTag, theOutput);
        return;
    }
    const auto aTimes = [](IntVector theVector, int32_t theFactor)
    { return hn::Mul(theVector, hn::Set(Ints(), theFactor)); };
    const IntVector aCentre = hn::Set(aTag, 2048);
    const IntVector aY = hn::PromoteTo(aTag, aFirst);
    const IntVector aCb = hn::Sub(hn::PromoteTo(aTag, aSecond), aCentre);
    const IntVector aCr = hn::Sub(hn::PromoteTo(aTag, aThird), aCentre);
    const IntVector aGreen = Scale(hn::Add(aTimes(aCb, -22554), aTimes(aCr, -46802)));
    hn::StoreInterleaved3(Limit(hn::Add(aY, Scale(aTimes(aCr, 91881)))), Limit(hn::Add(aY, aGreen)),
                          Limit(hn::Add(aY, Scale(aTimes(aCb, 116130)))), aWordTag, theOutput);
}

/// The rows have whole vectors, the output has not.
void PutRow(const std::array<const uint16_t*, 3>& theRows, size_t theCount, bool isConverted,
            uint16_t* theOutput)
{
    const size_t aStep = hn::Lanes(Words());
    size_t i = 0;
    for (; i + aStep <= theCount; i += aStep)
    {
        PutPixels(theRows, i, isConverted, theOutput + 3 * i);
    }
    if (i < theCount)
    {
        std::array<uint16_t, 24> aRest;
        PutPixels(theRows, i, isConverted, aRest.data());
        std::copy_n(aRest.begin(), 3 * (theCount - i), theOutput + 3 * i);
    }
}
} // namespace HWY_NAMESPACE
} // namespace JPEGTurboColourVectors
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace JPEGTurboColourVectors
{
HWY_EXPORT(WidenRow);
HWY_EXPORT(PutRow);
} // namespace JPEGTurboColourVectors

JPEGTurboColour::JPEGTurboColour(Planes thePlanes, std::size_t theWidth, bool isConverted)
    : itsPlanes(std::move(thePlanes)), itsWidth(theWidth), itsIsConverted(isConverted)
{
    for (std::size_t i = 0; i < itsPlanes.size(); ++i)
    {
        const std::size_t aWidth = itsPlanes[i].itsBlocks * 8;
        itsWindows[i].itsSamples.resize(2 * 8 * aWidth);
        itsWindows[i].itsSums.resize(aWidth + 16);
        itsWindows[i].itsWide.resize(2 * aWidth);
    }
}

/// Of the two rows of blocks, the one that is not needed any more makes room.
const std::uint16_t* JPEGTurboColour::GetSamples(std::size_t theComponent, std::size_t theRow)
{
    Window& aWindow = itsWindows[theComponent];
    const Plane& aPlane = itsPlanes[theComponent];
    const std::size_t aRowSamples = aPlane.itsBlocks * 8;
    for (; aWindow.itsBlockRows <= theRow / 8; ++aWindow.itsBlockRows)
    {
        aPlane.itsTransform(aWindow.itsBlockRows,
                            aWindow.itsSamples.data() + aWindow.itsBlockRows % 2 * 8 * aRowSamples);
    }
    return aWindow.itsSamples.data() + theRow % 16 * aRowSamples;
}

const std::uint16_t* JPEGTurboColour::GetWide(std::size_t theComponent, std::size_t theRow)
{
    using namespace JPEGTurboColourVectors;
    const Plane& aPlane = itsPlanes[theComponent];
    Window& aWindow = itsWindows[theComponent];
    const std::size_t aNearRow = aPlane.itsIsHalfHigh ? theRow / 2 : theRow;
    const std::uint16_t* const aNear = GetSamples(theComponent, aNearRow);
    if (!aPlane.itsIsHalfWide)
    {
        return aNear;
    }
    if (aPlane.itsWidth <= 2)
    {
        // The library does not interpolate so few.
        for (std::size_t i = 0; i < 2 * aPlane.itsWidth; ++i)
        {
            aWindow.itsWide[i] = aNear[i / 2];
        }
        return aWindow.itsWide.data();
    }
    const std::uint16_t* aFar = nullptr;
    if (aPlane.itsIsHalfHigh)
    {
        // Outside of the image, its first and last row go on.
        const std::size_t aFarRow = theRow % 2 == 0 ? std::max<std::size_t>(aNearRow, 1) - 1
                                                    : std::min(aNearRow + 1, aPlane.itsHeight - 1);
        aFar = GetSamples(theComponent, aFarRow);
    }
    HWY_DYNAMIC_DISPATCH(WidenRow)
    (aNear, aFar, aPlane.itsWidth, aWindow.itsSums.data(), aWindow.itsWide.data());
    return aWindow.itsWide.data();
}

void JPEGTurboColour::MakeRow(std::size_t theRow, std::uint16_t* theOutput)
{
    using namespace JPEGTurboColourVectors;
    const std::array aRows = {GetWide(0, theRow), GetWide(1, theRow), GetWide(2, theRow)};
    HWY_DYNAMIC_DISPATCH(PutRow)(aRows, itsWidth, itsIsConverted, theOutput);
}
#endif
