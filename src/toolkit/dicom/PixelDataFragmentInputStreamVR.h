// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "toolkit/dicom/VR.h"
#include "toolkit/io/InputStream.h"

/// Encapsulated pixel data (PS3.5 Annex A.4) read fragment by fragment from a stream.
///
/// Knows items, lengths and offset tables; what a frame is, ImageFrameInputStream knows. Offsets count
/// from the first byte of the item tag of the first fragment, as the Basic Offset Table does. Nothing
/// read from the stream is trusted: a length that runs past the stream's end stands for what is left
/// there, and a table longer than 64 MiB is passed over. What the stream throws is passed on. Not
/// thread-safe.
class QUORIX_API PixelDataFragmentInputStreamVR final : public VR
{
public:
    /// theStream stands at the item tag of the Basic Offset Table, little-endian, and belongs to this
    /// object. theExtendedOffsets and theExtendedLengths: the values of (7FE0,0001) and (7FE0,0002), or
    /// empty.
    PixelDataFragmentInputStreamVR(std::unique_ptr<InputStream> theStream,
                                   std::vector<std::uint64_t> theExtendedOffsets,
                                   std::vector<std::uint64_t> theExtendedLengths);
    ~PixelDataFragmentInputStreamVR() override;

    /// 0: the length of the whole is not known beforehand.
    std::uint64_t GetLength() const override { return 0; }
    PixelDataFragmentInputStreamVR* GetPixelDataFragmentInputStream() override { return this; }

    /// The Basic Offset Table; empty when the item was empty, cut short or held no whole entries.
    const std::vector<std::uint32_t>& GetBasicOffsetTable();

    /// What the constructor was given; neither has been held against the other or against the stream.
    /// @{
    const std::vector<std::uint64_t>& GetExtendedOffsetTable() const { return itsExtendedOffsets; }
    const std::vector<std::uint64_t>& GetExtendedOffsetTableLengths() const { return itsExtendedLengths; }
    /// @}

    /// Goes to the next fragment, past whatever was left of the current one. False after the last: at
    /// the sequence delimiter, at the end of the stream, or where no item tag stands.
    bool NextFragment();

    /// Length of the current fragment in bytes, and what is left of it to read. As its item says, or what
    /// the stream still holds where that is known to be less; 0xFFFFFFFF stands for the rest of the
    /// stream.
    /// @{
    std::uint32_t GetFragmentLength() const { return itsFragmentLength; }
    std::uint32_t GetFragmentRemaining() const { return itsFragmentRemaining; }
    /// @}

    /// Offset of the current fragment's item tag, and of the first byte after the fragment.
    /// @{
    std::uint64_t GetFragmentOffset() const { return itsFragmentOffset; }
    std::uint64_t GetNextOffset() const { return itsNextOffset; }
    /// @}

    /// Bytes that the fragment before the end should still have had: known when NextFragment has found no
    /// more, where the stream did not know its length before.
    std::uint32_t GetMissingLength() const { return itsMissingLength; }

    /// Whether the fragments ended with the stream, that is with no sequence delimiter: a file cut short.
    bool HasReachedStreamEnd() const { return itsStreamEnded; }

    /// Reads from the current fragment; 0 at its end and at the end of the stream.
    std::size_t Read(unsigned char* theBuffer, std::size_t theLength);

    /// Whether SeekToFragment works.
    bool CanSeek() const;

    /// Makes NextFragment read the item tag at theOffset next. False when the stream cannot be sought
    /// there.
    bool SeekToFragment(std::uint64_t theOffset);

private:
    bool ReadItemHeader(std::uint32_t& theLength);
    std::uint32_t CutToStream(std::uint32_t theLength) const;
    void ReadBasicOffsetTable();
    std::vector<unsigned char> ReadTableBytes(std::uint32_t theLength);
    void EndInside(std::uint32_t theMissing);
    bool ReturnToFirstItem(const std::vector<unsigned char>& theTable);
    void TakeTable(const std::vector<unsigned char>& theTable, std::uint32_t theLength,
                   std::uint32_t theLengthThere);

    std::unique_ptr<InputStream> itsStream;
    std::optional<RewindableInputStream>
        itsReplay;         ///< the stream again from its first item, where that counts
    InputStream* itsInput; ///< either of them: where bytes are read
    std::vector<std::uint64_t> itsExtendedOffsets;
    std::vector<std::uint64_t> itsExtendedLengths;
    std::vector<std::uint32_t> itsBasicOffsets;
    bool itsBasicOffsetTableRead = false;
    bool itsHasFragments = false;               ///< the first item was one
    std::uint64_t itsEndPosition = 0;           ///< stream position of its end; the greatest when unknown
    std::uint64_t itsFirstFragmentPosition = 0; ///< stream position of offset 0
    std::uint64_t itsNextOffset = 0;            ///< offset of the first byte after the current fragment
    std::uint64_t itsFragmentOffset = 0;
    std::uint32_t itsFragmentLength = 0;
    std::uint32_t itsFragmentRemaining = 0;
    std::uint32_t itsMissingLength = 0;
    bool itsAtEnd = false;
    bool itsStreamEnded = false;
};
