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

/// Events of MEL that are decoded already: which comes next cannot be predicted, so they are bits of a
/// register.
struct MELEvents
{
    /// A bit, the lowest, that counts only where it is taken: theCount is 0 or 1.
    HWY_INLINE std::uint32_t Take(std::uint32_t theCount)
    {
        const auto anEvent = static_cast<std::uint32_t>(itsBits & 1);
        Skip(theCount);
        return anEvent;
    }

    HWY_INLINE void Skip(std::uint32_t theCount)
    {
        itsBits >>= theCount;
        itsCount -= theCount;
    }

    std::uint64_t itsBits = 0; ///< the first in the lowest
    std::uint64_t itsCount = 0;
};

/// The MEL decoder (T.814 7.3.3).
class MELReader
{
public:
    explicit MELReader(std::span<const std::uint8_t> theBytes)
        : itsNext(theBytes.data()), itsEnd(theBytes.data() + theBytes.size())
    {
    }

    /// Adds events until there are more than 32. By value, so that those of the caller stay in registers.
    HWY_NOINLINE MELEvents Add(MELEvents theEvents)
    {
        std::uint64_t aBits = itsBits;
        std::uint32_t aCount = itsCount;
        std::uint32_t aState = itsState;
        while (theEvents.itsCount <= 32)
        {
            while (aCount < 6)
            {
                const std::uint32_t aSize = itsIsBehindFull ? 7 : 8;
                aBits |= ReadByte() << (56 - aCount);
                aCount += aSize;
            }
            const HTRun aRun = kHTRuns[aState | aBits >> 58];
            theEvents.itsCount += aRun.itsEvents;
            theEvents.itsBits |= (aBits >> 63 ^ 1) << (theEvents.itsCount - 1);
            aBits <<= aRun.itsBits;
            aCount -= aRun.itsBits;
            aState = aRun.itsState;
        }
        itsBits = aBits;
        itsCount = aCount;
        itsState = aState;
        return theEvents;
    }

private:
    /// The next bits, seven or eight of them in the upper part of a byte; behind the end there are ones.
    std::uint64_t ReadByte()
    {
        const std::uint64_t aByte = itsNext != itsEnd ? *itsNext++ : 0xFF;
        const unsigned int aShift = itsIsBehindFull ? 1 : 0;
        itsIsBehindFull = aByte == 0xFF;
        return aByte << aShift & 0xFF;
    }

    const std::uint8_t* itsNext;
    const std::uint8_t* itsEnd;
    std::uint64_t itsBits = 0; ///< the next one is the most significant
    std::uint32_t itsCount = 0;
    std::uint32_t itsState = 0; ///< as in kHTRuns
    bool itsIsBehindFull = false;
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
