// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/detail/JPEGTurbo.h"

// This file is compiled once for each instruction set; the best one is chosen when the program runs.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "codecs/jpeg/JPEGTurboTransform.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace JPEGTurboTransformVectors
{
namespace HWY_NAMESPACE
{
namespace hn = hwy::HWY_NAMESPACE;

using Ints = hn::CappedTag<int32_t, 8>;
using Vector = hn::Vec<Ints>;

HWY_INLINE Vector Times(Vector theVector, int32_t theFactor)
{
    return hn::Mul(theVector, hn::Set(Ints(), theFactor));
}

/// Rounds to the nearest and drops the fraction bits of the constants below and of the pass.
template <int theBits>
HWY_INLINE void Put(Vector theSum, int32_t* theOutput)
{
    const Ints aTag;
    hn::Store(hn::ShiftRight<theBits>(hn::Add(theSum, hn::Set(aTag, 1 << (theBits - 1)))), aTag, theOutput);
}

/// Loeffler, Ligtenberg and Moschytz's eight-point transform (ICASSP 1989) with constants of 13 bits, as many
/// columns at a time as a vector has lanes.
template <int theBits>
HWY_INLINE void TransformColumns(const int32_t* theInput, int32_t* theOutput)
{
    const Ints aTag;
    for (size_t i = 0; i < 8; i += hn::Lanes(aTag))
    {
        const auto aRow = [=](size_t theRow) { return hn::Load(Ints(), theInput + theRow * 8 + i); };
        // The even rows: a rotation by 0.541196100, -1.847759065 and 0.765366865.
        const Vector aTurn = Times(hn::Add(aRow(2), aRow(6)), 4433);
        const Vector anEven2 = hn::Add(aTurn, Times(aRow(6), -15137));
        const Vector anEven3 = hn::Add(aTurn, Times(aRow(2), 6270));
        const Vector anEven0 = hn::ShiftLeft<13>(hn::Add(aRow(0), aRow(4)));
        const Vector anEven1 = hn::ShiftLeft<13>(hn::Sub(aRow(0), aRow(4)));
        const Vector aSum0 = hn::Add(anEven0, anEven3);
        const Vector aSum3 = hn::Sub(anEven0, anEven3);
        const Vector aSum1 = hn::Add(anEven1, anEven2);
        const Vector aSum2 = hn::Sub(anEven1, anEven2);
        // The odd rows.
        const Vector aFifth = Times(hn::Add(hn::Add(aRow(7), aRow(3)), hn::Add(aRow(5), aRow(1))), 9633);
        const Vector aFirst = Times(hn::Add(aRow(7), aRow(1)), -7373);
        const Vector aSecond = Times(hn::Add(aRow(5), aRow(3)), -20995);
        const Vector aThird = hn::Add(Times(hn::Add(aRow(7), aRow(3)), -16069), aFifth);
        const Vector aFourth = hn::Add(Times(hn::Add(aRow(5), aRow(1)), -3196), aFifth);
        const Vector anOdd0 = hn::Add(Times(aRow(7), 2446), hn::Add(aFirst, aThird));
        const Vector anOdd1 = hn::Add(Times(aRow(5), 16819), hn::Add(aSecond, aFourth));
        const Vector anOdd2 = hn::Add(Times(aRow(3), 25172), hn::Add(aSecond, aThird));
        const Vector anOdd3 = hn::Add(Times(aRow(1), 12299), hn::Add(aFirst, aFourth));
        Put<theBits>(hn::Add(aSum0, anOdd3), theOutput + i);
        Put<theBits>(hn::Add(aSum1, anOdd2), theOutput + 8 + i);
        Put<theBits>(hn::Add(aSum2, anOdd1), theOutput + 16 + i);
        Put<theBits>(hn::Add(aSum3, anOdd0), theOutput + 24 + i);
        Put<theBits>(hn::Sub(aSum3, anOdd0), theOutput + 32 + i);
        Put<theBits>(hn::Sub(aSum2, anOdd1), theOutput + 40 + i);
        Put<theBits>(hn::Sub(aSum1, anOdd2), theOutput + 48 + i);
        Put<theBits>(hn::Sub(aSum0, anOdd3), theOutput + 56 + i);
    }
}

#if HWY_TARGET == HWY_SCALAR
HWY_INLINE void Transpose(const int32_t* theInput, int32_t* theOutput)
{
    for (size_t i = 0; i < 64; ++i)
    {
        theOutput[i % 8 * 8 + i / 8] = theInput[i];
    }
}
#else
HWY_INLINE void TransposeQuarter(const int32_t* theInput, int32_t* theOutput)
{
    const hn::FixedTag<int32_t, 4> aTag;
    const auto aRow = [=](size_t theRow)
    { return hn::Load(hn::FixedTag<int32_t, 4>(), theInput + theRow * 8); };
    const auto aLower02 = hn::InterleaveLower(aTag, aRow(0), aRow(2));
    const auto aLower13 = hn::InterleaveLower(aTag, aRow(1), aRow(3));
    const auto anUpper02 = hn::InterleaveUpper(aTag, aRow(0), aRow(2));
    const auto anUpper13 = hn::InterleaveUpper(aTag, aRow(1), aRow(3));
    hn::Store(hn::InterleaveLower(aTag, aLower02, aLower13), aTag, theOutput);
    hn::Store(hn::InterleaveUpper(aTag, aLower02, aLower13), aTag, theOutput + 8);
    hn::Store(hn::InterleaveLower(aTag, anUpper02, anUpper13), aTag, theOutput + 16);
    hn::Store(hn::InterleaveUpper(aTag, anUpper02, anUpper13), aTag, theOutput + 24);
}

HWY_INLINE void Transpose(const int32_t* theInput, int32_t* theOutput)
{
    TransposeQuarter(theInput, theOutput);
    TransposeQuarter(theInput + 4, theOutput + 32);
    TransposeQuarter(theInput + 32, theOutput + 4);
    TransposeQuarter(theInput + 36, theOutput + 36);
}
#endif

/// Where a column has no other coefficients, the library only shifts its first one, which keeps bits that
/// the transform loses from a wild coefficient.
void CorrectWildColumns(const int16_t* theCoefficients, const uint16_t* theSteps, int32_t* theColumns)
{
    for (size_t x = 0; x < 8; ++x)
    {
        int16_t anOthers = 0;
        for (size_t i = x + 8; i < 64; i += 8)
        {
            anOthers = static_cast<int16_t>(anOthers | theCoefficients[i]);
        }
        const auto aFirst = static_cast<uint32_t>(theCoefficients[x] * theSteps[x]);
        for (size_t i = x; anOthers == 0 && i < 64; i += 8)
        {
            theColumns[i] = static_cast<int32_t>(aFirst << 1);
        }
    }
}

HWY_INLINE void TransformBlock(const int16_t* theCoefficients, const uint16_t* theSteps, uint16_t* theOutput,
                               size_t theStride)
{
    const Ints aTag;
    const hn::Rebind<int16_t, Ints> aShortTag;
    const hn::Rebind<uint16_t, Ints> aWordTag;
    HWY_ALIGN int32_t aBlock[64];
    HWY_ALIGN int32_t aTransposed[64];
    for (size_t i = 0; i < 64; i += hn::Lanes(aTag))
    {
        const Vector aStep = hn::PromoteTo(aTag, hn::LoadU(aWordTag, theSteps + i));
        const Vector aCoefficient = hn::PromoteTo(aTag, hn::LoadU(aShortTag, theCoefficients + i));
        hn::Store(hn::Mul(aCoefficient, aStep), aTag, aBlock + i);
    }
    Vector aLargest = hn::Zero(aTag);
    for (size_t i = 0; i < 8; i += hn::Lanes(aTag))
    {
        aLargest = hn::Max(aLargest, hn::Abs(hn::Load(aTag, aBlock + i)));
    }
    // One fraction bit stays between the passes; the second also divides by eight.
    TransformColumns<12>(aBlock, aBlock);
    if (HWY_UNLIKELY(!hn::AllFalse(aTag, hn::Gt(aLargest, hn::Set(aTag, (1 << 18) - 1)))))
    {
        CorrectWildColumns(theCoefficients, theSteps, aBlock);
    }
    Transpose(aBlock, aTransposed);
    TransformColumns<17>(aTransposed, aTransposed);
    Transpose(aTransposed, aBlock);
    for (size_t i = 0; i < 64; i += hn::Lanes(aTag))
    {
        // The library's table of limits has 14 bits; what lies beyond wraps around.
        const Vector aWrapped = hn::ShiftRight<18>(hn::ShiftLeft<18>(hn::Load(aTag, aBlock + i)));
        const Vector aSample =
            hn::Clamp(hn::Add(aWrapped, hn::Set(aTag, 2048)), hn::Zero(aTag), hn::Set(aTag, 4095));
        hn::StoreU(hn::DemoteTo(aWordTag, aSample), aWordTag, theOutput + i / 8 * theStride + i % 8);
    }
}

void Run(const int16_t* theCoefficients, size_t theBlocks, const uint16_t* theSteps, uint16_t* theOutput,
         size_t theStride)
{
    for (size_t i = 0; i < theBlocks; ++i)
    {
        TransformBlock(theCoefficients + i * 64, theSteps, theOutput + i * 8, theStride);
    }
}
} // namespace HWY_NAMESPACE
} // namespace JPEGTurboTransformVectors
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace JPEGTurboTransformVectors
{
HWY_EXPORT(Run);
}

void JPEGTurboTransform::Run(const std::int16_t* theCoefficients, std::size_t theBlocks,
                             const std::uint16_t* theSteps, std::uint16_t* theOutput, std::size_t theStride)
{
    using namespace JPEGTurboTransformVectors;
    HWY_DYNAMIC_DISPATCH(Run)(theCoefficients, theBlocks, theSteps, theOutput, theStride);
}
#endif
