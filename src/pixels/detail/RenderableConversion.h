// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstring>

#include "image/Renderable.h"
#include "toolkit/base/BaseTypes.h"

/// Reads samples of 8 or 16 bits out of a pixel buffer that may be unaligned or in the other byte order.
namespace PixelSample
{
/// Whether samples wider than 8 bits stand in the byte order that this machine does not have.
inline bool IsSwapped(const Renderable& theRenderable)
{
    const bool isNativeLittle = DLEndian::NativeEndian() == DLEndian::LITTLE_ENDIAN_ORDER;
    return theRenderable.isPixelDataLittleEndian() != isNativeLittle;
}

/// Sample number theIndex. Swapping concerns 16-bit samples only.
template <class Sample>
Sample Read(const std::uint8_t* theData, std::uint64_t theIndex, bool isSwapped)
{
    Sample aSample;
    std::memcpy(&aSample, theData + theIndex * sizeof(Sample), sizeof(Sample));
    if constexpr (sizeof(Sample) == 2)
    {
        if (isSwapped)
        {
            aSample = static_cast<Sample>(__builtin_bswap16(static_cast<std::uint16_t>(aSample)));
        }
    }
    return aSample;
}

template <class Sample>
void Write(std::uint8_t* theData, std::uint64_t theIndex, Sample theSample)
{
    std::memcpy(theData + theIndex * sizeof(Sample), &theSample, sizeof(Sample));
}
} // namespace PixelSample

/// The conditions that a Renderable must meet before its colours are converted.
///
/// Each check throws DLRuntimeException with a text that begins with "DecompressionLibUtils::", the
/// operation's name and a colon. Immutable.
class ConversionChecks
{
public:
    /// theOperation: the name that the texts carry.
    explicit ConversionChecks(const char* theOperation) : itsOperation(theOperation) {}

    void CheckInterpretation(const Renderable& theRenderable,
                             Renderable::PhotometricInterpretation theExpected) const;

    /// Three samples per pixel. The text names YBR_FULL encoding whatever the conversion: deliberately, it
    /// is the text that callers know.
    void CheckSamplesPerPixel(const Renderable& theRenderable) const;

    /// 8 or 16 bits allocated.
    void CheckBitsAllocated(const Renderable& theRenderable) const;

    /// Rows × columns. Negative dimensions fail.
    std::uint64_t GetPixelCount(const Renderable& theRenderable) const;

    /// theAvailable bytes are enough for theSamples of the Renderable's width, and are there at all.
    void CheckBufferSize(const Renderable& theRenderable, const void* theData, std::uint64_t theAvailable,
                         std::uint64_t theSamples) const;

    [[noreturn]] void Fail(const RWCString& theText) const;

private:
    const char* itsOperation;
};

/// One change of a Renderable's pixels to interleaved RGB: all of it, or nothing.
///
/// Holds the Renderable's former buffer and description from construction on. Unless ReleaseInput is
/// reached, the destructor puts both back, so that an exception on the way leaves the Renderable as it
/// was. The Renderable must outlive this object. Not thread-safe.
class RenderableConversion
{
public:
    /// Takes the pixel buffer out of theRenderable.
    explicit RenderableConversion(Renderable& theRenderable);
    ~RenderableConversion();
    RenderableConversion(const RenderableConversion&) = delete;
    RenderableConversion& operator=(const RenderableConversion&) = delete;

    /// The former pixels; null after ReleaseInput.
    const std::uint8_t* GetInput() const { return static_cast<const std::uint8_t*>(itsInput); }
    std::uint64_t GetInputSize() const { return itsInputSize; }

    /// Describes the Renderable as interleaved RGB of theBitsAllocated (8, which is then also what is
    /// stored, or 16) and gives it a buffer of thePixels × 3 samples, which is returned. Throws
    /// DLRuntimeException when there is no memory or the Renderable cannot count that many bytes.
    std::uint8_t* AllocateRGB(std::uint64_t thePixels, std::int16_t theBitsAllocated);

    /// Gives the former buffer back to the allocator: the change stands.
    void ReleaseInput();

private:
    void PutBack();

    Renderable& itsRenderable;
    void* itsInput;
    std::uint64_t itsInputSize;
    bool itsPending = true;
    Renderable::PhotometricInterpretation itsInterpretation;
    std::int32_t itsSamplesPerPixel;
    std::int16_t itsBitsAllocated;
    std::int16_t itsBitsStored;
    std::int16_t itsHighBit;
    bool itsSigned;
    bool itsPlanar;
};
