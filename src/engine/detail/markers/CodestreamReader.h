// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "engine/detail/Reports.h"
#include "engine/detail/markers/ImageSize.h"
#include "engine/detail/markers/TileCoding.h"
#include "engine/detail/markers/TileData.h"

class kdu_compressed_source;

namespace j2k
{

/// Reads a codestream's marker segments and tile-parts in the order in which they come (T.800 Annex A), and
/// keeps each tile's data until it is taken. Borrows the source and the reports.
///
/// Memory grows with the bytes that have really arrived, whatever lengths are declared.
class CodestreamReader
{
public:
    CodestreamReader(kdu_compressed_source& theSource, Reports& theReports);
    ~CodestreamReader();

    /// From SOC to the first SOT.
    void ReadMainHeader();
    const ImageSize& GetImageSize() const;

    /// Reads the rest, up to EOC or the end of the source.
    void ReadAll();

    /// The fewest decomposition levels of any component over all tiles, as far as their headers were read;
    /// the main header stands for the others.
    unsigned int GetFewestLevels() const;

    /// Reads on until theTile, which must be in range, is complete and gives it away; later calls for it are
    /// an error. A tile without any tile-part comes back with an empty body, marked as truncated.
    std::unique_ptr<TileData> TakeTile(std::uint32_t theTile);

private:
    struct Implementation;
    std::unique_ptr<Implementation> itsImplementation;
};

} // namespace j2k
