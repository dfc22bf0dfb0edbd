// SPDX-License-Identifier: Apache-2.0
// The two streams that say which samples of a high-throughput block are significant. Compiled once for each
// instruction set, because some shift without detours: no ordinary include guard.
#if defined(QUORIX_ENGINE_HT_READERS) == defined(HWY_TARGET_TOGGLE)
#ifdef QUORIX_ENGINE_HT_READERS
#undef QUORIX_ENGINE_HT_READERS
#else
#define QUORIX_ENGINE_HT_READERS
#endif

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include <hwy/highway.h>

#include "engine/detail/blocks/HTBits.h"
#include "engine/detail/blocks/HTTables.h"

HWY_BEFORE_NAMESPACE();
namespace j2k
{
namespace HWY_NAMESPACE
{

/// The MEL decoder (T.814 7.3.3): runs of zeros that may end with a one.
class MELReader
{
public:
    explicit MELReader(std::span<const std::uint8_t> theBytes)
        : itsNext(theBytes.data()), itsEnd(theBytes.data() + theBytes.size())
    {
        ReadRun();
    }

    HWY_INLINE bool ReadEvent()
    {
        itsRun -= 2;
        const bool isOne = itsRun == -1;
        if (itsRun < 0)
        {
            ReadRun();
        }
        return isOne;
    }

    /// Takes theCount zeros if the current run has them.
    HWY_INLINE bool SkipZeros(std::int32_t theCount)
    {
        const bool hasThem = itsRun >= 2 * theCount;
        itsRun -= hasThem ? 2 * theCount : 0;
        return hasThem;
    }

private:
    HWY_NOINLINE void ReadRun()
    {
        while (itsCount < 8)
        {
            AppendByte();
        }
        const unsigned int anExponent = kMELExponents[itsState];
        const bool isFull = itsBits >> 63 != 0;
        const std::uint64_t aZeros = itsBits << 1 >> 1 >> (63 - anExponent);
        itsRun = isFull ? (2 << anExponent) - 2 : static_cast<std::int32_t>(2 * aZeros + 1);
        itsState = isFull ? std::min(itsState + 1, 12U) : itsState - (itsState > 0 ? 1 : 0);
        const unsigned int aTaken = isFull ? 1 : anExponent + 1;
        itsBits <<= aTaken;
        itsCount -= aTaken;
    }

    /// The byte behind 0xFF has seven bits; behind the end there are ones.
    void AppendByte()
    {
        const std::uint64_t aByte = itsNext != itsEnd ? *itsNext++ : 0xFF;
        const unsigned int aCount = itsIsStuffed ? 7 : 8;
        itsBits |= (itsIsStuffed ? aByte & 0x7F : aByte) << (64 - aCount - itsCount);
        itsCount += aCount;
        itsIsStuffed = aByte == 0xFF;
    }

    const std::uint8_t* itsNext;
    const std::uint8_t* itsEnd;
    std::uint64_t itsBits = 0; ///< the next one is the most significant
    unsigned int itsCount = 0;
    unsigned int itsState = 0;
    /// Twice the zeros that are left, and 1 if a one follows them, less 2 if none does.
    std::int32_t itsRun = 0;
    bool itsIsStuffed = false;
};

/// The next bits of VLC in a register, above kBelow bits that mean nothing: so the lowest of them are an
/// offset in a table of words without being shifted.
class VLCReader
{
public:
    /// The first four bits are half of the suffix's length.
    explicit VLCReader(const HTBits& theBits)
        : itsNext(theBits.GetBytes()), itsBegin(itsNext), itsEnd(theBits.GetEnd())
    {
        Refill();
        Skip(4);
        Count(4);
    }

    /// At least 54 bits are there afterwards, more than a pair of quads takes.
    HWY_INLINE void Refill()
    {
        itsBits |= HTBits::LoadBytes(itsNext) << itsCount;
        itsNext += (63 - itsCount) / 8;
        itsCount |= 56;
    }

    /// The word of a table whose number is the next theCount bits. theOffset: of the table's first word, in
    /// bytes.
    template <unsigned int theCount, std::size_t theSize>
    HWY_INLINE std::uint32_t LookUp(const std::array<std::uint32_t, theSize>& theTable,
                                    std::uint32_t theOffset) const
    {
        const char* aFirst = reinterpret_cast<const char*>(theTable.data()) + theOffset;
#if HWY_COMPILER_GCC
        // Bits come last of all, so nothing is to be added to them before they become an address.
        asm("" : "+r"(aFirst)); // NOLINT(hicpp-no-assembler)
#endif
        std::uint32_t aWord = 0;
        std::memcpy(&aWord, aFirst + (itsBits & ((1U << theCount) - 1) << kBelow), sizeof(aWord));
        return aWord;
    }

    std::uint64_t GetBits() const
    {
        return itsBits >> kBelow;
    }

    /// Takes bits away, as many as the lower six bits of theCode say. Count must be told of them, too.
    HWY_INLINE void Skip(std::uint32_t theCode)
    {
        itsBits >>= theCode & HTQuad::kLengthMask;
    }

    /// theCodes: the sum of what Skip was called with, fewer than 64 bits.
    HWY_INLINE void Count(std::uint32_t theCodes)
    {
        itsCount -= theCodes & HTQuad::kLengthMask;
    }

    /// Whether bits were taken that are not there.
    bool HasOverrun() const
    {
        return static_cast<std::size_t>(itsNext - itsBegin) * 8 + kBelow > itsEnd + itsCount;
    }

private:
    static constexpr unsigned int kBelow = 2;

    const std::uint8_t* itsNext;
    const std::uint8_t* itsBegin;
    std::size_t itsEnd;
    std::uint64_t itsBits = 0;
    unsigned int itsCount = kBelow; ///< those that mean nothing, too
};

} // namespace HWY_NAMESPACE
} // namespace j2k
HWY_AFTER_NAMESPACE();

#endif
