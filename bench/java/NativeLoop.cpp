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

bool DecodeFile(const std::string& theName, int theFrame)
{
    LFInputStream aStream(theName, LFStream::MODE_READ_BINARY, LFStream::SHARE_DENY_NONE, 65536);
    return aStream.IsOpen() && DecodeOnce(aStream, theFrame);
}

bool DecodeMemory(const void* theBytes, std::size_t theSize, int theFrame)
{
    MemoryInputStream aStream(theBytes, theSize);
    return DecodeOnce(aStream, theFrame);
}
} // namespace

extern "C" JNIEXPORT void JNICALL Java_BridgeBenchmark_decodeNatively(JNIEnv* theEnv, jclass,
                                                                      jbyteArray theSource, jboolean isName,
                                                                      jint theFrames)
{
    // Nothing is copied: pinning the array is what a benchmark may do.
    const auto aSize = static_cast<std::size_t>(theEnv->GetArrayLength(theSource));
    void* const aSource = theEnv->GetPrimitiveArrayCritical(theSource, nullptr);
    bool isDecoded = aSource != nullptr;
    for (jint aFrame = 0; isDecoded && aFrame < theFrames; ++aFrame)
    {
        isDecoded = isName != JNI_FALSE
                        ? DecodeFile(std::string(static_cast<const char*>(aSource), aSize), aFrame)
                        : DecodeMemory(aSource, aSize, aFrame);
    }
    theEnv->ReleasePrimitiveArrayCritical(theSource, aSource, JNI_ABORT);
    if (!isDecoded)
    {
        theEnv->ThrowNew(theEnv->FindClass("java/io/IOException"), "the native loop cannot decode this");
    }
}
