// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// The SHA-256 of some bytes (FIPS 180-4), 64 lower-case hexadecimal digits.
std::string Sha256(const std::uint8_t* theBytes, std::size_t theCount);
