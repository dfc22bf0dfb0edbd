// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "Inputs.h"

/// One codestream among the inputs, and how it is to be decoded.
struct Jpeg2000Case
{
    std::string itsName;
    std::string itsFile; ///< without its extension
    int itsScale = 1;    ///< 1: full resolution; each step more discards a level
};

/// All cases of the benchmarks: with arithmetic code-blocks, and with those of high throughput.
std::vector<Jpeg2000Case> GetJpeg2000Cases();
std::vector<Jpeg2000Case> GetHighThroughputCases();

/// All decode a whole codestream to the pixels that a caller wants, rows of interleaved samples of one or
/// two bytes, in theOutput, which has room for the full resolution. One thread. Return the bytes written; 0
/// on an error.
std::size_t DecodeWithOurs(const Bytes& theStream, int theScale, Bytes& theOutput);
std::size_t DecodeWithOpenJpeg(const Bytes& theStream, int theScale, Bytes& theOutput);
std::size_t DecodeWithOpenJph(const Bytes& theStream, int theScale, Bytes& theOutput);

/// Bytes of the decoded image at full resolution, from the SIZ marker segment.
std::size_t GetOutputSize(const Bytes& theStream);
