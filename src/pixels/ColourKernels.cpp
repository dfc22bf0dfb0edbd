// SPDX-License-Identifier: Apache-2.0
#include "pixels/detail/ColourKernels.h"

#include <cstring>

// This file is compiled once for each instruction set; the best one is chosen when the program runs. Scalable
// vectors (SVE) are left out: they cannot be members of a struct, and most of what is done here takes 16
// bytes at once, for which NEON serves as well.
#define HWY_DISABLED_TARGETS (HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "pixels/ColourKernels.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace ColourVectors
{
namespace HWY_NAMESPACE
{
// Every function does as many whole vectors as fit and returns how many pixels, groups or words that
// were; the plain loops do the rest. On machines without vectors there is nothing to do here.
#if HWY_TARGET == HWY_SCALAR

size_t ConvertTriplets(const uint8_t*, uint8_t*, size_t, uint8_t)
{
    return 0;
}
size_t ConvertPlanes(const uint8_t*, const uint8_t*, const uint8_t*, uint8_t*, size_t, uint8_t)
{
    return 0;
}
size_t Convert422(const uint8_t*, uint8_t*, size_t, uint8_t)
{
    return 0;
}
size_t Interleave(const uint8_t*, const uint8_t*, const uint8_t*, uint8_t*, size_t)
{
    return 0;
}
size_t ReduceWords(const uint8_t*, uint8_t*, size_t, const WordReduction&)
{
    return 0;
}
size_t ConvertWords(const uint8_t*, uint8_t*, size_t, const WordSamples&)
{
    return 0;
}

#else

namespace hn = hwy::HWY_NAMESPACE;

// At most one block of bytes: the interleaving of 422 pairs relies on it.
using Words = hn::CappedTag<int16_t, 16>;
using Bytes = hn::Rebind<uint8_t, Words>;
using Pairs = hn::RepartitionToWide<Words>; // two neighbouring words in one 32-bit lane
using Floats = hn::RebindToFloat<Pairs>;
using WordVector = hn::Vec<Words>;
using ByteVector = hn::Vec<Bytes>;
using FloatVector = hn::Vec<Floats>;

struct RGBVectors
{
    ByteVector itsRed;
    ByteVector itsGreen;
    ByteVector itsBlue;
};

/// The even and the odd words of a vector, as floats.
struct FloatHalves
{
    FloatVector itsEven;
    FloatVector itsOdd;
};

/// What the chrominance samples add to or take from the luminance of every pixel that shares them.
struct Chroma
{
    WordVector itsRed;
    WordVector itsBlue;
    FloatHalves itsGreenFromBlue;
    FloatHalves itsGreenFromRed;
};

/// theWords are 0 to 255.
HWY_INLINE FloatHalves Split(WordVector theWords)
{
    const Pairs aTag;
    const auto aPairs = hn::BitCast(aTag, theWords);
    return {hn::ConvertTo(Floats(), hn::And(aPairs, hn::Set(aTag, 0xffff))),
            hn::ConvertTo(Floats(), hn::ShiftRight<16>(aPairs))};
}

HWY_INLINE WordVector TruncateAndJoin(FloatVector theEven, FloatVector theOdd)
{
    const Pairs aTag;
    const auto anEven = hn::And(hn::ConvertTo(aTag, theEven), hn::Set(aTag, 0xffff));
    return hn::BitCast(Words(), hn::Or(anEven, hn::ShiftLeft<16>(hn::ConvertTo(aTag, theOdd))));
}

/// (sample - 128) times a factor, sample by sample.
HWY_INLINE FloatHalves Scale(const FloatHalves& theSamples, float theFactor)
{
    const auto aCentre = hn::Set(Floats(), 128.0f);
    const auto aFactor = hn::Set(Floats(), theFactor);
    return {hn::Mul(aFactor, hn::Sub(theSamples.itsEven, aCentre)),
            hn::Mul(aFactor, hn::Sub(theSamples.itsOdd, aCentre))};
}

/// floor(theChroma * (1 + theFraction / 2^15)).
///
/// Exact for red, 1.402 = 701/500, and blue, 1.772 = 443/250: other than at 0, the product is at least
/// 1/500 away from every integer, and neither this fraction's error (0.001 at most) nor the rounding of
/// the plain formula reaches that far. Floor differs from truncation only where the clamp hides it.
HWY_INLINE WordVector ScaleToInteger(WordVector theChroma, int16_t theFraction)
{
    const auto aProduct = hn::MulHigh(hn::Add(theChroma, theChroma), hn::Set(Words(), theFraction));
    return hn::Add(theChroma, aProduct);
}

HWY_INLINE Chroma MakeChroma(ByteVector theCb, ByteVector theCr)
{
    const Words aTag;
    const auto aCentre = hn::Set(aTag, 128);
    const WordVector aCb = hn::PromoteTo(aTag, theCb);
    const WordVector aCr = hn::PromoteTo(aTag, theCr);
    return {ScaleToInteger(hn::Sub(aCr, aCentre), 13173), ScaleToInteger(hn::Sub(aCb, aCentre), 25297),
            Scale(Split(aCb), 0.344136f), Scale(Split(aCr), 0.714136f)};
}

/// Green has no such margin and stays in floats. Products and differences stay apart, in the plain
/// formula's order: fused operations would round differently.
HWY_INLINE WordVector MakeGreen(WordVector theY, const Chroma& theChroma)
{
    const FloatHalves aY = Split(theY);
    return TruncateAndJoin(
        hn::Sub(hn::Sub(aY.itsEven, theChroma.itsGreenFromBlue.itsEven), theChroma.itsGreenFromRed.itsEven),
        hn::Sub(hn::Sub(aY.itsOdd, theChroma.itsGreenFromBlue.itsOdd), theChroma.itsGreenFromRed.itsOdd));
}

HWY_INLINE RGBVectors MakeRGB(ByteVector theY, const Chroma& theChroma, ByteVector theBias)
{
    const Bytes aTag;
    const WordVector aY = hn::PromoteTo(Words(), theY);
    // Going down to bytes clamps to 0 to 255.
    return {hn::Xor(hn::DemoteTo(aTag, hn::Add(aY, theChroma.itsRed)), theBias),
            hn::Xor(hn::DemoteTo(aTag, MakeGreen(aY, theChroma)), theBias),
            hn::Xor(hn::DemoteTo(aTag, hn::Add(aY, theChroma.itsBlue)), theBias)};
}

HWY_INLINE void ConvertVector(ByteVector theY, ByteVector theCb, ByteVector theCr, ByteVector theBias,
                              uint8_t* theOutput)
{
    const Chroma aChroma = MakeChroma(hn::Xor(theCb, theBias), hn::Xor(theCr, theBias));
    const RGBVectors aRGB = MakeRGB(hn::Xor(theY, theBias), aChroma, theBias);
    hn::StoreInterleaved3(aRGB.itsRed, aRGB.itsGreen, aRGB.itsBlue, Bytes(), theOutput);
}

size_t ConvertTriplets(const uint8_t* theInput, uint8_t* theOutput, size_t thePixels, uint8_t theBias)
{
    const Bytes aTag;
    const size_t aStep = hn::Lanes(aTag);
    const ByteVector aBias = hn::Set(aTag, theBias);
    size_t p = 0;
    for (; p + aStep <= thePixels; p += aStep)
    {
        ByteVector aY, aCb, aCr;
        hn::LoadInterleaved3(aTag, theInput + 3 * p, aY, aCb, aCr);
        ConvertVector(aY, aCb, aCr, aBias, theOutput + 3 * p);
    }
    return p;
}

size_t ConvertPlanes(const uint8_t* theY, const uint8_t* theCb, const uint8_t* theCr, uint8_t* theOutput,
                     size_t thePixels, uint8_t theBias)
{
    const Bytes aTag;
    const size_t aStep = hn::Lanes(aTag);
    const ByteVector aBias = hn::Set(aTag, theBias);
    size_t p = 0;
    for (; p + aStep <= thePixels; p += aStep)
    {
        ConvertVector(hn::LoadU(aTag, theY + p), hn::LoadU(aTag, theCb + p), hn::LoadU(aTag, theCr + p),
                      aBias, theOutput + 3 * p);
    }
    return p;
}

size_t Convert422(const uint8_t* theInput, uint8_t* theOutput, size_t theGroups, uint8_t theBias)
{
    const Bytes aTag;
    const size_t aStep = hn::Lanes(aTag);
    const ByteVector aBias = hn::Set(aTag, theBias);
    size_t g = 0;
    for (; g + aStep <= theGroups; g += aStep)
    {
        ByteVector aY0, aY1, aCb, aCr;
        hn::LoadInterleaved4(aTag, theInput + 4 * g, aY0, aY1, aCb, aCr);
        const Chroma aChroma = MakeChroma(hn::Xor(aCb, aBias), hn::Xor(aCr, aBias));
        const RGBVectors aFirst = MakeRGB(hn::Xor(aY0, aBias), aChroma, aBias);
        const RGBVectors aSecond = MakeRGB(hn::Xor(aY1, aBias), aChroma, aBias);
        hn::StoreInterleaved3(hn::InterleaveLower(aTag, aFirst.itsRed, aSecond.itsRed),
                              hn::InterleaveLower(aTag, aFirst.itsGreen, aSecond.itsGreen),
                              hn::InterleaveLower(aTag, aFirst.itsBlue, aSecond.itsBlue), aTag,
                              theOutput + 6 * g);
        hn::StoreInterleaved3(hn::InterleaveUpper(aTag, aFirst.itsRed, aSecond.itsRed),
                              hn::InterleaveUpper(aTag, aFirst.itsGreen, aSecond.itsGreen),
                              hn::InterleaveUpper(aTag, aFirst.itsBlue, aSecond.itsBlue), aTag,
                              theOutput + 6 * g + 3 * aStep);
    }
    return g;
}

size_t Interleave(const uint8_t* theFirst, const uint8_t* theSecond, const uint8_t* theThird,
                  uint8_t* theOutput, size_t thePixels)
{
    const hn::ScalableTag<uint8_t> aTag;
    const size_t aStep = hn::Lanes(aTag);
    size_t p = 0;
    for (; p + aStep <= thePixels; p += aStep)
    {
        hn::StoreInterleaved3(hn::LoadU(aTag, theFirst + p), hn::LoadU(aTag, theSecond + p),
                              hn::LoadU(aTag, theThird + p), aTag, theOutput + 3 * p);
    }
    return p;
}

size_t ReduceWords(const uint8_t* theInput, uint8_t* theOutput, size_t theWords,
                   const WordReduction& theReduction)
{
    const hn::ScalableTag<uint16_t> aTag;
    const hn::Repartition<uint8_t, decltype(aTag)> aRawTag;
    const hn::RebindToSigned<decltype(aTag)> aSignedTag;
    const hn::Rebind<uint8_t, decltype(aTag)> aByteTag;
    const auto aMost = hn::Set(aTag, theReduction.itsMost);
    const size_t aStep = hn::Lanes(aTag);
    size_t i = 0;
    for (; i + aStep <= theWords; i += aStep)
    {
        auto aWords = hn::BitCast(aTag, hn::LoadU(aRawTag, theInput + 2 * i));
        if (theReduction.itsIsSwapped)
        {
            aWords = hn::Or(hn::ShiftLeft<8>(aWords), hn::ShiftRight<8>(aWords));
        }
        aWords = hn::ShiftRightSame(aWords, theReduction.itsShiftDown);
        aWords = theReduction.itsIsMasked ? hn::And(aWords, aMost) : hn::Min(aWords, aMost);
        aWords = hn::ShiftLeftSame(aWords, theReduction.itsShiftUp);
        hn::StoreU(hn::DemoteTo(aByteTag, hn::BitCast(aSignedTag, aWords)), aByteTag, theOutput + i);
    }
    return i;
}

using Samples = hn::ScalableTag<uint16_t>; // 16-bit ones, as many as a vector holds
using HalfSamples = hn::Half<Samples>;
using SampleFloats = hn::Rebind<float, HalfSamples>;
using SampleVector = hn::Vec<Samples>;
using SampleFloatVector = hn::Vec<SampleFloats>;

// Never made without its members: a constructor would be compiled for no instruction set in particular.
struct SampleVectors
{
    SampleVector itsFirst;
    SampleVector itsSecond;
    SampleVector itsThird;
};

HWY_INLINE SampleVectors LoadSamples(const uint8_t* theInput, size_t thePixel, const WordSamples& theLayout)
{
    const Samples aTag;
    const auto* const aWords =
        reinterpret_cast<const uint16_t*>(theInput) + theLayout.itsPixelStep * thePixel;
    if (theLayout.itsPixelStep != 3)
    {
        return {hn::LoadU(aTag, aWords), hn::LoadU(aTag, aWords + theLayout.itsPlaneStep),
                hn::LoadU(aTag, aWords + 2 * theLayout.itsPlaneStep)};
    }
    SampleVector aFirst, aSecond, aThird;
    hn::LoadInterleaved3(aTag, aWords, aFirst, aSecond, aThird);
    return {aFirst, aSecond, aThird};
}

HWY_INLINE SampleVector ToOrder(SampleVector theWords, const WordSamples& theLayout)
{
    if (theLayout.itsIsSwapped)
    {
        theWords = hn::Or(hn::ShiftLeft<8>(theWords), hn::ShiftRight<8>(theWords));
    }
    return hn::Xor(theWords, hn::Set(Samples(), theLayout.itsBias));
}

HWY_INLINE SampleFloatVector ToFloats(hn::Vec<HalfSamples> theWords, float theCentre)
{
    const hn::RebindToSigned<SampleFloats> aTag;
    return hn::Sub(hn::ConvertTo(SampleFloats(), hn::PromoteTo(aTag, theWords)),
                   hn::Set(SampleFloats(), theCentre));
}

/// Truncated; going down to words clamps to 0 to 65535.
HWY_INLINE hn::Vec<HalfSamples> ToSamples(SampleFloatVector theValues)
{
    return hn::DemoteTo(HalfSamples(), hn::ConvertTo(hn::RebindToSigned<SampleFloats>(), theValues));
}

struct HalfVectors
{
    hn::Vec<HalfSamples> itsRed;
    hn::Vec<HalfSamples> itsGreen;
    hn::Vec<HalfSamples> itsBlue;
};

/// In the plain formula's order, with no fused operations.
HWY_INLINE HalfVectors ConvertHalf(hn::Vec<HalfSamples> theY, hn::Vec<HalfSamples> theCb,
                                   hn::Vec<HalfSamples> theCr)
{
    const SampleFloats aTag;
    const auto aY = ToFloats(theY, 0.0f);
    const auto aCb = ToFloats(theCb, 32768.0f);
    const auto aCr = ToFloats(theCr, 32768.0f);
    const auto aGreen =
        hn::Sub(hn::Sub(aY, hn::Mul(hn::Set(aTag, 0.344136f), aCb)), hn::Mul(hn::Set(aTag, 0.714136f), aCr));
    return {ToSamples(hn::Add(aY, hn::Mul(hn::Set(aTag, 1.402f), aCr))), ToSamples(aGreen),
            ToSamples(hn::Add(aY, hn::Mul(hn::Set(aTag, 1.772f), aCb)))};
}

HWY_INLINE hn::Vec<hn::Rebind<uint8_t, Samples>>
HighBytes(hn::Vec<HalfSamples> theLower, hn::Vec<HalfSamples> theUpper, SampleVector theBias)
{
    const Samples aTag;
    const auto aWords = hn::ShiftRight<8>(hn::Xor(hn::Combine(aTag, theUpper, theLower), theBias));
    return hn::DemoteTo(hn::Rebind<uint8_t, Samples>(), hn::BitCast(hn::RebindToSigned<Samples>(), aWords));
}

size_t ConvertWords(const uint8_t* theInput, uint8_t* theOutput, size_t thePixels,
                    const WordSamples& theLayout)
{
    const Samples aTag;
    const HalfSamples aHalf;
    const SampleVector aBias = hn::Set(aTag, theLayout.itsBias);
    const size_t aStep = hn::Lanes(aTag);
    size_t p = 0;
    for (; p + aStep <= thePixels; p += aStep)
    {
        const SampleVectors aLoaded = LoadSamples(theInput, p, theLayout);
        const SampleVector aY = ToOrder(aLoaded.itsFirst, theLayout);
        const SampleVector aCb = ToOrder(aLoaded.itsSecond, theLayout);
        const SampleVector aCr = ToOrder(aLoaded.itsThird, theLayout);
        const HalfVectors aLower =
            ConvertHalf(hn::LowerHalf(aHalf, aY), hn::LowerHalf(aHalf, aCb), hn::LowerHalf(aHalf, aCr));
        const HalfVectors anUpper =
            ConvertHalf(hn::UpperHalf(aHalf, aY), hn::UpperHalf(aHalf, aCb), hn::UpperHalf(aHalf, aCr));
        hn::StoreInterleaved3(HighBytes(aLower.itsRed, anUpper.itsRed, aBias),
                              HighBytes(aLower.itsGreen, anUpper.itsGreen, aBias),
                              HighBytes(aLower.itsBlue, anUpper.itsBlue, aBias),
                              hn::Rebind<uint8_t, Samples>(), theOutput + 3 * p);
    }
    return p;
}

#endif
} // namespace HWY_NAMESPACE
} // namespace ColourVectors
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace ColourVectors
{
HWY_EXPORT(ConvertTriplets);
HWY_EXPORT(ConvertPlanes);
HWY_EXPORT(Convert422);
HWY_EXPORT(Interleave);
HWY_EXPORT(ReduceWords);
HWY_EXPORT(ConvertWords);
} // namespace ColourVectors

