// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <vector>

#include "decompressors/DecompressionResult.h"
#include "jni/detail/JavaAccess.h"
#include "toolkit/base/Reading.h"

/// One call of a decoding method of com.quorix.decompression.NDecompressor, or of its twin in DecodeRun: what
/// the methods have in common.
///
/// Run or RunForImage executes the method's own part. Whatever it throws becomes result code 62 with the
/// method's name and two blanks in front of the text; the result is copied into the Java result object
/// exactly once, the native image is freed unless Java has taken it, and a Java exception that was kept
/// is raised again as the very last act. For the calling thread.
class DecodeCall
{
public:
    /// theMethod: the Java method's name as messages give it. theResultObject may be null.
    DecodeCall(JNIEnv& theEnv, jobject theResultObject, const RWCString& theMethod);

    /// theDecompressionName: the name that failures of Decompress give.
    DecodeCall(JNIEnv& theEnv, jobject theResultObject, const RWCString& theMethod,
               const RWCString& theDecompressionName);
    ~DecodeCall();
    DecodeCall(const DecodeCall&) = delete;
    DecodeCall& operator=(const DecodeCall&) = delete;

    /// Makes this a call of com.quorix.decompression.DecodeRun: it reads so, and its warnings go to the
    /// result object, see JavaWarnings, before the image they speak of does; those of a call that fails as
    /// well. Of a success the result object hears nothing else: looking members up takes longer than a small
    /// image. All other calls read by contract and tell no warnings.
    void ReadAs(Reading theReading);
    Reading GetReading() const { return itsReading; }

    /// Tells Java the result's warnings that it has not been told; at the end of the call this is done
    /// anyway. False, with a Java exception pending, when Java threw one; none may be pending before.
    bool TellWarnings();

    /// Executes the method's own part. True when it succeeded. Throws only for want of memory.
    jboolean Run(const std::function<void()>& theBody);

    /// The same for a method that returns the decoded image: a new Java Renderable, or null.
    jobject RunForImage(const std::function<void()>& theBody);

    /// The same for one that returns the image's address, which is the caller's, or 0.
    jlong RunForAddress(const std::function<void()>& theBody);

    JNIEnv& GetEnv() const { return itsEnv; }
    jobject GetResultObject() const { return itsResultObject; }
    DecompressionResult& GetResult() { return itsResult; }
    bool HasSucceeded() const { return itsSuccess; }

    /// What messages begin with: "Native NDecompressor::", the method, a colon and blanks, deliberately
    /// one or two, as each method has them.
    static RWCString MakePrefix(const RWCString& theMethod, int theBlanks);
    RWCString GetPrefix(int theBlanks) const { return MakePrefix(itsMethod, theBlanks); }

    /// Replaces code, system error code 0 and message; the call has failed.
    void Fail(DLResultCode theCode, const RWCString& theMessage);
    void FailWithInvalidType();

    /// Executes a decompression. What it throws becomes the result, theBlanks of them in front of the text
    /// of this library's own exceptions; without one, the result's code decides. Nothing is thrown on, as
    /// the input is still to be closed.
    void Decompress(int theBlanks, const std::function<void()>& theDecompression);

    /// Closes the input; a failure makes the call one and is added to the message.
    void Close(int theBlanks, const std::function<void()>& theClose);

    /// Copies the result to Java, unless that has been done.
    void CopyResult();

    /// Keeps a Java exception for the end of the call. theException: a local reference that belongs to
    /// this object from now on. The call has failed, as Java will not see what it returns.
    void KeepException(LocalReference<jthrowable> theException);

private:
    void RunBody(const std::function<void()>& theBody);
    void RunToImage(const std::function<void()>& theBody);
    void TellLastWarnings();
    void FailWithCurrentException(const RWCString& theName, int theBlanks);
    void DescribeCurrentException(const RWCString& theName, int theBlanks);
    void Finish();
    void FreeImage();
    LocalReference<jobject> HandOver();
    LocalReference<jobject> Wrap();

    JNIEnv& itsEnv;
    jobject itsResultObject;
    RWCString itsMethod;
    RWCString itsDecompressionName;
    DecompressionResult itsResult;
    LocalReference<jthrowable> itsException;
    Reading itsReading = Reading::BY_CONTRACT;
    bool itsIsRun = false; ///< of DecodeRun
    std::size_t itsToldWarnings = 0;
    bool itsSuccess = true;
    bool itsResultIsCopied = false;
};
