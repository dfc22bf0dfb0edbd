// SPDX-License-Identifier: Apache-2.0
#include "inputs/InputSource.h"

#include <cerrno>
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

#include "toolkit/base/Exceptions.h"
#include "toolkit/io/InputStream.h"
#include "toolkit/io/LFStream.h"

namespace
{
constexpr std::size_t kChunk = std::size_t{1} << 20;
constexpr std::size_t kFileBuffer = 65536;

StreamIOException CannotOpen(int theError)
{
    return StreamIOException("unable to open the file", DLRC_FILE_NOT_FOUND, theError);
}

/// A descriptor that is closed with its scope; standard input is left open.
class DescriptorGuard
{
public:
    explicit DescriptorGuard(int theDescriptor) : itsDescriptor(theDescriptor) {}
    ~DescriptorGuard()
    {
        if (itsDescriptor > STDIN_FILENO)
        {
            ::close(itsDescriptor);
        }
    }
    DescriptorGuard(const DescriptorGuard&) = delete;
    DescriptorGuard& operator=(const DescriptorGuard&) = delete;

private:
    int itsDescriptor;
};
} // namespace

InputSource::InputSource(std::string thePath) : itsPath(std::move(thePath)) {}

void InputSource::Load()
{
    if (IsStandardInput())
    {
        ReadIntoMemory(STDIN_FILENO);
        return;
    }
    std::error_code anError;
    const auto aStatus = std::filesystem::status(itsPath, anError);
    if (!std::filesystem::exists(aStatus))
    {
        throw CannotOpen(anError ? anError.value() : ENOENT);
    }
    if (std::filesystem::is_fifo(aStatus))
    {
        const int aDescriptor = ::open(itsPath.c_str(), O_RDONLY | O_CLOEXEC);
        if (aDescriptor < 0)
        {
            throw CannotOpen(errno);
        }
        const DescriptorGuard aGuard(aDescriptor);
        ReadIntoMemory(aDescriptor);
    }
    else if (!std::filesystem::is_regular_file(aStatus))
    {
        throw StreamIOException("not a file", DLRC_IO_ERROR, 0);
    }
}

void InputSource::ReadIntoMemory(int theDescriptor)
{
    itsInMemory = true;
    std::size_t aLength = 0;
    for (;;)
    {
        if (itsBytes.size() - aLength < kChunk)
        {
            // Doubling keeps the copying in proportion to the input's size.
            itsBytes.resize(itsBytes.size() * 2 + kChunk);
        }
        const ssize_t aCount = ::read(theDescriptor, itsBytes.data() + aLength, itsBytes.size() - aLength);
        if (aCount < 0 && errno == EINTR)
        {
            continue;
        }
        if (aCount < 0)
        {
            throw StreamIOException("error reading the input", DLRC_IO_ERROR, errno);
        }
        if (aCount == 0)
        {
            break;
        }
        aLength += static_cast<std::size_t>(aCount);
    }
    itsBytes.resize(aLength);
}

std::unique_ptr<InputStream> InputSource::Open() const
{
    if (itsInMemory)
    {
        return std::make_unique<MemoryInputStream>(itsBytes.data(), itsBytes.size());
    }
    auto aStream = std::make_unique<LFInputStream>(itsPath, LFStream::MODE_READ_BINARY,
                                                   LFStream::SHARE_DENY_NONE, kFileBuffer);
    if (!aStream->IsOpen())
    {
        throw CannotOpen(errno);
    }
    return aStream;
}

std::vector<unsigned char> InputSource::ReadHead(std::size_t theCount) const
{
    std::vector<unsigned char> aHead(theCount);
    aHead.resize(Open()->ReadFully(aHead.data(), aHead.size()));
    return aHead;
}

unsigned long long InputSource::GetLength() const
{
    const long long aLength = Open()->Length();
    return aLength < 0 ? 0 : static_cast<unsigned long long>(aLength);
}
