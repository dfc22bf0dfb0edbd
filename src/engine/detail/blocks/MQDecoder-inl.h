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
/// and bytes are taken in six at a time. In place of the code register C this keeps A - C, the distance from
/// the interval's upper end: a more probable symbol leaves it alone. What a decision will be cannot be
/// predicted, and a branch that the processor mispredicts costs more than two decisions: so there is no
/// branch on it. A pass works on a copy of the decoder, whose members live in registers.
class MQDecoder
{
public:
    static constexpr bool kIsRaw = false;

    HWY_INLINE explicit MQDecoder(const CodedSegment& theSegment)
        : itsNext(theSegment.itsData + 1), itsEnd(theSegment.itsData + theSegment.itsLength)
    {
        // The byte in front of the segment is none of its own: the first byte is never stuffed.
        itsDistance -= std::uint64_t{theSegment.itsData[0]} << 55;
        TakeBytes();
    }

    /// Decodes one decision.
    HWY_INLINE unsigned int Decode(std::uint64_t& theContext)
    {
        const MQState& aState = GetState(theContext);
        const std::uint64_t aNext = Divide(aState, theContext & MQState::kQeMask);
        theContext = aNext;
        const int aShift = CountLeadingZeros(itsInterval);
        itsInterval <<= aShift;
        itsDistance <<= aShift;
        itsLookahead -= aShift;
        if (HWY_UNLIKELY(itsLookahead < 0))
        {
            TakeBytes();
        }
        return static_cast<unsigned int>(aNext >> MQState::kDecisionShift);
    }

    /// The same, quicker where nearly every decision is the more probable symbol and slower elsewhere.
    HWY_INLINE unsigned int DecodeSkewed(std::uint64_t& theContext)
    {
        const std::uint64_t anUpper = itsInterval - (theContext & MQState::kQeMask);
        if (HWY_LIKELY(anUpper >= itsDistance && anUpper >= kHalf))
        {
            itsInterval = anUpper;
            return static_cast<unsigned int>(theContext >> MQState::kMpsShift) & 1;
        }
        return Decode(theContext);
    }

    /// Decodes theCount decisions at once if they are all zeros that leave theContext as it is; else none.
    HWY_INLINE bool SkipZeros(std::uint64_t theContext, std::uint64_t theCount)
    {
        const std::uint64_t aSum = ((theContext & MQState::kQeMask) >> 16) * theCount; // count below 2^16
        const std::uint64_t aLimit = itsDistance > kHalf ? itsDistance : kHalf;
        if ((theContext >> MQState::kMpsShift & 1) != 0 || itsInterval < aLimit ||
            aSum > (itsInterval - aLimit) >> 16)
        {
            return false;
        }
        itsInterval -= aSum << 16;
        return true;
    }

    /// Bits taken from behind the end so far, or from behind a marker.
    HWY_INLINE std::int64_t GetSyntheticBits() const { return std::int64_t{itsSynthetic} - itsLookahead; }

