// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "engine/detail/Reports.h"
#include "engine/detail/markers/CodestreamReader.h"
#include "support/ByteSource.h"

/// A codestream's reader over bytes of its own, its main header read.
class CodestreamReading
{
public:
    explicit CodestreamReading(std::vector<std::uint8_t> theBytes,
                               int theLargestRead = std::numeric_limits<int>::max())
        : itsSource(std::move(theBytes), theLargestRead), itsReader(itsSource, itsReports)
    {
        itsReader.ReadMainHeader();
    }

    /// A tile's body in one piece.
    static std::vector<std::uint8_t> Join(const j2k::TileData& theTile)
    {
        std::vector<std::uint8_t> aResult;
        for (const j2k::BodyChunk& aChunk : theTile.itsBody)
        {
            aResult.insert(aResult.end(), aChunk.itsBytes.begin(), aChunk.itsBytes.end());
        }
        return aResult;
    }

    ByteSource itsSource;
    j2k::Reports itsReports;
    j2k::CodestreamReader itsReader;
};
