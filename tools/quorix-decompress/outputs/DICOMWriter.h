// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "decode/DecodedFrame.h"
#include "toolkit/base/BaseTypes.h"
#include "toolkit/dicom/DICOMDataObject.h"

class TemporaryFile;

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
    void Save(TemporaryFile& theFile);

private:
    void CheckAlike(const Renderable& theImage) const;
    void PrepareDataSet();
    void DescribePixels();

    DecodedFrame itsFirst;
    std::vector<unsigned char> itsPixels; ///< all frames, once there are several
    std::uint64_t itsFrameCount = 0;
};

/// The data set around a bare image: a Secondary Capture image (PS3.3 A.8.1) of nobody in particular.
class SecondaryCapture
{
public:
    SecondaryCapture() = delete;

    /// Everything but the SOP Instance UID and the description of the pixels; fresh UIDs each time.
    static std::unique_ptr<DICOMDataObject> MakeDataSet();

    /// A UID made of a random UUID (PS3.5 B.2).
    static RWCString MakeUID();
};

/// The data set of an image, made true for a part or a reduced resolution of it. Stateless.
class ReducedDataSet
{
public:
    /// Moves Image Position (Patient) to the first pixel of theRegion, which is in pixels at full size, and
    /// multiplies the spacings (Pixel Spacing, Imager Pixel Spacing and their like) by two theHalvings times
    /// and makes the image a derived one with an SOP Instance UID of its own. What cannot be made true is
    /// taken out: spacings that are no numbers, positions without direction or spacing, and what is stated in
    /// pixels of the full image (ultrasound regions, shutters, overlays). Throws OutputError for data sets
    /// that keep their spacings in functional groups. Nothing happens for 0 halvings of all of the image.
    static void Adapt(DICOMDataObject& theDataSet, int theHalvings,
                      const std::optional<PixelRegion>& theRegion);
};
