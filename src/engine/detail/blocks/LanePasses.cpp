// SPDX-License-Identifier: Apache-2.0
// The coding passes (T.800 Annex D) of two blocks in turn, compiled once for each instruction set.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/detail/blocks/LanePasses.cpp"
#include <hwy/foreach_target.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <span>

#include "engine/detail/blocks/LaneState.h"
#include "engine/detail/blocks/MQDecoder-inl.h"
#include "engine/detail/markers/TileData.h"

#if HWY_ARCH_X86_64
#include <cpuid.h>
#include <immintrin.h>
#endif

HWY_BEFORE_NAMESPACE();
namespace j2k
{
namespace HWY_NAMESPACE
{
#if HWY_ARCH_X86_64 && HWY_TARGET <= HWY_AVX2
namespace hn = hwy::HWY_NAMESPACE;

/// A group's bits of a map, with the columns beside it.
HWY_INLINE std::uint64_t Widen(const std::uint64_t* theGroup)
{
    return theGroup[0] | theGroup[-1] >> 48 | theGroup[1] << 48;
}

/// The same with the rows above and below.
HWY_INLINE std::uint64_t Surround(const std::uint64_t* theGroup, const LaneState& theLane)
{
    return Widen(theGroup) | (Widen(theGroup - theLane.itsStride) >> 4 & kGroupAbove) |
           (Widen(theGroup + theLane.itsStride) << 4 & theLane.itsBelow);
}

/// Decodes with a context that is given by its place in bytes, in the lower half of thePlace. Where theMask
/// is 0 nothing changes and the decision means nothing. Returns the decision in bit 63.
HWY_INLINE std::uint64_t Divide(MQDecoder& theCoder, std::uint64_t* theContexts, std::uint64_t thePlace,
                                std::uint64_t theMask = ~std::uint64_t{0})
{
    auto* const aBytes = reinterpret_cast<std::uint8_t*>(theContexts) + static_cast<std::uint16_t>(thePlace);
    auto& aContext = *reinterpret_cast<std::uint64_t*>(aBytes);
    return theCoder.Divide(aContext, aContext & MQState::kQeMask & theMask);
}

/// A block while its passes run.
class Lane : public LaneRequest
{
public:
    explicit Lane(const LaneRequest& theRequest) : LaneRequest(theRequest), itsCoder(itsBlock.itsSegments[0])
    {
        itsFindings = {};
        itsState.BeginPlanes(itsBlock);
        itsLane.Begin(itsBlock, itsState);
        std::fill_n(GetGroups(), 2 * itsState.itsPlaneSize, 0);
        PreparePass();
    }

    bool IsDone() const { return itsIsDone; }

    /// 0 for cleanup, 1 for significance propagation, 2 for refinement.
    std::uint32_t GetKind() const { return itsPass % 3; }

    /// Passes of one order run together, larger ones first.
    std::uint32_t GetOrder() const { return itsIsDone ? 0 : 3 * GetPlane() + 3 - (itsPass + 2) % 3; }

    /// The groups of the plane that the pass is of. Not inline: the loops of passes would lose registers to
    /// it.
    HWY_NOINLINE std::uint32_t* GetGroups() const
    {
        return itsLane.itsPlanes.data() + 2 * itsState.itsPlaneSize * GetPlane();
    }

    void EndPass();

    /// Brings the maps to where BlockState has them.
    void Finish();

    MQDecoder itsCoder;

private:
    unsigned int GetPlane() const { return itsState.itsBitPlanes - (itsPass + 2) / 3; }
    void PreparePass();

