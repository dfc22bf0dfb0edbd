// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "decode/DecodedFrame.h"
#include "image/Renderable.h"
#include "run/Options.h"
#include "toolkit/dicom/DICOMDataObject.h"

/// Reads the real values of a decoded image's samples: Bits Stored of each, sign-extended.
///
/// Takes interleaved images of 1, 8, 16 or 32 bits allocated, in either byte order; 1-bit samples are
/// packed with the first sample in the lowest bit (PS3.5 8.1.1). The image is borrowed.
class SampleReader
{
public:
    /// Throws OutputError for an image in another layout or with too few bytes for its size.
    explicit SampleReader(const Renderable& theImage);

    std::uint32_t GetRows() const { return itsRows; }
    std::uint32_t GetColumns() const { return itsColumns; }
    std::uint32_t GetSamplesPerPixel() const { return itsSamplesPerPixel; }
    int GetBitsAllocated() const { return itsBitsAllocated; }

    /// Bits of the values; more than the image says where that says 8 or fewer and its words have more.
    int GetBitsStored() const { return itsBitsStored; }
    bool IsSigned() const { return itsSigned; }

    /// The samples of one row into theValues, columns × samples per pixel of them.
    void ReadRow(std::uint32_t theRow, std::vector<std::int64_t>& theValues) const;

private:
    int CountUsedBits() const;
    std::int64_t Value(std::uint64_t theWord) const;

    const unsigned char* itsBytes;
    std::uint32_t itsRows;
    std::uint32_t itsColumns;
    std::uint32_t itsSamplesPerPixel;
    int itsBitsAllocated;
    int itsBitsStored;
    int itsShift;
    bool itsSigned;
    bool itsLittleEndian;
};

/// The 8-bit view of grey values (PS3.3 C.11.2.1.2.1, linear).
///
/// An automatic window spans the image's own range of stored values. A given window is in the units of
/// the image's rescale.
/// MONOCHROME1, whose lowest value is white, comes out inverted. Immutable.
class GreyWindow
{
public:
    /// theImage: one sample a pixel. theDataSet (null allowed): where Pixel Padding Value is looked up;
    /// padding does not count in an automatic window.
    GreyWindow(const WindowOption& theOption, const Renderable& theImage, const DICOMDataObject* theDataSet);

    /// 0 (black) to 255 (white) for a stored value.
    std::uint8_t Map(std::int64_t theStoredValue) const;

private:
    void SetAutomatic(const Renderable& theImage, const DICOMDataObject* theDataSet);

    double itsCenter;
    double itsWidth;
    ModalityRescale itsRescale;
    bool itsInverted;
};

/// A decoded frame as unsigned samples of a picture file.
///
/// Without a window the samples are the real values; signed ones have half the sample's range added (32768
/// for 16-bit images). With a window grey images are an 8-bit view; colour stays as it is. The frame is
/// borrowed.
class Picture
{
public:
    /// Throws OutputError for an image that no picture file holds.
    Picture(const DecodedFrame& theFrame, const std::optional<WindowOption>& theWindow);

    std::uint32_t GetRows() const { return itsReader.GetRows(); }
    std::uint32_t GetColumns() const { return itsReader.GetColumns(); }
    bool IsColour() const { return itsReader.GetSamplesPerPixel() == 3; }

    /// 1, 8 or 16 bits a sample.
    int GetDepth() const { return itsDepth; }

    /// What was added to the real values, 0 for nothing.
    int GetOffset() const { return itsOffset; }

    /// One row: a byte a sample for depths 1 and 8, two bytes a sample, high byte first, for depth 16.
    void GetRow(std::uint32_t theRow, std::vector<unsigned char>& theBytes);

private:
    void MakeViewTable();
    std::uint8_t View(std::int64_t theValue) const;

    SampleReader itsReader;
    int itsDepth = 8;
    int itsOffset = 0;
    std::optional<GreyWindow> itsWindow;
    std::int64_t itsLowestValue = 0;        ///< real value of the view table's first entry
    std::vector<std::uint8_t> itsViewTable; ///< the window for every real value; empty for wide samples
    std::vector<std::int64_t> itsValues;
};
