// SPDX-License-Identifier: Apache-2.0
// The coding passes (T.800 Annex D), compiled once for each instruction set.

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "engine/detail/blocks/BlockPasses.cpp"
#include <hwy/foreach_target.h>

#include <array>
#include <bit>
#include <cstdint>

#include "engine/detail/blocks/BlockState.h"
#include "engine/detail/blocks/MQDecoder-inl.h"
#include "engine/detail/blocks/RawDecoder-inl.h"
#include "engine/detail/markers/TileData.h"

HWY_BEFORE_NAMESPACE();
namespace j2k
{
namespace HWY_NAMESPACE
{

/// Keeps the compiler from moving what these values cost behind the branch that follows.
HWY_INLINE void KeepHere(unsigned int& theFirst, unsigned int& theSecond, unsigned int& theThird)
{
#if HWY_COMPILER_GCC
    asm("" : "+r"(theFirst), "+r"(theSecond), "+r"(theThird));
#else
    (void)theFirst;
    (void)theSecond;
    (void)theThird;
#endif
}

/// The passes over one block with one kind of decoder.
template <class Coder>
class BlockPasses
{
public:
    explicit BlockPasses(BlockState& theState);

    /// Each pass is of bit-plane number thePlane in BlockState's counting.
    void PropagateSignificance(Coder& theCoder, unsigned int thePlane);
    void RefineMagnitudes(Coder& theCoder, unsigned int thePlane);
    void CleanUp(Coder& theCoder, unsigned int thePlane);

private:
    static constexpr std::uint64_t kRow0 = BlockState::kRow0;

    /// One word of the block while a pass works on it.
    struct Word
    {
        std::uint64_t* itsSignificant; ///< in the bordered map
        std::uint64_t itsValid;
        std::uint32_t* itsNeighbours; ///< of its first column
        std::uint32_t* itsSigns;
        std::uint64_t* itsNegative;
        std::size_t itsIndex;
    };

    /// What zero coding found in a word.
    struct Zeros
    {
        std::uint64_t itsVisited;
        std::uint64_t itsFound = 0; ///< became significant
    };

    /// What a sample tells a row of its stripe's neighbour above or below, by its own row.
    struct Outside
    {
        std::ptrdiff_t itsOffset = 0; ///< of that stripe's column
        std::array<std::uint32_t, 3> itsNeighbours{};
        std::uint32_t itsSign = 0;
    };

    HWY_INLINE Word GetWord(std::uint32_t theStripe, std::uint32_t theWord);
    HWY_INLINE std::uint64_t SpreadVertically(const std::uint64_t* theWord) const;
    HWY_INLINE std::uint64_t Spread(const std::uint64_t* theWord) const;
    HWY_INLINE std::uint64_t GetNeighboured(const std::uint64_t* theWord) const;
    template <bool isGrowing>
    HWY_INLINE Zeros DecodeZeros(Coder& theCoder, const Word& theWord, std::uint64_t theCandidates);
    HWY_INLINE bool DecodeZero(Coder& theCoder, const Word& theWord, unsigned int theBit);
    HWY_INLINE unsigned int DecodeSign(Coder& theCoder, unsigned int theSign);
    HWY_INLINE void BecomeSignificant(Coder& theCoder, const Word& theWord, unsigned int theBit);
    HWY_INLINE void TellNeighbours(const Word& theWord, unsigned int theBit);
    HWY_INLINE void TellSign(const Word& theWord, unsigned int theBit, unsigned int theNegative);
    HWY_INLINE std::uint64_t RefineAgain(Coder& theCoder, std::uint64_t theSamples);
    HWY_INLINE std::uint64_t RefineMixed(Coder& theCoder, std::uint64_t theSamples,
                                         std::uint64_t theNeighboured, std::uint64_t theRefined);
    HWY_INLINE unsigned int DecodeRun(Coder& theCoder);
    HWY_INLINE std::uint64_t DecodeRuns(Coder& theCoder, const Word& theWord, std::uint64_t theCandidates,
                                        std::uint64_t theRuns);
    HWY_INLINE std::uint64_t CleanUpWord(Coder& theCoder, const Word& theWord, std::uint64_t theWhole);

