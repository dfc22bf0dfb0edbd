// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

/// A codestream taken apart, to be put together in other legal ways that an encoder does not offer.
class CodestreamEditor
{
public:
    using Bytes = std::vector<std::uint8_t>;

    struct Packet
    {
        Bytes itsHeader; ///< SOP and EPH, if any, taken off
        Bytes itsBody;
    };

    /// One marker segment: the marker, and what follows its length field.
    struct Segment
    {
        std::uint16_t itsMarker = 0;
        Bytes itsContent;
    };

    struct TilePart
    {
        std::uint16_t itsTile = 0;
        std::uint8_t itsIndex = 0;
        std::uint8_t itsCount = 0; ///< TNsot
        std::vector<Segment> itsSegments;
        std::vector<Packet> itsPackets;
    };

    enum class Headers
    {
        InPlace, ///< each in front of its body
        InTile,  ///< PPT
        InMain   ///< PPM
    };

    /// Takes apart a stream with SOP and EPH around every packet. Only for streams that an encoder made:
    /// throws std::runtime_error on others.
    explicit CodestreamEditor(const Bytes& theStream);

    std::vector<Segment>& GetMainSegments() { return itsMainSegments; }
    std::vector<TilePart>& GetTileParts() { return itsTileParts; }

    /// Cuts every tile-part after each thePackets packets, then deals the tiles' parts in turn: the parts of
    /// a tile stay in order, those of different tiles alternate. TNsot says 0 but in the last part.
    void Scatter(std::size_t thePackets);

    /// Puts the stream together again. theKeepsMarkers: SOP in front of packets, and EPH behind headers.
    Bytes Join(Headers theHeaders, bool theKeepsMarkers) const;

private:
    void ReadMainHeader(const Bytes& theStream, std::size_t& thePosition);
    void ReadTilePart(const Bytes& theStream, std::size_t& thePosition);
    void JoinMainHeader(Bytes& theStream, Headers theHeaders, bool theKeepsMarkers) const;
    static Bytes JoinHeaders(const TilePart& thePart, bool theKeepsMarkers);
    static Bytes JoinBody(const TilePart& thePart, Headers theHeaders, bool theKeepsMarkers,
                          std::size_t& thePacketNumber);

    std::vector<Segment> itsMainSegments;
    std::vector<TilePart> itsTileParts;
};
