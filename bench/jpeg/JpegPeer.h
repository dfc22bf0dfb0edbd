// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

/// The plain loop of the JPEG library's own example: a whole stream in memory, rows into theOutput, which
/// holds the image. Colour comes out as RGB. Returns the bytes written; 0 on an error of the library.
std::size_t DecodeWithIjg8(const std::uint8_t* theData, std::size_t theSize, void* theOutput);
std::size_t DecodeWithIjg12(const std::uint8_t* theData, std::size_t theSize, void* theOutput);
std::size_t DecodeWithIjg16(const std::uint8_t* theData, std::size_t theSize, void* theOutput);
std::size_t DecodeWithTurbo(const std::uint8_t* theData, std::size_t theSize, void* theOutput);
