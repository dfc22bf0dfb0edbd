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
    explicit QuadReader(HTState& theState) : itsState(theState), itsMEL(theState.itsSuffix)
    {
        std::fill_n(theState.GetQuads(0) - HTState::kBorder, HTState::kBorder, 0U);
        std::fill_n(itsContexts.begin(), theState.itsStride, 0U);
        std::fill_n(itsKinds.begin(), theState.itsStride / kPieceQuads, PieceKind::Empty);
    }

    /// What changes from quad to quad. A local object of who calls, so that it lives in registers from row to
    /// row.
    struct Cursor
    {
        VLCReader itsVLC;
        MELEvents itsEvents{};
        std::uint32_t itsLeft = 0; ///< code of the last quad
    };

    Cursor Begin() const { return Cursor{VLCReader(itsState.itsVLC)}; }

    /// Rows from the first one on. theOther is called when a piece is finished, with the number of its first
    /// quad: work that the chain of codes leaves the processor time for. False where the codes do not have
    /// enough bits.
    template <bool isFirstRow, class Other>
    HWY_INLINE bool ReadRow(Cursor& theCursor, std::size_t theRow, const Other& theOther)
    {
        itsQuads = itsState.GetQuads(theRow);
        const std::size_t aColumns = itsState.itsQuadColumns;
        const std::size_t aLast = (aColumns - 1) / kPieceQuads * kPieceQuads;
        ClearQuads(itsQuads + aLast, itsState.itsStride - aLast);
        theCursor.itsLeft = 0;
        for (std::size_t aPiece = 0; aPiece <= aLast; aPiece += kPieceQuads)
        {
            ReadPiece<isFirstRow>(theCursor, aPiece, std::min(kPieceQuads, aColumns - aPiece));
            theOther(aPiece);
            // Of the piece before, also of the last row's: what is just being written cannot be read as a
            // vector without a wait.
            if (aPiece > 0)
            {
                FindContexts(itsQuads, aPiece - kPieceQuads);
            }
            else if (!isFirstRow && aLast > 0)
            {
                FindContexts(itsState.GetQuads(theRow - 1), aLast);
            }
        }
        if (aLast == 0)
        {
            FindContexts(itsQuads, 0);
        }
        return !theCursor.itsVLC.HasOverrun();
    }

