// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/detail/Part10Writer.h"

#include <cerrno>

#include <dcmtk/dcmdata/dcerror.h>

#include "toolkit/base/Exceptions.h"

namespace
{
constexpr std::size_t kBufferSize = 64u << 10;
}

FileConsumer::FileConsumer(const RWCString& thePath) : itsFile(LFStream::UNBUFFERED), itsPath(thePath)
{
    itsBuffer.reserve(kBufferSize);
    if (!itsFile.open(thePath, LFStream::MODE_WRITE_BINARY, LFStream::SHARE_DENY_NONE))
    {
        const int anError = errno;
        throw StreamIOException("DICOMObject::SaveToFile: error opening file " + thePath, DLRC_IO_ERROR,
                                anError);
    }
}

FileConsumer::~FileConsumer() = default;

void FileConsumer::Fail(const char* theWhat, int theError)
{
    if (itsFailure.empty())
    {
        itsFailure = RWCString("DICOMObject::SaveToFile: error ") + theWhat + " file " + itsPath;
        itsError = theError;
    }
}

void FileConsumer::WriteThrough(const void* theBytes, std::size_t theCount)
{
    const auto* aBytes = static_cast<const std::uint8_t*>(theBytes);
    while (theCount > 0 && itsFailure.empty())
    {
        const long long aWritten = itsFile.Write(aBytes, theCount);
        if (aWritten <= 0)
        {
            Fail("writing", aWritten < 0 ? errno : ENOSPC);
            return;
        }
        aBytes += aWritten;
        theCount -= static_cast<std::size_t>(aWritten);
    }
}

void FileConsumer::FlushBuffer()
{
    WriteThrough(itsBuffer.data(), itsBuffer.size());
    itsBuffer.clear();
}

void FileConsumer::Put(const void* theBytes, std::size_t theCount)
{
    if (itsBuffer.size() + theCount > kBufferSize)
    {
        FlushBuffer();
    }
    if (theCount >= kBufferSize)
    {
        WriteThrough(theBytes, theCount);
        return;
    }
    const auto* aBytes = static_cast<const std::uint8_t*>(theBytes);
    itsBuffer.insert(itsBuffer.end(), aBytes, aBytes + theCount);
}

void FileConsumer::Close()
{
    FlushBuffer();
    if (!itsFile.close())
    {
        Fail("closing", errno);
    }
    if (!itsFailure.empty())
    {
        throw StreamIOException(itsFailure, DLRC_IO_ERROR, itsError);
    }
}

OFCondition FileConsumer::status() const
{
    return EC_Normal;
}

offile_off_t FileConsumer::avail() const
{
    return offile_off_t{1} << 40;
}

offile_off_t FileConsumer::write(const void* theBuffer, offile_off_t theLength)
{
    Put(theBuffer, static_cast<std::size_t>(theLength));
    return theLength;
}
