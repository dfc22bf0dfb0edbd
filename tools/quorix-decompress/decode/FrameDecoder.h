// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>

#include "decode/DecodedFrame.h"
#include "inputs/InputClassifier.h"
#include "inputs/InputSource.h"
#include "toolkit/base/PixelRegion.h"

/// How frames are decoded, as the command line says.
struct DecodeSettings
{
    int itsScale;
    Reading itsReading;
    std::optional<PixelRegion> itsRegion; ///< nothing for all of the image
};

/// Decodes frames of one input. The input is borrowed. Not thread-safe.
class FrameDecoder
{
public:
    virtual ~FrameDecoder() = default;

    /// Decodes one frame, counted from 0. Never throws: every outcome is in the answer.
    DecodedFrame Decode(int theFrame);

    /// Frames that theFrame's input says it has, at least 1; known once a frame was asked for.
    virtual int GetNumberOfFrames(const DecodedFrame& theFrame) const = 0;

    /// The decoder for a kind of input. theSource must have been loaded.
    static std::unique_ptr<FrameDecoder> Create(JImageType theKind, const InputSource& theSource,
                                                const DecodeSettings& theSettings);

protected:
    /// Fills theResult, whose frame number is set. May throw.
    virtual void DecodeInto(DecodedFrame& theResult) = 0;
};
