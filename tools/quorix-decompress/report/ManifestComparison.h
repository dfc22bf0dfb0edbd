// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <string>

/// Finds what differs between two manifests of --audit, whatever the order of their lines.
///
/// Memory does not grow with their length as long as that is some ten millions: lines are dealt out to
/// temporary files by the names in them, and these are compared one after the other. Of lines about the same
/// frame the last counts. One thread.
class ManifestComparison
{
public:
    /// A frame that is not the same in both.
    struct Difference
    {
        std::string itsKind; ///< "changed", "missing" from the new manifest, "new" in it
        std::string itsFile;
        std::string itsFrame; ///< its number; empty for an input without frames
        std::string itsWas;   ///< JSON; empty where there was nothing
        std::string itsIs;    ///< likewise

        /// One line for people.
        std::string ToText() const;

        /// One JSON line with its line feed: an object whose only member is "difference".
        std::string ToLine() const;
    };

    /// Tells theListener of every difference between the files theOld and theNew. How many there are. Throws
    /// OutputError for a file that cannot be read, or is no manifest.
    static std::uint64_t Run(const std::string& theOld, const std::string& theNew,
                             const std::function<void(const Difference&)>& theListener);
};
