// SPDX-License-Identifier: Apache-2.0
#pragma once

/// The private elements of this library in data sets. Other systems read them too, so the texts are part of
/// the interface.
namespace PrivateElements
{
/// The private creator of all of them.
inline constexpr const char* Creator = "QUORIX0";
/// SOP Instance UID of the image that this one was made of.
inline constexpr const char* OrigSOPInstUID = "OrigSOPInstUID";
/// 1: the pixels were decompressed and put in place of the compressed ones.
inline constexpr const char* ReconstImageFlag = "ReconstImageFlag";
/// 1: the compressed pixels have lost nothing, whatever Lossy Image Compression says.
inline constexpr const char* LosslessCmpFlag = "LosslessCmpFlag";
} // namespace PrivateElements
