// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "decoding/ImageType.h"
#include "toolkit/base/BaseTypes.h"

class InputStream;
class ReadingContext;
class Renderable;

/// Decodes a bare image as what its own header says it is. Stateless and thread-safe.
///
/// A JPEG stream of more than 8 bits would be refused or cut to 8 by CompressedImageStreamDecompressor; here
/// it goes through the codestream driver with the transfer syntax and bits that its frame header calls for,
/// and keeps its values, colour included. Lossless colour without a JFIF or Adobe marker is taken for RGB.
/// All else goes the way of all bare streams.
class QUORIX_API BareStreamDecode
{
public:
    BareStreamDecode() = delete;

    /// The image of theStream, which is borrowed and stands at the first byte. theType: any but DICOM.
    /// theScale: as in a DecompressionRequest. theContext: how to read, and where warnings go. Throws
    /// StreamIOException with the code and text of a result that failed, and what the codec throws.
    static std::unique_ptr<Renderable> Run(InputStream& theStream, JImageType theType, int theScale,
                                           ReadingContext& theContext);
};
