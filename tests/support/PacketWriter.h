// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// Writes the bits of a packet header, with the stuffing of ISO/IEC 15444-1 B.10.1.
class PacketBitWriter
{
public:
    void Put(unsigned int theBit);
    void Put(std::uint64_t theValue, unsigned int theCount);

    /// Fills up the last byte; gives all bytes away.
    std::vector<std::uint8_t> Finish();

private:
    std::vector<std::uint8_t> itsBytes;
    unsigned int itsFree = 0; ///< bits left in the last byte
};

/// Codes the values of a tag tree's leaves (ISO/IEC 15444-1 B.10.2).
class TagTreeWriter
{
public:
    /// theLeaves: row by row.
    TagTreeWriter(std::size_t theColumns, std::size_t theRows, std::vector<unsigned int> theLeaves);

    /// What a reader must know to tell whether the leaf is below theThreshold.
    void Write(PacketBitWriter& theBits, std::size_t theColumn, std::size_t theRow,
               unsigned int theThreshold);

private:
    struct Node
    {
        unsigned int itsValue = 0;
        unsigned int itsTold = 0; ///< a reader knows that the value is not below this
        bool itsIsKnown = false;
    };

    struct Level
    {
        std::size_t itsColumns;
        std::vector<Node> itsNodes;
    };

    std::vector<Level> itsLevels; ///< the leaves first
};

/// Writes the packets of one precinct, layer after layer.
class PacketWriter
{
public:
    /// What a packet brings of one codeword segment.
    struct Share
    {
        unsigned int itsPasses;
        std::vector<std::uint8_t> itsBytes;
    };

    struct Block
    {
        unsigned int itsFirstLayer = 0; ///< beyond all layers when it is never included
        unsigned int itsZeroBitPlanes = 0;
        std::vector<std::vector<Share>> itsLayers = {}; ///< by layer; empty where the layer has nothing
        unsigned int itsLengthBits = 3;
    };

    struct Band
    {
        std::size_t itsColumns = 0;
        std::size_t itsRows = 0;
        std::vector<Block> itsBlocks = {}; ///< row by row
    };

    explicit PacketWriter(std::vector<Band> theBands);

    struct Packet
    {
        std::vector<std::uint8_t> itsHeader = {};
        std::vector<std::uint8_t> itsBody = {};
    };
    Packet Write(unsigned int theLayer);

private:
    void WriteBlock(PacketBitWriter& theBits, Block& theBlock, unsigned int theLayer, Packet& thePacket);

    std::vector<Band> itsBands;
    std::vector<TagTreeWriter> itsInclusion;
    std::vector<TagTreeWriter> itsZeroBitPlanes;
};
