// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "codecs/jpeg/detail/JPEGLibrary.h"

class kdu_compressed_source;

/// The compressed bytes between a JPEG codec's source and its decoders, and their hand-over from one codec
/// to the next.
///
/// A decoder gets its bytes in fills: what one read of the source answered, or a buffer that was handed in.
/// Those of the present image may be kept, so that one decoder can begin it and another begin it anew: the
/// source is read once. A fill's bytes stay in place until the next fill, kept ones until keeping stops, so
/// nothing is copied.
///
/// A buffer handed in is only ever read, because its real length is known to nobody here, and stays alive
/// as long as this object, or until it is taken. Not thread-safe.
///
/// It is in one of three states, and always has a present fill or none:
///
///     passing  --StartKeeping-->  keeping  --BeginAnew-->  rewound
///        ^                        |     ^                     |
///        +-----StopKeeping--------+     +--the kept fills ----+
///                                         were delivered, or GoBack
///
/// - Passing: a fill's memory is used again for the next one. Begins so, and ends so with every image.
/// - Keeping: fills are appended to a list and their memory stays. The header of an image is read so, because
/// who
///   decodes it is settled only then; one that grows beyond all reason stops it, and the image is then left
///   to the decoder that read the header.
/// - Rewound: fills come from the list. Those that were there at BeginAnew were counted already, so they
/// leave what
///   GetBytesRead says alone, and whose buffer is the present one; the first fill behind them counts as newly
///   read. Behind the last one the source is read on, and kept.
///
/// GoBack undoes BeginAnew for the decoder that came first: present fill and counts are what they were, and
/// what the other one has read since then is delivered to it before the source is asked again. StopKeeping
/// while fills are still to come again lets them come; only what is read after them is not kept. Whoever
/// holds a pointer into a fill relies on these moments alone: passing, it ends with the next fill; otherwise
/// with the first fill that is read after StopKeeping, or with StartKeeping.
class JPEGInputBuffer
{
public:
    static constexpr int kCapacity = JPEGLibrary::kInputCapacity;

    JPEGInputBuffer();
    ~JPEGInputBuffer();
    JPEGInputBuffer(const JPEGInputBuffer&) = delete;
    JPEGInputBuffer& operator=(const JPEGInputBuffer&) = delete;
    JPEGInputBuffer& operator=(JPEGInputBuffer&&) noexcept;

    /// Gives up the bytes of the most recent fill, in a buffer that the caller owns from now on; null when
    /// they are gone already. Ends keeping.
    std::unique_ptr<std::uint8_t[]> Take();

    /// Takes over a buffer that the next fill delivers.
    void Supply(std::unique_ptr<std::uint8_t[]> theBuffer);

    /// Whether the next fill is a supplied buffer.
    bool IsSuppliedNext() const { return itsSuppliedIsNext && !IsRewound(); }

    /// Makes the supplied buffer the present fill, of so many bytes.
    void FillFromSupplied(int theBytes);

    /// Makes the next kept fill the present one or else reads once from the source. A negative count is the
    /// source's error.
    void Refill(kdu_compressed_source& theSource);

    /// The present fill. The data may be null.
    const std::uint8_t* GetData() const { return itsPresent.itsData; }
    int GetCount() const { return itsPresent.itsCount; }

    /// Begins an image: its fills are kept.
    void StartKeeping();

    /// The fills to come are no longer kept; those that are to be delivered again are delivered still.
    void StopKeeping();

    bool IsKeeping() const { return itsIsKeeping; }

    /// The fills of the present image are all kept, and the most recent one is not the first.
    bool HasEarlierFills() const { return itsIsKeeping && itsKept.size() > 1; }
    bool IsRewound() const { return itsNext < itsKept.size(); }

    /// The memory of the kept fills.
    std::uint64_t GetKeptBytes() const
    {
        return std::uint64_t{itsBlocks.size()} * kBlockSize + itsKept.size() * sizeof(Span);
    }

    /// Delivers the image from its first kept fill on to another decoder. What was delivered before does not
    /// count as read a second time.
    void BeginAnew();

    /// Makes everything what it was at BeginAnew, for the first decoder to go on; the fills kept since then
    /// come next.
    void GoBack();

    /// What the most recent fill read, or what was last said here.
    void SetBytesRead(int theBytes) { itsBytesRead = theBytes; }
    int GetBytesRead() const { return itsBytesRead; }

    /// All bytes that fills delivered so far.
    std::uint64_t GetTotal() const { return itsTotal; }
    void AddToTotal(int theBytes) { itsTotal += static_cast<std::uint64_t>(theBytes); }

private:
    struct Span
    {
        const std::uint8_t* itsData = nullptr;
        int itsCount = 0;
    };

    /// Below the size from which on the heap asks the operating system for every block.
    static constexpr std::size_t kBlockSize = 3 * kCapacity;

    std::uint8_t* MakeRoom();
    void SetPresent(Span theSpan);

    std::vector<std::unique_ptr<std::uint8_t[]>> itsBlocks; ///< what the source was read into
    std::size_t itsUsed = 0;                                ///< bytes in the last block
    std::unique_ptr<std::uint8_t[]> itsSupplied;
    std::vector<std::unique_ptr<std::uint8_t[]>> itsRetired; ///< supplied earlier, perhaps still read from
    bool itsSuppliedIsCurrent = false;
    bool itsSuppliedIsNext = false;
    bool itsIsTaken = false;

    Span itsPresent;
    std::vector<Span> itsKept;
    std::size_t itsNext = 0; ///< the next of the kept fills to deliver; their count when there is none
    bool itsIsKeeping = false;
    std::uint64_t itsTotalBefore = 0; ///< total before the first kept fill

    int itsBytesRead = 0;
    std::uint64_t itsTotal = 0;

    /// What GoBack restores.
    struct Standing
    {
        Span itsPresent;
        std::size_t itsKeptFills = 0;
        int itsBytesRead = 0;
        std::uint64_t itsTotal = 0;
        bool itsSuppliedIsCurrent = false;
    };
    Standing itsStanding;
};
