// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "decoding/ImageType.h"
#include "run/Options.h"

/// Tells kinds of input apart by their first bytes. Stateless.
class InputClassifier
{
public:
    /// Bytes that Classify wants to see, as far as the input has them.
    static constexpr std::size_t kHeadLength = 132;

    /// "DICM" after a preamble: a DICOM Part 10 stream.
    static bool IsPart10(const std::vector<unsigned char>& theHead);

    /// A DICOM stream, Part 10 or one that begins with its file meta information or its data set.
    static bool IsDICOM(const std::vector<unsigned char>& theHead);

    /// The signature box of a JP2 file.
    static bool IsJP2(const std::vector<unsigned char>& theHead);

    /// theType where it names a kind; for AUTO what theHead looks like. Anything unknown counts as DICOM,
    /// whose reader says what is wrong with it.
    static JImageType Classify(const std::vector<unsigned char>& theHead, InputType theType);
};
