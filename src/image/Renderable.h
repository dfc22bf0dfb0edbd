// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/System.h"
#include "toolkit/dicom/ModalityRescale.h"

/// The decoded image: pixel geometry, sample layout, photometric interpretation and the pixel buffer.
///
/// Every path of decompression fills one, every caller reads one; the Java side holds it by address. It
/// owns its buffer while the pointer is not null and always releases it through the allocator it was
/// made with. Accessors check nothing. Not thread-safe: one image, one thread at a time.
class QUORIX_API Renderable
{
public:
    /// The numbers are part of the cache file and of the Java interface.
    enum PhotometricInterpretation : std::int32_t
    {
        INVALID = 0,
        MONOCHROME1 = 1,
        MONOCHROME2 = 2,
        PALETTE_COLOR = 3,
        RGB = 4,
        YBR_FULL = 5,
        YBR_FULL_422 = 6,
        YBR_PARTIAL_422 = 7,
        YBR_PARTIAL_420 = 8,
        YBR_ICT = 9,
        YBR_RCT = 10
    };

    /// An empty image on VMMemoryAllocator's default instance, at full resolution.
    Renderable();

    /// An empty image on theAllocator, which must outlive it.
    explicit Renderable(MemoryAllocater& theAllocator);

    /// Frees the pixel data.
    ~Renderable();

    Renderable(const Renderable&) = delete;
    Renderable& operator=(const Renderable&) = delete;

    /// Bits that a sample takes in the buffer, 1 to 32; less than 8: packed.
    /// @{
    std::int16_t getBitsAllocated() const { return itsBitsAllocated; }
    void setBitsAllocated(std::int16_t theBits) { itsBitsAllocated = theBits; }
    /// @}

    /// Bits of a sample that carry its value.
    /// @{
    std::int16_t getBitsStored() const { return itsBitsStored; }
    void setBitsStored(std::int16_t theBits) { itsBitsStored = theBits; }
    /// @}

    /// Pixels in a row.
    /// @{
    std::int32_t getColumns() const { return itsColumns; }
    void setColumns(std::int32_t theColumns) { itsColumns = theColumns; }
    /// @}

    /// How many times larger the image is than its compressed form: calculated (see CompressionRatio), except
    /// where the data set is marked as lossy or has the private LosslessCmpFlag. Then it is what the data set
    /// says, or 0.
    /// @{
    std::int32_t getCompressionRatio() const { return itsCompressionRatio; }
    void setCompressionRatio(std::int32_t theRatio) { itsCompressionRatio = theRatio; }
    /// @}

    /// Position of the highest bit stored, counted from 0.
    /// @{
    std::int16_t getHighBit() const { return itsHighBit; }
    void setHighBit(std::int16_t theHighBit) { itsHighBit = theHighBit; }
    /// @}

    /// Whether the image has been through lossy compression: what the data set says; without one, whether the
    /// codec may have lost something.
    /// @{
    bool isLossyImageCompression() const { return itsLossyImageCompression; }
    void setLossyImageCompression(bool isSet) { itsLossyImageCompression = isSet; }
    /// @}

    /// What the samples mean.
    /// @{
    PhotometricInterpretation getPhotometricInterpretation() const { return itsPhotometricInterpretation; }
    void setPhotometricInterpretation(PhotometricInterpretation theValue)
    {
        itsPhotometricInterpretation = theValue;
    }
    /// @}

    /// Shape of a pixel. Decompressors set 1 : 1 whatever the data set says.
    /// @{
    std::int32_t getPixelAspectRatioHorizontal() const { return itsPixelAspectRatioHorizontal; }
    void setPixelAspectRatioHorizontal(std::int32_t theValue) { itsPixelAspectRatioHorizontal = theValue; }
    std::int32_t getPixelAspectRatioVertical() const { return itsPixelAspectRatioVertical; }
    void setPixelAspectRatioVertical(std::int32_t theValue) { itsPixelAspectRatioVertical = theValue; }
    /// @}

    /// Byte order of samples wider than 8 bits.
    /// @{
    bool isPixelDataLittleEndian() const { return itsPixelDataLittleEndian; }
    void setPixelDataLittleEndian(bool isSet) { itsPixelDataLittleEndian = isSet; }
    /// @}

