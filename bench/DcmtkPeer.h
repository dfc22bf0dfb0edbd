// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>

#include "Inputs.h"

/// DCMTK doing the same work.
class DcmtkPeer
{
public:
    /// Loads the file's data set; its frames stay compressed.
    explicit DcmtkPeer(const Bytes& theFile);
    ~DcmtkPeer();

    unsigned int CountFrames() const;

    /// The compressed bytes of a frame, from 0 (its fragment, as the inputs have one a frame).
    Bytes GetFrame(unsigned int theFrame) const;

    /// Decodes a frame into theOutput; false when DCMTK reports an error.
    bool DecodeFrame(unsigned int theFrame, void* theOutput, std::size_t theSize) const;

    /// Parses a whole native file and hands its pixels out, as a viewer would; the bytes seen.
    static std::size_t LoadNative(const Bytes& theFile);

    /// Renders the loaded image to interleaved 8-bit RGB; false when DCMTK reports an error.
    bool RenderColour(void* theOutput, std::size_t theSize) const;

private:
    struct State;
    std::unique_ptr<State> itsState;
};
