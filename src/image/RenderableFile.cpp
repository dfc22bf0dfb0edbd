// SPDX-License-Identifier: Apache-2.0
// The cache file: a 64-byte header and the raw pixels.
#include <algorithm>
#include <array>
#include <cerrno>
#include <concepts>
#include <vector>

#include "image/Renderable.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/base/System.h"
#include "toolkit/io/LFStream.h"

namespace
{
constexpr std::size_t kHeaderSize = 64;
constexpr std::size_t kChecksumOffset = 62;
constexpr std::size_t kScaleFactorOffset = 1;
constexpr std::size_t kFirstFieldOffset = 7;
constexpr std::uint8_t kFormatVersion = 1;
constexpr std::int32_t kDefaultIOBufferSize = 16384;
/// Required sizes from here on come from a bit count below zero; 2^59 is the most that two 31-bit figures
/// give.
constexpr std::uint64_t kWrappedSize = std::uint64_t{1} << 60;

using Header = std::array<std::uint8_t, kHeaderSize>;

/// Appends little-endian integers to a header.
class HeaderWriter
{
public:
    explicit HeaderWriter(Header& theHeader) : itsHeader(theHeader) {}

    template <std::integral Integer>
    void Put(Integer theValue)
    {
        auto aValue = static_cast<std::uint64_t>(theValue);
        for (std::size_t aByte = 0; aByte < sizeof(Integer); ++aByte, aValue >>= 8)
        {
            itsHeader[itsOffset++] = static_cast<std::uint8_t>(aValue);
        }
    }

private:
    Header& itsHeader;
    std::size_t itsOffset = 0;
};

/// Takes little-endian integers off a header.
class HeaderReader
{
public:
    HeaderReader(const Header& theHeader, std::size_t theOffset) : itsHeader(theHeader), itsOffset(theOffset)
    {
    }

    template <std::integral Integer>
    Integer Get()
    {
        std::uint64_t aValue = 0;
        for (std::size_t aByte = 0; aByte < sizeof(Integer); ++aByte)
        {
            aValue |= static_cast<std::uint64_t>(itsHeader[itsOffset++]) << (8 * aByte);
        }
        return static_cast<Integer>(aValue);
    }

