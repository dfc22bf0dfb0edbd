// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "engine/detail/Reports.h"
#include "engine/detail/markers/CodestreamReader.h"
#include "engine/detail/packets/Tile.h"
#include "engine/detail/packets/WorkBudget.h"

class kdu_compressed_source;

namespace j2k
{

/// What a kdu_codestream handle stands for: the reader, the restrictions and the open tiles.
class CodestreamState
{
public:
    explicit CodestreamState(kdu_compressed_source& theSource) : itsReader(theSource, itsReports) {}

    Reports& GetReports() { return itsReports; }
    const Reports& GetReports() const { return itsReports; }
    CodestreamReader& GetReader() { return itsReader; }
    const CodestreamReader& GetReader() const { return itsReader; }
    TileRestrictions& GetRestrictions() { return itsRestrictions; }
    const TileRestrictions& GetRestrictions() const { return itsRestrictions; }

    /// Reads theIndex and its packet headers; it stays until CloseTile.
    Tile& OpenTile(std::uint32_t theIndex);
    void CloseTile(const Tile& theTile);

private:
    /// Samples in coding passes that cost an image no bytes: four passes over each of the largest one, which
    /// is about a second. Blocks that say more than that bring bytes for it.
    static constexpr std::uint64_t kFreePasses = std::uint64_t{1} << 30;

    Reports itsReports;
    WorkBudget itsPasses{kFreePasses, "Code-blocks declare far more coding passes than they have bytes",
                         itsReports};
    CodestreamReader itsReader;
    TileRestrictions itsRestrictions;
    std::map<std::uint32_t, std::unique_ptr<Tile>> itsOpenTiles;
};

} // namespace j2k
