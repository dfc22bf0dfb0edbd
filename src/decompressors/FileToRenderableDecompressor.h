// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "toolkit/base/Export.h"
#include "toolkit/base/RWCString.h"

class DICOMDataObject;
class DecompressionResult;

/// Kind of compressed input; the numbers are shared with the Java side.
enum JImageType : std::int32_t
{
    IMAGE_TYPE_JPEG = 1,
    IMAGE_TYPE_JPEG2000 = 2,
    IMAGE_TYPE_DICOM_PART10 = 3,
    IMAGE_TYPE_JPEG2000_LOSSLESS = 7
};

/// Decodes an image file, held under a read lock meanwhile. Stateless and thread-safe.
class QUORIX_API FileToRenderableDecompressor
{
public:
    FileToRenderableDecompressor& operator=(const FileToRenderableDecompressor&) = delete;

    /// 1 on success, with the image in theResult; 0 on any failure, with code and message there. Never
    /// throws. theSecondName: passed on as the request's demo file. theDataSet receives a Part 10 file's
    /// data set. theLossless: for JPEG 2000, non-zero chooses the lossless transfer syntax.
    static int DecodeFileToRenderable(const RWCString& theFileName, const RWCString& theSecondName,
                                      DICOMDataObject& theDataSet, JImageType theImageType, int theFrameIndex,
                                      int theScaleFactor, DecompressionResult& theResult, int theLossless);
};
