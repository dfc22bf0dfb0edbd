// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "engine/detail/markers/TileData.h"
#include "engine/detail/packets/TileComponent.h"
#include "engine/detail/packets/WorkBudget.h"

namespace j2k
{

/// One packet's place: a layer of a precinct.
struct PacketPlace
{
    Resolution* itsResolution = nullptr;
    std::uint32_t itsComponent = 0;
    std::uint32_t itsLayer = 0;
    std::uint64_t itsPrecinct = 0; ///< number within the resolution
};

/// Is told of every packet in the order in which the codestream holds them.
class PacketVisitor
{
public:
    virtual ~PacketVisitor() = default;

    /// Returns false to hear of no more.
    virtual bool VisitPacket(const PacketPlace& thePlace) = 0;
};

/// The order of a tile's packets (T.800 B.12): one progression, or those of POC marker segments one after
/// another, where each packet counts only once.
///
/// Goes from precinct to precinct, never over places without one; what POC makes it pass by again is spent
/// from the budget. Borrows everything.
class PacketSequence
{
public:
    PacketSequence(const std::vector<std::unique_ptr<TileComponent>>& theComponents,
                   const TileCoding& theCoding, WorkBudget& theBudget);

    void Run(PacketVisitor& theVisitor);

private:
    /// A resolution that has precincts.
    struct Entry
    {
        Resolution* itsResolution;
        std::uint32_t itsComponent;
    };

    /// An entry on its way over its precincts by position.
    struct Walker
    {
        Entry itsEntry;
        std::uint32_t itsColumn = 0;
        std::uint32_t itsRow = 0;
        std::uint32_t itsX = 0; ///< of the precinct on the reference grid
        std::uint32_t itsY = 0;
    };

    using Entries = std::vector<Entry>;

    // All of these return false when the visitor wants no more.
    bool RunProgression(const Progression& theProgression);
    bool RunByLayer(const Progression& theProgression);
    bool RunByResolution(const Progression& theProgression);
    bool RunByPosition(Entries::const_iterator theBegin, Entries::const_iterator theEnd,
                       const Progression& theProgression);
    bool VisitPrecincts(const Entry& theEntry, std::uint32_t theLayer);
    bool VisitLayers(const Entry& theEntry, std::uint64_t thePrecinct, std::uint32_t theEndLayer);
    bool Visit(const Entry& theEntry, std::uint64_t thePrecinct, std::uint32_t theLayer);

    void SpendOnChanges(std::uint64_t theWork);
    void ListEntries(const Progression& theProgression);
    static bool IsLater(const Walker& theLeft, const Walker& theRight);
    static bool Advance(Walker& theWalker);

    const std::vector<std::unique_ptr<TileComponent>>& itsComponents;
    const TileCoding& itsCoding;
    WorkBudget& itsBudget;
    PacketVisitor* itsVisitor = nullptr;
    Entries itsEntries; ///< of the progression that is running
    std::vector<Walker> itsWalkers;
};

} // namespace j2k
