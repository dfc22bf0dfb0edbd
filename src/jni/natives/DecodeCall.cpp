// SPDX-License-Identifier: Apache-2.0
#include "jni/natives/detail/DecodeCall.h"

#include <memory>
#include <utility>

#include "image/Renderable.h"
#include "jni/detail/JavaRenderable.h"
#include "jni/detail/JavaWarnings.h"
#include "jni/natives/detail/NativeBoundary.h"
#include "toolkit/base/CaughtException.h"
#include "toolkit/base/Exceptions.h"

DecodeCall::DecodeCall(JNIEnv& theEnv, jobject theResultObject, const RWCString& theMethod)
    : DecodeCall(theEnv, theResultObject, theMethod, theMethod)
{
}

DecodeCall::DecodeCall(JNIEnv& theEnv, jobject theResultObject, const RWCString& theMethod,
                       const RWCString& theDecompressionName)
    : itsEnv(theEnv), itsResultObject(theResultObject), itsMethod(theMethod),
      itsDecompressionName(theDecompressionName), itsException(theEnv, nullptr)
{
}

DecodeCall::~DecodeCall()
{
    FreeImage();
}

void DecodeCall::ReadAs(Reading theReading)
{
    itsReading = theReading;
    itsIsRun = true;
}

bool DecodeCall::TellWarnings()
{
    const std::vector<DecodeWarning>& aWarnings = itsResult.getWarnings();
    const std::size_t aFirst = std::exchange(itsToldWarnings, aWarnings.size());
    return !itsIsRun || aFirst == aWarnings.size() ||
           JavaWarnings(itsEnv, itsResultObject)
               .Tell({aWarnings.begin() + static_cast<std::ptrdiff_t>(aFirst), aWarnings.end()});
}

void DecodeCall::TellLastWarnings()
{
    RunBody(
        [this]
        {
            if (!TellWarnings())
            {
                KeepException(JavaAccess::TakeException(itsEnv));
            }
        });
}

jboolean DecodeCall::Run(const std::function<void()>& theBody)
{
    RunBody(theBody);
    TellLastWarnings();
    FreeImage();
    Finish();
    return itsSuccess ? JNI_TRUE : JNI_FALSE;
}

void DecodeCall::RunToImage(const std::function<void()>& theBody)
{
    RunBody(theBody);
    TellLastWarnings();
    if (itsSuccess && itsResult.getRenderable() == nullptr)
    {
        Fail(DLRC_DECODER_ERROR, GetPrefix(1) + "Decompressor returned null Renderable");
    }
}

jlong DecodeCall::RunForAddress(const std::function<void()>& theBody)
{
    RunToImage(theBody);
    jlong anAddress = 0;
    if (itsSuccess)
    {
        anAddress = NativeBoundary::ToHandle(itsResult.getRenderable());
        itsResult.setRenderable(nullptr);
    }
    FreeImage();
    Finish();
    return anAddress;
}

jobject DecodeCall::RunForImage(const std::function<void()>& theBody)
{
    RunToImage(theBody);
    LocalReference<jobject> anImage(itsEnv, nullptr);
    if (itsSuccess)
    {
        RunBody([&] { anImage = HandOver(); });
    }
    FreeImage();
    Finish();
    return anImage.Release();
}

void DecodeCall::RunBody(const std::function<void()>& theBody)
{
    try
    {
        theBody();
    }
    catch (...)
    {
        FailWithCurrentException(itsMethod, 2);
    }
}

/// To be called in a catch block. theName and theBlanks are for this library's own exceptions. Never throws.
void DecodeCall::FailWithCurrentException(const RWCString& theName, int theBlanks)
{
    try
    {
        DescribeCurrentException(theName, theBlanks);
    }
    catch (...)
    {
        itsResult.setOutOfMemory(DLRC_DECODER_ERROR);
    }
}

void DecodeCall::DescribeCurrentException(const RWCString& theName, int theBlanks)
{
    const CaughtException aCaught = CaughtException::Current();
    if (aCaught.itsKind == CaughtException::Kind::INTERRUPTED)
    {
        Fail(DLRC_DECODING_INTERRUPTED, MakePrefix(theName, 1) + "Decoding interrupted");
        return;
    }
    Fail(DLRC_DECODER_ERROR,
         (aCaught.IsOwn() ? MakePrefix(theName, theBlanks) : GetPrefix(2)) + aCaught.itsDescription);
}

