// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg2000/detail/JPEG2000SampleKernels.h"

#include <cstring>

#include "codecs/jpeg2000/detail/JPEG2000SampleFormula.h"

// This file is compiled once for each instruction set; the best one is chosen when the program runs.
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "codecs/jpeg2000/JPEG2000SampleKernels.cpp"
#include <hwy/foreach_target.h> // must come before highway.h

#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace JPEG2000SampleVectors
{
namespace HWY_NAMESPACE
{
// Every function does as many whole vectors as fit and returns how many samples that were; the plain loops
// do the rest. On machines without vectors there is nothing to do here.
#if HWY_TARGET == HWY_SCALAR

size_t ToWords(JPEG2000LineKind, const void*, uint8_t*, size_t, int, bool)
{
    return 0;
}
size_t ToBytes(JPEG2000LineKind, const void*, uint8_t*, size_t, int, bool)
{
    return 0;
}
size_t ToTriplets(JPEG2000LineKind, const void* const*, uint8_t*, size_t, int, bool)
{
    return 0;
}

#else

namespace hn = hwy::HWY_NAMESPACE;

using Words = hn::ScalableTag<uint16_t>;
using Shorts = hn::RebindToSigned<Words>;
using Ints = hn::RepartitionToWide<Shorts>;
using Floats = hn::RebindToFloat<Ints>;
using Bytes = hn::Rebind<uint8_t, Words>; // half a vector
using WordVector = hn::Vec<Words>;
using IntVector = hn::Vec<Ints>;

/// A vector of codes of 32-bit samples: the lower halves, in order.
HWY_INLINE WordVector Join(IntVector theFirst, IntVector theSecond)
{
    const Words aTag;
    return hn::ConcatEven(aTag, hn::BitCast(aTag, theSecond), hn::BitCast(aTag, theFirst));
}

// Readers: Read gives the codes of Lanes(Words()) samples from theIndex on.

class ShortsReader
{
public:
    ShortsReader(int theBits, bool isSigned) : itsFormula(theBits, isSigned) {}

    HWY_INLINE WordVector Read(const void* theLine, size_t theIndex) const
    {
        const Shorts aTag;
        const auto aLow = hn::Set(aTag, static_cast<int16_t>(-itsFormula.itsHalf));
        const auto aHigh = hn::Set(aTag, static_cast<int16_t>(itsFormula.itsHalf - 1));
        const auto aValue = hn::LoadU(aTag, static_cast<const int16_t*>(theLine) + theIndex);
        const auto aClamped = hn::BitCast(Words(), hn::Min(hn::Max(aValue, aLow), aHigh));
        // The sum wraps where the half does not fit: as unsigned numbers it is right.
        const auto aHalf = hn::Set(Words(), static_cast<uint16_t>(itsFormula.itsHalf));
        return hn::Xor(hn::Add(aClamped, aHalf), hn::Set(Words(), itsFormula.itsFlip));
    }

private:
    IntegerFormula itsFormula;
};

class FixedPointReader
{
public:
    FixedPointReader(int theBits, bool isSigned) : itsFormula(theBits, isSigned) {}

    HWY_INLINE WordVector Read(const void* theLine, size_t theIndex) const
    {
        const Shorts aTag;
        const auto aLow = hn::Set(aTag, static_cast<int16_t>(itsFormula.itsLow));
        const auto aHigh = hn::Set(aTag, static_cast<int16_t>(itsFormula.itsHigh));
        const auto anOffset = hn::Set(aTag, static_cast<int16_t>(itsFormula.itsOffset));
        const auto aValue = hn::LoadU(aTag, static_cast<const int16_t*>(theLine) + theIndex);
        const auto aSum = hn::Add(hn::Min(hn::Max(aValue, aLow), aHigh), anOffset);
        const auto aCode = hn::BitCast(Words(), hn::ShiftRightSame(aSum, itsFormula.itsShift));
        return hn::Xor(aCode, hn::Set(Words(), itsFormula.itsFlip));
    }

private:
    FixedPointFormula itsFormula;
};

class IntsReader
{
public:
    IntsReader(int theBits, bool isSigned) : itsFormula(theBits, isSigned) {}

    HWY_INLINE WordVector Read(const void* theLine, size_t theIndex) const
    {
        const auto* const aLine = static_cast<const int32_t*>(theLine) + theIndex;
        const WordVector aCode = Join(ReadHalf(aLine), ReadHalf(aLine + hn::Lanes(Ints())));
        return hn::Xor(aCode, hn::Set(Words(), itsFormula.itsFlip));
    }

private:
    HWY_INLINE IntVector ReadHalf(const int32_t* theLine) const
    {
        const Ints aTag;
        const auto aHalf = hn::Set(aTag, itsFormula.itsHalf);
        const auto aHigh = hn::Set(aTag, itsFormula.itsHalf - 1);
        return hn::Add(hn::Min(hn::Max(hn::LoadU(aTag, theLine), hn::Neg(aHalf)), aHigh), aHalf);
    }

    IntegerFormula itsFormula;
};

class FloatsReader
{
public:
    FloatsReader(int theBits, bool isSigned) : itsFormula(theBits, isSigned) {}

    HWY_INLINE WordVector Read(const void* theLine, size_t theIndex) const
    {
        const auto* const aLine = static_cast<const float*>(theLine) + theIndex;
        const WordVector aCode = Join(ReadHalf(aLine), ReadHalf(aLine + hn::Lanes(Floats())));
        return hn::Xor(aCode, hn::Set(Words(), itsFormula.itsFlip));
    }

private:
    HWY_INLINE IntVector ReadHalf(const float* theLine) const
    {
        const Floats aTag;
        const auto aLow = hn::Set(aTag, -0.5F);
        const auto aValue = hn::LoadU(aTag, theLine);
        // The comparison is false for what is no number; no minimum or maximum ever sees one.
        const auto aNumber = hn::IfThenElse(hn::Gt(aValue, aLow), aValue, aLow);
        const auto aClamped = hn::Min(aNumber, hn::Set(aTag, itsFormula.itsHigh));
        const auto aScaled = hn::Mul(aClamped, hn::Set(aTag, itsFormula.itsScale));
        return hn::ConvertTo(Ints(), hn::Add(aScaled, hn::Set(aTag, itsFormula.itsOffset)));
    }

    FloatFormula itsFormula;
};

/// Codes of at most 8 bits as bytes.
HWY_INLINE hn::Vec<Bytes> ToByteVector(WordVector theCodes)
{
    return hn::DemoteTo(Bytes(), hn::BitCast(Shorts(), theCodes));
}

template <class Reader>
size_t WriteWords(const Reader& theReader, const void* theLine, uint8_t* theOutput, size_t theCount)
{
    const hn::Repartition<uint8_t, Words> aTag;
    const size_t aStep = hn::Lanes(Words());
    size_t i = 0;
    for (; i + aStep <= theCount; i += aStep)
    {
        hn::StoreU(hn::BitCast(aTag, theReader.Read(theLine, i)), aTag, theOutput + 2 * i);
    }
    return i;
}

template <class Reader>
size_t WriteBytes(const Reader& theReader, const void* theLine, uint8_t* theOutput, size_t theCount)
{
    const size_t aStep = hn::Lanes(Words());
    size_t i = 0;
    for (; i + aStep <= theCount; i += aStep)
    {
        hn::StoreU(ToByteVector(theReader.Read(theLine, i)), Bytes(), theOutput + i);
    }
    return i;
}

template <class Reader>
size_t WriteTriplets(const Reader& theReader, const void* const* theLines, uint8_t* theOutput,
                     size_t theCount)
{
    const size_t aStep = hn::Lanes(Words());
    size_t i = 0;
    for (; i + aStep <= theCount; i += aStep)
    {
        hn::StoreInterleaved3(ToByteVector(theReader.Read(theLines[0], i)),
                              ToByteVector(theReader.Read(theLines[1], i)),
                              ToByteVector(theReader.Read(theLines[2], i)), Bytes(), theOutput + 3 * i);
    }
    return i;
}

/// Calls theAction with the reader for theKind.
template <class Action>
size_t WithReader(JPEG2000LineKind theKind, int theBits, bool isSigned, const Action& theAction)
{
    switch (theKind)
    {
    case JPEG2000LineKind::SHORTS:
        return theAction(ShortsReader(theBits, isSigned));
    case JPEG2000LineKind::FIXED_POINT:
        return theAction(FixedPointReader(theBits, isSigned));
    case JPEG2000LineKind::INTS:
        return theAction(IntsReader(theBits, isSigned));
    case JPEG2000LineKind::FLOATS:
        return theAction(FloatsReader(theBits, isSigned));
    }
    return 0;
}

size_t ToWords(JPEG2000LineKind theKind, const void* theLine, uint8_t* theOutput, size_t theCount,
               int theBits, bool isSigned)
{
    return WithReader(theKind, theBits, isSigned,
                      [=](const auto& theReader) HWY_ATTR
                      { return WriteWords(theReader, theLine, theOutput, theCount); });
}

size_t ToBytes(JPEG2000LineKind theKind, const void* theLine, uint8_t* theOutput, size_t theCount,
               int theBits, bool isSigned)
{
    return WithReader(theKind, theBits, isSigned,
                      [=](const auto& theReader) HWY_ATTR
                      { return WriteBytes(theReader, theLine, theOutput, theCount); });
}

size_t ToTriplets(JPEG2000LineKind theKind, const void* const* theLines, uint8_t* theOutput, size_t theCount,
                  int theBits, bool isSigned)
{
    return WithReader(theKind, theBits, isSigned,
                      [=](const auto& theReader) HWY_ATTR
                      { return WriteTriplets(theReader, theLines, theOutput, theCount); });
}

#endif
} // namespace HWY_NAMESPACE
} // namespace JPEG2000SampleVectors
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace JPEG2000SampleVectors
{
HWY_EXPORT(ToWords);
HWY_EXPORT(ToBytes);
HWY_EXPORT(ToTriplets);
} // namespace JPEG2000SampleVectors

