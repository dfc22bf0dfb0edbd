// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Who decodes the pixels of a JPEG image. The result is the same to the bit; tests compare the paths.
enum class JPEGPath
{
    AUTOMATIC, ///< the fast decoders wherever their result is the library's
    LIBRARY,   ///< always the IJG library's own loop
    FAST       ///< the fast decoders wherever they can, even where AUTOMATIC sees no gain
};
