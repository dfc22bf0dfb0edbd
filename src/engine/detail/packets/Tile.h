// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "engine/detail/Reports.h"
#include "engine/detail/markers/ImageSize.h"
#include "engine/detail/markers/TileData.h"
#include "engine/detail/packets/Arena.h"
#include "engine/detail/packets/CodePieces.h"
#include "engine/detail/packets/TileBody.h"
#include "engine/detail/packets/TileComponent.h"

namespace j2k
{

/// What a caller wants of a tile.
struct TileRestrictions
{
    unsigned int itsDiscardLevels = 0; ///< highest resolutions left out
    unsigned int itsMaxLayers = 0;     ///< 0 for all
    std::size_t itsMaxComponents = 0;  ///< 0 for all
};

/// An open tile: its geometry, and its code-blocks' data as its packets brought it (T.800 Annex B).
///
/// Owns the tile's bytes and everything below it. Borrows the image size and the reports. Memory and time are
/// bounded by the bytes that the tile really has: a tile that declares far more samples, resolutions, packets
/// or code-blocks than its bytes can stand for is an error. Not thread-safe.
class Tile
{
public:
    /// Reads all packet headers. Reports what is wrong with them.
    Tile(const ImageSize& theImage, std::unique_ptr<TileData> theData,
         const TileRestrictions& theRestrictions, Reports& theReports);
    ~Tile();
    Tile(const Tile&) = delete;
    Tile& operator=(const Tile&) = delete;

    /// Components that are decoded.
    std::size_t GetComponentCount() const { return itsDecodedComponents; }
    TileComponent& GetComponent(std::size_t theIndex) { return *itsComponents[theIndex]; }

    /// Whether RCT or ICT is to be undone over the first three components; false where their places or
    /// transforms do not allow it (a non-conformance), or fewer than three are decoded.
    bool HasComponentTransform() const { return itsComponentTransform; }

    /// Whether packets may be there whose layer is not decoded.
    bool LeavesLayersOut() const { return itsLeavesLayersOut; }

    Reports& GetReports() const { return itsReports; }
    std::uint32_t GetIndex() const { return itsData->itsIndex; }

    /// For the tile's subbands: the bytes, and where in them the code-blocks' pieces are.
    const TileBody& GetBody() const { return itsBody; }
    const CodePieces& GetPieces() const { return itsPieces; }

    /// Bytes of the body that no packet took: 0 for a sound tile that is decoded without restrictions.
    std::uint64_t GetUnreadBytes() const { return itsUnreadBytes; }

private:
    void CheckCoding() const;
    void DropLevelsWithoutData(unsigned int theDiscardLevels);
    void MakeComponents(const ImageSize& theImage, const TileRestrictions& theRestrictions);
    void CheckSamples() const;
    void ReadPackets(unsigned int theMaxLayers);
    bool AllowsComponentTransform() const;
    void SetComponentTransform();
    void ProveShortLines();
    [[noreturn]] void Refuse(const char* theText) const;

    Reports& itsReports;
    std::unique_ptr<TileData> itsData;
    TileBody itsBody;
    Arena itsArena;
    CodePieces itsPieces;
    std::vector<std::unique_ptr<TileComponent>> itsComponents; ///< all of them: packets need their geometry
    std::size_t itsDecodedComponents = 0;
    bool itsComponentTransform = false;
    bool itsLeavesLayersOut = false;
    std::uint64_t itsUnreadBytes = 0;
};

} // namespace j2k
