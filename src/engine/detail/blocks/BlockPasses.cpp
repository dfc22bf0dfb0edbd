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
#include "engine/detail/markers/TileCoding.h"

HWY_BEFORE_NAMESPACE();
namespace j2k
{
namespace HWY_NAMESPACE
{

/// The passes over one block with one kind of decoder.
template <class Coder>
class BlockPasses
{
public:
    explicit BlockPasses(BlockState& theState)
        : itsState(theState), itsCausal((theState.itsStyle & CBS_CAUSAL) != 0),
          itsBelow(itsCausal ? 0 : BlockState::theRow3)
    {
    }

    /// Each pass is of bit-plane number thePlane in BlockState's counting.
    void PropagateSignificance(Coder& theCoder, unsigned int thePlane);
    void RefineMagnitudes(Coder& theCoder, unsigned int thePlane);
    void CleanUp(Coder& theCoder, unsigned int thePlane);

    /// Reads a segmentation symbol (T.800 D.5) and tells whether it is one.
    bool ReadSymbol(Coder& theCoder);

private:
    static constexpr std::uint64_t theRow0 = BlockState::theRow0;

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

    HWY_INLINE Word GetWord(std::uint32_t theStripe, std::uint32_t theWord);
    HWY_INLINE std::uint64_t SpreadVertically(const std::uint64_t* theWord) const;
    HWY_INLINE std::uint64_t Spread(const std::uint64_t* theWord) const;
    HWY_INLINE std::uint64_t GetNeighboured(const std::uint64_t* theWord) const;
    HWY_INLINE bool DecodeZero(Coder& theCoder, const Word& theWord, unsigned int theBit);
    HWY_INLINE void BecomeSignificant(Coder& theCoder, const Word& theWord, unsigned int theBit);
    HWY_INLINE void TellNeighbours(const Word& theWord, unsigned int theBit);
    HWY_INLINE void TellSign(const Word& theWord, unsigned int theBit, unsigned int theNegative);
    HWY_INLINE unsigned int DecodeRun(Coder& theCoder);

