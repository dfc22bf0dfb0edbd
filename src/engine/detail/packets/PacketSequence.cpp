// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/packets/PacketSequence.h"

#include <algorithm>
#include <tuple>

namespace j2k
{

PacketSequence::PacketSequence(const std::vector<std::unique_ptr<TileComponent>>& theComponents,
                               const TileCoding& theCoding, WorkBudget& theBudget)
    : itsComponents(theComponents), itsCoding(theCoding), itsBudget(theBudget)
{
}

void PacketSequence::Run(PacketVisitor& theVisitor)
{
    itsVisitor = &theVisitor;
    if (itsCoding.itsProgressions.empty())
    {
        Progression anAll;
        anAll.itsOrder = itsCoding.itsOrder;
        RunProgression(anAll);
        return;
    }
    for (const Progression& aProgression : itsCoding.itsProgressions)
    {
        if (!RunProgression(aProgression))
        {
            return;
        }
    }
}

bool PacketSequence::RunProgression(const Progression& theProgression)
{
    Progression aProgression = theProgression;
    aProgression.itsEndLayer = std::min(aProgression.itsEndLayer, itsCoding.itsLayers);
    ListEntries(aProgression);
    const auto aBegin = itsEntries.cbegin();
    const auto anEnd = itsEntries.cend();
    switch (aProgression.itsOrder)
    {
    case ProgressionOrder::LRCP:
        return RunByLayer(aProgression);
    case ProgressionOrder::RLCP:
    case ProgressionOrder::RPCL:
        return RunByResolution(aProgression);
    case ProgressionOrder::PCRL:
        return RunByPosition(aBegin, anEnd, aProgression);
    case ProgressionOrder::CPRL:
        break;
    }
    for (auto aFirst = aBegin; aFirst != anEnd;)
    {
        const auto aLast = std::find_if(aFirst, anEnd,
                                        [aFirst](const Entry& theEntry)
                                        { return theEntry.itsComponent != aFirst->itsComponent; });
        if (!RunByPosition(aFirst, aLast, aProgression))
        {
            return false;
        }
        aFirst = aLast;
    }
    return true;
}

/// One progression over everything costs no more than the components do.
void PacketSequence::SpendOnChanges(std::uint64_t theWork)
{
    if (!itsCoding.itsProgressions.empty())
    {
        itsBudget.Spend(theWork);
    }
}

void PacketSequence::ListEntries(const Progression& theProgression)
{
    itsEntries.clear();
    SpendOnChanges(1);
    const std::size_t anEnd = std::min<std::size_t>(theProgression.itsEndComponent, itsComponents.size());
    for (std::size_t aComponent = theProgression.itsFirstComponent; aComponent < anEnd; ++aComponent)
    {
        TileComponent& aTileComponent = *itsComponents[aComponent];
        const unsigned int aLevels = aTileComponent.GetLevels();
        const unsigned int aStop = std::min<unsigned int>(theProgression.itsEndResolution, aLevels + 1);
        SpendOnChanges(aLevels + 1);
        for (unsigned int aLevel = theProgression.itsFirstResolution; aLevel < aStop; ++aLevel)
        {
            Resolution& aResolution = aTileComponent.GetResolution(aLevel);
            if (aResolution.GetPrecincts().GetCount() > 0)
            {
                itsEntries.push_back({&aResolution, static_cast<std::uint32_t>(aComponent)});
            }
        }
    }
    if (theProgression.itsOrder != ProgressionOrder::CPRL)
    {
        std::stable_sort(itsEntries.begin(), itsEntries.end(),
                         [](const Entry& theLeft, const Entry& theRight)
                         { return theLeft.itsResolution->GetLevel() < theRight.itsResolution->GetLevel(); });
    }
}

bool PacketSequence::RunByLayer(const Progression& theProgression)
{
    for (std::uint32_t aLayer = 0; aLayer < theProgression.itsEndLayer && !itsEntries.empty(); ++aLayer)
    {
        for (const Entry& anEntry : itsEntries)
        {
            if (!VisitPrecincts(anEntry, aLayer))
            {
                return false;
            }
        }
    }
    return true;
}

bool PacketSequence::RunByResolution(const Progression& theProgression)
{
    for (auto aFirst = itsEntries.cbegin(); aFirst != itsEntries.cend();)
    {
        const auto aLast =
            std::find_if(aFirst, itsEntries.cend(),
                         [aFirst](const Entry& theEntry)
                         { return theEntry.itsResolution->GetLevel() != aFirst->itsResolution->GetLevel(); });
        if (theProgression.itsOrder == ProgressionOrder::RPCL)
        {
            if (!RunByPosition(aFirst, aLast, theProgression))
            {
                return false;
            }
            aFirst = aLast;
            continue;
        }
        for (std::uint32_t aLayer = 0; aLayer < theProgression.itsEndLayer; ++aLayer)
        {
            if (!std::all_of(aFirst, aLast,
                             [&](const Entry& theEntry) { return VisitPrecincts(theEntry, aLayer); }))
            {
                return false;
            }
        }
        aFirst = aLast;
    }
    return true;
}

bool PacketSequence::IsLater(const Walker& theLeft, const Walker& theRight)
{
    const auto aKey = [](const Walker& theWalker)
    {
        return std::make_tuple(theWalker.itsY, theWalker.itsX, theWalker.itsEntry.itsComponent,
                               theWalker.itsEntry.itsResolution->GetLevel());
    };
    return aKey(theLeft) > aKey(theRight);
}

bool PacketSequence::Advance(Walker& theWalker)
{
    const PrecinctGrid& aGrid = theWalker.itsEntry.itsResolution->GetPrecincts();
    if (++theWalker.itsColumn == aGrid.GetColumns())
    {
        theWalker.itsColumn = 0;
        if (++theWalker.itsRow == aGrid.GetRows())
        {
            return false;
        }
        theWalker.itsY = aGrid.GetY(theWalker.itsRow);
    }
    theWalker.itsX = aGrid.GetX(theWalker.itsColumn);
    return true;
}

bool PacketSequence::RunByPosition(Entries::const_iterator theBegin, Entries::const_iterator theEnd,
                                   const Progression& theProgression)
{
    // A heap of walkers, the one that stands at the next precinct on top: at one place the order goes by
    // component, then by resolution.
    itsWalkers.clear();
    for (auto anEntry = theBegin; anEntry != theEnd; ++anEntry)
    {
        const PrecinctGrid& aGrid = anEntry->itsResolution->GetPrecincts();
        itsWalkers.push_back({*anEntry, 0, 0, aGrid.GetX(0), aGrid.GetY(0)});
    }
    std::make_heap(itsWalkers.begin(), itsWalkers.end(), IsLater);
    while (!itsWalkers.empty())
    {
        std::pop_heap(itsWalkers.begin(), itsWalkers.end(), IsLater);
        Walker& aWalker = itsWalkers.back();
        const PrecinctGrid& aGrid = aWalker.itsEntry.itsResolution->GetPrecincts();
        const std::uint64_t aPrecinct =
            std::uint64_t(aWalker.itsRow) * aGrid.GetColumns() + aWalker.itsColumn;
        if (!VisitLayers(aWalker.itsEntry, aPrecinct, theProgression.itsEndLayer))
        {
            return false;
        }
        if (Advance(aWalker))
        {
            std::push_heap(itsWalkers.begin(), itsWalkers.end(), IsLater);
        }
        else
        {
            itsWalkers.pop_back();
        }
    }
    return true;
}

bool PacketSequence::VisitPrecincts(const Entry& theEntry, std::uint32_t theLayer)
{
    const std::uint64_t aCount = theEntry.itsResolution->GetPrecincts().GetCount();
    for (std::uint64_t aPrecinct = 0; aPrecinct < aCount; ++aPrecinct)
    {
        if (!Visit(theEntry, aPrecinct, theLayer))
        {
            return false;
        }
    }
    return true;
}

bool PacketSequence::VisitLayers(const Entry& theEntry, std::uint64_t thePrecinct, std::uint32_t theEndLayer)
{
    for (std::uint32_t aLayer = 0; aLayer < theEndLayer; ++aLayer)
    {
        if (!Visit(theEntry, thePrecinct, aLayer))
        {
            return false;
        }
    }
    return true;
}

bool PacketSequence::Visit(const Entry& theEntry, std::uint64_t thePrecinct, std::uint32_t theLayer)
{
    if (!itsCoding.itsProgressions.empty())
    {
        // Every progression begins with layer 0 again, so the layers of a precinct come without gaps.
        itsBudget.Spend(1);
        std::uint16_t& aPassed = theEntry.itsResolution->GetLayersPassed(thePrecinct);
        if (theLayer < aPassed)
        {
            return true;
        }
        aPassed = static_cast<std::uint16_t>(theLayer + 1);
    }
    return itsVisitor->VisitPacket({theEntry.itsResolution, theEntry.itsComponent, theLayer, thePrecinct});
}

} // namespace j2k
