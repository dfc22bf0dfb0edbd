// SPDX-License-Identifier: Apache-2.0
#include "inputs/InputCollector.h"

#include <charconv>
#include <cstdlib>
#include <optional>
#include <stdexcept>

namespace
{
std::uint64_t ParseCount(const std::string& theText, const std::string& theWhat)
{
    std::uint64_t aValue = 0;
    const auto aResult = std::from_chars(theText.data(), theText.data() + theText.size(), aValue);
    if (aResult.ec != std::errc() || aResult.ptr != theText.data() + theText.size() || aValue > INT64_MAX)
    {
        throw std::invalid_argument(theWhat + " is no number: " + theText);
    }
    return aValue;
}

std::optional<std::uint64_t> Variable(const char* theName)
{
    const char* const aText = std::getenv(theName);
    return aText == nullptr ? std::nullopt : std::optional(ParseCount(aText, theName));
}

/// The task's place in its array. Shards must be all there: an array with gaps is refused.
Shard FromSlurmArray(std::uint64_t theTask)
{
    const auto aCount = Variable("SLURM_ARRAY_TASK_COUNT");
    if (!aCount)
    {
        throw std::invalid_argument("SLURM_ARRAY_TASK_COUNT is not set; give the count: auto/N");
    }
    const std::uint64_t aMinimum = Variable("SLURM_ARRAY_TASK_MIN").value_or(0);
    const std::uint64_t aStep = Variable("SLURM_ARRAY_TASK_STEP").value_or(1);
    const auto aMaximum = Variable("SLURM_ARRAY_TASK_MAX");
    const bool isEven =
        aStep > 0 && theTask >= aMinimum && (theTask - aMinimum) % aStep == 0 &&
        (!aMaximum || (*aMaximum >= aMinimum && (*aMaximum - aMinimum) / aStep + 1 == *aCount));
    if (!isEven)
    {
        throw std::invalid_argument("the task numbers of the array have gaps; give the count: auto/N");
    }
    return {(theTask - aMinimum) / aStep, *aCount};
}

Shard FromEnvironment()
{
    if (const auto aTask = Variable("SLURM_ARRAY_TASK_ID"))
    {
        return FromSlurmArray(*aTask);
    }
    throw std::invalid_argument(Variable("JOB_COMPLETION_INDEX")
                                    ? "JOB_COMPLETION_INDEX comes without a count; give it: auto/N"
                                    : "SLURM_ARRAY_TASK_ID is not set");
}

std::uint64_t IndexFromEnvironment()
{
    for (const char* const aName : {"SLURM_ARRAY_TASK_ID", "JOB_COMPLETION_INDEX"})
    {
        if (const auto anIndex = Variable(aName))
        {
            return *anIndex;
        }
    }
    throw std::invalid_argument("neither SLURM_ARRAY_TASK_ID nor JOB_COMPLETION_INDEX is set");
}
} // namespace

Shard Shard::Parse(const std::string& theText)
{
    Shard aShard;
    const std::size_t aSlash = theText.find('/');
    if (theText == "auto")
    {
        aShard = FromEnvironment();
    }
    else if (aSlash == std::string::npos)
    {
        throw std::invalid_argument("must be I/N, auto or auto/N");
    }
    else
    {
        const std::string anIndex = theText.substr(0, aSlash);
        aShard.itsCount = ParseCount(theText.substr(aSlash + 1), "the count of shards");
        aShard.itsIndex = anIndex == "auto" ? IndexFromEnvironment() : ParseCount(anIndex, "the shard");
    }
    if (aShard.itsIndex >= aShard.itsCount)
    {
        throw std::invalid_argument("there is no shard " + std::to_string(aShard.itsIndex) + " of " +
                                    std::to_string(aShard.itsCount) + "; they are counted from 0");
    }
    return aShard;
}

std::string Shard::FindTaskVariable()
{
    for (const char* const aName : {"SLURM_ARRAY_TASK_ID", "JOB_COMPLETION_INDEX"})
    {
        if (std::getenv(aName) != nullptr)
        {
            return aName;
        }
    }
    return "";
}
