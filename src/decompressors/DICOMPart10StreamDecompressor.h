// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "decompressors/StreamDecompressor.h"
#include "toolkit/base/System.h"

class DICOMDataObject;
class Part10FrontEnd;
class Renderable;

/// Decodes one frame of a DICOM Part 10 stream and makes the request's data set describe it.
///
/// Needs the request's stream; the data set may be null. The transfer syntax found is written into the
/// request. An image that the result held before is let go, not freed. Holds only the allocator of pixel
/// buffers, which must outlive every image made. Requests on one object may run side by side.
class QUORIX_API DICOMPart10StreamDecompressor : public StreamDecompressor
{
public:
    /// Takes pixel buffers from VMMemoryAllocator's default instance.
    DICOMPart10StreamDecompressor();
    /// Takes pixel buffers from theAllocator.
    explicit DICOMPart10StreamDecompressor(MemoryAllocater& theAllocator);
    /// Copies use the same allocator.
    DICOMPart10StreamDecompressor(const DICOMPart10StreamDecompressor&) = default;

    /// Result codes: 0 done; 6 no stream or no pixel data; 12 no way to 8-bit RGB; 37 native pixel data
    /// shorter than the frame; 38 header, attribute, frame and parse errors and every failure without a
    /// code of its own; else the code of the codec or stream that failed.
    void Decompress(DecompressionRequest& theRequest, DecompressionResult& theResult) override;

    /// Makes theDataSet describe theImage, which was decoded with it, as Decompress does.
    static void FixUpDataSet(DICOMDataObject& theDataSet, Renderable& theImage,
                             DecompressionResult& theResult);

private:
    void Decode(Part10FrontEnd& theFrontEnd, DecompressionResult& theResult);

    MemoryAllocater& itsMemoryAllocator;
};