    std::size_t itsSegment = 0;
    std::uint32_t itsPassInSegment = 0;
    std::uint32_t itsPass = 0;
    bool itsIsDone = false;
};

/// Makes ready for the next pass, or ends where RunSegment ends.
void Lane::PreparePass()
{
    const bool isPredictable = (itsState.itsStyle & CBS_PREDICTABLE_TERMINATION) != 0;
    while (itsPassInSegment == itsBlock.itsSegments[itsSegment].itsPasses)
    {
        itsFindings.itsBadTermination |= isPredictable && !itsCoder.IsAtEnd();
        if (++itsSegment == itsBlock.itsSegments.size())
        {
            itsIsDone = true;
            return;
        }
        itsPassInSegment = 0;
        itsCoder = MQDecoder(itsBlock.itsSegments[itsSegment]);
    }
    itsFindings.itsMissingPasses = (itsPass + 2) / 3 >= itsState.itsBitPlanes;
    itsIsDone = itsFindings.itsMissingPasses || itsCoder.GetSyntheticBits() > kMostSyntheticBits;
    if ((itsState.itsStyle & CBS_RESET) != 0)
    {
        itsState.itsContexts = kInitialContexts;
    }
}

void Lane::EndPass()
{
    const bool hasSymbol = (itsState.itsStyle & CBS_SEGMENTATION_SYMBOLS) != 0 && GetKind() == 0;
    itsFindings.itsBadSegmentationSymbol |=
        hasSymbol && !itsCoder.ReadSymbol(itsState.itsContexts[CONTEXT_UNIFORM]);
    ++itsPass;
    ++itsPassInSegment;
    PreparePass();
}

void Lane::Finish()
{
    for (GroupCursor g(itsLane); g.IsInside(); g.Advance())
    {
        const std::size_t aWord = g.itsIndex / 2;
        const std::size_t aStripe = aWord / itsState.itsWords;
        const std::size_t aBordered = aWord + 2 * aStripe + itsState.itsBorderedWords + 1;
        const std::size_t aShift = g.itsIndex % 2 * 32;
        itsState.itsSignificant[aBordered] |= _pext_u64(*g.itsSignificant, kGroupOwn) << aShift;
        itsState.itsNegative[aWord] |= _pext_u64(*g.itsNegative, kGroupOwn) << aShift;
    }
    std::memcpy(itsState.itsPlanes.data(), itsLane.itsPlanes.data(), 8 * itsState.itsPlanes.size());
    itsState.AddHalfSteps(itsPass);
}

/// A pass's way through a block's groups. Two passes are two local variables: as an array they would live in
/// memory.
class LaneWalk : protected GroupCursor
{
public:
    HWY_INLINE explicit LaneWalk(Lane& theLane)
        : GroupCursor(theLane.itsLane), itsCoder(theLane.itsCoder), itsLane(theLane.itsLane),
          itsContexts(theLane.itsState.itsContexts.data()), itsZeroContexts(itsLane.itsZeroContexts),
          itsPlane(theLane.GetGroups())
    {
    }

    HWY_INLINE const MQDecoder& GetCoder() const { return itsCoder; }

    /// Whether the group has samples that are not decoded yet.
    HWY_INLINE bool HasSamples() const { return itsTodo != 0; }

protected:
    /// What kGroupNeighbours of the current sample select.
    HWY_INLINE std::uint64_t GetNear() const { return _pext_u64(itsNear >> (itsBit - 7), kGroupNeighbours); }

    /// Of kGroupSignContexts.
    HWY_INLINE std::uint64_t GetSign() const
    {
        return kGroupSignContexts[_pext_u64(itsNear >> (itsBit - 7), kGroupNearest) |
                                  _pext_u64(itsSigns >> (itsBit - 7), kGroupNearest) << 4];
    }

    MQDecoder itsCoder;
    LaneState& itsLane;
    std::uint64_t* itsContexts;
    const std::uint16_t* itsZeroContexts;
    std::uint32_t* itsPlane;
    std::uint64_t itsNear = 0;  ///< significant samples of the group, borders included
    std::uint64_t itsSigns = 0; ///< negative ones, likewise
    std::uint64_t itsTodo = 0;  ///< samples to be decoded
    std::uint64_t itsBit = 0;   ///< the first of them
};

/// Significance propagation, a sample a step and without a branch on what becomes of it: a sign is decoded in
/// any case, with an empty interval where the sample stays zero.
class LanePropagation : public LaneWalk
{
public:
    HWY_INLINE explicit LanePropagation(Lane& theLane) : LaneWalk(theLane) {}

    /// Goes to the next group with candidates; false at the block's end.
    HWY_INLINE bool Find()
    {
        for (; IsInside(); Advance())
        {
            itsNear = Surround(itsSignificant, itsLane);
            const std::uint64_t aColumn = itsNear | itsNear << 1 | itsNear >> 1;
            itsOpen = ~*itsSignificant & *itsValid;
            itsTodo = (aColumn | aColumn << 6 | aColumn >> 6) & itsOpen;
            if (itsTodo != 0)
            {
                itsSeen = itsTodo;
                itsBefore = itsNear;
                itsSigns = Surround(itsNegative, itsLane);
                itsBit = static_cast<std::uint64_t>(std::countr_zero(itsTodo));
                return true;
            }
            itsPlane[itsIndex] = 0;
            *itsVisited = 0;
        }
        return false;
    }

