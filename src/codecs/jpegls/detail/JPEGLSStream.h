// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <vector>

class kdu_compressed_source;

/// What the headers of a JPEG-LS stream (ITU-T T.87, annex C) say of the image.
struct JPEGLSHeader
{
    int itsPrecision = 0; ///< bits a sample, 2 to 16
    std::uint32_t itsRows = 0;
    std::uint32_t itsColumns = 0;
    int itsComponents = 0;   ///< 1 or 3, all of the image's size
    int itsInterleave = 0;   ///< of the scans: 0 a scan for each component, 1 by lines, 2 by pixels
    int itsNear = 0;         ///< how far samples may be off; 0 without loss
    int itsSPIFFColours = 0; ///< colour space of a SPIFF header; 0 without one
};

/// A JPEG-LS stream, read from its source and made ready for the library.
///
/// Everything in it that decides how much is written where is looked at here first: the frame header, and
/// that all scans are what the first one is. The library gets a stream of what it needs and nothing else:
/// frame, parameters, scans and an end. Not thread-safe.
class JPEGLSStream
{
public:
    /// Reads as far as the first scan begins. Throws StreamIOException: code 37 where the headers are cut
    /// short, code 62 for what is no JPEG-LS stream or cannot be decoded.
    void ReadHeaders(kdu_compressed_source& theSource);

    /// What ReadHeaders has found.
    const JPEGLSHeader& GetHeader() const { return itsHeader; }

    /// Reads the rest, as far as an image of this size can reach, and looks through the scans. Throws
    /// StreamIOException (code 62).
    void ReadScans(kdu_compressed_source& theSource);

    /// The stream, to be had after ReadScans, without the last theZeros bytes of its last scan, and with
    /// theMore in their place.
    std::span<const std::uint8_t> GetBytes(std::size_t theZeros = 0,
                                           std::initializer_list<std::uint8_t> theMore = {});

    /// Zeros behind the last scan's data, or its last bits: only decoding tells. Some writers make lengths
    /// even with them.
    std::size_t CountTrailingZeros() const;

    /// Whether the data end inside of a scan.
    bool IsCut() const { return itsIsCut; }

    /// Whether a scan allows samples to be off.
    bool HasLoss() const { return itsHasLoss; }

private:
    using Segment = std::span<const std::uint8_t>; ///< behind its length

    bool Fill(kdu_compressed_source& theSource, std::size_t theCount);
    std::uint8_t ReadMarker(kdu_compressed_source& theSource);
    Segment ReadSegment(kdu_compressed_source& theSource);
    void Examine(std::uint8_t theMarker, Segment theSegment);
    void Keep(std::uint8_t theMarker, Segment theSegment);
    void ReadFrameHeader(Segment theSegment);
    void ReadFirstScanHeader(Segment theSegment);
    std::size_t CheckScanHeader(std::size_t theScan);
    std::size_t FindMarker(std::size_t theStart) const;
    std::size_t PassSegments(std::size_t theMarker);

    std::vector<std::uint8_t> itsHead;  ///< what the library needs of the headers
    std::vector<std::uint8_t> itsBytes; ///< from ReadScans on the stream for the library
    std::size_t itsPosition = 0;        ///< of the header that is read, then of the first scan's marker
    std::size_t itsDataStart = 0;       ///< of the last scan
    std::size_t itsEnd = 0;             ///< of the last scan's data
    JPEGLSHeader itsHeader;
    bool itsHasOwnReset = false; ///< a parameter segment has another RESET than the standard's own
    bool itsIsCut = false;
    bool itsHasLoss = false;
};
