// SPDX-License-Identifier: Apache-2.0
// The reader of bypassed passes, compiled once for each instruction set: no ordinary include guard.
#if defined(QUORIX_ENGINE_RAW_DECODER) == defined(HWY_TARGET_TOGGLE)
#ifdef QUORIX_ENGINE_RAW_DECODER
#undef QUORIX_ENGINE_RAW_DECODER
#else
#define QUORIX_ENGINE_RAW_DECODER
#endif

#include <cstdint>

#include <hwy/highway.h>

#include "engine/detail/blocks/BlockDecoder.h"

HWY_BEFORE_NAMESPACE();
namespace j2k
{
namespace HWY_NAMESPACE
{

/// Reads bits that bypassed the arithmetic coder: bytes as they are, the bit after a byte of ones left out.
/// Behind the end there are ones. Stands where an MQDecoder does and ignores contexts.
class RawDecoder
{
public:
    static constexpr bool kIsRaw = true;

    HWY_INLINE explicit RawDecoder(const CodedSegment& theSegment)
        : itsNext(theSegment.itsData), itsEnd(theSegment.itsData + theSegment.itsLength)
    {
    }

    HWY_INLINE unsigned int Decode(std::uint64_t&) { return ReadBit(); }

    HWY_INLINE std::int64_t GetSyntheticBits() const { return itsSynthetic; }

    /// Whether the passes ended where the bytes do.
    HWY_INLINE bool IsAtEnd() const { return itsEnd - itsNext <= 1 && itsSynthetic <= 8; }

private:
    HWY_INLINE unsigned int ReadBit()
    {
        if (itsBits == 0)
        {
            itsBits = itsByte == 0xFF ? 7 : 8;
            const bool isInside = itsNext != itsEnd;
            itsByte = isInside ? *itsNext : 0xFF;
            itsNext += isInside ? 1 : 0;
            itsSynthetic += isInside ? 0 : 8;
        }
        --itsBits;
        return itsByte >> itsBits & 1;
    }

    std::uint32_t itsByte = 0;
    unsigned int itsBits = 0; ///< left in itsByte
    std::uint32_t itsSynthetic = 0;
    const std::uint8_t* itsNext;
    const std::uint8_t* itsEnd;
};

} // namespace HWY_NAMESPACE
} // namespace j2k
HWY_AFTER_NAMESPACE();

#endif
