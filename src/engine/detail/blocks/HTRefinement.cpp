// SPDX-License-Identifier: Apache-2.0
// The passes behind the clean-up pass (T.814 7.4 and 7.5). Both visit stripes of four rows in groups of four
// columns, the samples of a group column by column from top to bottom: a group is a mask of sixteen bits.

#include <array>
#include <bit>

#include "engine/detail/blocks/HTState.h"

namespace j2k
{
namespace
{

constexpr std::uint32_t kTopRow = 0x111111; ///< of a group with one column more on either side

/// Samples next to those of theMask, and these themselves; none beyond its columns.
constexpr std::uint32_t Grow(std::uint32_t theMask)
{
    const std::uint32_t aColumn = theMask | (theMask << 1 & ~kTopRow) | (theMask >> 1 & ~(kTopRow << 3));
    return aColumn | aColumn << 4 | aColumn >> 4;
}

/// Reads the bits of a group, at most 57, behind those of the groups before.
class GroupBits
{
public:
    GroupBits(const HTBits& theBits, std::size_t& thePosition)
        : itsPosition(thePosition), itsBits(theBits.Load(thePosition))
    {
    }

    std::uint32_t Read()
    {
        const auto aBit = static_cast<std::uint32_t>(itsBits & 1);
        itsBits >>= 1;
        ++itsPosition;
        return aBit;
    }

private:
    std::size_t& itsPosition;
    std::uint64_t itsBits;
};

class Refiner
{
public:
    Refiner(HTState& theState, bool isCausal)
        : itsState(theState), itsIsCausal(isCausal), itsStripes((theState.itsHeight + 3) / 4),
          itsGroups((theState.itsWidth + 3) / 4), itsSignificant((itsGroups + 2) * (itsStripes + 2)),
          itsFound(itsSignificant.size())
    {
    }

    /// To be called first. Words become twice their value, with the half below the last plane of the pass
    /// that decided it.
    template <class Word>
    void DoubleWords(const Word* theWords, bool isRefined)
    {
        // The half of what MagRef will change is one plane further down.
        const unsigned int aShift = itsState.itsPlane;
        const std::uint32_t aLess = isRefined ? 1U << (aShift - 1) : 0;
        for (std::uint32_t y = 0; y < itsState.itsHeight; ++y, theWords += itsState.GetWordStride())
        {
            std::uint32_t* const aRow = itsState.GetWords(y);
            std::uint16_t* const aGroups = itsSignificant.data() + GetIndex(y / 4, 0);
            for (std::uint32_t x = 0; x < itsState.itsWidth; ++x)
            {
                const std::uint32_t aWord = theWords[x];
                const std::uint32_t isThere = aWord != 0 ? 1 : 0;
                const std::uint32_t aDoubled = ((aWord | 1) << aShift) - aLess;
                aRow[x] = (aDoubled << 1 | (aWord & 1)) & (0 - isThere);
                aGroups[x / 4] = static_cast<std::uint16_t>(aGroups[x / 4] | isThere << (x % 4 * 4 + y % 4));
            }
        }
    }

    void RunSigProp(const HTBits& theBits);
    void RunMagRef(const HTBits& theBits);

private:
    std::size_t GetIndex(std::size_t theStripe, std::size_t theGroup) const
    {
        return (theStripe + 1) * (itsGroups + 2) + theGroup + 1;
    }

    /// The words of a group, by the number of a sample.
    struct Group
    {
        std::uint32_t& operator[](int theSample) const
        {
            return itsFirst[static_cast<std::size_t>(theSample % 4) * itsStride +
                            static_cast<std::size_t>(theSample / 4)];
        }

        std::uint32_t* itsFirst;
        std::size_t itsStride;
    };

    Group GetGroup(std::size_t theStripe, std::size_t theGroup)
    {
        return {itsState.GetWords(4 * theStripe) + 4 * theGroup, itsState.GetWordStride()};
    }

    /// A group's significant samples, with the column on its left in bits 0 to 3 and that on its right above.
    std::uint32_t GetWide(std::size_t theIndex) const
    {
        return std::uint32_t{itsSignificant[theIndex - 1]} >> 12 |
               std::uint32_t{itsSignificant[theIndex]} << 4 | (itsSignificant[theIndex + 1] & 15U) << 20;
    }

    std::uint32_t GetInside(std::size_t theStripe, std::size_t theGroup) const;
    std::uint32_t GetMembers(std::size_t theIndex) const;

