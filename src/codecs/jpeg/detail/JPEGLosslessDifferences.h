// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "codecs/jpeg/detail/JPEGLosslessInput.h"
#include "codecs/jpeg/detail/JPEGLosslessTable.h"

/// Decodes the differences of a scan of lossless JPEG, row by row (T.81, H.2.2), modulo 65536. The
/// differences of a pixel follow each other in the order of the scan's components. Not thread-safe.
class JPEGLosslessDifferences
{
public:
    static constexpr std::size_t kMaxComponents = 4;
    using Tables = std::array<std::shared_ptr<JPEGLosslessTable>, kMaxComponents>;

    /// The tables of theComponents components, 1 … 4, which may share them; made with the same look-up
    /// bits. Begins at the first byte of the scan's data.
    JPEGLosslessDifferences(Tables theTables, std::size_t theComponents, JPEGLosslessSource& theSource);

    /// How many words behind a row DecodeRow may overwrite.
    static constexpr std::size_t kSurplus = 4;

    /// Decodes thePixels pixels.
    void DecodeRow(std::uint16_t* theRow, std::size_t thePixels);

    /// Goes on behind a restart marker.
    void Restart();

    /// Ends the scan. Returns the whole bytes taken from the source and not used.
    std::size_t Finish() { return itsInput.Finish(); }

    /// Whether the data ended too early, in this interval or, if there are still none, in one before: the
    /// row decoded last was filled up, those to come are not worth decoding.
    bool IsDataMissing() const { return itsDataMissing; }

    /// For the decoding loops.
    JPEGLosslessInput& GetInput() { return itsInput; }
    const JPEGLosslessTable& GetTable(std::size_t theComponent) const { return *itsTables[theComponent]; }

    /// Decodes what the look-up does not, without taking it from theBits, and reports damage.
    JPEGLosslessTable::Rare DecodeRare(JPEGLosslessInput::Reservoir theBits,
                                       const JPEGLosslessTable& theTable);

private:
    bool HasOneTable() const;
    void NoteOverrun(JPEGLosslessInput::Reservoir theBits);

    const Tables itsTables;
    const std::size_t itsComponents;
    JPEGLosslessSource& itsSource;
    JPEGLosslessInput itsInput;
    const bool itsOneTable;               ///< for all components
    const bool itsGroups;                 ///< and it is used for several differences at once
    std::size_t itsRowsWithoutGroups = 0; ///< to come
    bool itsDataMissing = false;
};
