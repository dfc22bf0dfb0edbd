// SPDX-License-Identifier: Apache-2.0
// The arithmetic decoder, compiled once for each instruction set: no ordinary include guard.
#if defined(QUORIX_ENGINE_MQ_DECODER) == defined(HWY_TARGET_TOGGLE)
#ifdef QUORIX_ENGINE_MQ_DECODER
#undef QUORIX_ENGINE_MQ_DECODER
#else
#define QUORIX_ENGINE_MQ_DECODER
#endif

#include <bit>
#include <cstdint>
#include <cstring>

#include <hwy/highway.h>

#include "engine/detail/blocks/BlockDecoder.h"
#include "engine/detail/blocks/CodingTables.h"

HWY_BEFORE_NAMESPACE();
namespace j2k
{
namespace HWY_NAMESPACE
{

/// The MQ decoder (T.800 Annex C).
///
/// Registers are 64 bits wide with the integer part in the upper 16, so that one renormalisation is one shift
/// and bytes are taken in four at a time. In place of the code register C and a count of its bits this keeps
/// A - C - e, where e is half the last bit of C that is there: below A - Qe exactly where C is in the upper
/// part of the interval, and the lowest set bit tells how many bits are left. A more probable symbol leaves
/// it alone. What a decision will be cannot be predicted, and a branch that the processor mispredicts costs
/// more than two decisions: so there is no branch on it. A pass works on a copy of the decoder, whose members
/// live in registers.
class MQDecoder
{
public:
    static constexpr bool kIsRaw = false;

    HWY_INLINE explicit MQDecoder(const CodedSegment& theSegment)
        : itsNext(theSegment.itsData + 1), itsEnd(theSegment.itsData + theSegment.itsLength)
    {
        // The byte in front of the segment is none of its own: the first byte is never stuffed.
        itsDistance -= (std::uint64_t{theSegment.itsData[0]} << 55) + (std::uint64_t{1} << 54);
        TakeBytes();
    }

    /// Decodes one decision.
    HWY_INLINE unsigned int Decode(std::uint64_t& theContext)
    {
        return static_cast<unsigned int>(Divide(theContext, theContext & MQState::kQeMask) >>
                                         MQState::kDecisionShift);
    }

    /// One decision in bit 63 of what is returned. theQe is the context's, or 0: then nothing changes, and
    /// the decision means nothing.
    HWY_INLINE std::uint64_t Divide(std::uint64_t& theContext, std::uint64_t theQe)
    {
        const std::uint64_t aNext = Choose(GetState(theContext), theQe);
        theContext = aNext;
        const int aShift = CountLeadingZeros(itsInterval);
        itsInterval <<= aShift;
        itsDistance <<= aShift;
        if (HWY_UNLIKELY(static_cast<std::uint32_t>(itsDistance) == 0)) // at most 15 bits left
        {
            TakeBytes();
        }
        return aNext;
    }

    /// The same as Decode, quicker where nearly every decision is the more probable symbol and slower
    /// elsewhere.
    HWY_INLINE unsigned int DecodeSkewed(std::uint64_t& theContext)
    {
        const std::uint64_t anUpper = itsInterval - (theContext & MQState::kQeMask);
        if (HWY_LIKELY(anUpper > itsDistance && anUpper >= kHalf))
        {
            itsInterval = anUpper;
            return static_cast<unsigned int>(theContext >> MQState::kMpsShift) & 1;
        }
        return Decode(theContext);
    }

    /// Reads a segmentation symbol (T.800 D.5) and tells whether it is one.
    HWY_INLINE bool ReadSymbol(std::uint64_t& theUniformContext)
    {
        unsigned int aSymbol = 0;
        for (int i = 0; i < 4; ++i)
        {
            aSymbol = aSymbol << 1 | Decode(theUniformContext);
        }
        return aSymbol == 0xA;
    }

    /// Decodes theCount decisions at once if they are all zeros that leave theContext as it is; else none.
    HWY_INLINE bool SkipZeros(std::uint64_t theContext, std::uint64_t theCount)
    {
        const std::uint64_t aSum = ((theContext & MQState::kQeMask) >> 16) * theCount; // count below 2^16
        const std::uint64_t anUpper = itsInterval - (aSum << 16);
        if ((theContext >> MQState::kMpsShift & 1) != 0 || aSum > (itsInterval - kHalf) >> 16 ||
            anUpper <= itsDistance)
        {
            return false;
        }
        itsInterval = anUpper;
        return true;
    }

