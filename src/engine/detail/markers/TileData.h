// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

namespace j2k
{

/// Progression orders as COD and POC number them (T.800 table A.16).
enum class ProgressionOrder : std::uint8_t
{
    LRCP = 0,
    RLCP = 1,
    RPCL = 2,
    PCRL = 3,
    CPRL = 4
};

/// Bits of the code-block style (T.800 table A.19, T.814 table A.4).
enum CodeBlockStyle : std::uint8_t
{
    CBS_BYPASS = 1,        ///< selective arithmetic coding bypass
    CBS_RESET = 2,         ///< contexts are reset at every coding pass
    CBS_TERMINATE_ALL = 4, ///< every coding pass is a segment of its own
    CBS_CAUSAL = 8,        ///< vertically causal contexts
    CBS_PREDICTABLE_TERMINATION = 16,
    CBS_SEGMENTATION_SYMBOLS = 32,
    CBS_HIGH_THROUGHPUT = 64, ///< blocks are coded as T.814 says; of the bits above only the fourth matters
    CBS_MIXED = 128           ///< with the one above: some blocks are, their packet headers tell which
};

/// Decomposition levels the standard allows.
constexpr unsigned int kMaxLevels = 32;
constexpr unsigned int kMaxSubbands = 3 * kMaxLevels + 1;

/// Quantization styles (T.800 table A.28).
enum class QuantizationStyle : std::uint8_t
{
    None = 0,    ///< only exponents
    Derived = 1, ///< one step for LL, the others follow (E-5)
    Expounded = 2
};

/// How one component of a tile is coded: from COD or COC, QCD or QCC, and RGN, in their order of precedence
/// (T.800 A.6). All values checked against the ranges of the standard.
struct ComponentCoding
{
    std::uint8_t itsLevels = 0;         ///< decomposition levels, 0 to 32
    std::uint8_t itsLog2BlockWidth = 6; ///< 2 to 10, the two together at most 12
    std::uint8_t itsLog2BlockHeight = 6;
    std::uint8_t itsBlockStyle = 0; ///< CodeBlockStyle bits
    bool itsReversible = true;      ///< 5/3; otherwise 9/7
    /// PPx (low nibble) and PPy (high nibble) for each resolution from 0 to itsLevels; 0xFF each by default.
    std::array<std::uint8_t, kMaxLevels + 1> itsPrecinctSizes{};

    QuantizationStyle itsQuantization = QuantizationStyle::None;
    std::uint8_t itsGuardBits = 0; ///< 0 to 7
    /// For each subband in the order LL, then HL, LH, HH of every resolution upwards: the exponent in the
    /// upper five bits, the mantissa in the lower eleven (0 without quantization). Derived steps are filled
    /// in. A codestream that gives fewer than its levels need is an error.
    std::array<std::uint16_t, kMaxSubbands> itsSteps{};

    std::uint8_t itsRoiShift = 0; ///< RGN, 0 without a region of interest
};

/// One progression of a POC marker segment (T.800 A.6.6), or the whole tile's.
struct Progression
{
    ProgressionOrder itsOrder = ProgressionOrder::LRCP;
    std::uint8_t itsFirstResolution = 0;
    std::uint8_t itsEndResolution = kMaxLevels + 1; ///< exclusive
    std::uint16_t itsFirstComponent = 0;
    std::uint16_t itsEndComponent = 16384; ///< exclusive
    std::uint16_t itsEndLayer = 65535;     ///< exclusive
};

/// How a tile is coded.
struct TileCoding
{
    ProgressionOrder itsOrder = ProgressionOrder::LRCP;
    std::uint16_t itsLayers = 1;        ///< 1 to 65535
    bool itsComponentTransform = false; ///< RCT or ICT over the first three components
    bool itsMayHaveSOP = false;
    bool itsHasEPH = false;
    std::vector<ComponentCoding> itsComponents; ///< one for each component of the codestream
    /// From POC, in order; empty: one progression over everything in itsOrder.
    std::vector<Progression> itsProgressions;
};

/// Bytes of a tile-part's body as they were read, in pieces whose addresses stay while the tile lives.
struct BodyChunk
{
    std::vector<std::uint8_t> itsBytes;
    std::uint64_t itsOffset = 0;    ///< of the first byte, from the start of the codestream
    bool itsStartsTilePart = false; ///< packets do not cross tile-parts
};

/// Everything that the tile-parts of one tile contained.
struct TileData
{
    std::uint32_t itsIndex = 0;
    TileCoding itsCoding;
    std::vector<BodyChunk> itsBody;
    std::uint64_t itsBodyBytes = 0;

    /// Packet headers out of PPM or PPT marker segments, in order; used instead of those in the body.
    bool itsHasPackedHeaders = false;
    std::vector<std::uint8_t> itsPackedHeaders;

    /// How often this tile's progressions may pass a packet by or have none at all: a few bytes of POC can
    /// name very many of both, for every tile anew.
    ///
    /// A packet takes a byte at least, and a progression that comes by again finds it taken: 256 for each
    /// byte let that happen under as many progressions, when an order that changes does so a few times. The
    /// 4096 that cost nothing are the resolutions of some forty components of 32 levels under three
    /// progressions, in a tile that brought nothing at all.
    std::uint64_t GetMostVisits() const
    {
        return (std::uint64_t(1) << 12) + ((itsBodyBytes + itsPackedHeaders.size()) << 8);
    }

    /// Data is missing at the end (a short codestream); packets that are not there decode as empty.
    bool itsTruncated = false;

    /// The share of the data that is missing then; empty where the tile-parts do not tell.
    std::optional<double> itsMissingShare;
};

} // namespace j2k
