// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>

class kdu_message;

namespace j2k
{

/// What kdu_customize_warnings and kdu_customize_errors installed; null for none. Thread-safe.
kdu_message* GetWarningHandler();
kdu_message* GetErrorHandler();

/// How much a codestream may depart from the standard.
enum class Tolerance
{
    Fast,      ///< takes everything that can be decoded sensibly; the mode until another is set
    Resilient, ///< the same, and goes on at SOP markers
    Fussy      ///< refuses every non-conformance
};

/// One codestream's path to the installed message objects.
///
/// An error is something decoding does not survive; it is reported in every mode. A non-conformance is
/// survived: it is reported as a warning in fussy mode and passes in the others. What is found before the
/// mode is known (the main header) is kept until SetTolerance. Texts name the marker or the thing, and the
/// byte offset from the start of the codestream.
class Reports
{
public:
    /// What a departure from the standard does to the picture.
    enum class Effect
    {
        None,
        Damage,    ///< samples may be wrong
        Truncation ///< data are missing: detail, or whole parts of the picture
    };

    /// Raises the first non-conformance seen so far when theTolerance is Fussy.
    void SetTolerance(Tolerance theTolerance);
    Tolerance GetTolerance() const { return itsTolerance; }

    /// Never returns: leaves by the error object's exception, or by std::runtime_error.
    [[noreturn]] void Error(const std::string& theText) const;
    [[noreturn]] void Error(const std::string& theText, std::uint64_t theOffset) const;

    /// Returns unless the mode is fussy and the warning object throws.
    void NonConformance(const std::string& theText, std::uint64_t theOffset, Effect theEffect = Effect::None);

    /// Whatever the mode is: the first damage met so far, empty for none.
    const std::string& GetFirstDamage() const { return itsFirstDamage; }

    /// Whatever the mode is: in how many tiles data were missing so far, and the sum of the shares that were,
    /// each of its tile's data; empty where one of them is not known.
    /// @{
    std::uint32_t CountTruncatedTiles() const { return itsTruncatedTiles; }
    std::optional<double> GetMissingTiles() const { return itsMissingTiles; }
    void NoteTruncatedTile(std::optional<double> theShare);
    /// @}

private:
    Tolerance itsTolerance = Tolerance::Fast;
    std::string itsFirstNonConformance;
    std::string itsFirstDamage;
    std::uint32_t itsTruncatedTiles = 0;
    std::optional<double> itsMissingTiles = 0.0;
};

} // namespace j2k
