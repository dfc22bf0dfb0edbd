// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

/// Path of an input file, in the folder that the environment variable QUORIX_BENCH_INPUTS names.
std::string InputPath(const std::string& theName, const std::string& theExtension = ".dcm");

/// A whole input file. Ends the program with a message when it cannot be read.
Bytes ReadInput(const std::string& theName, const std::string& theExtension = ".dcm");

/// The sides of the square images that grow, in pixels, as the inputs' names have them. With
/// QUORIX_BENCH_QUICK in the environment the largest is missing.
std::vector<std::string> GetSides();
