// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/detail/JPEGLosslessDifferences.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "codecs/jpeg/JPEGLosslessDifferences.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

HWY_BEFORE_NAMESPACE();
namespace quorix_jpeg_lossless
{
namespace HWY_NAMESPACE
{

// Nothing here is done in vectors, but newer processors shift much faster than older ones can be told to.

using Reservoir = JPEGLosslessInput::Reservoir;

/// One difference. Of 56 bits, at least 29 are left.
template <int LookBits>
HWY_INLINE std::uint16_t DecodeOne(JPEGLosslessDifferences& theOwner, const JPEGLosslessTable& theTable,
                                   const std::uint32_t* theSingles, Reservoir& theBits)
{
    static_assert(LookBits + 15 <= 27);
    const std::uint32_t anEntry = theSingles[theBits.itsBits >> (64 - LookBits)];
    if (HWY_UNLIKELY(anEntry == 0))
    {
        theOwner.GetInput().Refill(theBits);
        const JPEGLosslessTable::Rare aRare = theOwner.DecodeRare(theBits, theTable);
        theBits.Drop(static_cast<unsigned int>(aRare.itsBits));
        theOwner.GetInput().Refill(theBits);
        return aRare.itsDifference;
    }
    const std::uint64_t aRest = theBits.itsBits << ((anEntry >> 8) & 31);
    theBits.Drop(anEntry);
    return JPEGLosslessTable::Extend(aRest, anEntry >> 16);
}

/// Stores four words, the lowest one first.
HWY_INLINE void Store(std::uint64_t theWords, std::uint16_t* theOutput)
{
    if constexpr (std::endian::native == std::endian::little)
    {
        std::memcpy(theOutput, &theWords, sizeof(theWords));
        return;
    }
    for (int i = 0; i < 4; ++i)
    {
        theOutput[i] = static_cast<std::uint16_t>(theWords >> (16 * i));
    }
}

/// One to three differences, with LookBits bits at least. Returns where the next ones go.
template <int LookBits>
HWY_INLINE std::uint16_t* DecodeGroup(JPEGLosslessDifferences& theOwner, const JPEGLosslessTable& theTable,
                                      const std::uint64_t* theGroups, Reservoir& theBits,
                                      std::uint16_t* theOutput, std::size_t& theMisses)
{
    const std::uint64_t anEntry = theGroups[theBits.itsBits >> (64 - LookBits)];
    if (HWY_UNLIKELY(anEntry == 0))
    {
        ++theMisses;
        theOwner.GetInput().Refill(theBits);
        *theOutput = DecodeOne<LookBits>(theOwner, theTable, theTable.GetSingles(), theBits);
        theOwner.GetInput().Refill(theBits);
        return theOutput + 1;
    }
    Store(anEntry >> 16, theOutput);
    theBits.Drop(anEntry);
    return theOutput + static_cast<std::uint8_t>(anEntry >> 8);
}

/// One table for all: differences follow each other without regard to components. Returns how often the
/// table did not do.
template <int LookBits>
std::size_t DecodeGroups(JPEGLosslessDifferences& theOwner, std::uint16_t* theOutput, std::size_t theCount)
{
    constexpr std::size_t kLookUps = JPEGLosslessInput::kRefilledBits / LookBits;
    constexpr auto kMost = static_cast<std::ptrdiff_t>(kLookUps * JPEGLosslessTable::kMostInGroup);
    const JPEGLosslessTable& aTable = theOwner.GetTable(0);
    const std::uint64_t* const aGroups = aTable.GetGroups();
    JPEGLosslessInput& anInput = theOwner.GetInput();
    Reservoir aBits = anInput.Get();
    std::uint16_t* const anEnd = theOutput + theCount;
    std::size_t aMisses = 0;
    while (anEnd - theOutput >= kMost)
    {
        anInput.Refill(aBits);
        for (std::size_t i = 0; i < kLookUps; ++i)
        {
            theOutput = DecodeGroup<LookBits>(theOwner, aTable, aGroups, aBits, theOutput, aMisses);
        }
    }
    while (anEnd - theOutput >= JPEGLosslessTable::kMostInGroup)
    {
        anInput.Refill(aBits);
        theOutput = DecodeGroup<LookBits>(theOwner, aTable, aGroups, aBits, theOutput, aMisses);
    }
    while (theOutput != anEnd)
    {
        anInput.Refill(aBits);
        *theOutput++ = DecodeOne<LookBits>(theOwner, aTable, aTable.GetSingles(), aBits);
    }
    anInput.Set(aBits);
    return aMisses;
}

/// Components: how many tables take turns. One refill serves two differences.
template <int LookBits, std::size_t Components>
std::size_t DecodeSingles(JPEGLosslessDifferences& theOwner, std::uint16_t* theOutput, std::size_t theCount)
{
    std::array<const JPEGLosslessTable*, Components> aTables{};
    std::array<const std::uint32_t*, Components> aSingles{};
    for (std::size_t c = 0; c < Components; ++c)
    {
        aTables[c] = &theOwner.GetTable(c);
        aSingles[c] = aTables[c]->GetSingles();
    }
    JPEGLosslessInput& anInput = theOwner.GetInput();
    Reservoir aBits = anInput.Get();
    std::size_t i = 0;
    for (; i + 2 * Components <= theCount; i += 2 * Components)
    {
        for (std::size_t k = 0; k < 2 * Components; ++k)
        {
            if (k % 2 == 0)
            {
                anInput.Refill(aBits);
            }
            const std::size_t c = k % Components;
            theOutput[i + k] = DecodeOne<LookBits>(theOwner, *aTables[c], aSingles[c], aBits);
        }
    }
    for (; i < theCount; ++i)
    {
        const std::size_t c = i % Components;
        anInput.Refill(aBits);
        theOutput[i] = DecodeOne<LookBits>(theOwner, *aTables[c], aSingles[c], aBits);
    }
    anInput.Set(aBits);
    return 0;
}

using Loop = std::size_t (*)(JPEGLosslessDifferences&, std::uint16_t*, std::size_t);

template <int LookBits>
std::size_t DecodeWith(std::size_t theTables, JPEGLosslessDifferences& theOwner, std::uint16_t* theOutput,
                       std::size_t theCount)
{
    constexpr std::array<Loop, 5> kLoops = {&DecodeGroups<LookBits>, &DecodeSingles<LookBits, 1>,
                                            &DecodeSingles<LookBits, 2>, &DecodeSingles<LookBits, 3>,
                                            &DecodeSingles<LookBits, 4>};
    return kLoops.at(theTables)(theOwner, theOutput, theCount);
}

/// theTables: how many take turns; 0: one, for several differences at once.
std::size_t Decode(std::size_t theTables, JPEGLosslessDifferences& theOwner, std::uint16_t* theOutput,
                   std::size_t theCount)
{
    return theOwner.GetTable(0).GetLookBits() == JPEGLosslessTable::kManyBits
               ? DecodeWith<JPEGLosslessTable::kManyBits>(theTables, theOwner, theOutput, theCount)
               : DecodeWith<JPEGLosslessTable::kFewBits>(theTables, theOwner, theOutput, theCount);
}

} // namespace HWY_NAMESPACE
} // namespace quorix_jpeg_lossless
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace quorix_jpeg_lossless
{
HWY_EXPORT(Decode);
} // namespace quorix_jpeg_lossless

