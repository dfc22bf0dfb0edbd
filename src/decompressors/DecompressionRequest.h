// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "decompressors/JNIForward.h"
#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/PixelRegion.h"
#include "toolkit/base/Reading.h"

class DICOMDataObject;
class InputStream;
class JavaInputBufferQueueCompressedSource;
class JavaSeekableInputStream;
class kdu_compressed_source;

/// Everything one decompression call needs.
///
/// Stream, source and data set are borrowed. The Java adapters are set by the Java side only and are
/// owned; copies share them. Checks nothing. Not thread-safe.
class QUORIX_API DecompressionRequest
{
public:
    /// No input, scale factor 1, frame 0.
    DecompressionRequest();

    /// A Part 10 stream; the transfer syntax is found in it. For the other arguments see the accessors of
    /// their names.
    DecompressionRequest(InputStream* theStream, DICOMDataObject* theDataSet, const RWCString& theDemoFile,
                         bool isDemoInfoLoaded, int theScaleFactor, int theFrameIndex,
                         const RWCString& theTransferSyntaxUID, bool isV5ConvertedToUnsigned);

    /// A bare compressed image; theTransferSyntaxUID says what it is.
    DecompressionRequest(kdu_compressed_source* theSource, DICOMDataObject* theDataSet,
                         const RWCString& theDemoFile, bool isDemoInfoLoaded, int theScaleFactor,
                         int theFrameIndex, const RWCString& theTransferSyntaxUID,
                         bool isV5ConvertedToUnsigned);

    /// Reads the fields of a Java object by their names, and owns adapters over its
    /// stream and queue. theClass is not used. A field that is missing ends the reading and leaves the
    /// Java exception to the caller; what was not read keeps its default. Throws StreamIOException for a
    /// stream that lacks a method. The Java objects and theEnv must outlive this request. Only in a library
    /// with JNI.
    DecompressionRequest(JNIEnv* theEnv, jclass theClass, jobject theRequest);
    virtual ~DecompressionRequest();

    /// Copies borrow the same objects.
    /// @{
    DecompressionRequest(const DecompressionRequest&) = default;
    DecompressionRequest& operator=(const DecompressionRequest&) = default;
    /// @}

    /// The Part 10 stream, or null.
    InputStream* getInputStream() const { return itsInputStream; }

    /// The bare compressed image, or null.
    kdu_compressed_source* getCompressedSource() const { return itsCompressedSource; }

    /// The data set that is read, for a Part 10 stream filled, and made to describe the decoded pixels. May
    /// be null. One data set is for one image: it remembers what the image was before decoding, which only a
    /// Part 10 stream with another SOP Instance UID makes it forget.
    DICOMDataObject* getDICOMDataObject() const { return itsDICOMDataObject; }

    /// Path of a file with the header that belongs to a bare compressed image; empty for none.
    const RWCString& getDemoFile() const { return itsDemoFile; }

    /// Carried for the caller. The demo file is loaded wherever one is named.
    bool getLoadDemoInfoFlag() const { return itsLoadDemoInfoFlag; }

    /// 1 is full resolution; each step more halves it where the codec can.
    int getScaleFactor() const { return itsScaleFactor; }

    /// Counted from 0; -1 is the first and only frame.
    int getFrameIndex() const { return itsFrameIndex; }

    /// What a bare compressed image is, said by the caller, of one with JPEG's markers by meaning corrected
    /// by the decompressor; what a Part 10 stream has, said by the decompressor once it is open.
    /// @{
    const RWCString& getTransferSyntaxUID() const { return itsTransferSyntaxUID; }
    void setTransferSyntaxUID(const RWCString& theUID) { itsTransferSyntaxUID = theUID; }
    /// @}

    /// Deliver signed pixels as unsigned ones.
    /// @{
    bool isV5ConvertPixelsToUnsigned() const { return itsV5ConvertPixelsToUnsigned; }
    void setV5ConvertPixelsToUnsigned(bool isSet) { itsV5ConvertPixelsToUnsigned = isSet; }
    /// @}

    /// Bytes of a bare compressed image, 0 where unknown.
    /// @{
    std::uint32_t getSourceLength() const { return itsSourceLength; }
    void setSourceLength(std::uint32_t theLength) { itsSourceLength = theLength; }
    /// @}

    /// How files are taken whose words and meaning part; by contract unless set.
    /// @{
    Reading getReading() const { return itsReading; }
    void setReading(Reading theReading) { itsReading = theReading; }
    /// @}

    /// The window of interest, in pixels of the frame at full size; nothing, unless set, is all of it. The
    /// image has just these pixels then, of a reduced image those that stand for any of them, and so has the
    /// data set. Of a whole-slide image DICOMPart10StreamDecompressor counts in the total pixel matrix, and
    /// the frame index tells focal plane and optical path; Part10FrameWalk hands out a window of each frame.
    /// A window that is empty or not inside the image ends the request with code 6. The compression ratio is
    /// 0 unless the data set tells one.
    /// @{
    const std::optional<PixelRegion>& getRegion() const { return itsRegion; }
    void setRegion(const std::optional<PixelRegion>& theRegion) { itsRegion = theRegion; }
    /// @}

    /// Whether nothing is printed on the way, see ReadingContext::IsSilent.
    /// @{
    bool isSilent() const { return itsIsSilent; }
    void setSilent(bool isSilent) { itsIsSilent = isSilent; }
    /// @}

private:
    InputStream* itsInputStream = nullptr;
    std::shared_ptr<JavaSeekableInputStream> itsOwnedJavaInputStream;
    kdu_compressed_source* itsCompressedSource = nullptr;
    std::shared_ptr<JavaInputBufferQueueCompressedSource> itsOwnedJavaCompressedSource;
    DICOMDataObject* itsDICOMDataObject = nullptr;
    RWCString itsDemoFile;
    bool itsLoadDemoInfoFlag = false;
    std::int32_t itsScaleFactor = 1;
    std::int32_t itsFrameIndex = 0;
    RWCString itsTransferSyntaxUID;
    bool itsV5ConvertPixelsToUnsigned = false;
    std::uint32_t itsSourceLength = 0;
    Reading itsReading = Reading::BY_CONTRACT;
    std::optional<PixelRegion> itsRegion;
    bool itsIsSilent = false;
};
