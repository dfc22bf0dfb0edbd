// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// An image file decoded in one call.

#include "decoding/ImageType.h"
#include "toolkit/base/BaseTypes.h"

class DICOMDataObject;
class DecompressionResult;

/// Decodes an image file, held under a read lock meanwhile. Stateless and thread-safe.
class QUORIX_API FileToRenderableDecompressor
{
public:
    FileToRenderableDecompressor& operator=(const FileToRenderableDecompressor&) = delete;

    /// 1 on success, with the image in theResult; 0 on any failure, with code and message there. Never
    /// throws. theSecondName: passed on as the request's demo file. theDataSet receives a Part 10 file's
    /// data set. theLossless: for JPEG 2000, non-zero chooses the lossless transfer syntax.
    ///
    /// Result codes: 0 done; 3 the file cannot be opened; 9 it stays locked by a writer for longer than
    /// LFStream::GetDefaultLockWaitTime; 48 an image type that is not served; 62 everything else: which of
    /// the decompressors' codes it was is deliberately not told. Their system error code stays.
    static int DecodeFileToRenderable(const RWCString& theFileName, const RWCString& theSecondName,
                                      DICOMDataObject& theDataSet, JImageType theImageType, int theFrameIndex,
                                      int theScaleFactor, DecompressionResult& theResult, int theLossless);
};