    HWY_INLINE void Step()
    {
        constexpr std::uint64_t aLater = 0xE2; // neighbours that are scanned later, from the sample's own bit
        const std::uint64_t aSign = GetSign();
        const std::uint64_t aFound = Spread(Divide(itsCoder, itsContexts, itsZeroContexts[GetNear()]));
        const std::uint64_t aSample = itsTodo & (0 - itsTodo) & aFound;
        itsNear |= aSample;
        itsTodo = (itsTodo & (itsTodo - 1)) | ((aLater << itsBit) & itsOpen & aFound);
        itsSeen |= itsTodo;
        const std::uint64_t aDecision = Divide(itsCoder, itsContexts, aSign, aFound);
        itsSigns |= Spread(aDecision ^ aSign) & aSample;
        itsBit = static_cast<std::uint64_t>(std::countr_zero(itsTodo));
    }

    /// Leaves the group and finds the next one.
    HWY_INLINE bool GoOn()
    {
        const std::uint64_t aFound = itsNear & ~itsBefore;
        *itsSignificant |= aFound;
        *itsNegative = itsSigns & kGroupOwn;
        itsPlane[itsIndex] = static_cast<std::uint32_t>(_pext_u64(aFound, kGroupOwn));
        *itsVisited = itsSeen;
        Advance();
        return Find();
    }

private:
    /// Bit 63 in all bits.
    static HWY_INLINE std::uint64_t Spread(std::uint64_t theWord)
    {
        return static_cast<std::uint64_t>(static_cast<std::int64_t>(theWord) >> 63);
    }

    std::uint64_t itsOpen = 0; ///< not significant when the group was entered
    std::uint64_t itsSeen = 0;
    std::uint64_t itsBefore = 0; ///< itsNear when the group was entered
};

/// Cleanup, with branches: few samples become significant here, so most are predicted, and two blocks in turn
/// gain nothing.
class LaneCleanup : public LaneWalk
{
public:
    HWY_INLINE explicit LaneCleanup(Lane& theLane) : LaneWalk(theLane) {}

    /// Goes to the next group with something to decode; false at the block's end.
    HWY_INLINE bool Find()
    {
        for (; IsInside(); Advance())
        {
            itsTodo = ~*itsSignificant & ~*itsVisited & *itsValid;
            *itsVisited = 0;
            if (itsTodo == 0)
            {
                continue;
            }
            // Runs: row 0 of whole columns where nothing is significant nor has such a neighbour.
            itsNear = Surround(itsSignificant, itsLane);
            const std::uint64_t aThree = itsNear | itsNear << 6 | itsNear >> 6;
            const std::uint64_t aRows = aThree | aThree >> 1;
            itsRuns = ~(aRows | aRows >> 2 | aRows >> 4) << 1 & *itsValid >> 3 & kGroupRow0;
            if (itsRuns != kGroupRow0 || !itsCoder.SkipZeros(itsContexts[CONTEXT_RUN], kGroupColumns))
            {
                itsTodo = (itsTodo & ~(itsRuns * 15)) | itsRuns;
                itsSigns = Surround(itsNegative, itsLane);
                itsBit = static_cast<std::uint64_t>(std::countr_zero(itsTodo));
                return true;
            }
        }
        return false;
    }

    HWY_INLINE void Step()
    {
        const unsigned int aContext = itsZeroContexts[GetNear() | (itsRuns >> itsBit & 1) << 8];
        const bool isFound = static_cast<std::int64_t>(Divide(itsCoder, itsContexts, aContext)) < 0;
        itsTodo &= itsTodo - 1;
        if (HWY_UNLIKELY(isFound))
        {
            if (aContext == 8 * CONTEXT_RUN) // the sample that ends it is in one of four rows
            {
                std::uint64_t aRow = itsCoder.Decode(itsContexts[CONTEXT_UNIFORM]) << 1;
                aRow |= itsCoder.Decode(itsContexts[CONTEXT_UNIFORM]);
                itsRuns ^= std::uint64_t{1} << itsBit;
                itsTodo |= std::uint64_t{0xE & (0xEU << aRow)} << itsBit;
                itsBit += aRow;
            }
            const std::uint64_t aSign = GetSign();
            const std::uint64_t aNext = (std::uint64_t{0x78} << itsBit) & itsRuns; // has a neighbour now
            itsRuns ^= aNext;
            itsTodo |= aNext * 15;
            itsNear |= std::uint64_t{1} << itsBit;
            itsSigns |= ((Divide(itsCoder, itsContexts, aSign) ^ aSign) >> 63) << itsBit;
        }
        itsBit = static_cast<std::uint64_t>(std::countr_zero(itsTodo));
    }