    bool GetFlag() { return Get<std::uint8_t>() != 0; }

private:
    const Header& itsHeader;
    std::size_t itsOffset;
};

/// 16-bit sum of all bytes; the checksum's own two must be zero.
std::uint16_t Sum(const Header& theHeader)
{
    std::uint16_t aSum = 0;
    for (const std::uint8_t aByte : theHeader)
    {
        aSum = static_cast<std::uint16_t>(aSum + aByte);
    }
    return aSum;
}

RWCString NameOf(const char* theName)
{
    return theName == nullptr ? RWCString() : RWCString(theName);
}

/// Bytes of one transfer. A setting below 1 would never move anything.
std::uint64_t ChunkSize()
{
    const std::int32_t aSize = Renderable::getIOBufferSize();
    return static_cast<std::uint64_t>(aSize < 1 ? kDefaultIOBufferSize : aSize);
}

/// Opens the file and takes the lock where one is wanted. Returns 0, or the error code of an open that
/// failed without a lock wanted: such a file behaves like a bad descriptor and fails at its first transfer.
int OpenFile(LFStream& theStream, const RWCString& theName, int theMode, bool isLocked,
             LFStream::LockMode theLockMode)
{
    const int anOpenError = theStream.open(theName.c_str(), theMode, LFStream::SHARE_DENY_NONE) ? 0 : errno;
    if (isLocked &&
        (anOpenError != 0 || theStream.Lock(LFStream::GetDefaultLockWaitTime(), theLockMode) == 0))
    {
        const int anError = anOpenError != 0 ? anOpenError : errno;
        throw StreamIOException("Unable to lock file " + theName, DLRC_LOCK_FAILURE, anError);
    }
    return anOpenError;
}

/// The same for writing. What another process has under its lock is left alone until the lock is ours.
int OpenForWriting(LFStream& theStream, const RWCString& theName, bool isLocked)
{
    if (!isLocked)
    {
        return OpenFile(theStream, theName, LFStream::MODE_WRITE_BINARY, false, LFStream::LOCK_FOR_WRITING);
    }
    OpenFile(theStream, theName, LFStream::MODE_WRITE_SHARED, true, LFStream::LOCK_FOR_WRITING);
    return theStream.Truncate() ? 0 : errno;
}

void WriteBytes(LFStream& theStream, const std::uint8_t* theBytes, std::uint64_t theSize,
                const RWCString& theName)
{
    while (theSize > 0)
    {
        const long long aCount = theStream.Write(theBytes, theSize);
        // Nothing written is no progress either and must not be tried for ever.
        if (aCount <= 0)
        {
            const int anError = errno;
            throw StreamIOException("saveToFile: error writing pixel data to file " + theName, DLRC_IO_ERROR,
                                    anError);
        }
        theBytes += aCount;
        theSize -= static_cast<std::uint64_t>(aCount);
    }
}

/// Writes theRequired bytes: theSize of them from theBytes, the rest zeros.
void WritePixels(LFStream& theStream, const std::uint8_t* theBytes, std::uint64_t theSize,
                 std::uint64_t theRequired, const RWCString& theName)
{
    const std::uint64_t aChunkSize = ChunkSize();
    const std::uint64_t aHeld = std::min(theSize, theRequired);
    for (std::uint64_t anOffset = 0; anOffset < aHeld; anOffset += aChunkSize)
    {
        WriteBytes(theStream, theBytes + anOffset, std::min(aChunkSize, aHeld - anOffset), theName);
    }
    if (aHeld < theRequired)
    {
        const std::uint64_t aMissing = theRequired - aHeld;
        const std::vector<std::uint8_t> aZeros(static_cast<std::size_t>(std::min(aChunkSize, aMissing)));
        for (std::uint64_t anOffset = 0; anOffset < aMissing; anOffset += aZeros.size())
        {
            WriteBytes(theStream, aZeros.data(), std::min<std::uint64_t>(aZeros.size(), aMissing - anOffset),
                       theName);
        }
    }
}

void ReadPixels(LFStream& theStream, std::uint8_t* theBytes, std::uint64_t theSize, const RWCString& theName)
{
    const std::uint64_t aChunkSize = ChunkSize();
    for (std::uint64_t anOffset = 0; anOffset < theSize;)
    {
        const long long aCount =
            theStream.Read(theBytes + anOffset, std::min(aChunkSize, theSize - anOffset));
        if (aCount < 0)
        {
            const int anError = errno;
            throw StreamIOException("error reading pixel data from file " + theName, DLRC_IO_ERROR, anError);
        }
        if (aCount == 0)
        {
            throw StreamIOException("reached EOF before end of required pixel data bytes " + theName,
                                    DLRC_IO_ERROR, 0);
        }
        anOffset += static_cast<std::uint64_t>(aCount);
    }
}

/// Reads the 64 bytes and checks version and checksum.
Header ReadHeader(LFStream& theStream, int theOpenError, const RWCString& theName)
{
    Header aHeader{};
    errno = 0; // a short read sets none, and an older error would mislead
    if (theOpenError != 0 ||
        theStream.Read(aHeader.data(), aHeader.size()) < static_cast<long long>(aHeader.size()))
    {
        const int anError = theOpenError != 0 ? theOpenError : errno;
        throw StreamIOException("error reading header from file " + theName, DLRC_IO_ERROR, anError);
    }
    if (aHeader[0] != kFormatVersion)
    {
        throw StreamIOException("version mismatch " + theName, DLRC_IO_ERROR, 0);
    }
    const auto aStored = HeaderReader(aHeader, kChecksumOffset).Get<std::uint16_t>();
    aHeader[kChecksumOffset] = aHeader[kChecksumOffset + 1] = 0;
    if (Sum(aHeader) != aStored)
    {
        throw StreamIOException("header checksum incorrect " + theName, DLRC_IO_ERROR, 0);
    }
    return aHeader;
}

bool IsAcceptable(std::int16_t theFileScaleFactor, short theWanted)
{
    return theWanted == 0 || (theWanted > 0 ? theFileScaleFactor <= theWanted
                                            : static_cast<int>(theFileScaleFactor) == -int{theWanted});
}

Header MakeHeader(const Renderable& theImage, const RWCString& theTag)
{
    Header aHeader{};
    HeaderWriter aWriter(aHeader);
    aWriter.Put(kFormatVersion);
    aWriter.Put(theImage.getScaleFactor());
    for (const char aCharacter : theTag)
    {
        aWriter.Put(aCharacter);
    }
    aWriter.Put(theImage.isPixelDataLittleEndian());
    aWriter.Put(theImage.getSamplesPerPixel());
    aWriter.Put(static_cast<std::int32_t>(theImage.getPhotometricInterpretation()));
    aWriter.Put(theImage.getRows());
    aWriter.Put(theImage.getColumns());
    aWriter.Put(theImage.getBitsAllocated());
    aWriter.Put(theImage.getBitsStored());
    aWriter.Put(theImage.getHighBit());
    aWriter.Put(theImage.isSigned());
    // Only the low 32 bits have a place; whoever loads the file computes the size from the geometry.
    aWriter.Put(static_cast<std::uint32_t>(theImage.getPixelDataSize()));
    aWriter.Put(theImage.isPlanarConfiguration());
    aWriter.Put(theImage.getPixelAspectRatioVertical());
    aWriter.Put(theImage.getPixelAspectRatioHorizontal());
    aWriter.Put(theImage.isLossyImageCompression());
    aWriter.Put(theImage.getCompressionRatio());
    const std::uint16_t aSum = Sum(aHeader);
    aHeader[kChecksumOffset] = static_cast<std::uint8_t>(aSum & 0xff);
    aHeader[kChecksumOffset + 1] = static_cast<std::uint8_t>(aSum >> 8);
    return aHeader;
}

/// Stores what follows the tag into theImage and returns the recorded pixel data size.
std::uint32_t StoreFields(const Header& theHeader, Renderable& theImage)
{
    HeaderReader aReader(theHeader, kFirstFieldOffset);
    theImage.setPixelDataLittleEndian(aReader.GetFlag());
    theImage.setSamplesPerPixel(aReader.Get<std::int32_t>());
    theImage.setPhotometricInterpretation(
        static_cast<Renderable::PhotometricInterpretation>(aReader.Get<std::int32_t>()));
    theImage.setRows(aReader.Get<std::int32_t>());
    theImage.setColumns(aReader.Get<std::int32_t>());
    theImage.setBitsAllocated(aReader.Get<std::int16_t>());
    theImage.setBitsStored(aReader.Get<std::int16_t>());
    theImage.setHighBit(aReader.Get<std::int16_t>());
    theImage.setSigned(aReader.GetFlag());
    const auto aPixelDataSize = aReader.Get<std::uint32_t>();
    theImage.setPlanarConfiguration(aReader.GetFlag());
    theImage.setPixelAspectRatioVertical(aReader.Get<std::int32_t>());
    theImage.setPixelAspectRatioHorizontal(aReader.Get<std::int32_t>());
    theImage.setLossyImageCompression(aReader.GetFlag());
    theImage.setCompressionRatio(aReader.Get<std::int32_t>());
    return aPixelDataSize;
}

/// Rethrows the exception being handled as the StreamIOException that callers know. theOperation is
/// "loadFromFile" or "saveToFile", theActivity what is said when nothing is known of the failure.
[[noreturn]] void RethrowNamed(const RWCString& theOperation, const RWCString& theActivity,
                               const RWCString& theName)
{
    const RWCString aPlace = "Renderable::" + theOperation + ": ";
    try
    {
        throw;
    }
    catch (const StreamIOException& anException)
    {
        throw StreamIOException(aPlace + anException.GetMessageText(), anException.GetResultCode(),
                                anException.GetSystemErrorCode());
    }
    catch (const ExceptionBase& anException)
    {
        StreamIOException aReplacement(aPlace + "Caught exception: " + anException.GetMessageText(),
                                       DLRC_GENERAL_FAILURE, 0);
        aReplacement.SetException(anException);
        throw aReplacement;
    }
    catch (...)
    {
        throw StreamIOException(aPlace + "caught unknown exception while " + theActivity + theName,
                                DLRC_GENERAL_FAILURE, 0);
    }
}
} // namespace

