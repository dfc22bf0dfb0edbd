// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// How a request takes what a file says, and what it has to say about it afterwards.

#include <cstdint>
#include <vector>

#include "toolkit/base/BaseTypes.h"

/// How a file is read whose words and whose meaning part.
enum class Reading : std::uint8_t
{
    BY_CONTRACT, ///< step by step as callers of the classes have always had it
    BY_MEANING   ///< as whoever wrote the file must have meant it
};

/// A doubt about a picture that was delivered all the same.
struct DecodeWarning
{
    RWCString itsIdentifier; ///< never changes; one of WarningIdentifier
    RWCString itsText;       ///< for people; may quote the file
    std::int32_t itsFrame;   ///< counted from 0
};

/// The identifiers of warnings. docs/warnings.md says what each means for whoever looks at the picture.
struct WarningIdentifier
{
    static constexpr const char* kDamaged = "damaged";      ///< a codec met bytes that cannot be right
    static constexpr const char* kTruncated = "truncated";  ///< the data of a frame end before its pixels do
    static constexpr const char* kByteOrder = "byte-order"; ///< words of a big-endian file
    static constexpr const char* kColourLabel =
        "colour-label";                          ///< Photometric Interpretation is not what the pixels are
    static constexpr const char* kSign = "sign"; ///< codestream and data set contradict each other
    static constexpr const char* kNonconformant =
        "nonconformant";                             ///< a rule was broken, and what was meant is clear
    static constexpr const char* kDepth = "depth";   ///< the frame has other bits than the data set says
    static constexpr const char* kScale = "scale";   ///< not reduced as asked for, and called so by contract
    static constexpr const char* kAbsent = "absent"; ///< a whole-slide image has no tiles somewhere
    static constexpr const char* kRatio = "ratio"; ///< the compression ratio is a guess, or by contract wrong

    /// All of them.
    static constexpr const char* kAll[] = {
        kDamaged,       kTruncated, kByteOrder, kColourLabel, kSign,
        kNonconformant, kDepth,     kScale,     kRatio,       kAbsent,
    };
};

/// What every stage of one request shares: the reading, and the place where its warnings go.
///
/// A codec that is used without a request has none and reads by contract. Not thread-safe: one request, one
/// context.
class QUORIX_API ReadingContext
{
public:
    /// No warnings yet, frame 0.
    explicit ReadingContext(Reading theReading = Reading::BY_CONTRACT, bool isSilent = false)
        : itsReading(theReading), itsIsSilent(isSilent)
    {
    }

    /// How the request reads.
    /// @{
    Reading GetReading() const { return itsReading; }
    bool IsByMeaning() const { return itsReading == Reading::BY_MEANING; }
    /// @}

    /// Whether nothing is printed on the way, though codecs do that by contract: the first warning of the IJG
    /// library, the failure of an RLE frame. Whoever shows warnings and failures itself wants it so.
    bool IsSilent() const { return itsIsSilent; }

    /// The frame that warnings speak of from now on, counted from 0; 0 until it is told.
    void SetFrame(std::int32_t theFrame) { itsFrame = theFrame; }

    /// theIdentifier: one of WarningIdentifier. The same words for the same frame count once. Beyond
    /// kMostWarnings nothing is added: a file may have any number of faults.
    void Warn(const char* theIdentifier, const RWCString& theText);

    /// Warnings of a request inside this one.
    void Add(const std::vector<DecodeWarning>& theWarnings);

    /// The warnings since the last call, in their order.
    std::vector<DecodeWarning> TakeWarnings();

private:
    static constexpr std::size_t kMostWarnings = 100;

    Reading itsReading;
    bool itsIsSilent;
    std::int32_t itsFrame = 0;
    std::vector<DecodeWarning> itsWarnings;
};