JPEGLosslessDifferences::JPEGLosslessDifferences(Tables theTables, std::size_t theComponents,
                                                 JPEGLosslessSource& theSource)
    : itsTables(std::move(theTables)), itsComponents(theComponents), itsSource(theSource),
      itsInput(theSource), itsOneTable(HasOneTable()),
      itsGroups(itsOneTable && itsTables.front()->MakeGroups())
{
    itsInput.Begin();
}

bool JPEGLosslessDifferences::HasOneTable() const
{
    return std::all_of(itsTables.begin(), itsTables.begin() + static_cast<std::ptrdiff_t>(itsComponents),
                       [this](const auto& theTable) { return theTable == itsTables.front(); });
}

void JPEGLosslessDifferences::DecodeRow(std::uint16_t* theRow, std::size_t thePixels)
{
    using namespace quorix_jpeg_lossless;
    const std::size_t aCount = thePixels * itsComponents;
    if (itsGroups && itsRowsWithoutGroups == 0)
    {
        const std::size_t aMisses = HWY_DYNAMIC_DISPATCH(Decode)(0, *this, theRow, aCount);
        // Where many differences are too long for the table, the processor guesses wrong at each of them.
        itsRowsWithoutGroups = aMisses * 12 > aCount ? 16 : 0;
    }
    else
    {
        itsRowsWithoutGroups -= itsGroups ? 1 : 0;
        HWY_DYNAMIC_DISPATCH(Decode)(itsOneTable ? 1 : itsComponents, *this, theRow, aCount);
    }
    NoteOverrun(itsInput.Get());
}

void JPEGLosslessDifferences::Restart()
{
    itsSource.Restart(itsInput.Finish());
    // With a marker in the way there are still no data.
    itsDataMissing = itsDataMissing && itsSource.GetMarker() != 0;
    itsInput.Begin();
}

JPEGLosslessTable::Rare JPEGLosslessDifferences::DecodeRare(JPEGLosslessInput::Reservoir theBits,
                                                            const JPEGLosslessTable& theTable)
{
    const JPEGLosslessTable::Rare aRare = theTable.DecodeRare(theBits.itsBits);
    if (!aRare.itsValid)
    {
        theBits.Drop(static_cast<unsigned int>(aRare.itsBits));
        NoteOverrun(theBits);
        itsSource.WarnOfBadCode();
    }
    return aRare;
}

void JPEGLosslessDifferences::NoteOverrun(JPEGLosslessInput::Reservoir theBits)
{
    if (!itsDataMissing && itsInput.IsOverrun(theBits))
    {
        itsDataMissing = true;
        itsSource.WarnOfMissingData();
    }
}
#endif