const RWCString Renderable::itsIDString = "REND";

void Renderable::saveToFile(const char* theName) const
{
    saveToFile(theName, false);
}

void Renderable::saveToFileLocked(const char* theName) const
{
    saveToFile(theName, true);
}

void Renderable::saveToFile(const char* theName, bool isLocked) const
{
    const RWCString aName = NameOf(theName);
    try
    {
        writeCacheFile(aName, isLocked);
    }
    catch (...)
    {
        RethrowNamed("saveToFile", "saving to file ", aName);
    }
}

void Renderable::writeCacheFile(const RWCString& theName, bool isLocked) const
{
    LFStream aStream(LFStream::UNBUFFERED); // gives up lock and descriptor on every way out
    const int anOpenError = OpenForWriting(aStream, theName, isLocked);
    const Header aHeader = MakeHeader(*this, itsIDString);
    if (anOpenError != 0 || aStream.Write(aHeader.data(), aHeader.size()) < 0)
    {
        const int anError = anOpenError != 0 ? anOpenError : errno;
        throw StreamIOException("error writing header to file " + theName, DLRC_IO_ERROR, anError);
    }
    const std::uint64_t aRequired = getRequiredPixelDataBufferSize();
    // Deliberately the reverse of what the text says: a larger buffer is refused, a smaller one filled up
    // with zeros. Callers know this refusal by its words.
    // A size that has wrapped is refused likewise: completing it would fill the disk.
    const bool isWrapped = itsPixelData != nullptr && aRequired >= kWrappedSize;
    if (aRequired < getPixelDataSize() || isWrapped)
    {
        throw StreamIOException("actual pixel data buffer size less than calculated required size" + theName,
                                DLRC_GENERAL_FAILURE, 0);
    }
    if (itsPixelData != nullptr && aRequired > 0)
    {
        WritePixels(aStream, static_cast<const std::uint8_t*>(itsPixelData), getPixelDataSize(), aRequired,
                    theName);
    }
    // A file system may report only now that it could not store what it took.
    if (!aStream.close())
    {
        const int anError = errno;
        throw StreamIOException("saveToFile: error writing pixel data to file " + theName, DLRC_IO_ERROR,
                                anError);
    }
}

