// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "codecs/detail/JPEGLibrary.h"

class kdu_compressed_source;

/// The compressed bytes between a JPEG codec's source and its library, and their hand-over from one codec
/// to the next.
///
/// Two buffers, each with an owner of its own: the codec's, 32768 bytes, which the source is read into,
/// and one handed in, which is only ever read, because its real length is known to nobody here. Whatever
/// the library may still point into stays alive as long as this object, or until it is taken. Not
/// thread-safe.
class JPEGInputBuffer
{
public:
    static constexpr int theCapacity = JPEGLibrary::theInputCapacity;

    JPEGInputBuffer();
    ~JPEGInputBuffer();
    JPEGInputBuffer(const JPEGInputBuffer&) = delete;
    JPEGInputBuffer& operator=(const JPEGInputBuffer&) = delete;

    /// Gives up the buffer with the most recent bytes; null when it is gone already.
    std::unique_ptr<std::uint8_t[]> Take();

    /// Takes over a buffer whose bytes the next fill delivers.
    void Supply(std::unique_ptr<std::uint8_t[]> theBuffer);

    /// Whether the next fill has to deliver a supplied buffer; answers true once for each.
    bool ConsumeSupplied();

    /// Reads once from the source into the codec's own buffer and keeps the count, which may be negative.
    int Read(kdu_compressed_source& theSource);

    void SetBytesRead(int theBytes) { itsBytesRead = theBytes; }
    int GetBytesRead() const { return itsBytesRead; }

    /// Where the bytes of the most recent fill begin; null when there is no buffer.
    const std::uint8_t* GetData() const;

    /// All bytes that fills delivered so far.
    std::uint64_t GetTotal() const { return itsTotal; }
    void AddToTotal(int theBytes) { itsTotal += static_cast<std::uint64_t>(theBytes); }

private:
    std::unique_ptr<std::uint8_t[]> itsOwn;
    std::unique_ptr<std::uint8_t[]> itsSupplied;
    std::vector<std::unique_ptr<std::uint8_t[]>> itsRetired; ///< supplied earlier, perhaps still read from
    bool itsSuppliedIsCurrent = false;
    bool itsSuppliedIsNext = false;
    int itsBytesRead = 0;
    std::uint64_t itsTotal = 0;
};
