// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

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