    HTState& itsState;
    bool itsIsCausal;
    std::size_t itsStripes;
    std::size_t itsGroups;
    std::vector<std::uint16_t> itsSignificant; ///< groups, with a border all around
    std::vector<std::uint16_t> itsFound;       ///< those that SigProp made significant
};

// The samples of a group that the block has.
std::uint32_t Refiner::GetInside(std::size_t theStripe, std::size_t theGroup) const
{
    const std::size_t aRows = std::min<std::size_t>(itsState.itsHeight - 4 * theStripe, 4);
    const std::size_t aColumns = std::min<std::size_t>(itsState.itsWidth - 4 * theGroup, 4);
    return (kTopRow * (0xFU >> (4 - aRows))) & (0xFFFFU >> (16 - 4 * aColumns));
}

// Insignificant samples with a significant neighbour; in a causal block the next stripe has none.
std::uint32_t Refiner::GetMembers(std::size_t theIndex) const
{
    const std::size_t aStripe = itsGroups + 2;
    const std::uint32_t anAbove = GetWide(theIndex - aStripe) >> 3 & kTopRow;
    const std::uint32_t aBelow = itsIsCausal ? 0 : (GetWide(theIndex + aStripe) & kTopRow) << 3;
    const std::uint32_t aNear =
        Grow(GetWide(theIndex)) | anAbove | anAbove << 4 | anAbove >> 4 | aBelow | aBelow << 4 | aBelow >> 4;
    return aNear >> 4 & ~std::uint32_t{itsSignificant[theIndex]};
}

void Refiner::RunSigProp(const HTBits& theBits)
{
    std::size_t aPosition = 0;
    const std::uint32_t aNew =
        3U << itsState.itsPlane; // one and a half of the plane below, twice and beside a sign
    for (std::size_t s = 0; s < itsStripes; ++s)
    {
        for (std::size_t g = 0; g < itsGroups; ++g)
        {
            const std::size_t anIndex = GetIndex(s, g);
            const std::uint32_t anOpen = GetInside(s, g) & ~std::uint32_t{itsSignificant[anIndex]};
            std::uint32_t aLeft = GetMembers(anIndex) & anOpen;
            if (aLeft == 0)
            {
                continue;
            }
            GroupBits aBits(theBits, aPosition);
            std::uint32_t aFound = 0;
            while (aLeft != 0)
            {
                const std::uint32_t aSample = aLeft & (0 - aLeft);
                aLeft ^= aSample;
                if (aBits.Read() != 0)
                {
                    aFound |= aSample;
                    // Neighbours that come later in the group; the earlier ones are done.
                    aLeft |= Grow(aSample << 4) >> 4 & anOpen & ~((aSample << 1) - 1);
                }
            }
            itsFound[anIndex] = static_cast<std::uint16_t>(aFound);
            itsSignificant[anIndex] = static_cast<std::uint16_t>(itsSignificant[anIndex] | aFound);
            for (const Group aWords = GetGroup(s, g); aFound != 0; aFound &= aFound - 1)
            {
                aWords[std::countr_zero(aFound)] = aNew | aBits.Read();
            }
        }
    }
}

void Refiner::RunMagRef(const HTBits& theBits)
{
    std::size_t aPosition = 0;
    const unsigned int aShift =
        itsState.itsPlane + 1; // the bit below the clean-up pass, twice and beside a sign
    for (std::size_t s = 0; s < itsStripes; ++s)
    {
        for (std::size_t g = 0; g < itsGroups; ++g)
        {
            const std::size_t anIndex = GetIndex(s, g);
            std::uint32_t aMask = itsSignificant[anIndex] & ~std::uint32_t{itsFound[anIndex]};
            GroupBits aBits(theBits, aPosition);
            for (const Group aWords = GetGroup(s, g); aMask != 0; aMask &= aMask - 1)
            {
                aWords[std::countr_zero(aMask)] += aBits.Read() << aShift;
            }
        }
    }
}

} // namespace

void RefineHTBlock(HTState& theState, const HTBlock& theBlock)
{
    // A sample takes one bit of either stream, and a sign of SigProp's; eight bytes are read for each group
    // of them.
    constexpr std::size_t kMostBytes = 4096 / 8;
    const bool isRefined = theBlock.itsPasses > 2;
    Refiner aRefiner(theState, theBlock.itsIsCausal);
    if (theState.itsIsNarrow)
    {
        aRefiner.DoubleWords(theState.GetNarrowWords(0), isRefined);
    }
    else
    {
        aRefiner.DoubleWords(theState.GetWords(0), isRefined);
    }
    theState.itsMagSgn.TakeForwards(theBlock.itsRefinement, 0, 2 * kMostBytes + 8);
    aRefiner.RunSigProp(theState.itsMagSgn);
    if (isRefined)
    {
        theState.itsVLC.TakeBackwards(theBlock.itsRefinement, kMostBytes + 8);
        aRefiner.RunMagRef(theState.itsVLC);
    }
    theState.itsIsRefined = true;
    theState.itsIsNarrow = false;
}

} // namespace j2k