namespace
{
void ConvertPixel(std::uint8_t theY, std::uint8_t theCb, std::uint8_t theCr, std::uint8_t* theOutput,
                  std::uint8_t theBias)
{
    const auto flip = [theBias](std::uint8_t theByte)
    { return static_cast<std::uint8_t>(theByte ^ theBias); };
    YBRFormula<std::uint8_t>::Convert(flip(theY), flip(theCb), flip(theCr), theOutput);
    theOutput[0] ^= theBias;
    theOutput[1] ^= theBias;
    theOutput[2] ^= theBias;
}
} // namespace

void ColourKernels::ConvertYBRFull(const std::uint8_t* theInput, std::uint8_t* theOutput,
                                   std::size_t thePixels, std::uint8_t theBias)
{
    using namespace ColourVectors;
    std::size_t p = HWY_DYNAMIC_DISPATCH(ConvertTriplets)(theInput, theOutput, thePixels, theBias);
    for (; p < thePixels; ++p)
    {
        ConvertPixel(theInput[3 * p], theInput[3 * p + 1], theInput[3 * p + 2], theOutput + 3 * p, theBias);
    }
}

void ColourKernels::ConvertYBRFullPlanes(const std::uint8_t* theY, const std::uint8_t* theCb,
                                         const std::uint8_t* theCr, std::uint8_t* theOutput,
                                         std::size_t thePixels, std::uint8_t theBias)
{
    using namespace ColourVectors;
    std::size_t p = HWY_DYNAMIC_DISPATCH(ConvertPlanes)(theY, theCb, theCr, theOutput, thePixels, theBias);
    for (; p < thePixels; ++p)
    {
        ConvertPixel(theY[p], theCb[p], theCr[p], theOutput + 3 * p, theBias);
    }
}

