// SPDX-License-Identifier: Apache-2.0
#include "report/Reporter.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <string>
#include <system_error>

#include <sys/ioctl.h>
#include <unistd.h>

namespace
{
constexpr std::size_t kBarWidth = 30;
constexpr double kSecondsBetweenDrawings = 0.1;

std::string FormatSeconds(double theSeconds)
{
    const auto aSeconds = static_cast<unsigned long long>(std::llround(theSeconds));
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

bool IsControl(char theByte)
{
    return static_cast<unsigned char>(theByte) < ' ' || theByte == 0x7f;
}

/// Columns of the terminal behind standard error; 80 where it does not know.
std::size_t GetTerminalWidth()
{
    winsize aSize{};
    return ::ioctl(STDERR_FILENO, TIOCGWINSZ, &aSize) == 0 && aSize.ws_col > 0 ? aSize.ws_col : 80;
}

/// A bar with a text behind it, the bar or even the text shortened so that there is room for what the
/// terminal adds when somebody types Ctrl-C.
std::string FitLine(double theShare, const std::string& theText, std::size_t theWidth)
{
    constexpr std::size_t kAround = 3; // brackets and a blank
    constexpr std::size_t kFree = 5;   // "^C", twice
    const std::size_t aRoom = std::max(theWidth, kFree) - kFree;
    if (theText.size() + kAround >= aRoom)
    {
        return theText.substr(0, aRoom);
    }
    const std::size_t aWidth = std::min(kBarWidth, aRoom - theText.size() - kAround);
    std::string aBar(static_cast<std::size_t>(theShare * static_cast<double>(aWidth)), '#');
    aBar.resize(aWidth, '.');
    return "[" + aBar + "] " + theText;
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
    const std::string aLeft =
        itsDone == 0 ? "-:--" : FormatSeconds(static_cast<double>(aTotal - itsDone) / aRate);
    char aText[96];
    std::snprintf(aText, sizeof(aText), "%llu/%llu  %.1f/s  %s left",
                  static_cast<unsigned long long>(itsDone), static_cast<unsigned long long>(aTotal), aRate,
                  aLeft.c_str());
    std::fprintf(stderr, "\r\033[K%s", FitLine(aShare, aText, GetTerminalWidth()).c_str());
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

Reporter::Reporter(std::FILE* theOutput, bool hasLines, bool hasProgress)
    : itsOutput(theOutput), itsLines(hasLines), itsProgress(hasProgress && ::isatty(STDERR_FILENO) != 0)
{
}

void Reporter::OpenReport(const std::string& thePath)
{
    itsReport = std::make_unique<ReportFile>(thePath);
}

void Reporter::OpenManifest(const std::string& thePath)
{
    itsManifest = std::make_unique<ReportFile>(thePath);
}

void Reporter::Print(const std::string& theText)
{
    itsProgress.Clear();
    std::fwrite(theText.data(), 1, theText.size(), itsOutput);
    std::fflush(itsOutput);
}

void Reporter::PrintResult(const std::string& theText)
{
    const std::lock_guard aLock(itsMutex);
    Print(theText);
}

bool Reporter::PrintLine(const std::string& theLine)
{
    const std::lock_guard aLock(itsMutex);
    return PrintLineUnlocked(theLine);
}

bool Reporter::PrintLineUnlocked(const std::string& theLine)
{
    if (itsLines)
    {
        Print(theLine);
    }
    return Append(itsReport.get(), theLine);
}

bool Reporter::PrintFrame(const FrameReport& theReport)
{
    const std::lock_guard aLock(itsMutex);
    const bool isReported = PrintLineUnlocked(theReport.ToLine());
    return (itsManifest == nullptr || Append(itsManifest.get(), theReport.ToManifestLine())) && isReported;
}

/// Null is always written.
bool Reporter::Append(ReportFile* theFile, const std::string& theLine)
{
    if (theFile == nullptr || theFile->Append(theLine))
    {
        return true;
    }
    ++itsUnwritten;
    if (!itsReportFailed)
    {
        itsReportFailed = true;
        itsProgress.Clear();
        std::fprintf(stderr, "the %s could not be written: %s\n",
                     theFile == itsReport.get() ? "report" : "manifest",
                     std::generic_category().message(errno).c_str());
    }
    return false;
}

void Reporter::PrintError(const std::string& theText)
{
    const std::lock_guard aLock(itsMutex);
    itsProgress.Clear();
    std::fprintf(stderr, "%s\n", WithoutControls(theText).c_str());
}

std::string Reporter::WithoutControls(std::string theText)
{
    std::replace_if(theText.begin(), theText.end(), IsControl, ' ');
    return theText;
}

void Reporter::PrintOutOfMemory(const std::string& theName)
{
    const std::lock_guard aLock(itsMutex);
    itsProgress.Clear();
    for (const char aByte : theName)
    {
        std::fputc(IsControl(aByte) ? ' ' : aByte, stderr);
    }
    std::fputs(": out of memory\n", stderr);
}

void Reporter::CountInput(Outcome theOutcome, std::uint64_t theSize, bool isFailure)
{
    const std::lock_guard aLock(itsMutex);
    itsFailures += isFailure ? 1 : 0;
    itsSummary.CountInput(theOutcome, theSize);
}

void Reporter::CountSkipped(bool isFailure)
{
    const std::lock_guard aLock(itsMutex);
    itsFailures += isFailure ? 1 : 0;
    itsSummary.CountSkipped();
}

void Reporter::CountFrame(const std::string& theCodec, std::uint64_t theSize)
{
    const std::lock_guard aLock(itsMutex);
    itsSummary.CountFrame(theCodec, theSize);
}

void Reporter::CountWarning(const std::string& theIdentifier)
{
    const std::lock_guard aLock(itsMutex);
    itsSummary.CountWarning(theIdentifier);
}

void Reporter::CountWritten(std::uint64_t theSize)
{
    const std::lock_guard aLock(itsMutex);
    itsSummary.CountWritten(theSize);
}

void Reporter::CountUnwritten()
{
    const std::lock_guard aLock(itsMutex);
    ++itsUnwritten;
}

void Reporter::SetTotal(std::uint64_t theTotal)
{
    const std::lock_guard aLock(itsMutex);
    itsProgress.SetTotal(theTotal);
}

void Reporter::AddToTotal(std::uint64_t theCount)
{
    const std::lock_guard aLock(itsMutex);
    itsProgress.AddToTotal(theCount);
}

void Reporter::AddDone(std::uint64_t theCount)
{
    const std::lock_guard aLock(itsMutex);
    itsProgress.AddDone(theCount);
}

void Reporter::PrintSummary()
{
    PrintLineUnlocked(itsSummary.ToLine());
    if (itsSummary.GetInputs() > 1 || itsSummary.GetFrames() > 1)
    {
        itsProgress.Clear();
        std::fputs(itsSummary.ToText().c_str(), stderr);
    }
}

int Reporter::Finish(bool isQuiet)
{
    const std::lock_guard aLock(itsMutex);
    itsProgress.Clear();
    if (!isQuiet)
    {
        PrintSummary();
    }
    if (std::fflush(itsOutput) != 0 || std::ferror(itsOutput) != 0)
    {
        std::fputs("standard output: the results could not be written\n", stderr);
        ++itsUnwritten;
    }
    const bool isNothingDecoded = itsSummary.GetFrames() == 0 && itsSummary.GetSkipped() == 0 &&
                                  itsSummary.GetInputs(Outcome::DECODED) == 0;
    if (isNothingDecoded && itsFailures + itsUnwritten > 0)
    {
        return 4;
    }
    if (itsUnwritten > 0)
    {
        return 3;
    }
    return itsFailures > 0 ? 2 : 0;
}

void Reporter::Abandon()
{
    if (const std::unique_lock aLock(itsMutex, std::try_to_lock); aLock)
    {
        itsProgress.Clear();
    }
}