bool Renderable::loadFromFile(const char* theName)
{
    return loadFromFile(theName, 0, false);
}

bool Renderable::loadFromFileLocked(const char* theName)
{
    return loadFromFile(theName, 0, true);
}

bool Renderable::loadFromFile(const char* theName, short theScaleFactor)
{
    return loadFromFile(theName, theScaleFactor, false);
}

bool Renderable::loadFromFile(const char* theName, short theScaleFactor, bool isLocked)
{
    const RWCString aName = NameOf(theName);
    try
    {
        return readCacheFile(aName, theScaleFactor, isLocked);
    }
    catch (...)
    {
        RethrowNamed("loadFromFile", "loading from file ", aName);
    }
}

bool Renderable::readCacheFile(const RWCString& theName, std::int16_t theScaleFactor, bool isLocked)
{
    DMTickCounter aCounter;
    LFStream aStream(LFStream::UNBUFFERED); // gives up lock and descriptor on every way out
    const int anOpenError =
        OpenFile(aStream, theName, LFStream::MODE_READ_BINARY, isLocked, LFStream::LOCK_FOR_READING);
    setTimeTakenToOpenStream(aCounter.Lap() * 1000.0);

    const Header aHeader = ReadHeader(aStream, anOpenError, theName);
    const auto aScaleFactor = HeaderReader(aHeader, kScaleFactorOffset).Get<std::int16_t>();
    if (!IsAcceptable(aScaleFactor, theScaleFactor))
    {
        return false;
    }
    setScaleFactor(aScaleFactor);
    setRescale({});
    // The tag is deliberately not compared: files of other producers carry tags of their own.
    const std::uint32_t aRecordedSize = StoreFields(aHeader, *this);
    if (itsPixelData == nullptr)
    {
        // A buffer that is still held keeps its own size; the load fails below because of it.
        itsPixelDataSize = aRecordedSize;
    }
    setTimeTakenToLoadHeader(aCounter.Lap() * 1000.0);

    allocateForLoad(theName);
    setTimeTakenToAllocateMemmory(aCounter.Lap() * 1000.0);

    if (itsPixelData != nullptr)
    {
        ReadPixels(aStream, static_cast<std::uint8_t*>(itsPixelData), itsPixelDataSize, theName);
    }
    aStream.close();
    setTimeTakenToLoadPixelData(aCounter.Lap() * 1000.0);
    setTotalTimeTakenToLoad(aCounter.Total() * 1000.0);
    return true;
}

void Renderable::allocateForLoad(const RWCString& theName)
{
    try
    {
        allocatePixelData();
    }
    catch (const ExceptionBase&)
    {
        throw StreamIOException("pixel data buffer memory allocation failed for size = " +
                                    std::to_string(getRequiredPixelDataBufferSize()) + " file = " + theName,
                                DLRC_ALLOCATION_FAILED, 0);
    }
}
