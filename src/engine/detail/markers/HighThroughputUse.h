// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "engine/detail/Reports.h"
#include "engine/detail/markers/MarkerReader.h"
#include "engine/detail/markers/TileData.h"

namespace j2k
{

/// Which of a codestream's code-blocks are coded with high throughput (T.814), as SIZ and CAP announce it.
/// A promise only: how blocks are read is decided by their components' coding styles.
class HighThroughputUse
{
public:
    /// The bit of Rsiz that announces CAP.
    static constexpr unsigned int kRsizBit = 0x4000;

    /// Reads CAP. Codestreams that need a further part of the standard are an error.
    void ReadCap(const MarkerSegment& theSegment, Reports& theReports);

    /// To be called at the end of the main header: CAP is there exactly if Rsiz announced it. theOffset is
    /// for reports.
    void CheckAnnouncement(std::uint16_t theRsiz, std::uint64_t theOffset, Reports& theReports);

    /// Whether theTile is coded in a way that was announced.
    bool Allows(const TileCoding& theTile) const;

private:
    /// As bits 15 and 14 of Ccap15 tell them, and what they say where they are not there.
    enum class Set : std::uint8_t
    {
        All = 0,         ///< HTONLY
        ByComponent = 2, ///< HTDECLARED: all or none of a tile's component
        Mixed = 3,
        None
    };

    bool itsHasCap = false;
    Set itsSet = Set::None;
};

} // namespace j2k
