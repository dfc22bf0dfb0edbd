// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "decompressors/StreamDecompressor.h"
#include "toolkit/base/MemoryAllocater.h"

class Part10InputStream;

/// Decodes one frame of a DICOM Part 10 stream and makes the request's data set describe it.
///
/// Holds only the allocator of images and pixel buffers, which must outlive every image made. Requests
/// on one object may run side by side.
class QUORIX_API DICOMPart10StreamDecompressor : public StreamDecompressor
{
public:
    DICOMPart10StreamDecompressor();
    explicit DICOMPart10StreamDecompressor(MemoryAllocater& theAllocator);
    DICOMPart10StreamDecompressor(const DICOMPart10StreamDecompressor&) = default;

    void Decompress(DecompressionRequest& theRequest, DecompressionResult& theResult) override;

private:
    void Decode(DecompressionRequest& theRequest, Part10InputStream& theStream,
                DecompressionResult& theResult);

    MemoryAllocater& itsMemoryAllocator;
};
