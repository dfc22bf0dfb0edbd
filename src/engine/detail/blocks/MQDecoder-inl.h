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

#include "engine/detail/blocks/CodedBlock.h"
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
/// the interval's upper end: a more probable symbol leaves it alone, and the likely decision costs one
/// subtraction and one comparison. A pass works on a copy of the decoder, whose members live in registers.
class MQDecoder
{
public:
    static constexpr bool theIsRaw = false;

    HWY_INLINE explicit MQDecoder(const CodedSegment& theSegment)
        : itsNext(theSegment.itsData + 1), itsEnd(theSegment.itsData + theSegment.itsLength)
    {
        // The byte in front of the segment is none of its own: the first byte is never stuffed.
        itsDistance -= std::uint64_t{theSegment.itsData[0]} << 55;
        TakeBytes();
    }

    /// Decodes one decision where the more probable symbol is much more probable.
    HWY_INLINE unsigned int DecodeSkewed(std::uint64_t& theContext)
    {
        const std::uint64_t aState = theContext;
        const std::uint64_t aQe = aState & MQState::theQeMask;
        itsInterval -= aQe;
        if (HWY_LIKELY(itsInterval >= itsDistance && itsInterval >= theHalf))
        {
            return static_cast<unsigned int>(aState >> MQState::theMpsShift) & 1;
        }
        return Exchange(theContext, aState, aQe);
    }

    /// The same without a branch on what the decision is.
    HWY_INLINE unsigned int Decode(std::uint64_t& theContext) { return DecodeSkewed(theContext); }

    /// Bits taken from behind the end so far, or from behind a marker.
    HWY_INLINE std::int64_t GetSyntheticBits() const { return std::int64_t{itsSynthetic} - itsLookahead; }

    /// Whether the passes ended where the bytes do, give or take what a predictable termination (T.800 D.4.2)
    /// leaves open: the encoder's last byte and the bits that it did not write because they are ones.
    HWY_INLINE bool IsAtEnd() const
    {
        const std::int64_t aLeft =
            8 * static_cast<std::int64_t>(itsEnd - itsNext) + itsLookahead - itsSynthetic;
        return aLeft >= -theEndTolerance && aLeft <= theEndTolerance;
    }

private:
    static constexpr std::int64_t theEndTolerance = 32; ///< bits
    static constexpr std::uint64_t theHalf = std::uint64_t{1} << 63;

    HWY_INLINE unsigned int Exchange(std::uint64_t& theContext, std::uint64_t theState, std::uint64_t theQe)
    {
        const std::uint64_t isLess = itsInterval < itsDistance ? 1 : 0;
        const std::uint64_t isLps = isLess ^ (itsInterval < theQe ? 1 : 0);
        const std::uint64_t aMask = 0 - isLess;
        itsDistance -= itsInterval & aMask;
        itsInterval ^= (itsInterval ^ theQe) & aMask;
        theContext = theMQStates[static_cast<std::uint8_t>(theState >> (MQState::theNextLpsShift * isLps))];
        const int aShift = std::countl_zero(itsInterval);
        itsInterval <<= aShift;
        itsDistance <<= aShift;
        itsLookahead -= aShift;
        if (HWY_UNLIKELY(itsLookahead < 0))
        {
            TakeBytes();
        }
        return static_cast<unsigned int>((theState >> MQState::theMpsShift) ^ isLps) & 1;
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

    std::uint64_t itsInterval = theHalf; ///< A
    std::uint64_t itsDistance = theHalf; ///< A - C
    int itsLookahead = -7;               ///< bits of C below its integer part that are there already
    std::uint32_t itsSynthetic = 0;
    const std::uint8_t* itsNext;
    const std::uint8_t* itsEnd;
};

} // namespace HWY_NAMESPACE
} // namespace j2k
HWY_AFTER_NAMESPACE();

#endif
