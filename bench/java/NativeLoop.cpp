// SPDX-License-Identifier: Apache-2.0
// The requests of BridgeBenchmark.java, served without Java in the same process.

#include <ctime>
#include <vector>

#include <jni.h>

#include "decompressors/DICOMPart10StreamDecompressor.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/io/InputStream.h"

namespace
{
/// In nanoseconds.
jlong CpuTimeOfThread()
{
    std::timespec aTime{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &aTime);
    return static_cast<jlong>(aTime.tv_sec) * 1'000'000'000 + aTime.tv_nsec;
}

bool DecodeOnce(const std::vector<jbyte>& theFile, int theFrame)
{
    MemoryInputStream aStream(theFile.data(), theFile.size());
    DICOMDataObject aDataSet;
    DecompressionRequest aRequest(&aStream, &aDataSet, "", false, 1, theFrame, "", false);
    DecompressionResult aResult;
    DICOMPart10StreamDecompressor().Decompress(aRequest, aResult);
    return aResult.getRenderable() != nullptr;
}
} // namespace

/// Decodes theRounds times, frame 0, 1 … theFrames - 1 each time. Returns the thread's CPU time in
/// nanoseconds, negative when a frame could not be decoded.
extern "C" JNIEXPORT jlong JNICALL Java_BridgeBenchmark_decodeNatively(JNIEnv* theEnv, jclass,
                                                                       jbyteArray theFile, jint theRounds,
                                                                       jint theFrames)
{
    std::vector<jbyte> aFile(static_cast<std::size_t>(theEnv->GetArrayLength(theFile)));
    theEnv->GetByteArrayRegion(theFile, 0, static_cast<jsize>(aFile.size()), aFile.data());
    const jlong aStart = CpuTimeOfThread();
    for (jint aRound = 0; aRound < theRounds; ++aRound)
    {
        for (jint aFrame = 0; aFrame < theFrames; ++aFrame)
        {
            if (!DecodeOnce(aFile, aFrame))
            {
                return -1;
            }
        }
    }
    return CpuTimeOfThread() - aStart;
}