    /// Bits taken from behind the end so far, or from behind a marker.
    HWY_INLINE std::int64_t GetSyntheticBits() const { return std::int64_t{itsSynthetic} - GetLookahead(); }

    /// Whether the passes ended where the bytes do, give or take what a predictable termination (T.800 D.4.2)
    /// leaves open: the encoder's last byte and the bits that it did not write because they are ones.
    HWY_INLINE bool IsAtEnd() const
    {
        const std::int64_t aLeft =
            8 * static_cast<std::int64_t>(itsEnd - itsNext) + GetLookahead() - itsSynthetic;
        return aLeft >= -kEndTolerance && aLeft <= kEndTolerance;
    }

private:
    static constexpr std::int64_t kEndTolerance = 32; ///< bits
    static constexpr std::uint64_t kHalf = std::uint64_t{1} << 63;

    static HWY_INLINE const MQState& GetState(std::uint64_t theContext)
    {
        const auto* aBytes = reinterpret_cast<const std::uint8_t*>(kMQStates.data());
        return *reinterpret_cast<const MQState*>(aBytes + static_cast<std::uint32_t>(theContext));
    }

    /// The interval is never empty.
    static HWY_INLINE int CountLeadingZeros(std::uint64_t theValue)
    {
#if HWY_ARCH_X86_64 && HWY_TARGET <= HWY_AVX2 && HWY_COMPILER_GCC
        // Highway runs these targets only where this instruction is; compilers are not told that it is.
        std::uint64_t aCount;
        asm("lzcntq %1, %0" : "=r"(aCount) : "r"(theValue) : "cc");
        return static_cast<int>(aCount);
#elif HWY_COMPILER_GCC
        return __builtin_clzll(theValue); // the standard's function asks for zero first
#else
        return std::countl_zero(theValue);
#endif
    }

    /// Bits of C below its integer part that are there.
    HWY_INLINE int GetLookahead() const
    {
        return 47 - std::countr_zero(itsDistance);
    }

    /// Puts the part of the interval that the code points to in its place, not renormalised yet, and returns
    /// the context's next word. The upper part, of the more probable symbol unless it is smaller, is what
    /// theQe leaves.
    HWY_INLINE std::uint64_t Choose(const MQState& theState, std::uint64_t theQe)
    {
        std::uint64_t aNext = theState.itsNextMps;
#if HWY_ARCH_X86_64 && HWY_TARGET != HWY_SCALAR && HWY_COMPILER_GCC
        // The lines of the last branch; compilers make branches of them.
        std::uint64_t aLower = aNext; // what follows in the lower part
        std::uint64_t aRest;
        asm("subq %[qe], %[interval]\n\t"
            "cmovsq %[kept], %[next]\n\t"
            "movq %[distance], %[rest]\n\t"
            "cmpq %[qe], %[interval]\n\t"
            "cmovbq %[lps], %[next]\n\t"
            "cmovaeq %[lps], %[lower]\n\t"
            "subq %[interval], %[rest]\n\t"
            "cmovaeq %[rest], %[distance]\n\t"
            "cmovaeq %[qe], %[interval]\n\t"
            "cmovaeq %[lower], %[next]"
            : [interval] "+&r"(itsInterval), [distance] "+&r"(itsDistance), [next] "+&r"(aNext),
              [lower] "+&r"(aLower), [rest] "=&r"(aRest)
            : [qe] "r"(theQe), [kept] "m"(theState.itsKept), [lps] "m"(theState.itsNextLps)
            : "cc");
        return aNext;
#elif HWY_ARCH_ARM_A64 && HWY_TARGET != HWY_SCALAR && HWY_COMPILER_GCC
        // Conditional selects: fewer instructions than masks take, and fewer on the interval's way.
        std::uint64_t aLower = aNext; // what follows in the lower part
        std::uint64_t aRest;
        asm("subs %[interval], %[interval], %[qe]\n\t"
            "csel %[next], %[kept], %[next], mi\n\t"
            "cmp %[interval], %[qe]\n\t"
            "csel %[next], %[lps], %[next], lo\n\t"
            "csel %[lower], %[lower], %[lps], lo\n\t"
            "subs %[rest], %[distance], %[interval]\n\t"
            "csel %[distance], %[rest], %[distance], hs\n\t"
            "csel %[interval], %[qe], %[interval], hs\n\t"
            "csel %[next], %[lower], %[next], hs"
            : [interval] "+&r"(itsInterval), [distance] "+&r"(itsDistance), [next] "+&r"(aNext),
              [lower] "+&r"(aLower), [rest] "=&r"(aRest)
            : [qe] "r"(theQe), [kept] "r"(theState.itsKept), [lps] "r"(theState.itsNextLps)
            : "cc");
        return aNext;
#else
        const std::uint64_t anUpper = itsInterval - theQe;
        const std::uint64_t aLowerPart = MakeMask(itsDistance >= anUpper);
        const std::uint64_t aLps = MakeMask(anUpper < theQe) ^ aLowerPart;
        itsDistance -= anUpper & aLowerPart;
        itsInterval = Select(aLowerPart, theQe, anUpper);
        aNext = Select(MakeMask(anUpper >= kHalf), theState.itsKept, aNext);
        return Select(aLps, theState.itsNextLps, aNext);
#endif
    }