namespace
{
template <class Sample, class Formula>
void WritePlainly(const Formula& theFormula, const void* theLine, std::uint8_t* theOutput,
                  std::size_t theFirst, std::size_t theCount, int theBytes, std::size_t theStride)
{
    const auto* const aLine = static_cast<const Sample*>(theLine);
    const std::size_t aStep = theStride * static_cast<std::size_t>(theBytes);
    for (std::size_t i = theFirst; i < theCount; ++i)
    {
        const std::uint16_t aCode = theFormula.GetCode(aLine[i]);
        if (theBytes == 1)
        {
            theOutput[i * aStep] = static_cast<std::uint8_t>(aCode);
        }
        else
        {
            std::memcpy(theOutput + i * aStep, &aCode, sizeof(aCode));
        }
    }
}

/// Samples theFirst to theCount - 1.
void WriteRest(JPEG2000LineKind theKind, const void* theLine, std::uint8_t* theOutput, std::size_t theFirst,
               std::size_t theCount, int theBits, bool isSigned, int theBytes, std::size_t theStride)
{
    switch (theKind)
    {
    case JPEG2000LineKind::SHORTS:
        WritePlainly<kdu_sample16>(IntegerFormula(theBits, isSigned), theLine, theOutput, theFirst, theCount,
                                   theBytes, theStride);
        break;
    case JPEG2000LineKind::FIXED_POINT:
        WritePlainly<kdu_sample16>(FixedPointFormula(theBits, isSigned), theLine, theOutput, theFirst,
                                   theCount, theBytes, theStride);
        break;
    case JPEG2000LineKind::INTS:
        WritePlainly<kdu_sample32>(IntegerFormula(theBits, isSigned), theLine, theOutput, theFirst, theCount,
                                   theBytes, theStride);
        break;
    case JPEG2000LineKind::FLOATS:
        WritePlainly<kdu_sample32>(FloatFormula(theBits, isSigned), theLine, theOutput, theFirst, theCount,
                                   theBytes, theStride);
        break;
    }
}
} // namespace

