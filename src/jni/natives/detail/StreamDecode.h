// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include <jni.h>

#include "codecs/sources/CompressedSources.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/StreamDecompressor.h"
#include "jni/streams/JavaSeekableInputStream.h"

/// One image of a seekable stream on its way through the decompressor for its image type. Stream and data
/// set are borrowed.
class StreamDecode
{
public:
    struct Arguments
    {
        jint itsImageType;
        bool itsLossless; ///< which transfer syntax a JPEG 2000 codestream gets
        DICOMDataObject* itsDataSet;
        RWCString itsDemoFile;
        bool itsLoadDemoInfoFlag;
        jint itsScaleFactor;
        jint itsFrameIndex; ///< of a Part 10 stream
        Reading itsReading;
    };

    /// Image types are Java's; any number may come in.
    static bool IsBareImage(jint theImageType, Reading theReading);
    static bool IsPart10(jint theImageType);

    /// The image type must be one of a bare image.
    static RWCString GetTransferSyntaxUID(jint theImageType, bool isLossless, Reading theReading);

    /// The image type must be one of the above.
    StreamDecode(InputStream& theStream, const Arguments& theArguments);
    ~StreamDecode();

    /// Asks the stream for its length, which may throw, and decompresses.
    void Run(DecompressionResult& theResult);

private:
    void MakeRequest(const Arguments& theArguments);

    InputStream& itsStream;
    UnmeasuredInputStream itsUnmeasured; ///< for Part 10 streams
    InputStreamAdapter itsSource;
    std::unique_ptr<DecompressionRequest> itsRequest;
    std::unique_ptr<StreamDecompressor> itsDecompressor;
};
