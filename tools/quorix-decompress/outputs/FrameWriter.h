// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "decode/DecodedFrame.h"
#include "run/Options.h"

class TemporaryFile;

/// Writes one decoded frame to one file. Immutable; threads may share one.
class FrameWriter
{
public:
    virtual ~FrameWriter() = default;

    /// The file name's ending for theFrame, with its dot.
    virtual std::string GetExtension(const DecodedFrame& theFrame) const = 0;

    /// Writes theFrame, which was decoded, to an empty file. Throws OutputError, and what the library throws.
    virtual void Write(const DecodedFrame& theFrame, TemporaryFile& theFile) const = 0;

    /// The writer for a format of one file a frame; null for NONE and DICOM.
    static std::unique_ptr<FrameWriter> Create(const Options& theOptions);
};

/// Writes the decoded bytes exactly as they are in memory.
class RawWriter final : public FrameWriter
{
public:
    std::string GetExtension(const DecodedFrame&) const override { return ".raw"; }
    void Write(const DecodedFrame& theFrame, TemporaryFile& theFile) const override;
};

/// Writes the library's cache file.
class RendWriter final : public FrameWriter
{
public:
    std::string GetExtension(const DecodedFrame&) const override { return ".rend"; }
    void Write(const DecodedFrame& theFrame, TemporaryFile& theFile) const override;
};

/// Writes binary PGM (P5) and PPM (P6) pictures, see Picture for the samples. 16-bit samples have their
/// high byte first.
class PNMWriter final : public FrameWriter
{
public:
    explicit PNMWriter(std::optional<WindowOption> theWindow) : itsWindow(theWindow) {}

    std::string GetExtension(const DecodedFrame& theFrame) const override;
    void Write(const DecodedFrame& theFrame, TemporaryFile& theFile) const override;

private:
    std::optional<WindowOption> itsWindow;
};

/// Writes PNG pictures, see Picture for the samples.
class PNGWriter final : public FrameWriter
{
public:
    explicit PNGWriter(std::optional<WindowOption> theWindow) : itsWindow(theWindow) {}

    std::string GetExtension(const DecodedFrame&) const override { return ".png"; }
    void Write(const DecodedFrame& theFrame, TemporaryFile& theFile) const override;

private:
    std::optional<WindowOption> itsWindow;
};
