// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "engine/detail/Rect.h"
#include "engine/detail/Reports.h"
#include "engine/detail/markers/ImageSize.h"
#include "engine/detail/markers/TileData.h"
#include "engine/detail/packets/Arena.h"
#include "engine/detail/packets/CodePieces.h"
#include "engine/detail/packets/TileBody.h"
#include "engine/detail/packets/TileComponent.h"
#include "engine/detail/packets/WorkBudget.h"

namespace j2k
{

/// Proves that reversible samples stay within 16 bits, from bounds on their magnitudes. Once something may
/// leave 16 bits, the proof has failed for good.
///
/// A step of the 5/3 synthesis (T.800 F.3.8.1) over low-pass values up to L and high-pass values up to H:
/// - even results are L and a quarter of two neighbours, L + (2H + 2) / 4 at most;
/// - odd results, the rounding left aside, are low-pass values with weights that add up to 1 and high-pass
///   values with weights 3/4, -1/8 and -1/8: L + H; each of the two roundings is off by at most a half.
/// Sums of two neighbours need not fit: the kernels work out averages without them.
class ShortLines
{
public:
    bool Fits() const { return itsFits; }

    /// The bound of a component's samples at the resolution that is decoded, out of the bit-planes that its
    /// code-blocks have. Rows are synthesized before columns.
    std::uint64_t Synthesize(const TileComponent& theComponent);

    /// One step of the synthesis: the bound of its results.
    std::uint64_t Lift(std::uint64_t theLow, std::uint64_t theHigh);

    /// The inverse RCT (T.800 G.2.2).
    void Transform(const std::array<std::uint64_t, 3>& theBounds);

private:
    void Require(std::uint64_t theMagnitude);
    std::uint64_t GetBound(const Subband& theSubband);

    bool itsFits = true;
};

/// What a caller wants of a tile.
struct TileRestrictions
{
    unsigned int itsDiscardLevels = 0; ///< highest resolutions left out
    unsigned int itsMaxLayers = 0;     ///< 0 for all
    std::size_t itsMaxComponents = 0;  ///< 0 for all
    std::optional<Rect> itsRegion;     ///< of the reference grid; nothing else is decoded
};

/// An open tile: its geometry, and its code-blocks' data as its packets brought it (T.800 Annex B).
///
/// Owns the tile's bytes and everything below it. Borrows the image size and the reports. Memory and time are
/// bounded by the bytes that the tile really has: a tile that declares far more samples, resolutions, packets
/// or code-blocks than its bytes can stand for is an error. Not thread-safe.
class Tile
{
public:
    /// Reads all packet headers. Reports what is wrong with them. thePasses: see PacketReader.
    Tile(const ImageSize& theImage, std::unique_ptr<TileData> theData,
         const TileRestrictions& theRestrictions, WorkBudget& thePasses, Reports& theReports);
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
    void ReadPackets(unsigned int theMaxLayers, WorkBudget& thePasses);
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
