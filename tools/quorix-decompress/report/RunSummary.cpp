// SPDX-License-Identifier: Apache-2.0
#include "report/RunSummary.h"

#include <algorithm>
#include <cstdio>
#include <numeric>

#include <nlohmann/json.hpp>
#include <sys/resource.h>

namespace
{
constexpr std::array<Outcome, 4> kOutcomes = {Outcome::DECODED, Outcome::NO_IMAGE, Outcome::NOT_DICOM,
                                              Outcome::FAILED};
constexpr double kMillion = 1e6;

double ToSeconds(const struct timeval& theTime)
{
    return static_cast<double>(theTime.tv_sec) + static_cast<double>(theTime.tv_usec) / kMillion;
}

double ToMegabytes(std::uint64_t theBytes)
{
    return static_cast<double>(theBytes) / kMillion;
}

std::string Format(const char* theFormat, double theValue)
{
    char aText[48];
    std::snprintf(aText, sizeof(aText), theFormat, theValue);
    return aText;
}

/// "12 JPEG 2000, 3 RLE lossless", the most frequent first.
std::string ListCounts(const std::map<std::string, std::uint64_t>& theCounts)
{
    std::vector<std::pair<std::string, std::uint64_t>> aCounts(theCounts.begin(), theCounts.end());
    std::stable_sort(aCounts.begin(), aCounts.end(),
                     [](const auto& theFirst, const auto& theSecond)
                     { return theFirst.second > theSecond.second; });
    std::string aText;
    for (const auto& [aName, aCount] : aCounts)
    {
        aText += (aText.empty() ? "" : ", ") + std::to_string(aCount) + " " + aName;
    }
    return aText;
}
} // namespace

const char* GetName(Outcome theOutcome)
{
    constexpr std::array<const char*, 4> kNames = {"decoded", "no-image", "not-dicom", "failed"};
    return kNames[static_cast<std::size_t>(theOutcome)];
}

std::optional<Outcome> FindOutcome(const std::string& theName)
{
    const auto anOutcome = std::find_if(kOutcomes.begin(), kOutcomes.end(),
                                        [&](Outcome theOutcome) { return theName == GetName(theOutcome); });
    return anOutcome != kOutcomes.end() ? std::optional(*anOutcome) : std::nullopt;
}

void RunSummary::CountInput(Outcome theOutcome, std::uint64_t theSize)
{
    ++itsInputs[static_cast<std::size_t>(theOutcome)];
    itsBytesRead += theSize;
}

void RunSummary::CountFrame(const std::string& theCodec, std::uint64_t theSize)
{
    ++itsFrames;
    ++itsCodecs[theCodec];
    itsBytesDecoded += theSize;
}

std::uint64_t RunSummary::GetInputs() const
{
    return std::accumulate(itsInputs.begin(), itsInputs.end(), itsSkipped);
}

double RunSummary::GetWallTime() const
{
    return std::max(itsClock.Total(), 1e-6);
}

double RunSummary::GetProcessorTime()
{
    struct rusage aUsage = {};
    ::getrusage(RUSAGE_SELF, &aUsage);
    return ToSeconds(aUsage.ru_utime) + ToSeconds(aUsage.ru_stime);
}

std::string RunSummary::ToText() const
{
    const double aWallTime = GetWallTime();
    // Of images that were only looked at there are no frames.
    const bool isOfImages = itsFrames == 0 && GetInputs(Outcome::DECODED) > 0;
    std::string aText =
        std::to_string(GetInputs()) + " inputs: " + std::to_string(GetInputs(Outcome::DECODED)) +
        (isOfImages ? " with an image, " : " decoded, ") + std::to_string(GetInputs(Outcome::NO_IMAGE)) +
        " without an image, " + std::to_string(GetInputs(Outcome::NOT_DICOM)) + " not DICOM, " +
        std::to_string(GetInputs(Outcome::FAILED)) + " failed";
    if (itsSkipped > 0)
    {
        aText += ", " + std::to_string(itsSkipped) + " skipped (done before)";
    }
    aText +=
        "\n" + std::to_string(itsFrames) + " frames" + (itsFrames > 0 ? ": " + ListCounts(itsCodecs) : "");
    if (!itsWarnings.empty())
    {
        aText += "\nframes with warnings: " + ListCounts(itsWarnings);
    }
    return aText + "\n" + Format("%.1f MB read, ", ToMegabytes(itsBytesRead)) +
           Format("%.1f MB of pixels, ", ToMegabytes(itsBytesDecoded)) +
           Format("%.1f MB written; ", ToMegabytes(itsBytesWritten)) + Format("%.1f s, ", aWallTime) +
           Format("%.1f s of processor time, ", GetProcessorTime()) +
           Format("%.1f MB of pixels a second\n", ToMegabytes(itsBytesDecoded) / aWallTime);
}

std::string RunSummary::ToLine() const
{
    nlohmann::ordered_json aSummary;
    for (const Outcome anOutcome : kOutcomes)
    {
        aSummary["inputs"][GetName(anOutcome)] = GetInputs(anOutcome);
    }
    aSummary["inputs"]["skipped"] = itsSkipped;
    aSummary["frames"] = itsFrames;
    aSummary["codecs"] = itsCodecs;
    aSummary["warnings"] = itsWarnings;
    aSummary["bytes_read"] = itsBytesRead;
    aSummary["bytes_decoded"] = itsBytesDecoded;
    aSummary["bytes_written"] = itsBytesWritten;
    const double aWallTime = GetWallTime();
    aSummary["wall_seconds"] = aWallTime;
    aSummary["processor_seconds"] = GetProcessorTime();
    aSummary["megabytes_per_second"] = ToMegabytes(itsBytesDecoded) / aWallTime;
    return nlohmann::ordered_json{{"summary", aSummary}}.dump() + "\n";
}
