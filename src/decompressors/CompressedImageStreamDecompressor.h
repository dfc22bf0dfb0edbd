// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "decompressors/StreamDecompressor.h"
#include "toolkit/base/System.h"

/// Decodes one bare compressed image (a codestream with no DICOM file around it) that the request supplies
/// as a compressed source.
///
/// By contract a JPEG stream is taken for one of 8 bits: one that is deeper is refused or cut to 8. By
/// meaning it is what its own frame header says, and keeps its values, colour included; lossless colour that
/// neither a marker nor the data set speaks of is taken for RGB.
///
/// Needs the request's compressed source and transfer syntax UID; the data set may be null. An image that
/// the result held before is let go, not freed. Holds only the allocator of pixel buffers, which must outlive
/// every image made. Requests on one object may run side by side.
class QUORIX_API CompressedImageStreamDecompressor : public StreamDecompressor
{
public:
    /// Takes pixel buffers from VMMemoryAllocator's default instance.
    CompressedImageStreamDecompressor();
    /// Takes pixel buffers from theAllocator.
    explicit CompressedImageStreamDecompressor(MemoryAllocater& theAllocator);

    /// Result codes: 0 done; 6 no compressed source; 12 no way to 8-bit RGB; 62 no codec for the transfer
    /// syntax, an image beyond the limits or the memory, or the codec failed; 63 decoding was interrupted;
    /// else what loading the demo file gave.
    void Decompress(DecompressionRequest& theRequest, DecompressionResult& theResult) override;

private:
    void DecompressUnguarded(DecompressionRequest& theRequest, DecompressionResult& theResult);

    MemoryAllocater& itsMemoryAllocator;
};
