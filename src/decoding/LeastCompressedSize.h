// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "toolkit/base/Export.h"

class Decoder;

/// How few bytes an image can be compressed to, for refusing small files that declare large images before
/// the memory for their pixels is taken.
///
/// Only JPEG has such a bound. RLE segments may end early by definition, and JPEG 2000 codestreams may be
/// cut anywhere and still be decoded.
class QUORIX_API LeastCompressedSize
{
public:
    /// The fewest bytes in which theCodec's image, whose header has been read, can be complete; 0 where
    /// nothing can be said. JPEG: every block of 8 x 8 samples, in the lossless processes every sample,
    /// takes at least one bit (ITU-T T.81, Huffman coding). The component with the most samples across and
    /// the one with the most down have together at least half as many as the image has pixels.
    static std::uint64_t Get(const Decoder& theCodec);

    /// Throws JPEGDecoderException, what the codec itself would end with, where theLength bytes are too
    /// few. A length of 0 is not known and passes.
    static void Check(const Decoder& theCodec, std::uint64_t theLength);
};