    /// Leaves the group and finds the next one.
    HWY_INLINE bool GoOn()
    {
        const std::uint64_t aFound = itsNear & kGroupOwn & ~*itsSignificant;
        itsPlane[itsIndex] |= static_cast<std::uint32_t>(_pext_u64(aFound, kGroupOwn));
        *itsSignificant |= aFound;
        *itsNegative = itsSigns & kGroupOwn;
        Advance();
        return Find();
    }

private:
    std::uint64_t itsRuns = 0; ///< row 0 of columns that are runs
};

/// Runs a pass from where it is to the block's end.
template <class Pass>
HWY_INLINE void RunToEnd(Pass& thePass, bool hasMore)
{
    while (hasMore)
    {
        do
        {
            thePass.Step();
        } while (thePass.HasSamples());
        hasMore = thePass.GoOn();
    }
}

/// The whole pass of one block.
template <class Pass>
HWY_NOINLINE void Run(Lane& theLane)
{
    Pass aPass(theLane);
    RunToEnd(aPass, aPass.Find());
    theLane.itsCoder = aPass.GetCoder();
}

HWY_NOINLINE void Propagate(Lane& theFirst, Lane& theSecond)
{
    LanePropagation aFirst(theFirst);
    LanePropagation aSecond(theSecond);
    bool hasFirst = aFirst.Find();
    bool hasSecond = aSecond.Find();
    while (hasFirst && hasSecond)
    {
        do
        {
            aFirst.Step();
            aSecond.Step();
        } while (aFirst.HasSamples() && aSecond.HasSamples());
        hasFirst = aFirst.HasSamples() || aFirst.GoOn();
        hasSecond = aSecond.HasSamples() || aSecond.GoOn();
    }
    RunToEnd(aFirst, hasFirst);
    RunToEnd(aSecond, hasSecond);
    theFirst.itsCoder = aFirst.GetCoder();
    theSecond.itsCoder = aSecond.GetCoder();
}

/// Nothing that a refinement pass decodes changes what it decodes next: so the contexts are listed first, and
/// decoded in a loop that has no other branch.
void ListRefinements(Lane* theLane)
{
    LaneState& aLane = theLane->itsLane;
    std::uint8_t* anOut = aLane.itsRefinements.data();
    for (GroupCursor g(aLane); g.IsInside(); g.Advance())
    {
        const std::uint64_t aSamples = *g.itsSignificant & ~*g.itsVisited;
        if (aSamples == 0)
        {
            continue;
        }
        const std::uint64_t aRefined = aLane.itsRefined[g.itsIndex];
        aLane.itsRefined[g.itsIndex] = aRefined | aSamples;
        std::uint64_t aNeighboured = 0;
        if ((aSamples & ~aRefined) != 0)
        {
            const std::uint64_t aNear = Surround(g.itsSignificant, aLane);
            const std::uint64_t aSides = aNear << 6 | aNear >> 6;
            aNeighboured = (aSides | (aNear | aSides) << 1 | (aNear | aSides) >> 1) & ~aRefined;
        }
        std::uint64_t aFirst = _pext_u64(aNeighboured, aSamples);
        std::uint64_t anAgain = _pext_u64(aRefined, aSamples);
        for (int k = 0; k < 32; k += 8, aFirst >>= 8, anAgain >>= 8)
        {
            const std::uint64_t anEight =
                _pdep_u64(aFirst, 0x0808080808080808U) | _pdep_u64(anAgain, 0x1010101010101010U);
            std::memcpy(anOut + k, &anEight, sizeof(anEight));
        }
        anOut += std::popcount(aSamples);
    }
    aLane.itsRefinementCount = static_cast<std::size_t>(anOut - aLane.itsRefinements.data());
}

void PlaceRefinements(Lane* theLane)
{
    const hn::FixedTag<std::int8_t, 32> aTag;
    std::uint32_t* const aPlane = theLane->GetGroups();
    const std::int8_t* aDecision =
        reinterpret_cast<const std::int8_t*>(theLane->itsLane.itsRefinements.data());
    for (GroupCursor g(theLane->itsLane); g.IsInside(); g.Advance())
    {
        const std::uint64_t aSamples = *g.itsSignificant & ~*g.itsVisited;
        std::uint32_t aBits;
        hn::StoreMaskBits(aTag, hn::MaskFromVec(hn::LoadU(aTag, aDecision)),
                          reinterpret_cast<std::uint8_t*>(&aBits));
        aPlane[g.itsIndex] |= _pdep_u32(aBits, static_cast<std::uint32_t>(_pext_u64(aSamples, kGroupOwn)));
        aDecision += std::popcount(aSamples);
    }
}

/// Turns what is listed into what is decoded.
class LaneRefinement
{
public:
    HWY_INLINE explicit LaneRefinement(Lane& theLane)
        : itsCoder(theLane.itsCoder), itsList(theLane.itsLane.itsRefinements.data())
    {
        std::memcpy(itsContexts, &theLane.itsState.itsContexts[CONTEXT_REFINE_ALONE], sizeof(itsContexts));
    }