    BlockState& itsState;
    bool itsCausal;
    std::uint64_t itsBelow; ///< samples that see the stripe below
};

template <class Coder>
HWY_INLINE auto BlockPasses<Coder>::GetWord(std::uint32_t theStripe, std::uint32_t theWord) -> Word
{
    Word aWord;
    aWord.itsSignificant =
        itsState.itsSignificant.data() + (theStripe + 1) * itsState.itsBorderedWords + theWord + 1;
    aWord.itsValid = itsState.GetValid(theStripe, theWord);
    const std::size_t aColumn =
        (theStripe + 1) * itsState.itsColumns + 1 + std::size_t{theWord} * BlockState::theWordColumns;
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
    return aWord | (aWord << 1 & ~theRow0) | (aWord >> 1 & ~BlockState::theRow3) |
           (theWord[-aStripe] >> 3 & theRow0) | (theWord[aStripe] << 3 & itsBelow);
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
    return (aWord << 1 & ~theRow0) | (aWord >> 1 & ~BlockState::theRow3) |
           (theWord[-aStripe] >> 3 & theRow0) | (theWord[aStripe] << 3 & itsBelow) | aMiddle << 4 |
           aMiddle >> 4 | SpreadVertically(theWord - 1) >> 60 | SpreadVertically(theWord + 1) << 60;
}

template <class Coder>
HWY_INLINE bool BlockPasses<Coder>::DecodeZero(Coder& theCoder, const Word& theWord, unsigned int theBit)
{
    const std::uint8_t* aBytes = reinterpret_cast<const std::uint8_t*>(theWord.itsNeighbours);
    const unsigned int aContext = itsState.itsZeroContexts[aBytes[theBit]];
    return theCoder.DecodeSkewed(itsState.itsContexts[aContext]) != 0;
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
    if (aRow == 0 && !itsCausal)
    {
        std::uint32_t* anAbove = aColumn - itsState.itsColumns;
        anAbove[-1] |= std::uint32_t{NEIGHBOUR_SE} << 24;
        anAbove[0] |= std::uint32_t{NEIGHBOUR_S} << 24;
        anAbove[1] |= std::uint32_t{NEIGHBOUR_SW} << 24;
    }
    if (aRow == 3)
    {
        std::uint32_t* aBelow = aColumn + itsState.itsColumns;
        aBelow[-1] |= NEIGHBOUR_NE;
        aBelow[0] |= NEIGHBOUR_N;
        aBelow[1] |= NEIGHBOUR_NW;
    }
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
    if (aRow == 0 && !itsCausal)
    {
        aColumn[-static_cast<std::ptrdiff_t>(itsState.itsColumns)] |=
            static_cast<std::uint32_t>(NEIGHBOUR_S * aFactor << 24);
    }
    if (aRow == 3)
    {
        aColumn[itsState.itsColumns] |= static_cast<std::uint32_t>(NEIGHBOUR_N * aFactor);
    }
}

template <class Coder>
HWY_INLINE void BlockPasses<Coder>::BecomeSignificant(Coder& theCoder, const Word& theWord,
                                                      unsigned int theBit)
{
    TellNeighbours(theWord, theBit);
    unsigned int aNegative;
    if constexpr (Coder::theIsRaw)
    {
        aNegative = theCoder.Decode(itsState.itsContexts[0]);
    }
    else
    {
        const std::uint8_t* aBytes = reinterpret_cast<const std::uint8_t*>(theWord.itsSigns);
        const unsigned int aContext = theSignContexts[aBytes[theBit]];
        aNegative = theCoder.Decode(itsState.itsContexts[aContext & theSignContextMask]) ^
                    (aContext >> theSignFlipShift);
    }
    *theWord.itsNegative |= std::uint64_t{aNegative} << theBit;
    TellSign(theWord, theBit, aNegative);
}

template <class Coder>
void BlockPasses<Coder>::PropagateSignificance(Coder& theCoder, unsigned int thePlane)
{
    /// The later neighbours of a sample in each row, as seen from its own bit.
    constexpr std::array<std::uint64_t, 4> aLater = {0x32, 0x3A, 0x3A, 0x18};
    Coder aCoder = theCoder;
    std::uint64_t* aPlane = itsState.GetPlane(thePlane);
    for (std::uint32_t aStripe = 0; aStripe < itsState.itsStripes; ++aStripe)
    {
        for (std::uint32_t w = 0; w < itsState.itsWords; ++w)
        {
            const Word aWord = GetWord(aStripe, w);
            std::uint64_t aSignificant = *aWord.itsSignificant;
            std::uint64_t aCandidates = Spread(aWord.itsSignificant) & ~aSignificant & aWord.itsValid;
            std::uint64_t aVisited = aCandidates;
            std::uint64_t aFound = 0;
            while (aCandidates != 0)
            {
                const unsigned int aBit = static_cast<unsigned int>(std::countr_zero(aCandidates));
                aCandidates &= aCandidates - 1;
                if (DecodeZero(aCoder, aWord, aBit))
                {
                    aFound |= std::uint64_t{1} << aBit;
                    const std::uint64_t aMore = aLater[aBit & 3] << aBit & ~aSignificant & aWord.itsValid;
                    aCandidates |= aMore;
                    aVisited |= aMore;
                    BecomeSignificant(aCoder, aWord, aBit);
                }
            }
            *aWord.itsSignificant = aSignificant | aFound;
            itsState.itsVisited[aWord.itsIndex] = aVisited;
            aPlane[aWord.itsIndex] = aFound;
        }
    }
    theCoder = aCoder;
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
            std::uint64_t aSamples = *aWord.itsSignificant & ~itsState.itsVisited[aWord.itsIndex];
            if (aSamples == 0)
            {
                continue;
            }
            const std::uint64_t aRefined = itsState.itsRefined[aWord.itsIndex];
            const std::uint64_t aNeighboured = GetNeighboured(aWord.itsSignificant) & ~aRefined;
            itsState.itsRefined[aWord.itsIndex] = aRefined | aSamples;
            std::uint64_t aBits = 0;
            do
            {
                const unsigned int aBit = static_cast<unsigned int>(std::countr_zero(aSamples));
                aSamples &= aSamples - 1;
                const std::uint64_t aContext =
                    CONTEXT_REFINE_ALONE + (aNeighboured >> aBit & 1) + (aRefined >> aBit & 1) * 2;
                const std::uint64_t aValue = aCoder.Decode(itsState.itsContexts[aContext]);
                aBits |= aValue << aBit;
            } while (aSamples != 0);
            aPlane[aWord.itsIndex] |= aBits;
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

template <class Coder>
void BlockPasses<Coder>::CleanUp(Coder& theCoder, unsigned int thePlane)
{
    Coder aCoder = theCoder;
    const bool isFirst = thePlane == itsState.itsBitPlanes;
    std::uint64_t* aPlane = itsState.GetPlane(thePlane);
    for (std::uint32_t aStripe = 0; aStripe < itsState.itsStripes; ++aStripe)
    {
        const bool isWhole = (aStripe + 1) * 4 <= itsState.itsHeight;
        for (std::uint32_t w = 0; w < itsState.itsWords; ++w)
        {
            const Word aWord = GetWord(aStripe, w);
            std::uint64_t aSignificant = *aWord.itsSignificant;
            std::uint64_t aCandidates = ~aSignificant & ~itsState.itsVisited[aWord.itsIndex] & aWord.itsValid;
            itsState.itsVisited[aWord.itsIndex] = 0;
            // Columns that start with a run: nothing in them is significant or has such a neighbour.
            std::uint64_t aSpread = Spread(aWord.itsSignificant);
            aSpread |= aSpread >> 1;
            aSpread |= aSpread >> 2;
            std::uint64_t aRuns = ~aSpread & (isWhole ? theRow0 : 0) & aWord.itsValid;
            aCandidates = (aCandidates & ~(aRuns * 15)) | aRuns;
            std::uint64_t aFound = 0;
            while (aCandidates != 0)
            {
                unsigned int aBit = static_cast<unsigned int>(std::countr_zero(aCandidates));
                aCandidates &= aCandidates - 1;
                if ((aRuns >> aBit & 1) != 0)
                {
                    const unsigned int aRow = DecodeRun(aCoder);
                    if (aRow == 4)
                    {
                        continue;
                    }
                    aCandidates |= std::uint64_t{0xE & (0xEU << aRow)} << aBit;
                    aBit += aRow;
                }
                else if (!DecodeZero(aCoder, aWord, aBit))
                {
                    continue;
                }
                aFound |= std::uint64_t{1} << aBit;
                // The next column has a neighbour now.
                const std::uint64_t aNext = (std::uint64_t{16} << (aBit & ~3U)) & aRuns;
                aRuns ^= aNext;
                aCandidates |= aNext * 15;
                BecomeSignificant(aCoder, aWord, aBit);
            }
            *aWord.itsSignificant = aSignificant | aFound;
            aPlane[aWord.itsIndex] = (isFirst ? 0 : aPlane[aWord.itsIndex]) | aFound;
        }
    }
    theCoder = aCoder;
}

template <class Coder>
bool BlockPasses<Coder>::ReadSymbol(Coder& theCoder)
{
    unsigned int aSymbol = 0;
    for (int i = 0; i < 4; ++i)
    {
        aSymbol = aSymbol << 1 | theCoder.Decode(itsState.itsContexts[CONTEXT_UNIFORM]);
    }
    return aSymbol == 0xA;
}

/// A decoder goes on for so many bits behind the end of its bytes: no encoder needs as many, and passes over
/// nothing would cost time that no byte pays for.
constexpr std::int64_t theMostSyntheticBits = 256;

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
        if (isRaw != Coder::theIsRaw || aCoder.GetSyntheticBits() > theMostSyntheticBits)
        {
            return aDone;
        }
        if ((aStyle & CBS_RESET) != 0)
        {
            theState.itsContexts = theInitialContexts;
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
        else if constexpr (!Coder::theIsRaw)
        {
            aPasses.CleanUp(aCoder, aPlane);
            theFindings.itsBadSegmentationSymbol |=
                (aStyle & CBS_SEGMENTATION_SYMBOLS) != 0 && !aPasses.ReadSymbol(aCoder);
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
