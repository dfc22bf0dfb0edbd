// SPDX-License-Identifier: Apache-2.0
// The requests of BridgeBenchmark.java, served without Java in the same process.

#include <string>

#include <jni.h>

#include "decompressors/DICOMPart10StreamDecompressor.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/io/InputStream.h"
#include "toolkit/io/LFStream.h"

namespace
{
bool DecodeOnce(InputStream& theStream, int theFrame)
{
    DICOMDataObject aDataSet;
    DecompressionRequest aRequest(&theStream, &aDataSet, "", false, 1, theFrame, "", false);
    aRequest.setReading(Reading::BY_MEANING);
    DecompressionResult aResult;
    DICOMPart10StreamDecompressor().Decompress(aRequest, aResult);
    return aResult.getRenderable() != nullptr;
}

void ThrowUnless(JNIEnv& theEnv, bool isDecoded)
{
    if (!isDecoded)
    {
        theEnv.ThrowNew(theEnv.FindClass("java/io/IOException"), "the native loop cannot decode this");
    }
}
} // namespace

extern "C"
{
    /// theName: bytes, ended by 0.
    JNIEXPORT void JNICALL Java_BridgeBenchmark_decodeFile(JNIEnv* theEnv, jclass, jobject theName,
                                                           jint theFrames)
    {
        const std::string aName = static_cast<const char*>(theEnv->GetDirectBufferAddress(theName));
        bool isDecoded = true;
        for (jint aFrame = 0; isDecoded && aFrame < theFrames; ++aFrame)
        {
            LFInputStream aStream(aName, LFStream::MODE_READ_BINARY, LFStream::SHARE_DENY_NONE, 65536);
            isDecoded = aStream.IsOpen() && DecodeOnce(aStream, aFrame);
        }
        ThrowUnless(*theEnv, isDecoded);
    }

    JNIEXPORT void JNICALL Java_BridgeBenchmark_decodeMemory(JNIEnv* theEnv, jclass, jobject theBytes,
                                                             jint theFrames)
    {
        bool isDecoded = true;
        for (jint aFrame = 0; isDecoded && aFrame < theFrames; ++aFrame)
        {
            MemoryInputStream aStream(theEnv->GetDirectBufferAddress(theBytes),
                                      static_cast<std::size_t>(theEnv->GetDirectBufferCapacity(theBytes)));
            isDecoded = DecodeOnce(aStream, aFrame);
        }
        ThrowUnless(*theEnv, isDecoded);
    }
}
