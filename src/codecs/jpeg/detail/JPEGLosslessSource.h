// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

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
