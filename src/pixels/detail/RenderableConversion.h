// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "image/Renderable.h"

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
