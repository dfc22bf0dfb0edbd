// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

/// Whether a DCT image of 8-bit samples holds a block whose coefficients make samples that no encoder can
/// have meant. The IJG library's arithmetic wraps around there, libjpeg-turbo's limits: the one thing in
/// which the two may differ. False too for what is no image.
bool HasWildBlock(const std::vector<std::uint8_t>& theJpeg);
