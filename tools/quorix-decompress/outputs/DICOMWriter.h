// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "decode/DecodedFrame.h"

/// Writes decoded frames of one input as one uncompressed DICOM Part 10 file (explicit little endian).
///
/// The data set is the first frame's, as the library fixed it up, with the lossy history when there was
/// loss. Bare images become Secondary Capture images. Not thread-safe.
class DICOMWriter
{
public:
    bool IsEmpty() const { return itsFirst.itsRenderable == nullptr; }

    /// Takes over a decoded frame. Throws OutputError when it cannot be in one file with those before it.
    void AddFrame(DecodedFrame theFrame);

    /// Writes the file; call once. Throws OutputError, and what the library throws.
    void Save(const std::string& thePath);

private:
    void CheckAlike(const Renderable& theImage) const;
    void PrepareDataSet();
    void DescribePixels();

    DecodedFrame itsFirst;
    std::vector<unsigned char> itsPixels; ///< all frames, once there are several
    std::uint64_t itsFrameCount = 0;
};
