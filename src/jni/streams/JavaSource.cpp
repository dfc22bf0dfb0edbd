// SPDX-License-Identifier: Apache-2.0
#include "jni/streams/JavaSource.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "jni/detail/JavaAccess.h"
#include "jni/streams/JavaStrings.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/io/LFStream.h"

namespace
{
constexpr std::size_t kFileBufferSize = 65536;

[[noreturn]] void ThrowNotOpened(const char* theReason)
{
    throw StreamIOException(RWCString("native JavaSource: ") + theReason, DLRC_GENERAL_FAILURE, 0);
}
} // namespace

/// Bytes of a Java array. Pinning it for as long as a decoding takes would hold up the garbage collector.
class JavaSource::ArrayStream final : public InputStream
{
public:
    ArrayStream(JNIEnv& theEnv, const Input& theInput)
        : itsEnv(&theEnv), itsArray(static_cast<jbyteArray>(theEnv.NewGlobalRef(theInput.itsObject))),
          itsOffset(theInput.itsOffset), itsLength(static_cast<std::size_t>(theInput.itsLength))
    {
        if (itsArray == nullptr)
        {
            ThrowNotOpened("no reference to the array");
        }
    }
    ~ArrayStream() override { itsEnv->DeleteGlobalRef(itsArray); }
    ArrayStream(const ArrayStream&) = delete;
    ArrayStream& operator=(const ArrayStream&) = delete;

    void SetEnvironment(JNIEnv& theEnv) { itsEnv = &theEnv; }

    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override
    {
        const std::size_t aCount = std::min(theLength, itsLength - itsPosition);
        if (aCount > 0)
        {
            itsEnv->GetByteArrayRegion(itsArray, itsOffset + static_cast<jsize>(itsPosition),
                                       static_cast<jsize>(aCount), reinterpret_cast<jbyte*>(theBuffer));
            itsPosition += aCount;
        }
        return aCount;
    }
    std::size_t Skip(std::size_t theLength) override
    {
        const std::size_t aCount = std::min(theLength, itsLength - itsPosition);
        itsPosition += aCount;
        return aCount;
    }
    void Seek(std::size_t thePosition) override
    {
        if (thePosition > itsLength)
        {
            throw StreamIOException("the array ends before position " + std::to_string(thePosition),
                                    DLRC_IO_ERROR, 0);
        }
        itsPosition = thePosition;
    }
    int CanSeek() const override { return 1; }
    long long Length() const override { return static_cast<long long>(itsLength); }
    std::size_t GetStreamPosition() const override { return itsPosition; }

private:
    JNIEnv* itsEnv;
    jbyteArray itsArray;
    jsize itsOffset;
    std::size_t itsLength;
    std::size_t itsPosition = 0;
};

JavaSource::JavaSource(JNIEnv& theEnv, const Input& theInput, Reading theReading)
{
    switch (theInput.itsKind)
    {
    case FILE_NAME:
        OpenFile(theEnv, theInput.itsObject);
        break;
    case DIRECT_BUFFER:
        if (const void* const aStart = theEnv.GetDirectBufferAddress(theInput.itsObject))
        {
            itsStream = std::make_unique<MemoryInputStream>(static_cast<const unsigned char*>(aStart) +
                                                                theInput.itsOffset,
                                                            static_cast<std::size_t>(theInput.itsLength));
            break;
        }
        ThrowNotOpened("the buffer has no address");
    case BYTE_ARRAY:
        itsStream = std::make_unique<ArrayStream>(theEnv, theInput);
        itsArrayStream = static_cast<ArrayStream*>(itsStream.get());
        break;
    default:
        OpenStream(theEnv, theInput, theReading);
    }
}

JavaSource::~JavaSource() = default;

void JavaSource::OpenFile(JNIEnv& theEnv, jobject theName)
{
    const RWCString aName =
        EncodedString(theEnv, static_cast<jstring>(theName), EncodedString::CODE_PAGE_ISO_8859_1).GetString();
    auto aFile = std::make_unique<LFInputStream>(aName, LFStream::MODE_READ_BINARY, LFStream::SHARE_DENY_NONE,
                                                 kFileBufferSize);
    std::error_code aNoMatter;
    if (aFile->IsOpen() && !std::filesystem::is_directory(aName, aNoMatter))
    {
        itsStream = std::move(aFile);
    }
}

void JavaSource::OpenStream(JNIEnv& theEnv, const Input& theInput, Reading theReading)
{
    auto aStream = std::make_unique<JavaSeekableInputStream>(theEnv, theInput.itsObject);
    aStream->SetReading(theReading);
    if (theInput.itsKind == FORWARD_STREAM)
    {
        itsForward = std::make_unique<UnmeasuredInputStream>(*aStream, false);
    }
    itsJavaStream = aStream.get();
    itsStream = std::move(aStream);
}

void JavaSource::SetEnvironment(JNIEnv& theEnv)
{
    if (itsArrayStream != nullptr)
    {
        itsArrayStream->SetEnvironment(theEnv);
    }
    if (itsJavaStream != nullptr)
    {
        itsJavaStream->SetEnvironment(theEnv);
    }
}
