// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "toolkit/base/System.h"

/// What became of one input, or of one of its frames.
enum class Outcome
{
    DECODED,   ///< and written, where that was asked for
    NO_IMAGE,  ///< a DICOM object that has none: plans, reports, presentation states, directories
    NOT_DICOM, ///< nor any other kind of input
    FAILED
};

/// "decoded", "no-image", "not-dicom" or "failed".
const char* GetName(Outcome theOutcome);

/// The outcome of that name; nothing for other words.
std::optional<Outcome> FindOutcome(const std::string& theName);

/// What a whole run did, in numbers. Time is counted from construction. Not thread-safe.
class RunSummary
{
public:
    /// theSize: bytes of the input, 0 where unknown.
    void CountInput(Outcome theOutcome, std::uint64_t theSize);
    /// An input that an earlier run was done with.
    void CountSkipped() { ++itsSkipped; }
    /// theCodec: how its transfer syntax is called. theSize: bytes of its pixels.
    void CountFrame(const std::string& theCodec, std::uint64_t theSize);
    void CountWarning(const std::string& theIdentifier) { ++itsWarnings[theIdentifier]; }
    void CountWritten(std::uint64_t theSize) { itsBytesWritten += theSize; }

    std::uint64_t GetInputs(Outcome theOutcome) const
    {
        return itsInputs[static_cast<std::size_t>(theOutcome)];
    }
    std::uint64_t GetInputs() const; ///< all, those that were skipped included
    std::uint64_t GetSkipped() const { return itsSkipped; }
    std::uint64_t GetFrames() const { return itsFrames; }

    /// A few lines for people, each with its line feed.
    std::string ToText() const;

    /// One JSON line with its line feed: an object whose only member is "summary".
    std::string ToLine() const;

private:
    double GetWallTime() const; ///< never 0
    static double GetProcessorTime();

    std::array<std::uint64_t, 4> itsInputs{};
    std::uint64_t itsSkipped = 0;
    std::uint64_t itsFrames = 0;
    std::uint64_t itsBytesRead = 0;
    std::uint64_t itsBytesDecoded = 0;
    std::uint64_t itsBytesWritten = 0;
    std::map<std::string, std::uint64_t> itsCodecs;
    std::map<std::string, std::uint64_t> itsWarnings;
    DMTickCounter itsClock;
};