    HWY_INLINE void Step(std::size_t theIndex)
    {
        itsList[theIndex] = static_cast<std::uint8_t>(Divide(itsCoder, itsContexts, itsList[theIndex]) >> 56);
    }

    /// From theFirst on.
    HWY_INLINE void RunToEnd(std::size_t theFirst, Lane& theLane)
    {
        for (std::size_t i = theFirst; i < theLane.itsLane.itsRefinementCount; ++i)
        {
            Step(i);
        }
        std::memcpy(&theLane.itsState.itsContexts[CONTEXT_REFINE_ALONE], itsContexts, sizeof(itsContexts));
        theLane.itsCoder = itsCoder;
    }

private:
    MQDecoder itsCoder;
    std::uint8_t* itsList;
    std::uint64_t itsContexts[3];
};

HWY_NOINLINE void Refine(Lane& theLane)
{
    LaneRefinement(theLane).RunToEnd(0, theLane);
}

HWY_NOINLINE void Refine(Lane& theFirst, Lane& theSecond)
{
    LaneRefinement aFirst(theFirst);
    LaneRefinement aSecond(theSecond);
    const std::size_t aCount =
        std::min(theFirst.itsLane.itsRefinementCount, theSecond.itsLane.itsRefinementCount);
    for (std::size_t i = 0; i < aCount; ++i)
    {
        aFirst.Step(i);
        aSecond.Step(i);
    }
    aFirst.RunToEnd(aCount, theFirst);
    aSecond.RunToEnd(aCount, theSecond);
}

/// Runs a pass of one block, or passes of the same kind of two.
void RunPasses(std::span<Lane* const> theLanes)
{
    const bool isPair = theLanes.size() == 2;
    const std::uint32_t aKind = theLanes[0]->GetKind();
    if (aKind == 0)
    {
        std::ranges::for_each(theLanes, [](Lane* theLane) { Run<LaneCleanup>(*theLane); });
    }
    else if (aKind == 1)
    {
        isPair ? Propagate(*theLanes[0], *theLanes[1]) : Run<LanePropagation>(*theLanes[0]);
    }
    else
    {
        std::ranges::for_each(theLanes, ListRefinements);
        isPair ? Refine(*theLanes[0], *theLanes[1]) : Refine(*theLanes[0]);
        std::ranges::for_each(theLanes, PlaceRefinements);
    }
    std::ranges::for_each(theLanes, &Lane::EndPass);
}

bool RunLanes(const LaneRequest& theFirst, const LaneRequest& theSecond)
{
    Lane aFirst(theFirst);
    Lane aSecond(theSecond);
    while (!aFirst.IsDone() || !aSecond.IsDone())
    {
        const bool isPair = aFirst.GetOrder() == aSecond.GetOrder();
        Lane* const aLanes[] = {aFirst.GetOrder() >= aSecond.GetOrder() ? &aFirst : &aSecond, &aSecond};
        RunPasses(std::span(aLanes, isPair ? 2 : 1));
    }
    aFirst.Finish();
    aSecond.Finish();
    return true;
}

#else

bool RunLanes(const LaneRequest&, const LaneRequest&)
{
    return false;
}

#endif
} // namespace HWY_NAMESPACE
} // namespace j2k
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace j2k
{
namespace
{
HWY_EXPORT(RunLanes);

/// AMD's processors before family 25, and those of others that are like them, take hundreds of cycles for an
/// extraction.
bool HasQuickExtraction()
{
#if HWY_ARCH_X86_64
    constexpr unsigned int anIntel = 0x756E6547; // the first letters of the maker's name
    unsigned int aWords[4] = {};
    const bool isIntel =
        __get_cpuid(0, &aWords[0], &aWords[1], &aWords[2], &aWords[3]) != 0 && aWords[1] == anIntel;
    __get_cpuid(1, &aWords[0], &aWords[1], &aWords[2], &aWords[3]);
    return isIntel || (aWords[0] >> 8 & 15) + (aWords[0] >> 20 & 255) >= 25;
#else
    return false;
#endif
}
} // namespace

bool DecodeLanes(const LaneRequest& theFirst, const LaneRequest& theSecond)
{
    static const bool hasQuickExtraction = HasQuickExtraction();
    return hasQuickExtraction && HWY_DYNAMIC_DISPATCH(RunLanes)(theFirst, theSecond);
}
} // namespace j2k
#endif
