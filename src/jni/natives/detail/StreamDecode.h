// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>

#include <jni.h>

#include "codecs/sources/CompressedSources.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/StreamDecompressor.h"
#include "jni/streams/JavaSeekableInputStream.h"
#include "toolkit/io/InputStream.h"

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
        bool itsIsLengthCertain = false; ///< otherwise nobody relies on what a Part 10 stream says of it
        std::optional<PixelRegion> itsRegion{};
    };

    /// The image type that theStream's first bytes tell, from which it goes back to its start; whatever is no
    /// bare image is taken for Part 10.
    static jint FindType(RewindableInputStream& theStream);

    /// The same of theCount bytes.
    static jint FindType(const unsigned char* theBytes, std::size_t theCount);

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
