// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>

#include "decoding/ImageType.h"
#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/PixelRegion.h"

class InputStream;
class ReadingContext;
class Renderable;

/// Decodes a bare image, with an exception in place of a result that failed. Stateless and thread-safe.
class QUORIX_API BareStreamDecode
{
public:
    BareStreamDecode() = delete;

    /// The image of theStream, which is borrowed and stands at the first byte. theType: any but DICOM.
    /// theScale, theRegion: as in a DecompressionRequest. theContext: how to read, and where warnings go.
    /// Throws StreamIOException with the code and text of CompressedImageStreamDecompressor.
    static std::unique_ptr<Renderable> Run(InputStream& theStream, JImageType theType, int theScale,
                                           const std::optional<PixelRegion>& theRegion,
                                           ReadingContext& theContext);
};
