// SPDX-License-Identifier: Apache-2.0
// A cache file to an image, and back to a file: what was loaded is saved as it was.
#include <cerrno>
#include <string>

#include <sys/mman.h>
#include <unistd.h>

#include "FuzzInput.h"
#include "image/Renderable.h"
#include "toolkit/base/Exceptions.h"

namespace
{
/// A file in memory with a name to open it by.
class MemoryFile
{
public:
    MemoryFile() : itsDescriptor(::memfd_create("cache", MFD_CLOEXEC)) {}
    ~MemoryFile() { ::close(itsDescriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string GetName() const { return "/proc/self/fd/" + std::to_string(itsDescriptor); }

    void Write(const Bytes& theBytes) const
    {
        Require(::pwrite(itsDescriptor, theBytes.data(), theBytes.size(), 0) ==
                    static_cast<ssize_t>(theBytes.size()),
                "the file in memory can be written");
    }

private:
    int itsDescriptor;
};

bool Load(Renderable& theImage, const MemoryFile& theFile, short theScaleFactor, bool theLock)
{
    try
    {
        return theImage.loadFromFile(theFile.GetName().c_str(), theScaleFactor, theLock);
    }
    catch (const StreamIOException& anException)
    {
        Require(!anException.GetMessageText().empty(), "every exception has a text");
        return false;
    }
}
} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* theData, std::size_t theSize)
{
    FuzzInput anInput(theData, theSize);
    const short aScaleFactor = static_cast<short>(anInput.TakeNumber(-2, 3));
    const bool hasLock = anInput.TakeFlag();
    const MemoryFile aFile;
    aFile.Write(anInput.GetRest());
    FuzzAllocator anAllocator;
    Renderable anImage(anAllocator);
    if (!Load(anImage, aFile, aScaleFactor, hasLock))
    {
        return 0;
    }
    Require(anImage.getPixelDataSize() == anImage.getRequiredPixelDataBufferSize(), "all pixels are loaded");
    const MemoryFile aCopy;
    anImage.saveToFile(aCopy.GetName().c_str(), hasLock);
    Renderable aReloaded(anAllocator);
    Require(Load(aReloaded, aCopy, 0, hasLock), "what was saved can be loaded");
    Require(aReloaded.getPixelDataSize() == anImage.getPixelDataSize() &&
                std::memcmp(aReloaded.getPixelData(), anImage.getPixelData(), anImage.getPixelDataSize()) ==
                    0,
            "what was saved is what is loaded");
    return 0;
}