RWCString DecodeCall::MakePrefix(const RWCString& theMethod, int theBlanks)
{
    return "Native NDecompressor::" + theMethod + ":" + RWCString(static_cast<std::size_t>(theBlanks), ' ');
}

void DecodeCall::Fail(DLResultCode theCode, const RWCString& theMessage)
{
    itsSuccess = false;
    itsResult.setDCMLibResultCode(theCode);
    itsResult.setSystemErrorCode(0);
    itsResult.setMessage(theMessage);
}

void DecodeCall::FailWithInvalidType()
{
    // Deliberately the same text for every method.
    Fail(DLRC_NO_DECODER, "Native NDecompressor::decodeToMemory: Invalid compressed image type");
}

void DecodeCall::Decompress(int theBlanks, const std::function<void()>& theDecompression)
{
    try
    {
        theDecompression();
        itsSuccess = itsSuccess && itsResult.getDCMLibResultCode() == DLRC_SUCCESS;
    }
    catch (...)
    {
        FailWithCurrentException(itsDecompressionName, theBlanks);
    }
}

void DecodeCall::Close(int theBlanks, const std::function<void()>& theClose)
{
    try
    {
        theClose();
    }
    catch (const ExceptionBase& anException)
    {
        RWCString aMessage = itsResult.getMessage();
        if (!aMessage.empty())
        {
            aMessage += "\n Exception on aSource.Close(): ";
        }
        itsResult.setMessage(aMessage + GetPrefix(theBlanks) + anException.ToString());
        if (itsResult.getDCMLibResultCode() == DLRC_SUCCESS)
        {
            itsResult.setDCMLibResultCode(DLRC_DECODER_ERROR);
            itsResult.setSystemErrorCode(0);
        }
        itsSuccess = false;
    }
}

void DecodeCall::CopyResult()
{
    if (!std::exchange(itsResultIsCopied, true))
    {
        itsResult.copyToJava(&itsEnv, itsResultObject);
    }
}

void DecodeCall::KeepException(LocalReference<jthrowable> theException)
{
    if (!itsException)
    {
        itsException = std::move(theException);
    }
    itsSuccess = false;
}

void DecodeCall::Finish()
{
    if (!itsIsRun || !itsSuccess)
    {
        CopyResult();
    }
    if (itsException)
    {
        itsEnv.Throw(itsException.Get());
    }
}

void DecodeCall::FreeImage()
{
    const std::unique_ptr<Renderable> anImage(itsResult.getRenderable());
    itsResult.setRenderable(nullptr);
}

/// The decoded image as a Java object that owns it; null, with the reason in the result, when that fails.
LocalReference<jobject> DecodeCall::HandOver()
{
    try
    {
        return Wrap();
    }
    catch (const ExceptionBase& anException)
    {
        // Deliberately words of a conversion, though none is made here: callers know this text.
        Fail(DLRC_DECODER_ERROR,
             GetPrefix(1) + "unable to convert to non-planar 8-bit RGB format: " + anException.ToString());
        return {itsEnv, nullptr};
    }
}

LocalReference<jobject> DecodeCall::Wrap()
{
    const JavaRenderable aMaker(itsEnv);
    LocalReference<jobject> anObject(itsEnv, nullptr);
    if (!aMaker.HasClass())
    {
        Fail(DLRC_DECODER_ERROR, "Unable to FindClass(\"com/quorix/decompression/Renderable\")");
    }
    else if (!aMaker.HasConstructor())
    {
        Fail(DLRC_DECODER_ERROR,
             "Unable to find ctor method Renderable(long theCObjectPtr, boolean theTakeOwnershipFlag)");
    }
    else if (!(anObject = aMaker.New(itsResult.getRenderable())))
    {
        // Deliberately with two brackets at the end: callers know this text.
        Fail(DLRC_DECODER_ERROR,
             "Unable to invoke new Renderable(long theCObjectPtr, boolean theTakeOwnershipFlag))");
    }
    else
    {
        itsResult.setRenderable(nullptr);
    }
    return anObject;
}