    static HWY_INLINE std::uint64_t MakeMask(bool isSet)
    {
        std::uint64_t aMask = 0 - static_cast<std::uint64_t>(isSet);
#if HWY_COMPILER_GCC
        asm("" : "+r"(aMask)); // or compilers make branches of masks
#endif
        return aMask;
    }

    static HWY_INLINE std::uint64_t Select(std::uint64_t theMask, std::uint64_t theOne,
                                           std::uint64_t theOther)
    {
        return theOther ^ ((theOne ^ theOther) & theMask);
    }

    /// Takes in as many bytes as fit. The lower half of itsDistance is empty.
    HWY_INLINE void TakeBytes()
    {
        std::uint64_t aBytes;
        std::memcpy(&aBytes, itsNext - 1, sizeof(aBytes));
        if constexpr (std::endian::native == std::endian::big)
        {
            aBytes = __builtin_bswap64(aBytes);
        }
        // None of the byte before them and of these four is 0xFF.
        if (HWY_LIKELY(((~aBytes - 0x0101010101010101U) & aBytes & 0x8080808080U) == 0))
        {
            const std::uint64_t aFour = __builtin_bswap32(static_cast<std::uint32_t>(aBytes >> 8));
            itsDistance += (0xFFFFFFFFU - 2 * aFour) << (std::countr_zero(itsDistance) - 32);
            itsNext += 4;
            return;
        }
        MQDecoder aCopy = *this;
        aCopy.TakeStuffedBytes();
        *this = aCopy;
    }

    HWY_NOINLINE void TakeStuffedBytes()
    {
        for (int aBit = std::countr_zero(itsDistance); aBit >= 32;)
        {
            int aCount = 8;
            std::uint64_t aByte = 0xFF;
            if (itsNext[-1] != 0xFF)
            {
                aByte = *itsNext++;
            }
            else if (itsNext[0] <= 0x8F)
            {
                aByte = *itsNext++;
                aCount = 7;
            }
            else
            {
                itsSynthetic += 8; // a marker, or the end: ones, and the reader stays here
            }
            itsDistance += ((std::uint64_t{1} << aCount) - 2 * aByte - 1) << (aBit - aCount);
            aBit -= aCount;
            // A carry beyond the interval, which no encoder writes, goes to its end: so the distance is
            // always less than the interval, and a decision with an empty Qe changes nothing.
            itsDistance = itsDistance < itsInterval ? itsDistance : std::uint64_t{1} << aBit;
        }
    }

    std::uint64_t itsInterval = kHalf; ///< A
    std::uint64_t itsDistance = kHalf; ///< A - C - e
    std::uint32_t itsSynthetic = 0;
    const std::uint8_t* itsNext;
    const std::uint8_t* itsEnd;
};

} // namespace HWY_NAMESPACE
} // namespace j2k
HWY_AFTER_NAMESPACE();

#endif
