// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

/// What a JPEG stream made by MakeJpeg is to look like.
struct JpegSpec
{
    enum class Process
    {
        BASELINE,    ///< SOF0, 8 bits
        EXTENDED,    ///< SOF1, 8 or 12 bits
        PROGRESSIVE, ///< SOF2: spectral bands, successive approximation
        LOSSLESS     ///< SOF3, 2 to 16 bits
    };
    struct Sampling
    {
        int itsHorizontal = 1;
        int itsVertical = 1;
    };

    int itsWidth = 8;
    int itsHeight = 8;
    int itsComponents = 1;
    int itsPrecision = 8;
    Process itsProcess = Process::BASELINE;

    std::vector<int> itsComponentIds = {};  ///< 1, 2, 3 … when empty
    std::vector<Sampling> itsSampling = {}; ///< 1x1 each when empty; the mean of a group is coded
    bool itsInterleaved = true;             ///< false: one scan a component
    bool itsTwoTables = false;              ///< every second component has Huffman codes of its own
    int itsRestartInterval = 0;             ///< MCUs; lossless: a multiple of the MCUs of a row
    int itsQuantization = 1;                ///< lossy: one step for all coefficients
    int itsQuality = 0;                     ///< lossy: the usual tables at 1 … 100 instead
    bool itsOptimised = true;   ///< Huffman codes made for the image; false: baseline ones of 8 bits only
    int itsPredictor = 1;       ///< lossless: 1 … 7
    int itsPointTransform = 0;  ///< lossless: low bits that are dropped
    bool itsJFIF = false;       ///< write an APP0 JFIF marker
    int itsAdobeTransform = -1; ///< 0 … 2 write an APP14 Adobe marker
    std::vector<int> itsCommentLengths =
        {};                       ///< comments of so many bytes (up to 65533) before the frame header
    int itsDeclaredPrecision = 0; ///< a precision that the frame header claims instead; 0: the truth
    bool itsEndOfImage = true;    ///< write the EOI marker
};

/// Codes samples, component-interleaved row by row, without any colour conversion, by the IJG library's
/// encoders; deterministic. theSpec must make sense.
std::vector<std::uint8_t> MakeJpeg(const JpegSpec& theSpec, const std::vector<std::uint16_t>& theSamples);

/// Reproducible samples of theSpec's size: smooth with some noise, reaching both ends of the range.
std::vector<std::uint16_t> MakeSamples(const JpegSpec& theSpec, unsigned int theSeed = 1);

/// Every pixel has the same component values. Flat images survive lossy coding exactly.
std::vector<std::uint16_t> MakeFlatSamples(const JpegSpec& theSpec, const std::vector<int>& thePixel);

/// Both in one.
inline std::vector<std::uint8_t> MakeFlatJpeg(const JpegSpec& theSpec, const std::vector<int>& thePixel)
{
    return MakeJpeg(theSpec, MakeFlatSamples(theSpec, thePixel));
}