    BlockState& itsState;
    std::uint64_t itsBelow; ///< samples that see the stripe below
    std::array<Outside, 4> itsOutside{};
};

template <class Coder>
BlockPasses<Coder>::BlockPasses(BlockState& theState) : itsState(theState)
{
    const bool isCausal = (theState.itsStyle & CBS_CAUSAL) != 0;
    itsBelow = isCausal ? 0 : BlockState::kRow3;
    const auto aColumns = static_cast<std::ptrdiff_t>(theState.itsColumns);
    itsOutside[3] = {aColumns, {NEIGHBOUR_NE, NEIGHBOUR_N, NEIGHBOUR_NW}, NEIGHBOUR_N};
    if (!isCausal)
    {
        constexpr unsigned int aShift = 24; // the row that touches
        itsOutside[0] = {-aColumns,
                         {std::uint32_t{NEIGHBOUR_SE} << aShift, std::uint32_t{NEIGHBOUR_S} << aShift,
                          std::uint32_t{NEIGHBOUR_SW} << aShift},
                         std::uint32_t{NEIGHBOUR_S} << aShift};
    }
}

template <class Coder>
HWY_INLINE auto BlockPasses<Coder>::GetWord(std::uint32_t theStripe, std::uint32_t theWord) -> Word
{
    Word aWord;
    aWord.itsSignificant =
        itsState.itsSignificant.data() + (theStripe + 1) * itsState.itsBorderedWords + theWord + 1;
    aWord.itsValid = itsState.GetValid(theStripe, theWord);
    const std::size_t aColumn =
        (theStripe + 1) * itsState.itsColumns + 1 + std::size_t{theWord} * BlockState::kWordColumns;
    aWord.itsNeighbours = itsState.itsNeighbours.data() + aColumn;
    aWord.itsSigns = itsState.itsSigns.data() + aColumn;
    aWord.itsIndex = std::size_t{theStripe} * itsState.itsWords + theWord;
    aWord.itsNegative = itsState.itsNegative.data() + aWord.itsIndex;
    return aWord;
}

/// Significant samples and those right above and below them.
template <class Coder>
HWY_INLINE std::uint64_t BlockPasses<Coder>::SpreadVertically(const std::uint64_t* theWord) const
{
    const std::ptrdiff_t aStripe = static_cast<std::ptrdiff_t>(itsState.itsBorderedWords);
    const std::uint64_t aWord = *theWord;
    return aWord | (aWord << 1 & ~kRow0) | (aWord >> 1 & ~BlockState::kRow3) |
           (theWord[-aStripe] >> 3 & kRow0) | (theWord[aStripe] << 3 & itsBelow);
}

/// Samples that are significant or have a significant neighbour.
template <class Coder>
HWY_INLINE std::uint64_t BlockPasses<Coder>::Spread(const std::uint64_t* theWord) const
{
    const std::uint64_t aMiddle = SpreadVertically(theWord);
    return aMiddle | aMiddle << 4 | aMiddle >> 4 | SpreadVertically(theWord - 1) >> 60 |
           SpreadVertically(theWord + 1) << 60;
}

/// Samples that have a significant neighbour.
template <class Coder>
HWY_INLINE std::uint64_t BlockPasses<Coder>::GetNeighboured(const std::uint64_t* theWord) const
{
    const std::ptrdiff_t aStripe = static_cast<std::ptrdiff_t>(itsState.itsBorderedWords);
    const std::uint64_t aWord = *theWord;
    const std::uint64_t aMiddle = SpreadVertically(theWord);
    return (aWord << 1 & ~kRow0) | (aWord >> 1 & ~BlockState::kRow3) | (theWord[-aStripe] >> 3 & kRow0) |
           (theWord[aStripe] << 3 & itsBelow) | aMiddle << 4 | aMiddle >> 4 |
           SpreadVertically(theWord - 1) >> 60 | SpreadVertically(theWord + 1) << 60;
}

template <class Coder>
HWY_INLINE bool BlockPasses<Coder>::DecodeZero(Coder& theCoder, const Word& theWord, unsigned int theBit)
{
    const std::uint8_t* aBytes = reinterpret_cast<const std::uint8_t*>(theWord.itsNeighbours);
    const unsigned int aContext = itsState.itsZeroContexts[aBytes[theBit]];
    return theCoder.Decode(itsState.itsContexts[aContext]) != 0;
}

template <class Coder>
HWY_INLINE void BlockPasses<Coder>::TellNeighbours(const Word& theWord, unsigned int theBit)
{
    const unsigned int aRow = theBit & 3;
    const unsigned int aShift = 8 * aRow;
    std::uint32_t* aColumn = theWord.itsNeighbours + (theBit >> 2);
    constexpr std::uint64_t aLeft = NEIGHBOUR_SE | NEIGHBOUR_E << 8 | NEIGHBOUR_NE << 16;
    constexpr std::uint64_t aMiddle = NEIGHBOUR_S | NEIGHBOUR_N << 16;
    constexpr std::uint64_t aRight = NEIGHBOUR_SW | NEIGHBOUR_W << 8 | NEIGHBOUR_NW << 16;
    aColumn[-1] |= static_cast<std::uint32_t>(aLeft << aShift >> 8);
    aColumn[0] |= static_cast<std::uint32_t>(aMiddle << aShift >> 8);
    aColumn[1] |= static_cast<std::uint32_t>(aRight << aShift >> 8);
    // The rows in the middle tell nothing, but a branch on the row would be mispredicted too often.
    const Outside& anOutside = itsOutside[aRow];
    aColumn += anOutside.itsOffset;
    aColumn[-1] |= anOutside.itsNeighbours[0];
    aColumn[0] |= anOutside.itsNeighbours[1];
    aColumn[1] |= anOutside.itsNeighbours[2];
}

template <class Coder>
HWY_INLINE void BlockPasses<Coder>::TellSign(const Word& theWord, unsigned int theBit,
                                             unsigned int theNegative)
{
    const unsigned int aRow = theBit & 3;
    const unsigned int aShift = 8 * aRow;
    const std::uint64_t aFactor = 1 | theNegative << 4;
    std::uint32_t* aColumn = theWord.itsSigns + (theBit >> 2);
    aColumn[-1] |= static_cast<std::uint32_t>(NEIGHBOUR_E * aFactor << aShift);
    aColumn[0] |= static_cast<std::uint32_t>((NEIGHBOUR_S | NEIGHBOUR_N << 16) * aFactor << aShift >> 8);
    aColumn[1] |= static_cast<std::uint32_t>(NEIGHBOUR_W * aFactor << aShift);
    const Outside& anOutside = itsOutside[aRow];
    aColumn[anOutside.itsOffset] |= static_cast<std::uint32_t>(anOutside.itsSign * aFactor);
}

/// theSign is of kSignContexts. Returns 1 for negative.
template <class Coder>
HWY_INLINE unsigned int BlockPasses<Coder>::DecodeSign(Coder& theCoder, unsigned int theSign)
{
    if constexpr (Coder::kIsRaw)
    {
        return theCoder.Decode(itsState.itsContexts[0]);
    }
    else
    {
        return theCoder.Decode(itsState.itsContexts[theSign & kSignContextMask]) ^
               (theSign >> kSignFlipShift);
    }
}

template <class Coder>
HWY_INLINE void BlockPasses<Coder>::BecomeSignificant(Coder& theCoder, const Word& theWord,
                                                      unsigned int theBit)
{
    TellNeighbours(theWord, theBit);
    const std::uint8_t* aSigns = reinterpret_cast<const std::uint8_t*>(theWord.itsSigns);
    const unsigned int aNegative = DecodeSign(theCoder, kSignContexts[aSigns[theBit]]);
    *theWord.itsNegative |= std::uint64_t{aNegative} << theBit;
    TellSign(theWord, theBit, aNegative);
}

/// Zero coding of theCandidates and, if isGrowing, of the later neighbours of what becomes significant.
///
/// What the next sample needs is looked up while the decoder works, as if the current one stayed zero.
template <class Coder>
template <bool isGrowing>
HWY_INLINE auto BlockPasses<Coder>::DecodeZeros(Coder& theCoder, const Word& theWord,
                                                std::uint64_t theCandidates) -> Zeros
{
    /// The later neighbours of a sample in each row, as seen from its own bit.
    constexpr std::array<std::uint64_t, 4> aLater = {0x32, 0x3A, 0x3A, 0x18};
    Zeros aZeros{theCandidates};
    if (theCandidates == 0)
    {
        return aZeros;
    }
    const std::uint64_t anOpen = ~*theWord.itsSignificant & theWord.itsValid;
    const std::uint8_t* aNeighbours = reinterpret_cast<const std::uint8_t*>(theWord.itsNeighbours);
    const std::uint8_t* aSigns = reinterpret_cast<const std::uint8_t*>(theWord.itsSigns);
    std::uint64_t aNegatives = 0;
    unsigned int aBit = static_cast<unsigned int>(std::countr_zero(theCandidates));
    unsigned int aContext = itsState.itsZeroContexts[aNeighbours[aBit]];
    while (true)
    {
        theCandidates &= theCandidates - 1;
        unsigned int aSign = kSignContexts[aSigns[aBit]];
        const bool isFound = theCoder.Decode(itsState.itsContexts[aContext]) != 0;
        // Behind the last candidate this is 64: a byte of the next word or of the border.
        unsigned int aNextBit = static_cast<unsigned int>(std::countr_zero(theCandidates));
        unsigned int aNextContext = itsState.itsZeroContexts[aNeighbours[aNextBit]];
        KeepHere(aNextBit, aNextContext, aSign);
        if (isFound)
        {
            aZeros.itsFound |= std::uint64_t{1} << aBit;
            if constexpr (isGrowing)
            {
                const std::uint64_t aMore = aLater[aBit & 3] << aBit & anOpen;
                theCandidates |= aMore;
                aZeros.itsVisited |= aMore;
            }
            TellNeighbours(theWord, aBit);
            aNextBit = static_cast<unsigned int>(std::countr_zero(theCandidates));
            aNextContext = itsState.itsZeroContexts[aNeighbours[aNextBit]];
            const unsigned int aNegative = DecodeSign(theCoder, aSign);
            aNegatives |= std::uint64_t{aNegative} << aBit;
            TellSign(theWord, aBit, aNegative);
        }
        if (theCandidates == 0)
        {
            break;
        }
        aBit = aNextBit;
        aContext = aNextContext;
    }
    *theWord.itsNegative |= aNegatives;
    return aZeros;
}

template <class Coder>
void BlockPasses<Coder>::PropagateSignificance(Coder& theCoder, unsigned int thePlane)
{
    Coder aCoder = theCoder;
    std::uint64_t* aPlane = itsState.GetPlane(thePlane);
    for (std::uint32_t aStripe = 0; aStripe < itsState.itsStripes; ++aStripe)
    {
        for (std::uint32_t w = 0; w < itsState.itsWords; ++w)
        {
            const Word aWord = GetWord(aStripe, w);
            const std::uint64_t aSignificant = *aWord.itsSignificant;
            const std::uint64_t aCandidates = Spread(aWord.itsSignificant) & ~aSignificant & aWord.itsValid;
            const Zeros aZeros = DecodeZeros<true>(aCoder, aWord, aCandidates);
            *aWord.itsSignificant = aSignificant | aZeros.itsFound;
            itsState.itsVisited[aWord.itsIndex] = aZeros.itsVisited;
            aPlane[aWord.itsIndex] = aZeros.itsFound;
        }
    }
    theCoder = aCoder;
}

/// The next bit of samples that had one before.
template <class Coder>
HWY_INLINE std::uint64_t BlockPasses<Coder>::RefineAgain(Coder& theCoder, std::uint64_t theSamples)
{
    std::uint64_t aContext = itsState.itsContexts[CONTEXT_REFINE_AGAIN];
    std::uint64_t aBits = 0;
    do
    {
        const unsigned int aBit = static_cast<unsigned int>(std::countr_zero(theSamples));
        theSamples &= theSamples - 1;
        aBits |= std::uint64_t{theCoder.Decode(aContext)} << aBit;
    } while (theSamples != 0);
    itsState.itsContexts[CONTEXT_REFINE_AGAIN] = aContext;
    return aBits;
}

/// The next bit of samples of which some, not among theRefined, have none yet.
template <class Coder>
HWY_INLINE std::uint64_t BlockPasses<Coder>::RefineMixed(Coder& theCoder, std::uint64_t theSamples,
                                                         std::uint64_t theNeighboured,
                                                         std::uint64_t theRefined)
{
    theNeighboured &= ~theRefined;
    std::uint64_t aBits = 0;
    do
    {
        const unsigned int aBit = static_cast<unsigned int>(std::countr_zero(theSamples));
        theSamples &= theSamples - 1;
        const std::uint64_t aContext =
            CONTEXT_REFINE_ALONE + (theNeighboured >> aBit & 1) + (theRefined >> aBit & 1) * 2;
        aBits |= std::uint64_t{theCoder.Decode(itsState.itsContexts[aContext])} << aBit;
    } while (theSamples != 0);
    return aBits;
}

template <class Coder>
void BlockPasses<Coder>::RefineMagnitudes(Coder& theCoder, unsigned int thePlane)
{
    Coder aCoder = theCoder;
    std::uint64_t* aPlane = itsState.GetPlane(thePlane);
    for (std::uint32_t aStripe = 0; aStripe < itsState.itsStripes; ++aStripe)
    {
        for (std::uint32_t w = 0; w < itsState.itsWords; ++w)
        {
            const Word aWord = GetWord(aStripe, w);
            const std::uint64_t aSamples = *aWord.itsSignificant & ~itsState.itsVisited[aWord.itsIndex];
            if (aSamples == 0)
            {
                continue;
            }
            const std::uint64_t aRefined = itsState.itsRefined[aWord.itsIndex];
            itsState.itsRefined[aWord.itsIndex] = aRefined | aSamples;
            aPlane[aWord.itsIndex] |=
                (aSamples & ~aRefined) == 0
                    ? RefineAgain(aCoder, aSamples)
                    : RefineMixed(aCoder, aSamples, GetNeighboured(aWord.itsSignificant), aRefined);
        }
    }
    theCoder = aCoder;
}

/// Where in a column of four zeros the first significant sample is; 4: nowhere.
template <class Coder>
HWY_INLINE unsigned int BlockPasses<Coder>::DecodeRun(Coder& theCoder)
{
    if (theCoder.DecodeSkewed(itsState.itsContexts[CONTEXT_RUN]) == 0)
    {
        return 4;
    }
    const unsigned int anUpper = theCoder.Decode(itsState.itsContexts[CONTEXT_UNIFORM]);
    return anUpper << 1 | theCoder.Decode(itsState.itsContexts[CONTEXT_UNIFORM]);
}

/// Zero coding of theCandidates, with runs where columns start that are in theRuns. Returns what became
/// significant.
template <class Coder>
HWY_INLINE std::uint64_t BlockPasses<Coder>::DecodeRuns(Coder& theCoder, const Word& theWord,
                                                        std::uint64_t theCandidates, std::uint64_t theRuns)
{
    theCandidates = (theCandidates & ~(theRuns * 15)) | theRuns;
    std::uint64_t aFound = 0;
    while (theCandidates != 0)
    {
        unsigned int aBit = static_cast<unsigned int>(std::countr_zero(theCandidates));
        theCandidates &= theCandidates - 1;
        if ((theRuns >> aBit & 1) != 0)
        {
            const unsigned int aRow = DecodeRun(theCoder);
            if (aRow == 4)
            {
                continue;
            }
            theCandidates |= std::uint64_t{0xE & (0xEU << aRow)} << aBit;
            aBit += aRow;
        }
        else if (!DecodeZero(theCoder, theWord, aBit))
        {
            continue;
        }
        aFound |= std::uint64_t{1} << aBit;
        // The next column has a neighbour now.
        const std::uint64_t aNext = (std::uint64_t{16} << (aBit & ~3U)) & theRuns;
        theRuns ^= aNext;
        theCandidates |= aNext * 15;
        BecomeSignificant(theCoder, theWord, aBit);
    }
    return aFound;
}

/// theWhole: where whole columns start. Returns what became significant.
template <class Coder>
HWY_INLINE std::uint64_t BlockPasses<Coder>::CleanUpWord(Coder& theCoder, const Word& theWord,
                                                         std::uint64_t theWhole)
{
    std::uint64_t& aVisited = itsState.itsVisited[theWord.itsIndex];
    const std::uint64_t aCandidates = ~*theWord.itsSignificant & ~aVisited & theWord.itsValid;
    aVisited = 0;
    // Columns that start with a run: nothing in them is significant or has such a neighbour.
    std::uint64_t aSpread = Spread(theWord.itsSignificant);
    aSpread |= aSpread >> 1;
    aSpread |= aSpread >> 2;
    const std::uint64_t aRuns = ~aSpread & theWhole & theWord.itsValid;
    if (aRuns == 0)
    {
        return DecodeZeros<false>(theCoder, theWord, aCandidates).itsFound;
    }
    if (aRuns == kRow0 && theCoder.SkipZeros(itsState.itsContexts[CONTEXT_RUN], BlockState::kWordColumns))
    {
        return 0;
    }
    return DecodeRuns(theCoder, theWord, aCandidates, aRuns);
}

template <class Coder>
void BlockPasses<Coder>::CleanUp(Coder& theCoder, unsigned int thePlane)
{
    Coder aCoder = theCoder;
    const bool isFirst = thePlane == itsState.itsBitPlanes;
    std::uint64_t* aPlane = itsState.GetPlane(thePlane);
    for (std::uint32_t aStripe = 0; aStripe < itsState.itsStripes; ++aStripe)
    {
        const std::uint64_t aWhole = (aStripe + 1) * 4 <= itsState.itsHeight ? kRow0 : 0;
        for (std::uint32_t w = 0; w < itsState.itsWords; ++w)
        {
            const Word aWord = GetWord(aStripe, w);
            const std::uint64_t aFound = CleanUpWord(aCoder, aWord, aWhole);
            *aWord.itsSignificant |= aFound;
            aPlane[aWord.itsIndex] = (isFirst ? 0 : aPlane[aWord.itsIndex]) | aFound;
        }
    }
    theCoder = aCoder;
}

template <class Coder>
std::uint32_t RunPasses(BlockState& theState, const CodedSegment& theSegment, std::uint32_t thePass,
                        BlockFindings& theFindings)
{
    const std::uint8_t aStyle = theState.itsStyle;
    Coder aCoder(theSegment);
    BlockPasses<Coder> aPasses(theState);
    std::uint32_t aDone = 0;
    for (; aDone < theSegment.itsPasses; ++aDone)
    {
        const std::uint32_t aPass = thePass + aDone;
        const std::uint32_t aPlanesDone = (aPass + 2) / 3;
        if (aPlanesDone >= theState.itsBitPlanes)
        {
            theFindings.itsMissingPasses = true;
            return aDone;
        }
        const bool isRaw = (aStyle & CBS_BYPASS) != 0 && aPass >= 10 && aPass % 3 != 0;
        if (isRaw != Coder::kIsRaw || aCoder.GetSyntheticBits() > kMostSyntheticBits)
        {
            return aDone;
        }
        if ((aStyle & CBS_RESET) != 0)
        {
            theState.itsContexts = kInitialContexts;
        }
        const unsigned int aPlane = theState.itsBitPlanes - aPlanesDone;
        if (aPass % 3 == 1)
        {
            aPasses.PropagateSignificance(aCoder, aPlane);
        }
        else if (aPass % 3 == 2)
        {
            aPasses.RefineMagnitudes(aCoder, aPlane);
        }
        else if constexpr (!Coder::kIsRaw)
        {
            aPasses.CleanUp(aCoder, aPlane);
            theFindings.itsBadSegmentationSymbol |= (aStyle & CBS_SEGMENTATION_SYMBOLS) != 0 &&
                                                    !aCoder.ReadSymbol(theState.itsContexts[CONTEXT_UNIFORM]);
        }
    }
    theFindings.itsBadTermination |= (aStyle & CBS_PREDICTABLE_TERMINATION) != 0 && !aCoder.IsAtEnd();
    return aDone;
}

std::uint32_t RunSegment(BlockState& theState, const CodedSegment& theSegment, std::uint32_t thePass,
                         BlockFindings& theFindings)
{
    const bool isRaw = (theState.itsStyle & CBS_BYPASS) != 0 && thePass >= 10 && thePass % 3 != 0;
    return isRaw ? RunPasses<RawDecoder>(theState, theSegment, thePass, theFindings)
                 : RunPasses<MQDecoder>(theState, theSegment, thePass, theFindings);
}

} // namespace HWY_NAMESPACE
} // namespace j2k
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace j2k
{
HWY_EXPORT(RunSegment);

std::uint32_t RunSegment(BlockState& theState, const CodedSegment& theSegment, std::uint32_t thePass,
                         BlockFindings& theFindings)
{
    return HWY_DYNAMIC_DISPATCH(RunSegment)(theState, theSegment, thePass, theFindings);
}
} // namespace j2k
#endif
