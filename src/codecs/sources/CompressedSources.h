// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include "engine/kdu_compressed_source.h"

class InputStream;

/// Lets a codec read from an InputStream. Not thread-safe.
class QUORIX_API InputStreamAdapter final : public kdu_compressed_source
{
public:
    /// theStream is borrowed and read from its current position.
    explicit InputStreamAdapter(InputStream& theStream) : itsStream(&theStream) {}

    /// Deliberately refused when they are run: both throw StreamIOException (code 6), and nothing is copied.
    /// Two readers of one stream would take each other's bytes.
    /// @{
    InputStreamAdapter(const InputStreamAdapter&);
    InputStreamAdapter& operator=(const InputStreamAdapter&);
    /// @}

    /// Reads until theCount bytes have arrived or the stream ends: a short count is the end of the data,
    /// never an error. What the stream throws passes through.
    int read(kdu_byte* theBuffer, int theCount) override;

    int get_capabilities() override { return KDU_SOURCE_CAP_SEQUENTIAL; }

private:
    InputStream* itsStream;
};

/// A compressed source that can tell, before they are wanted, whether so many bytes are there. Not
/// thread-safe.
class QUORIX_API LookAheadCompressedSource final : public kdu_compressed_source
{
public:
    /// theSource is borrowed and must outlive this object.
    explicit LookAheadCompressedSource(kdu_compressed_source& theSource) : itsSource(theSource) {}
    LookAheadCompressedSource(const LookAheadCompressedSource&) = delete;
    LookAheadCompressedSource& operator=(const LookAheadCompressedSource&) = delete;

    /// Bytes that the source has in all, those delivered among them, counted as far as theMost. Those that
    /// come ahead of time are kept until they are read.
    std::uint64_t Count(std::uint64_t theMost);

    int read(kdu_byte* theBuffer, int theCount) override;
    bool close() override { return itsSource.close(); }
    int get_capabilities() override { return KDU_SOURCE_CAP_SEQUENTIAL; }

private:
    kdu_compressed_source& itsSource;
    std::uint64_t itsBytesTaken = 0; ///< from the source
    std::vector<kdu_byte> itsAhead;
    std::size_t itsAheadOffset = 0; ///< of the first byte in it that has not been read
};

/// Counts the bytes that a codec pulls from a compressed source.
///
/// Every codec reads through one of these, so its count is the number of compressed bytes consumed; the
/// compression ratio is computed from it. Not thread-safe.
class QUORIX_API MeteringKDUCompressedSource final : public kdu_compressed_source
{
public:
    /// theSource is borrowed and must outlive this object.
    explicit MeteringKDUCompressedSource(kdu_compressed_source& theSource) : itsSource(theSource) {}

    /// Deliberately refused when they are run: both throw StreamIOException (code 6), and nothing is copied.
    /// Two readers of one stream would take each other's bytes.
    /// @{
    MeteringKDUCompressedSource(const MeteringKDUCompressedSource&);
    MeteringKDUCompressedSource& operator=(const MeteringKDUCompressedSource&);
    /// @}

    /// Returns what the wrapped source returned; a negative result (an error) is not counted.
    int read(kdu_byte* theBuffer, int theCount) override;

    /// Forwards the close and always reports success: codecs have no use for the answer.
    bool close() override;

    int get_capabilities() override { return KDU_SOURCE_CAP_SEQUENTIAL; }

    /// Bytes delivered since construction.
    std::uint64_t GetBytesRead() const { return itsBytesRead; }

private:
    kdu_compressed_source& itsSource;
    std::uint64_t itsBytesRead = 0;
};
