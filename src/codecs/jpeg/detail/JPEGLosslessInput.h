// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// Where the scan decoder of lossless JPEG gets its bytes from, and whom it tells what it finds: the library
/// object that has read the header. Whatever an operation throws leaves the scan decoder.
class JPEGLosslessSource
{
public:
    struct Bytes
    {
        const std::uint8_t* itsBegin = nullptr;
        std::size_t itsCount = 0;
    };

    virtual ~JPEGLosslessSource() = default;

    /// The bytes at hand, at least one; they stay valid until the next call.
    virtual Bytes Peek() = 0;

    /// theCount of the bytes at hand have been used.
    virtual void Advance(std::size_t theCount) = 0;

    /// A marker that ended the data and has not been dealt with; 0: none.
    virtual int GetMarker() const = 0;

    /// theMarker ended the data and has been read over.
    virtual void SetMarker(int theMarker) = 0;

    /// Goes on behind the next restart marker, or wherever the library thinks it has to go on after damage.
    /// theLeftOver: unused bytes of the interval that ends.
    virtual void Restart(std::size_t theLeftOver) = 0;

    /// Damage that costs pixels, not the image.
    virtual void WarnOfBadCode() = 0;
    virtual void WarnOfMissingData() = 0;

protected:
    JPEGLosslessSource() = default;
    JPEGLosslessSource(const JPEGLosslessSource&) = default;
    JPEGLosslessSource& operator=(const JPEGLosslessSource&) = default;
};

/// The bits of one stretch of entropy-coded data, up to the next marker: stuffed bytes are taken out (T.81,
/// F.1.2.3), and behind the end zero bits follow for ever. Not thread-safe.
class JPEGLosslessInput
{
public:
    /// The next bits, left-aligned; a loop keeps its own copy of these in registers. After Refill there are
    /// at least 56. What lies below the valid bits is not to be looked at.
    struct Reservoir
    {
        std::uint64_t itsBits = 0;
        unsigned int itsCount = 0; ///< the lowest eight bits only
        const std::uint8_t* itsNext = nullptr;

        /// Drops as many bits as the lowest eight bits of theBits say, at most 63.
        void Drop(std::uint64_t theBits)
        {
            itsBits <<= theBits & 63;
            itsCount -= static_cast<unsigned int>(theBits);
        }
    };

    static constexpr unsigned int kRefilledBits = 56;

    explicit JPEGLosslessInput(JPEGLosslessSource& theSource);

    /// Begins a stretch of data. Empty where the source stands at a marker.
    void Begin();

    Reservoir Get() const { return itsReservoir; }
    void Set(const Reservoir& theReservoir) { itsReservoir = theReservoir; }

    /// Every 56 bits or fewer.
    [[gnu::always_inline]] void Refill(Reservoir& theReservoir)
    {
        if (theReservoir.itsNext > itsLimit)
        {
            theReservoir = Supply(theReservoir);
        }
        std::uint64_t aWord = 0;
        std::memcpy(&aWord, theReservoir.itsNext, sizeof(aWord));
        if constexpr (std::endian::native == std::endian::little)
        {
            aWord = __builtin_bswap64(aWord);
        }
        theReservoir.itsCount &= 255;
        theReservoir.itsBits |= aWord >> theReservoir.itsCount;
        theReservoir.itsNext += (63 - theReservoir.itsCount) >> 3;
        theReservoir.itsCount |= kRefilledBits;
    }

    /// Whether theReservoir has given out bits from behind the end of the data.
    bool IsOverrun(Reservoir theReservoir) const;

    /// Ends the stretch: the source then stands at the marker or before it. Returns the whole bytes that
    /// were taken from the source and not used.
    std::size_t Finish();

private:
    static constexpr std::size_t kWordBytes = 8;
    static constexpr std::size_t kCapacity = 8192;

    Reservoir Supply(Reservoir theReservoir);
    void Unstuff();

    JPEGLosslessSource& itsSource;
    Reservoir itsReservoir;
    const std::uint8_t* itsLimit = nullptr; ///< the last place from which a word may be read
    std::uint8_t* itsEnd = nullptr;         ///< behind the bytes unstuffed so far
    bool itsAfterFF = false;
    bool itsEnded = false;   ///< no more bytes before the marker; words of zeros follow itsEnd
    bool itsOverrun = false; ///< certain, whatever the position says
    std::array<std::uint8_t, kCapacity + 3 * kWordBytes> itsBytes; ///< unstuffed; read as far as itsEnd
};
