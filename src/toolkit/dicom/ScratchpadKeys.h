// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Names under which a data set's scratch pad keeps what it said before the first decode. Callers read them
/// too, so the texts are part of the interface.
namespace ScratchpadKeys
{
/// Photometric Interpretation, its defined term.
inline constexpr const char* DecompOrigPhotoInterp = "DecompOrigPhotoInterp";
/// Samples per Pixel, "1" to "4".
inline constexpr const char* DecompOrigSamplesPerPixel = "DecompOrigSamplesPerPixel";
/// Planar Configuration, "0" or "1".
inline constexpr const char* DecompOrigPlanarConfig = "DecompOrigPlanarConfig";
} // namespace ScratchpadKeys
