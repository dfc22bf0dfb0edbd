// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>

#include "engine/kdu_compressed_source.h"

/// The compressed bytes behind an RLE header, with a window of bytes read ahead.
///
/// Read answers as the source itself would have answered: where the source came to its end or reported an
/// error while the window was filled, or threw, a Read that comes to that place gets to see it. Only a source
/// that delivers less than was asked for although more is to come is asked again while the window is filled,
/// where a Read without a window would show the short count. How far to read ahead is the caller's
/// decision, who must not ask for more than it is certain to consume: what is in the window has been pulled
/// from the source. The source is borrowed. Not thread-safe.
class RLEInput
{
public:
    /// Bytes behind the window's end that may be read (not used) by whoever copies in whole vectors.
    static constexpr std::size_t kSlack = 64;

    explicit RLEInput(kdu_compressed_source& theSource);

    /// Reads theCount bytes, at least 1. Returns the number delivered, 0 at the end of the data, a negative
    /// value on an error of the source.
    int Read(kdu_byte* theBuffer, int theCount);

    /// Extends the window by up to theWanted bytes. False when it did not grow: it is full, or the source
    /// has nothing more.
    bool ReadAhead(std::uint64_t theWanted);

    const kdu_byte* GetWindow() const { return itsWindow.get() + itsBegin; }
    std::size_t GetWindowSize() const { return itsEnd - itsBegin; }

    /// Takes bytes off the window's front; theCount is at most its size.
    void Consume(std::size_t theCount);

    /// Bytes consumed by Consume and by those calls of Read that got all they asked for.
    std::uint64_t GetPosition() const { return itsPosition; }

private:
    static constexpr std::size_t kWindowBytes = 65536;

    int ReadPastWindow(kdu_byte* theBuffer, int theCount);
    int ReadBehindWindow(kdu_byte* theBuffer, int theCount);
    int TakePendingAnswer();
    void MoveWindowToFront();

    kdu_compressed_source& itsSource;
    std::unique_ptr<kdu_byte[]> itsWindow; ///< made when first used
    std::size_t itsBegin = 0;
    std::size_t itsEnd = 0;
    std::uint64_t itsPosition = 0;
    bool itsHasPendingAnswer = false; ///< the source has said what comes behind the window: no bytes
    int itsPendingAnswer = 0;
    std::exception_ptr itsPendingException; ///< the answer, where it was one
};

/// Where a run of PackBits packets (PS3.5 G.3.1) is read from and written to; Decode moves it on.
struct RLEPackets
{
    /// Bytes that must be readable behind itsInEnd, and writable behind the last sample decoded. Both are
    /// only touched by copies of whole vectors; what is written there means nothing.
    static constexpr std::size_t kSlack = 64;
    /// Samples of the longest packet: so far may the output go past itsOutEnd.
    static constexpr std::size_t kLongestPacket = 128;

    const std::uint8_t* itsIn = nullptr;
    const std::uint8_t* itsInEnd = nullptr;
    std::uint8_t* itsOut = nullptr;
    std::uint8_t* itsOutEnd = nullptr;
    std::uint64_t itsSamplesLeft = 0;  ///< of the segment
    unsigned int itsLiteralLength = 0; ///< of the most recent literal packet

    /// Decodes packets that lie wholly before itsInEnd and fit into the samples left. Stops before the
    /// first other one, at the end of the input, and once the output has reached itsOutEnd.
    void Decode();

    /// Samples of the packet that begins with theControl; 0 for the one that does nothing.
    static std::size_t GetSampleCount(std::uint8_t theControl);

    /// Bytes of that packet, the control byte included.
    static std::size_t GetByteCount(std::uint8_t theControl);
};