    /// True: colour-by-plane; false: colour-by-pixel.
    /// @{
    bool isPlanarConfiguration() const { return itsPlanarConfiguration; }
    void setPlanarConfiguration(bool isSet) { itsPlanarConfiguration = isSet; }
    /// @}

    /// Rows of pixels.
    /// @{
    std::int32_t getRows() const { return itsRows; }
    void setRows(std::int32_t theRows) { itsRows = theRows; }
    /// @}

    /// 1 for grey and for palette indices, 3 for colour.
    /// @{
    std::int32_t getSamplesPerPixel() const { return itsSamplesPerPixel; }
    void setSamplesPerPixel(std::int32_t theSamples) { itsSamplesPerPixel = theSamples; }
    /// @}

    /// Resolution reduction applied while decoding; 1 is full resolution, 3 a quarter of it.
    /// @{
    std::int16_t getScaleFactor() const { return itsScaleFactor; }
    void setScaleFactor(std::int16_t theScaleFactor) { itsScaleFactor = theScaleFactor; }
    /// @}

    /// Samples are two's complement.
    /// @{
    bool isSigned() const { return itsSigned; }
    void setSigned(bool isSet) { itsSigned = isSet; }
    /// @}

    /// What the samples measure: what the data set says for this frame, nothing but themselves without one.
    /// Not in the cache file.
    /// @{
    const ModalityRescale& getRescale() const { return itsRescale; }
    void setRescale(const ModalityRescale& theRescale) { itsRescale = theRescale; }
    /// @}

    /// Where the buffer comes from and goes back to.
    MemoryAllocater& getMemoryAllocator() const { return itsMemoryAllocator; }

    /// The buffer, or null; ownership stays here.
    void* getPixelData() const { return itsPixelData; }

    /// Bytes of the buffer.
    std::uint64_t getPixelDataSize() const { return itsPixelDataSize; }

    /// Whether there is a buffer.
    bool isPixelDataAllocated() const { return itsPixelData != nullptr; }

    /// How long each stage of loading took, in the unit its producer states: milliseconds throughout this
    /// library. The double "mm" is the exported name.
    /// @{
    double getTotalTimeTakenToLoad() const { return itsTotalTimeTakenToLoad; }
    void setTotalTimeTakenToLoad(double theTime) { itsTotalTimeTakenToLoad = theTime; }
    double getTimeTakenToOpenStream() const { return itsTimeTakenToOpenStream; }
    void setTimeTakenToOpenStream(double theTime) { itsTimeTakenToOpenStream = theTime; }
    double getTimeTakenToLoadHeader() const { return itsTimeTakenToLoadHeader; }
    void setTimeTakenToLoadHeader(double theTime) { itsTimeTakenToLoadHeader = theTime; }
    double getTimeTakenToAllocateMemmory() const { return itsTimeTakenToAllocateMemory; }
    void setTimeTakenToAllocateMemmory(double theTime) { itsTimeTakenToAllocateMemory = theTime; }
    double getTimeTakenToLoadPixelData() const { return itsTimeTakenToLoadPixelData; }
    void setTimeTakenToLoadPixelData(double theTime) { itsTimeTakenToLoadPixelData = theTime; }
    /// @}

    /// Exact, case-sensitive match of a defined term; INVALID for anything else.
    static PhotometricInterpretation photometricInterpretationFromString(const RWCString& theString);

    /// The defined term; "INVALID" for a value outside the enumeration.
    static RWCString photometricInterpretationTypeToString(PhotometricInterpretation theValue);

    /// Bytes that one image needs. The pixel count is taken in 32 bits, so sizes that do not fit come
    /// out wrapped; callers compare the result with what they are about to write. A string is taken as
    /// photometricInterpretationFromString takes it.
    /// @{
    static std::uint64_t calculateRequiredBufferSize(int theRows, int theColumns, int theBitsAllocated,
                                                     int theSamplesPerPixel,
                                                     PhotometricInterpretation theValue);
    static std::uint64_t calculateRequiredBufferSize(int theRows, int theColumns, int theBitsAllocated,
                                                     int theSamplesPerPixel, const RWCString& theValue);
    /// @}

    /// Largest single transfer of the cache file, in bytes; 16384 unless set. Process-wide, meant to be
    /// set once at start-up. A value below 1 is stored as it is, and 16384 used.
    /// @{
    static std::int32_t getIOBufferSize();
    static void setIOBufferSize(int theSize);
    /// @}

