// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "decompressors/StreamDecompressor.h"
#include "toolkit/base/MemoryAllocater.h"

/// Decodes one bare compressed image (a codestream with no DICOM file around it) that the request supplies
/// as a compressed source.
///
/// Holds only the allocator of images and pixel buffers, which must outlive every image made. Requests
/// on one object may run side by side.
class QUORIX_API CompressedImageStreamDecompressor : public StreamDecompressor
{
public:
    CompressedImageStreamDecompressor();
    explicit CompressedImageStreamDecompressor(MemoryAllocater& theAllocator);

    void Decompress(DecompressionRequest& theRequest, DecompressionResult& theResult) override;

private:
    MemoryAllocater& itsMemoryAllocator;
};