private:
    /// What the row above says of a piece: whether contexts are all 0 unless the quad on the left is
    /// significant, or none is.
    enum class PieceKind : std::uint8_t
    {
        Empty,
        Mixed,
        Full
    };

    /// The context of the quad right of theCode, but for what is above it.
    template <bool isFirstRow>
    HWY_INLINE static std::uint32_t GetContext(std::uint32_t theCode)
    {
        return isFirstRow ? (theCode >> HTQuad::kFirstRowContextShift & 7) << kHTContextShift
                          : theCode & HTQuad::kIsWest;
    }

    /// At least theCount events are there afterwards, which are at most 32.
    HWY_INLINE void AddEvents(Cursor& theCursor, std::uint32_t theCount)
    {
        if (HWY_UNLIKELY(theCursor.itsEvents.itsCount < theCount))
        {
            theCursor.itsEvents = itsMEL.Add(theCursor.itsEvents);
        }
    }

    /// theCount: a multiple of kPieceQuads.
    HWY_INLINE static void ClearQuads(std::uint32_t* theQuads, std::size_t theCount)
    {
        const hn::CappedTag<std::uint32_t, kPieceQuads> aTag;
        for (std::size_t q = 0; q < theCount; q += hn::Lanes(aTag))
        {
            hn::StoreU(hn::Zero(aTag), aTag, theQuads + q);
        }
    }

    template <bool isFirstRow>
    HWY_INLINE void ReadPiece(Cursor& theCursor, std::size_t theQuad, std::size_t theCount)
    {
        const PieceKind aKind = itsKinds[theQuad / kPieceQuads];
        if (aKind == PieceKind::Full)
        {
            ReadPairs<isFirstRow, false>(theCursor, theQuad, theQuad + theCount);
        }
        else if (aKind != PieceKind::Empty || !SkipPiece<isFirstRow>(theCursor, theQuad, theCount))
        {
            ReadPairs<isFirstRow, true>(theCursor, theQuad, theQuad + theCount);
        }
    }

    template <bool isFirstRow, bool hasEvents>
    HWY_INLINE void ReadPairs(Cursor& theCursor, std::size_t theQuad, std::size_t theEnd)
    {
        for (; theQuad + 1 < theEnd; theQuad += 2)
        {
            ReadPair<isFirstRow, hasEvents, true>(theCursor, theQuad);
        }
        if (theQuad < theEnd)
        {
            ReadPair<isFirstRow, hasEvents, false>(theCursor, theQuad);
        }
    }

    /// A piece that takes as many events as it has quads, if all are zeros.
    template <bool isFirstRow>
    HWY_INLINE bool SkipPiece(Cursor& theCursor, std::size_t theQuad, std::size_t theCount)
    {
        const auto aCount = static_cast<std::uint32_t>(theCount);
        AddEvents(theCursor, aCount);
        if (GetContext<isFirstRow>(theCursor.itsLeft) != 0 ||
            (theCursor.itsEvents.itsBits & ((1U << aCount) - 1)) != 0)
        {
            return false;
        }
        theCursor.itsEvents.Skip(aCount);
        theCursor.itsLeft = 0;
        ClearQuads(itsQuads + theQuad, kPieceQuads);
        return true;
    }

    template <bool isFirstRow, bool hasEvents, bool hasSecond>
    HWY_INLINE void ReadPair(Cursor& theCursor, std::size_t theQuad)
    {
        if constexpr (hasEvents)
        {
            AddEvents(theCursor, 3);
        }
        theCursor.itsVLC.Refill();
        const std::uint32_t aFirst = ReadCode<isFirstRow, hasEvents>(theCursor, theCursor.itsLeft, theQuad);
        const std::uint32_t aSecond =
            hasSecond ? ReadCode<isFirstRow, hasEvents>(theCursor, aFirst, theQuad + 1) : 0;
        const std::uint32_t aPair = ReadResiduals<isFirstRow>(theCursor, aFirst, aSecond);
        theCursor.itsVLC.Skip(aPair);
        theCursor.itsVLC.Count(aFirst + aSecond + aPair);
        itsQuads[theQuad] = (aFirst & HTQuad::kKeptMask) | (aPair >> 8 & 0xFF);
        itsQuads[theQuad + 1] = (aSecond & HTQuad::kKeptMask) | (aPair >> 16 & 0xFF);
        theCursor.itsLeft = aSecond;
    }

    template <bool isFirstRow, bool hasEvents>
    HWY_INLINE std::uint32_t ReadCode(Cursor& theCursor, std::uint32_t theLeft, std::size_t theQuad)
    {
        const std::uint32_t aContext = GetContext<isFirstRow>(theLeft) | itsContexts[theQuad];
        const HTCodeTable& aTable = isFirstRow ? kHTFirstRowCodes : kHTOtherRowCodes;
        std::uint32_t aCode = theCursor.itsVLC.template LookUp<7>(aTable, aContext);
        if constexpr (hasEvents)
        {
            // In context 0 an event says first whether the quad is empty.
            const std::uint32_t hasEvent = aContext == 0 ? 1 : 0;
            aCode &= 0 - ((hasEvent ^ 1) | theCursor.itsEvents.Take(hasEvent));
        }
        theCursor.itsVLC.Skip(aCode);
        return aCode;
    }

    /// A word of HTResidualTable. Its bits are not taken yet.
    template <bool isFirstRow>
    HWY_INLINE static std::uint32_t ReadResiduals(Cursor& theCursor, std::uint32_t theFirst,
                                                  std::uint32_t theSecond)
    {
        static_assert(HTQuad::kHasResidual == RESIDUALS_SECOND * kHTModeSize);
        std::uint32_t aMode = (theFirst & HTQuad::kHasResidual) / 2 + (theSecond & HTQuad::kHasResidual);
        if (isFirstRow && aMode == RESIDUALS_BOTH * kHTModeSize)
        {
            aMode += theCursor.itsEvents.Take(1) * kHTModeSize;
        }
        const HTResidualTable& aTable = isFirstRow ? kHTFirstRowResiduals : kHTOtherRowResiduals;
        const std::uint32_t aPair = theCursor.itsVLC.template LookUp<8>(aTable, aMode);
        if (HWY_LIKELY(aPair != kHTLongResiduals))
        {
            return aPair;
        }
        const HTResiduals aLong =
            ReadHTResiduals(theCursor.itsVLC.GetBits(), aMode / kHTModeSize, isFirstRow);
        return aLong.itsLength | aLong.itsFirst << 8 | aLong.itsSecond << 16;
    }

    HWY_INLINE void FindContexts(const std::uint32_t* theQuads, std::size_t thePiece);

    HTState& itsState;
    MELReader itsMEL;
    std::uint32_t* itsQuads = nullptr; ///< the row
    /// What the row above contributes to contexts, by quad; no more of it is used than a row has.
    std::array<std::uint32_t, 512 + HTState::kBorder> itsContexts;
    std::array<PieceKind, (512 + HTState::kBorder) / kPieceQuads> itsKinds;
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
    bool isEmpty = true;
    bool isFull = true;
    for (std::size_t q = thePiece; q < thePiece + kPieceQuads; q += hn::Lanes(aTag))
    {
        const auto aWest = hn::ShiftRight<kRight - kLow>(hn::LoadU(aTag, theQuads + q - 1));
        const auto aQuad = hn::LoadU(aTag, theQuads + q);
        const auto anEast = hn::ShiftRight<kLeft - kHigh>(hn::LoadU(aTag, theQuads + q + 1));
        const auto aLeft = hn::And(hn::Or(aWest, hn::ShiftRight<kLeft - kLow>(aQuad)), aLow);
        const auto aRight = hn::And(hn::Or(anEast, hn::ShiftRight<kRight - kHigh>(aQuad)), aHigh);
        const auto aContexts = hn::Or(aLeft, aRight);
        hn::StoreU(aContexts, aTag, itsContexts.data() + q);
        const auto isZero = hn::Eq(aContexts, hn::Zero(aTag));
        isEmpty = isEmpty && hn::AllTrue(aTag, isZero);
        isFull = isFull && hn::AllFalse(aTag, isZero);
    }
    itsKinds[thePiece / kPieceQuads] = isEmpty  ? PieceKind::Empty
                                       : isFull ? PieceKind::Full
                                                : PieceKind::Mixed;
}

} // namespace HWY_NAMESPACE
} // namespace j2k
HWY_AFTER_NAMESPACE();

#endif
