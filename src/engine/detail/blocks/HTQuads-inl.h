// SPDX-License-Identifier: Apache-2.0
// The first step of a clean-up pass: MEL events and VLC codes become a word for each quad. Compiled once for
// each instruction set, so no ordinary include guard: one long chain of look-ups and shifts, which some shift
// without detours.
#if defined(QUORIX_ENGINE_HT_QUADS) == defined(HWY_TARGET_TOGGLE)
#ifdef QUORIX_ENGINE_HT_QUADS
#undef QUORIX_ENGINE_HT_QUADS
#else
#define QUORIX_ENGINE_HT_QUADS
#endif

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

#include <hwy/highway.h>

#include "engine/detail/blocks/HTReaders-inl.h"
#include "engine/detail/blocks/HTState.h"

HWY_BEFORE_NAMESPACE();
namespace j2k
{
namespace HWY_NAMESPACE
{
namespace hn = hwy::HWY_NAMESPACE;

/// What is done at a time where rows are worked on in pieces. Vectors of a length that only the machine knows
/// could be longer than the border.
constexpr std::size_t kPieceQuads =
    HWY_TARGET == HWY_SCALAR ? 16
                             : std::min<std::size_t>(HWY_MAX_BYTES / sizeof(std::uint32_t), HTState::kBorder);
static_assert(HTState::kBorder % kPieceQuads == 0 && kPieceQuads % 2 == 0);

/// Reads a block's quads row by row.
class QuadReader
{
public:
    explicit QuadReader(HTState& theState)
        : itsState(theState), itsVLC(theState.itsVLC), itsMEL(theState.itsSuffix)
    {
        std::fill_n(theState.GetQuads(0) - HTState::kBorder, HTState::kBorder, 0U);
    }

    /// theOther is called when a piece is finished, with the number of its first quad: work that the chain of
    /// codes leaves the processor time for. False where the codes do not have enough bits.
    template <bool isFirstRow, class Other>
    bool ReadRow(std::size_t theRow, const Other& theOther)
    {
        std::uint32_t* const aQuads = itsState.GetQuads(theRow);
        const std::size_t aColumns = itsState.itsQuadColumns;
        VLCReader aVLC = itsVLC;
        std::uint32_t aLeft = 0;
        std::size_t q = 0;
        for (std::size_t aPiece = 0; aPiece < aColumns; aPiece += kPieceQuads)
        {
            const std::size_t anEnd = std::min(aPiece + kPieceQuads, aColumns);
            for (; q + 1 < anEnd; q += 2)
            {
                aLeft = ReadPair<isFirstRow, true>(aVLC, aLeft, aQuads + q, itsContexts.data() + q);
            }
            if (q < anEnd)
            {
                ReadPair<isFirstRow, false>(aVLC, aLeft, aQuads + q, itsContexts.data() + q);
            }
            theOther(aPiece);
            // Not those of the last piece: what is just being written cannot be read as a vector without a
            // wait.
            if (aPiece > 0)
            {
                FindContexts(aQuads, aPiece - kPieceQuads);
            }
        }
        itsVLC = aVLC;
        std::fill(aQuads + aColumns, aQuads + itsState.itsStride, 0U);
        FindContexts(aQuads, (aColumns - 1) / kPieceQuads * kPieceQuads);
        return !aVLC.HasOverrun();
    }

private:
    /// theContext is complete but for the bits of the stream.
    template <bool isFirstRow>
    HWY_INLINE std::uint32_t ReadCode(VLCReader& theVLC, std::uint32_t theContext)
    {
        const HTCodeTable& aTable = isFirstRow ? kHTFirstRowCodes : kHTOtherRowCodes;
        std::uint32_t aCode = (aTable.data() + theContext / sizeof(std::uint32_t))[theVLC.GetBits() & 0x7F];
        // In context 0 an event says first whether the quad is empty.
        if (HWY_UNLIKELY(theContext == 0) && !itsMEL.ReadEvent())
        {
            aCode = 0;
        }
        theVLC.Skip(aCode);
        return aCode;
    }

    /// The context of the quad right of theCode, but for what is above it.
    template <bool isFirstRow>
    HWY_INLINE static std::uint32_t GetContext(std::uint32_t theCode)
    {
        return isFirstRow ? (theCode >> HTQuad::kFirstRowContextShift & 7) << kHTContextShift
                          : theCode & HTQuad::kIsWest;
    }

