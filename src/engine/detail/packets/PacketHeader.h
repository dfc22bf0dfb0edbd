// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "engine/detail/Reports.h"
#include "engine/detail/packets/Arena.h"
#include "engine/detail/packets/PacketBits.h"
#include "engine/detail/packets/PacketSequence.h"
#include "engine/detail/packets/WorkBudget.h"

namespace j2k
{

/// What a packet's body holds of one codeword segment of one code-block.
struct PacketShare
{
    CodeBlock* itsBlock = nullptr;
    Subband* itsSubband = nullptr;
    std::uint32_t itsLength = 0;
    std::uint8_t itsPasses = 0;
    bool itsStartsSegment = false;
};

/// Reads packet headers (T.800 B.10). Makes precincts and code-blocks when a header first says something of
/// them; an empty packet costs nothing. Used for one packet after another; borrows everything.
class PacketHeader
{
public:
    PacketHeader(Arena& theArena, WorkBudget& theBudget, Reports& theReports)
        : itsArena(theArena), itsBudget(theBudget), itsReports(theReports)
    {
    }

    /// Reads one header. False when it contradicts itself or runs behind the end of the data; the precinct
    /// can then not be read any further. theOffset is for reports.
    bool Read(PacketBits& theBits, const PacketPlace& thePlace, std::uint64_t theOffset);

    /// What the body holds, in its order.
    const std::vector<PacketShare>& GetShares() const { return itsShares; }
    std::uint64_t GetBodyLength() const { return itsBodyLength; }

private:
    bool ReadBand(PrecinctBand& theBand, Subband& theSubband);
    bool OpenBand(PrecinctBand& theBand);
    bool ReadBlock(CodeBlock& theBlock, Subband& theSubband);
    bool ReadLength(const CodeBlock& theBlock, std::uint32_t thePasses, std::uint32_t& theLength);
    bool ReadOpenBlock(CodeBlock& theBlock, Subband& theSubband, std::uint32_t& thePasses);
    void AddShare(CodeBlock& theBlock, Subband& theSubband, std::uint32_t theLength, std::uint32_t thePasses,
                  bool isStart);
    void SetBitPlanes(CodeBlock& theBlock, const Subband& theSubband, std::uint32_t theZeroPlanes);
    std::uint32_t ReadPasses();

    Arena& itsArena;
    WorkBudget& itsBudget;
    Reports& itsReports;
    PacketBits* itsBits = nullptr;
    std::uint32_t itsLayer = 0;
    std::uint64_t itsOffset = 0;
    std::uint64_t itsBodyLength = 0;
    std::vector<PacketShare> itsShares;
};

} // namespace j2k
