// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "codecs/jpeg/JPEGHeader.h"
#include "codecs/sources/CompressedSources.h"
#include "toolkit/io/InputStream.h"

/// A bare JPEG stream whose frame header has been read and which begins with its first byte all the same.
/// Not thread-safe.
class ExaminedJPEG
{
public:
    /// Reads up to the frame header. theSource is borrowed and stands at the first byte; what it throws
    /// passes through.
    explicit ExaminedJPEG(kdu_compressed_source& theSource);
    ExaminedJPEG(const ExaminedJPEG&) = delete;
    ExaminedJPEG& operator=(const ExaminedJPEG&) = delete;

    /// Nothing where the stream begins as no JPEG does, or has no frame header in its first 16 MiB.
    const std::optional<JPEGHeader>& GetHeader() const { return itsHeader; }

    /// The whole stream, to be read once.
    kdu_compressed_source& GetSource() { return itsSource; }

private:
    /// The source as a stream that seems to end early as long as it is examined: what is read then is kept.
    class Bytes final : public InputStream
    {
    public:
        explicit Bytes(kdu_compressed_source& theSource) : itsSource(theSource) {}

        std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override;
        std::size_t GetStreamPosition() const override { return itsPosition; }
        void Release() { itsIsExamined = false; }

    private:
        kdu_compressed_source& itsSource;
        std::size_t itsPosition = 0;
        bool itsIsExamined = true;
    };

    Bytes itsBytes;
    RewindableInputStream itsStream{itsBytes};
    InputStreamAdapter itsSource{itsStream};
    std::optional<JPEGHeader> itsHeader;
};