    /// Returns the right one's code.
    template <bool isFirstRow, bool hasSecond>
    HWY_INLINE std::uint32_t ReadPair(VLCReader& theVLC, std::uint32_t theLeft, std::uint32_t* theQuads,
                                      const std::uint32_t* theAbove)
    {
        // Two quads that are empty take no bits, only events, which often come in runs.
        if (hasSecond && (GetContext<isFirstRow>(theLeft) | theAbove[0] | theAbove[1]) == 0 &&
            itsMEL.SkipZeros(2))
        {
            theQuads[0] = 0;
            theQuads[1] = 0;
            return 0;
        }
        theVLC.Refill();
        const std::uint32_t aFirst =
            ReadCode<isFirstRow>(theVLC, GetContext<isFirstRow>(theLeft) | theAbove[0]);
        const std::uint32_t aSecond =
            hasSecond ? ReadCode<isFirstRow>(theVLC, GetContext<isFirstRow>(aFirst) | theAbove[1]) : 0;
        const std::uint32_t aPair = ReadResiduals<isFirstRow>(theVLC, aFirst, aSecond);
        theVLC.Skip(aPair);
        theVLC.Count(aFirst + aSecond + aPair);
        theQuads[0] = (aFirst & HTQuad::kKeptMask) | (aPair >> 8 & 0xFF);
        theQuads[1] = (aSecond & HTQuad::kKeptMask) | (aPair >> 16 & 0xFF);
        return aSecond;
    }

    /// A word of HTResidualTable. Its bits are not taken yet.
    template <bool isFirstRow>
    HWY_INLINE std::uint32_t ReadResiduals(const VLCReader& theVLC, std::uint32_t theFirst,
                                           std::uint32_t theSecond)
    {
        static_assert(HTQuad::kHasResidual == RESIDUALS_SECOND * kHTModeSize);
        std::uint32_t aMode = (theFirst & HTQuad::kHasResidual) / 2 + (theSecond & HTQuad::kHasResidual);
        if (isFirstRow && aMode == RESIDUALS_BOTH * kHTModeSize && itsMEL.ReadEvent())
        {
            aMode = RESIDUALS_BOTH_LARGE * kHTModeSize;
        }
        const HTResidualTable& aTable = isFirstRow ? kHTFirstRowResiduals : kHTOtherRowResiduals;
        const std::uint32_t aPair = theVLC.LookUp<8>(aTable, aMode);
        if (HWY_LIKELY(aPair != kHTLongResiduals))
        {
            return aPair;
        }
        const HTResiduals aLong = ReadHTResiduals(theVLC.GetBits(), aMode / kHTModeSize, isFirstRow);
        return aLong.itsLength | aLong.itsFirst << 8 | aLong.itsSecond << 16;
    }

    HWY_INLINE void FindContexts(const std::uint32_t* theQuads, std::size_t thePiece);

    HTState& itsState;
    VLCReader itsVLC;
    MELReader itsMEL;
    /// What the row above contributes to contexts, by quad.
    std::array<std::uint32_t, 512 + HTState::kBorder> itsContexts{};
};

// Bottom samples of three quads, numbers 1 and 3: the lowest bit of the context is north-west or north, the
// highest north-east or far.
HWY_INLINE void QuadReader::FindContexts(const std::uint32_t* theQuads, std::size_t thePiece)
{
    constexpr int kLeft = HTQuad::kRhoShift + 1;
    constexpr int kRight = HTQuad::kRhoShift + 3;
    constexpr int kLow = kHTContextShift;
    constexpr int kHigh = kHTContextShift + 2;
    const hn::CappedTag<std::uint32_t, kPieceQuads> aTag;
    const auto aLow = hn::Set(aTag, 1U << kLow);
    const auto aHigh = hn::Set(aTag, 1U << kHigh);
    for (std::size_t q = thePiece; q < thePiece + kPieceQuads; q += hn::Lanes(aTag))
    {
        const auto aWest = hn::ShiftRight<kRight - kLow>(hn::LoadU(aTag, theQuads + q - 1));
        const auto aQuad = hn::LoadU(aTag, theQuads + q);
        const auto anEast = hn::ShiftRight<kLeft - kHigh>(hn::LoadU(aTag, theQuads + q + 1));
        const auto aLeft = hn::And(hn::Or(aWest, hn::ShiftRight<kLeft - kLow>(aQuad)), aLow);
        const auto aRight = hn::And(hn::Or(anEast, hn::ShiftRight<kRight - kHigh>(aQuad)), aHigh);
        hn::StoreU(hn::Or(aLeft, aRight), aTag, itsContexts.data() + q);
    }
}

} // namespace HWY_NAMESPACE
} // namespace j2k
HWY_AFTER_NAMESPACE();

#endif