void ColourKernels::ConvertYBRFull422(const std::uint8_t* theInput, std::uint8_t* theOutput,
                                      std::size_t theGroups, std::uint8_t theBias)
{
    using namespace ColourVectors;
    std::size_t g = HWY_DYNAMIC_DISPATCH(Convert422)(theInput, theOutput, theGroups, theBias);
    for (; g < theGroups; ++g)
    {
        const std::uint8_t* const aGroup = theInput + 4 * g;
        ConvertPixel(aGroup[0], aGroup[2], aGroup[3], theOutput + 6 * g, theBias);
        ConvertPixel(aGroup[1], aGroup[2], aGroup[3], theOutput + 6 * g + 3, theBias);
    }
}

void ColourKernels::ConvertYBRFullWords(const std::uint8_t* theInput, std::uint8_t* theOutput,
                                        std::size_t thePixels, const WordSamples& theLayout)
{
    using namespace ColourVectors;
    std::size_t p = HWY_DYNAMIC_DISPATCH(ConvertWords)(theInput, theOutput, thePixels, theLayout);
    for (; p < thePixels; ++p)
    {
        std::uint16_t anRGB[3];
        theLayout.PixelToRGB(theInput, p, anRGB);
        for (std::size_t s = 0; s < 3; ++s)
        {
            theOutput[3 * p + s] = static_cast<std::uint8_t>(anRGB[s] >> 8);
        }
    }
}

void ColourKernels::InterleavePlanes(const std::uint8_t* theFirst, const std::uint8_t* theSecond,
                                     const std::uint8_t* theThird, std::uint8_t* theOutput,
                                     std::size_t thePixels)
{
    using namespace ColourVectors;
    std::size_t p = HWY_DYNAMIC_DISPATCH(Interleave)(theFirst, theSecond, theThird, theOutput, thePixels);
    for (; p < thePixels; ++p)
    {
        theOutput[3 * p] = theFirst[p];
        theOutput[3 * p + 1] = theSecond[p];
        theOutput[3 * p + 2] = theThird[p];
    }
}

void ColourKernels::ReduceWords(const std::uint8_t* theInput, std::uint8_t* theOutput, std::size_t theWords,
                                const WordReduction& theReduction)
{
    using namespace ColourVectors;
    std::size_t i = HWY_DYNAMIC_DISPATCH(ReduceWords)(theInput, theOutput, theWords, theReduction);
    for (; i < theWords; ++i)
    {
        std::uint16_t aWord = 0;
        std::memcpy(&aWord, theInput + 2 * i, sizeof(aWord));
        theOutput[i] = theReduction(aWord);
    }
}
#endif