    /// Whether the passes ended where the bytes do, give or take what a predictable termination (T.800 D.4.2)
    /// leaves open: the encoder's last byte and the bits that it did not write because they are ones.
    HWY_INLINE bool IsAtEnd() const
    {
        const std::int64_t aLeft =
            8 * static_cast<std::int64_t>(itsEnd - itsNext) + itsLookahead - itsSynthetic;
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

    /// Puts the part of the interval that the code points to in its place, not renormalised yet, and returns
    /// the context's next word. The upper part, of the more probable symbol unless it is smaller, is what
    /// theQe leaves.
    HWY_INLINE std::uint64_t Divide(const MQState& theState, std::uint64_t theQe)
    {
        const std::uint64_t anUpper = itsInterval - theQe;
        std::uint64_t aNext = theState.itsNextMps;
#if HWY_ARCH_X86_64 && HWY_TARGET != HWY_SCALAR && HWY_COMPILER_GCC
        // The lines of the other branch; compilers make branches of them.
        std::uint64_t isLess = 0;
        std::uint64_t isSmaller = 0;
        asm("" : "+r"(isLess), "+r"(isSmaller));
        itsInterval = anUpper;
        asm("cmpq $0, %[upper]\n\t"
            "cmovsq %[kept], %[next]\n\t"
            "cmpq %[qe], %[upper]\n\t"
            "setb %b[smaller]\n\t"
            "cmpq %[distance], %[upper]\n\t"
            "setb %b[less]\n\t"
            "cmovbq %[rest], %[distance]\n\t"
            "cmovbq %[qe], %[interval]\n\t"
            "subb %b[less], %b[smaller]\n\t"
            "cmovnzq %[lps], %[next]"
            : [interval] "+&r"(itsInterval), [distance] "+&r"(itsDistance), [next] "+&r"(aNext),
              [less] "+&q"(isLess), [smaller] "+&q"(isSmaller)
            : [upper] "r"(anUpper), [qe] "r"(theQe), [rest] "r"(itsDistance - anUpper),
              [kept] "rm"(theState.itsKept), [lps] "rm"(theState.itsNextLps)
            : "cc");
        return aNext;
#elif HWY_ARCH_ARM_A64 && HWY_TARGET != HWY_SCALAR && HWY_COMPILER_GCC
        // Conditional selects: 27 instructions a decision where masks take 32, and three fewer on the
        // interval's way.
        std::uint64_t isLess;
        std::uint64_t isSmaller;
        asm("cmp %[upper], #0\n\t"
            "csel %[next], %[kept], %[next], mi\n\t"
            "cmp %[upper], %[qe]\n\t"
            "cset %[smaller], lo\n\t"
            "cmp %[upper], %[distance]\n\t"
            "cset %[less], lo\n\t"
            "csel %[distance], %[rest], %[distance], lo\n\t"
            "csel %[interval], %[qe], %[upper], lo\n\t"
            "cmp %[smaller], %[less]\n\t"
            "csel %[next], %[next], %[lps], eq"
            : [interval] "=&r"(itsInterval), [distance] "+&r"(itsDistance), [next] "+&r"(aNext),
              [less] "=&r"(isLess), [smaller] "=&r"(isSmaller)
            : [upper] "r"(anUpper), [qe] "r"(theQe), [rest] "r"(itsDistance - anUpper),
              [kept] "r"(theState.itsKept), [lps] "r"(theState.itsNextLps)
            : "cc");
        return aNext;
#else
        const std::uint64_t aLess = MakeMask(anUpper < itsDistance);
        const std::uint64_t aLps = MakeMask(anUpper < theQe) ^ aLess;
        itsDistance -= anUpper & aLess;
        itsInterval = Choose(aLess, theQe, anUpper);
        aNext = Choose(MakeMask(anUpper >= kHalf), theState.itsKept, aNext);
        return Choose(aLps, theState.itsNextLps, aNext);
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

    static HWY_INLINE std::uint64_t Choose(std::uint64_t theMask, std::uint64_t theOne,
                                           std::uint64_t theOther)
    {
        return theOther ^ ((theOne ^ theOther) & theMask);
    }

    /// Takes in as many bytes as fit. itsLookahead is negative: -15 to -1.
    HWY_INLINE void TakeBytes()
    {
        std::uint64_t aBytes;
        std::memcpy(&aBytes, itsNext - 1, sizeof(aBytes));
        const std::uint64_t anInverse = ~aBytes;
        if (HWY_LIKELY(((anInverse - 0x0101010101010101U) & aBytes & 0x8080808080808080U) == 0))
        {
            if constexpr (std::endian::native == std::endian::little)
            {
                aBytes = __builtin_bswap64(aBytes);
            }
            itsDistance -= (aBytes << 8 >> 16) << -itsLookahead;
            itsLookahead += 48;
            itsNext += 6;
            return;
        }
        MQDecoder aCopy = *this;
        aCopy.TakeStuffedBytes();
        *this = aCopy;
    }

    HWY_NOINLINE void TakeStuffedBytes()
    {
        while (itsLookahead <= 40)
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
            itsLookahead += aCount;
            itsDistance -= aByte << (48 - itsLookahead);
        }
    }

    std::uint64_t itsInterval = kHalf; ///< A
    std::uint64_t itsDistance = kHalf; ///< A - C
    int itsLookahead = -7;             ///< bits of C below its integer part that are there already
    std::uint32_t itsSynthetic = 0;
    const std::uint8_t* itsNext;
    const std::uint8_t* itsEnd;
};

} // namespace HWY_NAMESPACE
} // namespace j2k
HWY_AFTER_NAMESPACE();

#endif
