// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/System.h"
#include "toolkit/dicom/VR.h"

class DICOMDataObject;
class ImageFrameInputStream;
class PixelDataFragmentInputStreamVR;
class TransferSyntaxType;

/// Encapsulated (compressed) pixel data that reads as if it were native: an element of known length and a
/// stream over all frames, one after another, padded to an even length.
///
/// Frames are decompressed one at a time, as reading gets to them, into one buffer that is taken from the
/// allocator once; words are in the machine's byte order, samples as the data set describes them, colour by
/// pixel. A codestream with fewer pixels or bytes than the data set promises leaves zeros behind them. Every
/// decode makes the data set describe the decoded pixels (see Decoder).
///
/// The object is invalid when the data set lacks Rows, Columns, Bits Allocated, Bits Stored or Samples per
/// Pixel, when they cross a limit, or when the first frame cannot be decompressed; what is wrong is told by
/// the first Read. A later
/// frame that fails throws out of the Read that gets to it, and nothing is delivered from there on.
///
/// Data set, transfer syntax and allocator are borrowed and must outlive the object. Not thread-safe.
class QUORIX_API DecompressingPixelInputStreamVR : public PixelInputStreamVR
{
public:
    /// Decompresses the first frame. theFragments stands before its first fragment and is borrowed. No memory
    /// for that frame makes the object invalid, like any other failure of it.
    DecompressingPixelInputStreamVR(DICOMDataObject& theDataSet, const TransferSyntaxType& theTransferSyntax,
                                    PixelDataFragmentInputStreamVR& theFragments,
                                    MemoryAllocater& theAllocator);

    /// The same with fragments that belong to this object from now on, even when the constructor throws.
    DecompressingPixelInputStreamVR(DICOMDataObject& theDataSet, const TransferSyntaxType& theTransferSyntax,
                                    PixelDataFragmentInputStreamVR* theFragments,
                                    MemoryAllocater& theAllocator);

    /// A second reader at the same position, with a frame buffer of its own. Both share the fragments: of a
    /// source that cannot be sought each frame is there for only one of them, and ends the other's reading.
    DecompressingPixelInputStreamVR(const DecompressingPixelInputStreamVR& theOther);
    ~DecompressingPixelInputStreamVR() override;

    /// Always throws StreamIOException (code 6).
    DecompressingPixelInputStreamVR& operator=(const DecompressingPixelInputStreamVR&);

    /// Whether the attributes are there and the first frame was decompressed. Does not change afterwards.
    bool IsValid() const { return itsIsValid; }

    /// Counted from 0; -1 before the first frame.
    int GetCurrentFrameIndex() const { return itsCurrentFrameIndex; }

    /// Bytes of the whole uncompressed value; even.
    std::uint64_t GetLength() const override { return itsLength; }

    /// The whole value in memory, which belongs to the element and comes from VR's default allocator. Only
    /// while nothing has been read, else StreamIOException (code 6); code 37 when the frames end early.
    std::unique_ptr<VR> GetVR() override;

    /// Reads on into the next frames as needed. Throws StreamIOException: code 44 for an invalid object, code
    /// 6 when there are more bytes than the length allows; and what decompressing a frame throws.
    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override;

    /// As Read, copying nothing: the frames passed over are decompressed all the same.
    std::size_t Skip(std::size_t theLength) override;

    bool HasMoreData() const override { return itsRemainingLength > 0; }
    std::size_t GetBytesAvailable() const override;
    std::size_t GetStreamPosition() const override;
    long long Length() const override { return static_cast<long long>(itsLength); }
    bool IsStreamBuffered() const override { return true; }
    int CanSeek() const override { return 0; }
    void Close() override {}
    void Flush() override {}

    /// Both throw StreamIOException (code 12).
    void Seek(std::size_t thePosition) override;
    void Pushback(const unsigned char* theBuffer, std::size_t theLength) override;
    std::size_t GetPushbackLimit() const override { return 0; }

private:
    /// A block that goes back to its allocator.
    struct Release
    {
        MemoryAllocater* itsAllocator;
        void operator()(unsigned char* theBlock) const { itsAllocator->Free(theBlock); }
    };

    void Init();
    bool ReadAttributes();
    bool SetSizes(int theRows, int theColumns, int theBitsAllocated, int theSamplesPerPixel);
    void DecompressFirstFrame();
    bool DecompressNextFrame();
    void PrepareFrameBuffer(std::uint64_t theDecodedSize);
    void CheckPosition() const;
    void DiscardFinalFramePaddingIfNecessary();
    std::size_t Advance(unsigned char* theBuffer, std::size_t theLength, const char* theOperation);
    void Consume(std::size_t theCount, const char* theOperation);

    DICOMDataObject& itsDataSet;
    const TransferSyntaxType& itsTransferSyntax;
    MemoryAllocater& itsAllocator;
    std::shared_ptr<PixelDataFragmentInputStreamVR> itsFragments; ///< shared by copies; perhaps borrowed
    std::shared_ptr<ImageFrameInputStream> itsFrames;             ///< shared by copies, like its position
    std::unique_ptr<unsigned char, Release> itsFrameBuffer;
    std::int32_t itsCurrentFrameIndex = -1;
    std::uint64_t itsCurrentFrameBufferSize = 0; ///< bytes of one frame
    std::uint64_t itsReadPosition = 0;           ///< bytes of the frame buffer that were handed out
    std::uint64_t itsLength = 0;
    std::uint64_t itsRemainingLength = 0;
    std::int32_t itsNumberOfFrames = 1;
    std::uint16_t itsBitsStored = 0;
    bool itsIsValid = true;
    RWCString itsErrorText;
};
