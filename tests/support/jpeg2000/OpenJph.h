// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/PlanarImage.h"
#include "support/jpeg2000/OpenJpeg.h"

/// OpenJPH as the encoder of streams with high-throughput code-blocks: one quality layer, a clean-up pass a
/// block.
namespace OpenJph
{
/// Of theOptions those that it has: transform, component transform, resolutions, blocks, precincts, order,
/// tiles, step. Throws std::runtime_error when the library cannot encode that.
OpenJpeg::Bytes Encode(const PlanarImage& theImage, const OpenJpeg::Options& theOptions);
} // namespace OpenJph
