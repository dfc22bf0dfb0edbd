// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <vector>

#include "decompressors/JNIForward.h"
#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/base/Reading.h"

class Renderable;

/// What a decompression call answers: the decoded image, or what exactly went wrong.
///
/// Owns the Renderable it holds; whoever takes the image over calls setRenderable(nullptr) at that
/// moment. A result may serve one decode after the other. Not thread-safe.
class QUORIX_API DecompressionResult
{
public:
    /// No image, DLRC_SUCCESS and no message.
    DecompressionResult();
    ~DecompressionResult();

    /// Copies share the image that is held when they are made: it is freed with the last of them, and once
    /// one of them has let it go the others hold none either. What is stored later, a copy does not see.
    /// @{
    DecompressionResult(const DecompressionResult&) = default;
    DecompressionResult& operator=(const DecompressionResult&) = default;
    /// @}

    /// Stores the image, made with new; it is freed where there is no memory to hold it. One that was held
    /// before stays with the copies, and is let go, not freed, where there are none. Null lets it go for all
    /// copies.
    void setRenderable(Renderable* theRenderable);

    /// Holds no image from now on, as before the first decode: one that was held before stays with the
    /// copies, and is let go, not freed, where there are none.
    void forgetRenderable() noexcept;

    /// The image, or null. Ownership stays here.
    Renderable* getRenderable() const;

    /// How the request ended.
    /// @{
    void setDCMLibResultCode(DLResultCode theCode) { itsDCMLibResultCode = theCode; }
    DLResultCode getDCMLibResultCode() const { return itsDCMLibResultCode; }
    /// @}

    /// An errno value, 0 if none.
    /// @{
    void setSystemErrorCode(int theCode) { itsSystemErrorCode = theCode; }
    int getSystemErrorCode() const { return itsSystemErrorCode; }
    /// @}

    /// What went wrong, for logs. It may quote names and text of the file, in the file's own character set.
    /// @{
    void setMessage(const RWCString& theMessage) { itsMessage = theMessage; }
    const RWCString& getMessage() const { return itsMessage; }
    /// @}

    /// What is in doubt about the picture, in the order in which it was noticed; code and message know
    /// nothing of it. Every request begins with none; one that fails has those up to there.
    /// @{
    const std::vector<DecodeWarning>& getWarnings() const { return itsWarnings; }
    void addWarnings(const std::vector<DecodeWarning>& theWarnings);
    void clearWarnings() { itsWarnings.clear(); }
    /// @}

    /// The three fields as four lines of text.
    RWCString ToString() const;

    /// Says that there was no memory left, not even to describe the failure. By contract with theCode, by
    /// meaning with DLRC_ALLOCATION_FAILED. Takes none itself; never throws.
    void setOutOfMemory(DLResultCode theCode, Reading theReading = Reading::BY_CONTRACT) noexcept;

    /// Sets the fields int DLResultCode, int SystemError and String Message of a Java object (may be
    /// null), each where the object's class has it; the message's bytes are taken as ISO-8859-1. No Java
    /// exception may be pending, and none is left. Only in a library with JNI.
    void copyToJava(JNIEnv* theEnv, jobject theResult) const;

private:
    struct Holder;
    std::shared_ptr<Holder> itsHolder; // null as long as no image was stored
    DLResultCode itsDCMLibResultCode = DLRC_SUCCESS;
    int itsSystemErrorCode = 0;
    RWCString itsMessage;
    std::vector<DecodeWarning> itsWarnings;
};