void JPEG2000SampleKernels::ToWords(JPEG2000LineKind theKind, const void* theLine, std::uint8_t* theOutput,
                                    std::size_t theCount, int theBits, bool isSigned)
{
    using namespace JPEG2000SampleVectors;
    const std::size_t aDone =
        HWY_DYNAMIC_DISPATCH(ToWords)(theKind, theLine, theOutput, theCount, theBits, isSigned);
    WriteRest(theKind, theLine, theOutput, aDone, theCount, theBits, isSigned, 2, 1);
}

void JPEG2000SampleKernels::ToBytes(JPEG2000LineKind theKind, const void* theLine, std::uint8_t* theOutput,
                                    std::size_t theCount, int theBits, bool isSigned)
{
    using namespace JPEG2000SampleVectors;
    const std::size_t aDone =
        HWY_DYNAMIC_DISPATCH(ToBytes)(theKind, theLine, theOutput, theCount, theBits, isSigned);
    WriteRest(theKind, theLine, theOutput, aDone, theCount, theBits, isSigned, 1, 1);
}

void JPEG2000SampleKernels::ToTriplets(JPEG2000LineKind theKind, const void* const* theLines,
                                       std::uint8_t* theOutput, std::size_t theCount, int theBits,
                                       bool isSigned)
{
    using namespace JPEG2000SampleVectors;
    const std::size_t aDone =
        HWY_DYNAMIC_DISPATCH(ToTriplets)(theKind, theLines, theOutput, theCount, theBits, isSigned);
    for (std::size_t i = 0; i < 3; ++i)
    {
        WriteRest(theKind, theLines[i], theOutput + i, aDone, theCount, theBits, isSigned, 1, 3);
    }
}

void JPEG2000SampleKernels::ToStrided(JPEG2000LineKind theKind, const void* theLine, std::uint8_t* theOutput,
                                      std::size_t theCount, int theBits, bool isSigned, int theBytes,
                                      std::size_t theStride)
{
    WriteRest(theKind, theLine, theOutput, 0, theCount, theBits, isSigned, theBytes, theStride);
}
#endif
