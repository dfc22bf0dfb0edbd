// SPDX-License-Identifier: Apache-2.0
#pragma once

/// What a data set's lossy history calls one kind of compression.
struct CompressionTerms
{
    const char* itsKind;      ///< how callers of FixupDICOMObjectFromRenderable name it
    const char* itsMethod;    ///< defined term of Lossy Image Compression Method
    const char* itsLongName;  ///< in Derivation Description
    const char* itsShortName; ///< in Image Type, with its blank
};

/// Every kind of compression that can lose something. Constants.
namespace LossyCompressions
{
/// ISO/IEC 10918-1, the lossy processes.
inline constexpr CompressionTerms kJPEG{"JPG", "ISO_10918_1", "JPEG", "JPEG "};
/// ISO/IEC 15444-1.
inline constexpr CompressionTerms kJPEG2000{"JP2", "ISO_15444_1", "JPEG 2000", "JP2K "};

/// ISO/IEC 15444-15.
inline constexpr CompressionTerms kHTJ2K{"HTJ2K", "ISO_15444_15", "HTJ2K", "HTJ2K "};

/// ISO/IEC 14495-1, near-lossless.
inline constexpr CompressionTerms kJPEGLS{"JLS", "ISO_14495_1", "JPEG-LS", "JPLS "};

/// All of them.
inline constexpr const CompressionTerms* kAll[] = {&kJPEG, &kJPEG2000, &kHTJ2K, &kJPEGLS};
} // namespace LossyCompressions
