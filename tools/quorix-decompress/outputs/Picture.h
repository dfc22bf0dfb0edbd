// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "decode/DecodedFrame.h"
#include "outputs/GreyWindow.h"
#include "outputs/SampleReader.h"
#include "run/Options.h"

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