    /// calculateRequiredBufferSize for the geometry of this image.
    std::uint64_t getRequiredPixelDataBufferSize() const;

    /// Takes a buffer of the required size from the allocator. Throws DLRuntimeException when there is a
    /// buffer already (it is kept) or when the allocation fails; the size that was asked for then stays
    /// recorded although there is no buffer.
    void allocatePixelData();

    /// Gives the buffer back; pointer and size become null and 0.
    void freePixelData();

    /// Hands the buffer out: the caller frees it through getMemoryAllocator().
    void* takePixelData();

    /// Frees the present buffer and takes over theBuffer, which must come from getMemoryAllocator().
    void setPixelData(void* theBuffer, std::uint64_t theSize);

    /// Changes the recorded byte order of samples wider than 8 bits. Deliberately no exchange of bytes goes
    /// with it: of 16-bit samples the first byte is copied over the second, one pair beyond the samples
    /// included where the buffer has it; callers rely on exactly these bytes.
    void swapDataEndian();

    /// Writes the bare pixel bytes to a file. Nothing is reported: a file that cannot be opened is not
    /// written.
    void writePixelsToFile(const char* thePath) const;

    /// Frees the pixel data and the record itself, which must have been made with new.
    void deleteSelf();

    /// Writes the cache file: a 64-byte header and the raw pixels of the required size. A buffer larger than
    /// that is refused, a smaller one completed with zeros. Throws StreamIOException with code 64 (lock), 67
    /// (input and output) or 6; the file is then left as far as it was written.
    void saveToFile(const char* theName) const;
    /// The same while holding the write lock; before that the file is not touched.
    void saveToFileLocked(const char* theName) const;
    /// saveToFileLocked where isLocked is true, else the form without a lock.
    void saveToFile(const char* theName, bool isLocked) const;

    /// Reads a cache file of any scale factor into an image that holds no buffer. True after a complete
    /// load; throws StreamIOException with code 64 (lock), 67 (input, output and format), 11 (no memory, or a
    /// buffer is held, which is kept) or 6. Fields stored before a failure stay.
    bool loadFromFile(const char* theName);
    /// The same while holding the read lock.
    bool loadFromFileLocked(const char* theName);
    /// Without a lock, accepting a scale factor up to theScaleFactor; see the full form.
    bool loadFromFile(const char* theName, short theScaleFactor);
    /// theScaleFactor > 0 accepts files of at most that scale factor, 0 any, < 0 exactly the negated
    /// value. False, with nothing changed, when the file's is not acceptable.
    bool loadFromFile(const char* theName, short theScaleFactor, bool isLocked);

private:
    void writeCacheFile(const RWCString& theName, bool isLocked) const;
    bool readCacheFile(const RWCString& theName, std::int16_t theScaleFactor, bool isLocked);
    void allocateForLoad(const RWCString& theName);

    bool itsPixelDataLittleEndian = true;
    std::int32_t itsSamplesPerPixel = 0;
    PhotometricInterpretation itsPhotometricInterpretation = INVALID;
    std::int32_t itsRows = 0;
    std::int32_t itsColumns = 0;
    std::int16_t itsBitsAllocated = 0;
    std::int16_t itsBitsStored = 0;
    std::int16_t itsHighBit = 0;
    bool itsSigned = false;
    void* itsPixelData = nullptr;
    std::uint64_t itsPixelDataSize = 0;
    bool itsPlanarConfiguration = false;
    std::int32_t itsPixelAspectRatioVertical = 1;
    std::int32_t itsPixelAspectRatioHorizontal = 1;
    bool itsLossyImageCompression = false;
    std::int32_t itsCompressionRatio = 1;
    std::int16_t itsScaleFactor = 1;
    MemoryAllocater& itsMemoryAllocator;
    double itsTotalTimeTakenToLoad = 0.0;
    double itsTimeTakenToOpenStream = 0.0;
    double itsTimeTakenToLoadHeader = 0.0;
    double itsTimeTakenToAllocateMemory = 0.0;
    double itsTimeTakenToLoadPixelData = 0.0;
    ModalityRescale itsRescale;

    static std::atomic<std::int32_t> itsIOBufferSize;
    static const RWCString itsIDString; ///< "REND", the identifier of the cache file
};
