// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "engine/kdu_compressed_source.h"
#include "toolkit/base/BaseTypes.h"

/// A sequential source seen as a file of the JP2 family (ISO/IEC 15444-1 Annex I).
///
/// Borrows the source from open to close. Bytes that a caller has looked at already can be put in front.
/// What the source throws passes through; an error it returns counts as its end. Not thread-safe.
class QUORIX_API jp2_family_src
{
public:
    /// theSource stands at the first byte of the file.
    void open(kdu_compressed_source* theSource);

    /// Puts bytes that were read from the source already in front of it, before anything has been read here.
    void put_back(const std::uint8_t* theBytes, std::size_t theCount);

    /// Forgets the source; it is not closed.
    void close();

    /// Whether a source is open.
    bool exists() const { return itsSource != nullptr; }

    /// Reads exactly theCount bytes, fewer only at the end of the source.
    std::size_t read(std::uint8_t* theBytes, std::size_t theCount);

    /// Bytes read so far: the position in the file.
    std::uint64_t get_pos() const { return itsPosition; }

private:
    kdu_compressed_source* itsSource = nullptr;
    std::vector<std::uint8_t> itsFront;
    std::size_t itsFrontPosition = 0;
    std::uint64_t itsPosition = 0;
};
