// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "codecs/sources/CompressedSources.h"
#include "decoding/Decoder.h"
#include "decompressors/detail/ExaminedJPEG.h"
#include "image/Renderable.h"
#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/System.h"

class DecompressionRequest;
class DICOMDataObject;
struct CodecRow;

/// One bare compressed image on its way through a codec into a Renderable.
///
/// Made for one request, which is borrowed together with its source and data set. By contract the request
/// says what the stream is, and a JPEG is taken for one of 8 bits; by meaning a JPEG is what its frame header
/// says. Not thread-safe.
class BareImageDecode
{
public:
    /// theRequest has a source. theContext receives the warnings; borrowed.
    BareImageDecode(DecompressionRequest& theRequest, MemoryAllocater& theAllocator,
                    ReadingContext& theContext);

    /// Decodes and describes the image, colour as the codec leaves it. Null when the transfer syntax has
    /// no codec. What codec and toolkit throw passes through; no memory stays behind.
    std::unique_ptr<Renderable> Run();

    /// Whether the image is a JPEG that keeps its more than 8 bits, in colour too. After Run.
    bool IsDeepJPEG() const { return itsBitsStored > 8; }

private:
    void BelieveFrameHeader();
    void AssumeInterpretation(const JPEGHeader& theHeader);
    void DescribeDepth();
    void Cut(const Decoder& theCodec);
    void PrepareCodec(Decoder& theCodec);
    void ReadDataSet();
    void ChooseColour(Decoder& theCodec);
    bool IsLeftAsYBR(const Decoder& theCodec) const;
    void AllocateFor(const Decoder& theCodec);
    void CheckLength(const Decoder& theCodec);
    void Describe(const Decoder& theCodec);
    std::int32_t GetRatio(const Decoder& theCodec) const;

    DecompressionRequest& itsRequest;
    DICOMDataObject* itsDataSet; ///< the request's or the private one; may be null
    std::unique_ptr<DICOMDataObject> itsPrivateDataSet;
    std::unique_ptr<ExaminedJPEG> itsExaminedJPEG;
    kdu_compressed_source* itsSource = nullptr;            ///< the request's, or that of the examined JPEG
    std::optional<LookAheadCompressedSource> itsLookAhead; ///< over it, for the codec
    RWCString itsUID;
    int itsBitsStored = 8; ///< nobody knows the real ones yet; 8 is what a bare stream is taken for
    MemoryAllocater& itsMemoryAllocator;
    ReadingContext& itsReadingContext;
    DMTickCounter itsTimer;
    const CodecRow* itsRow = nullptr;
    std::unique_ptr<Renderable> itsRenderable;
    RWCString itsOriginalInterpretation;
    RWCString itsOutputInterpretation;
    bool itsLossy = false;          ///< by the data set
    bool itsWasMarkedLossy = false; ///< the same, before the codec noted its own loss there
    bool itsHasLost = false;        ///< parts of a lossless frame are missing
    bool itsForcedLossless = false; ///< by the data set's private flag
    std::int32_t itsDataSetBitsStored = 0;
};
