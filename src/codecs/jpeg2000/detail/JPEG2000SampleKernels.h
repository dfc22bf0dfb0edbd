// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

class kdu_line_buf;

/// How a decoded line holds its samples.
enum class JPEG2000LineKind
{
    SHORTS,      ///< kdu_sample16, integers
    FIXED_POINT, ///< kdu_sample16, KDU_FIXED_POINT fractional bits
    INTS,        ///< kdu_sample32, integers
    FLOATS       ///< kdu_sample32, floats
};

/// The inner loops from decoded lines to DICOM samples, in the best vector form that the running processor
/// has.
///
/// Every form gives the same bits as the formulas of JPEG2000SampleFormula.h. theBits is 1 to 16 (13 for
/// fixed point; 8 for bytes). Inputs and outputs never overlap; outputs need no alignment; nothing outside
/// the stated counts is read or written. Words are in the machine's byte order. Thread-safe.
class JPEG2000SampleKernels
{
public:
    JPEG2000SampleKernels() = delete;

    /// Two bytes a sample, side by side.
    static void ToWords(JPEG2000LineKind theKind, const void* theLine, std::uint8_t* theOutput,
                        std::size_t theCount, int theBits, bool isSigned);

    /// One byte a sample, side by side.
    static void ToBytes(JPEG2000LineKind theKind, const void* theLine, std::uint8_t* theOutput,
                        std::size_t theCount, int theBits, bool isSigned);

    /// Three lines of one kind to triplets of bytes.
    static void ToTriplets(JPEG2000LineKind theKind, const void* const* theLines, std::uint8_t* theOutput,
                           std::size_t theCount, int theBits, bool isSigned);

    /// One (theBytes 1) or two bytes a sample, theStride samples from one to the next.
    static void ToStrided(JPEG2000LineKind theKind, const void* theLine, std::uint8_t* theOutput,
                          std::size_t theCount, int theBits, bool isSigned, int theBytes,
                          std::size_t theStride);
};

/// A decoded line on its way to DICOM samples: what it holds, whether that fits what is asked for, and the
/// loop that writes it. What theStride counts is samples. Thread-safe.
class JPEG2000LineOutput
{
public:
    JPEG2000LineOutput() = delete;

    static JPEG2000LineKind KindOf(const kdu_line_buf& theLine);

    /// The line's samples as the kernels take them.
    static const void* SamplesOf(const kdu_line_buf& theLine);

    /// Throws StreamIOException (code 62), in the name of theKind's converter, unless theBits fit the
    /// representation and theBytes, and theBytes is 1 or 2. In this order.
    static void Check(JPEG2000LineKind theKind, int theBits, int theBytes);

    /// Checks, and writes theCount samples of theSource, or none where that is negative.
    static void Convert(JPEG2000LineKind theKind, const void* theSource, void* theOutput, int theCount,
                        int theBits, bool isSigned, int theBytes, int theStride);

    /// Checks, and writes all samples of theLine.
    static void Copy(const kdu_line_buf& theLine, void* theOutput, int theBits, bool isSigned, int theBytes,
                     int theStride);
};
