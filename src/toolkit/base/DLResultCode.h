// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// How a request can end.

#include <cstdint>

/// Numeric outcome carried by results and exceptions. Callers, the Java side among them, see the
/// numbers, so they are part of the interface. A result may carry a value that is not named here.
enum DLResultCode : std::int32_t
{
    DLRC_SUCCESS = 0,               ///< nothing went wrong
    DLRC_FILE_NOT_FOUND = 3,        ///< the file cannot be opened
    DLRC_GENERAL_FAILURE = 6,       ///< invalid input or general failure
    DLRC_BITS_STORED_INVALID = 7,   ///< bits stored invalid for the transfer syntax; Java callback missing
    DLRC_FILE_LOCKING_FAILED = 9,   ///< another process keeps the image file locked
    DLRC_ALLOCATION_FAILED = 11,    ///< more than the limits or the memory allow
    DLRC_NOT_SUPPORTED = 12,        ///< conversion to RGB failed; stream operation not supported
    DLRC_PIXEL_DATA_TOO_SHORT = 37, ///< pixel data too short or codec header unreadable
    DLRC_PARSE_ERROR = 38,          ///< header or parse error
    DLRC_INVALID_DECOMPRESSING_STREAM = 44, ///< the first frame of a decompressing stream failed
    DLRC_NO_DECODER = 48,                   ///< no codec, or invalid compressed image type
    DLRC_TERMINATED_BY_SUBCLASS = 54,       ///< decoding stopped by a derived class
    DLRC_DECODER_ERROR = 62,                ///< decoder error or no Renderable
    DLRC_DECODING_INTERRUPTED = 63,         ///< the source was interrupted
    DLRC_LOCK_FAILURE = 64,                 ///< the cache file stays locked
    DLRC_IO_ERROR = 67                      ///< file or stream input/output error
};
