// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/Reading.h"

#include <algorithm>
#include <utility>

void ReadingContext::Warn(const char* theIdentifier, const RWCString& theText)
{
    const auto isSame = [&](const DecodeWarning& theWarning)
    {
        return theWarning.itsFrame == itsFrame && theWarning.itsIdentifier == theIdentifier &&
               theWarning.itsText == theText;
    };
    if (itsWarnings.size() < kMostWarnings && std::none_of(itsWarnings.begin(), itsWarnings.end(), isSame))
    {
        itsWarnings.push_back({theIdentifier, theText, itsFrame});
    }
}

void ReadingContext::Add(const std::vector<DecodeWarning>& theWarnings)
{
    itsWarnings.insert(itsWarnings.end(), theWarnings.begin(), theWarnings.end());
}

std::vector<DecodeWarning> ReadingContext::TakeWarnings()
{
    return std::exchange(itsWarnings, {});
}
