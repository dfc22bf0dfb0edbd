// SPDX-License-Identifier: Apache-2.0
#include "report/ProgressBar.h"

#include <algorithm>
#include <cstdio>
#include <string>

namespace
{
constexpr int kBarWidth = 30;
constexpr double kSecondsBetweenDrawings = 0.1;

std::string FormatSeconds(double theSeconds)
{
    const auto aSeconds = static_cast<unsigned long long>(theSeconds + 0.5);
    char aText[32];
    if (aSeconds >= 3600)
    {
        std::snprintf(aText, sizeof(aText), "%llu:%02llu:%02llu", aSeconds / 3600, aSeconds / 60 % 60,
                      aSeconds % 60);
    }
    else
    {
        std::snprintf(aText, sizeof(aText), "%llu:%02llu", aSeconds / 60, aSeconds % 60);
    }
    return aText;
}
} // namespace

void ProgressBar::SetTotal(std::uint64_t theTotal)
{
    itsTotal = theTotal;
    if (itsEnabled)
    {
        Draw();
    }
}

void ProgressBar::AddToTotal(std::uint64_t theCount)
{
    itsTotal += theCount;
}

void ProgressBar::AddDone(std::uint64_t theCount)
{
    itsDone += theCount;
    const double aNow = itsCounter.Total();
    if (itsEnabled && aNow - itsLastDrawn >= kSecondsBetweenDrawings)
    {
        itsLastDrawn = aNow;
        Draw();
    }
}

void ProgressBar::Draw()
{
    const double aSeconds = std::max(itsCounter.Total(), 0.001);
    const double aRate = static_cast<double>(itsDone) / aSeconds;
    const std::uint64_t aTotal = std::max(itsTotal, itsDone);
    const double aShare = aTotal == 0 ? 0.0 : static_cast<double>(itsDone) / static_cast<double>(aTotal);
    const auto aFilled = static_cast<std::size_t>(aShare * kBarWidth);
    std::string aBar(aFilled, '#');
    aBar.resize(kBarWidth, '.');
    const std::string aLeft =
        itsDone == 0 ? "-:--" : FormatSeconds(static_cast<double>(aTotal - itsDone) / aRate);
    std::fprintf(stderr, "\r\033[K[%s] %llu/%llu  %.1f/s  %s left", aBar.c_str(),
                 static_cast<unsigned long long>(itsDone), static_cast<unsigned long long>(aTotal), aRate,
                 aLeft.c_str());
    std::fflush(stderr);
    itsVisible = true;
}

void ProgressBar::Clear()
{
    if (itsVisible)
    {
        std::fputs("\r\033[K", stderr);
        std::fflush(stderr);
        itsVisible = false;
    }
}
