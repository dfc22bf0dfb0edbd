// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "toolkit/base/BaseTypes.h"

/// What a file may ask for. Nothing that a scanner makes comes near the defaults; they keep hostile and
/// damaged files from taking the machine's memory and time.
///
/// One set holds for the process. Crossing a limit is an ordinary error, a StreamIOException whose text
/// has the figure and the limit.
struct QUORIX_API Limits
{
    /// Rows times columns of one image. What an image takes must besides fit what its record can count:
    /// pixels times bits allocated below 2^31.
    std::uint64_t itsPixelsPerFrame = std::uint64_t{1} << 31;

    /// Bytes of one decoded image.
    std::uint64_t itsBytesPerFrame = std::uint64_t{1} << 33;

    /// Number of Frames. Whatever the attribute can hold: the frames that are there are decoded, however many
    /// are announced.
    std::uint64_t itsFrames = (std::uint64_t{1} << 31) - 1;

    /// Sequences inside sequences.
    std::uint64_t itsNestedSequences = 64;

    /// Bytes of a data set's attribute values that are loaded into memory, all together; pixel data is not
    /// among them.
    std::uint64_t itsAttributeBytes = std::uint64_t{1} << 30;

    /// Memory that a deflated data set may ask for before its pixel data: the bytes that it inflates to, and
    /// 256 for each element and item. A hundred kilobytes could otherwise ask for gigabytes.
    std::uint64_t itsInflatedBytes = std::uint64_t{1} << 28;

    /// Fragments of encapsulated pixel data that are looked at to find a frame.
    std::uint64_t itsFragments = std::uint64_t{1} << 24;

    /// The limits in force. Thread-safe.
    static Limits Get();

    /// To be called at start-up: requests that are under way may see the old limits or the new ones.
    static void Set(const Limits& theLimits);

    /// Throws StreamIOException (code 11) where an image has more pixels or bytes than are allowed.
    static void CheckFrame(std::uint64_t theRows, std::uint64_t theColumns, std::uint64_t theBytes);

    /// Throws StreamIOException (code 38) where there are more frames than are allowed.
    static void CheckFrames(std::uint64_t theFrames);

    /// "<theFigure> <theWhat>, more than the limit of <theLimit>": how every crossing is worded.
    static RWCString Describe(std::uint64_t theFigure, const char* theWhat, std::uint64_t theLimit);
};
