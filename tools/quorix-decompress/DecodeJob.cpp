// SPDX-License-Identifier: Apache-2.0
#include "DecodeJob.h"

#include <algorithm>
#include <cerrno>

#include "InfoReport.h"
#include "OutputError.h"
#include "TemporaryFile.h"
#include "toolkit/base/ExceptionBase.h"

namespace
{
/// A file may claim any number of frames; what it does not have fails frame by frame.
constexpr int theMostFailuresInARow = 8;

/// Runs theAction. The reason where it failed, empty where it did not.
template <class Action>
std::string ReasonOfFailure(Action theAction)
{
    try
    {
        theAction();
        return "";
    }
    catch (const ExceptionBase& anException)
    {
        return anException.GetMessageText();
    }
    catch (const std::bad_alloc&)
    {
        return "out of memory";
    }
    catch (const std::exception& anException)
    {
        return anException.what();
    }
}
} // namespace

DecodeJob::DecodeJob(const Context& theContext, std::string thePath, std::size_t theIndex)
    : itsContext(theContext), itsSource(std::move(thePath)), itsIndex(theIndex)
{
}

void DecodeJob::Run()
{
    try
    {
        itsSource.Load();
        const InputKind aKind = InputClassifier::Classify(itsSource.ReadHead(InputClassifier::theHeadLength),
                                                          itsContext.itsOptions.GetType());
        if (itsContext.itsOptions.IsInfo())
        {
            ShowInfo(aKind);
        }
        else
        {
            DecodeFrames(aKind);
        }
    }
    catch (...)
    {
        DecodedFrame aFrame;
        aFrame.itsFrame = itsContext.itsOptions.GetFrame();
        aFrame.FailWithCurrentException();
        ReportFailure(aFrame);
        itsContext.itsReporter.AddDone(1);
    }
    if (itsFailed)
    {
        itsContext.itsReporter.CountFailedInput();
    }
}

void DecodeJob::ShowInfo(InputKind theKind)
{
    const InfoReport aReport(itsSource, theKind);
    itsContext.itsReporter.CountDecoded();
    itsContext.itsReporter.PrintResult(aReport.ToText(itsSource.GetPath(), itsContext.itsOptions.IsJSON()));
    itsContext.itsReporter.AddDone(1);
}

void DecodeJob::DecodeFrames(InputKind theKind)
{
    const Options& anOptions = itsContext.itsOptions;
    const auto aDecoder = FrameDecoder::Create(theKind, itsSource, anOptions.GetScale());
    const int aFirst = anOptions.IsAllFrames() ? 0 : anOptions.GetFrame();
    int anEnd = aFirst + 1;
    int aFailuresInARow = 0;
    for (int aFrameIndex = aFirst; aFrameIndex < anEnd; ++aFrameIndex)
    {
        DecodedFrame aFrame = aDecoder->Decode(aFrameIndex);
        if (anOptions.IsAllFrames() && aFrameIndex == 0)
        {
            anEnd = aDecoder->GetNumberOfFrames(aFrame);
            itsContext.itsReporter.AddToTotal(static_cast<std::uint64_t>(anEnd) - 1);
        }
        aFailuresInARow = aFrame.IsDecoded() ? 0 : aFailuresInARow + 1;
        HandleFrame(std::move(aFrame), anEnd - aFirst > 1);
        itsContext.itsReporter.AddDone(1);
        if (aFailuresInARow == theMostFailuresInARow && aFrameIndex + 1 < anEnd)
        {
            itsContext.itsReporter.PrintError(itsSource.GetPath() + ": given up after frame " +
                                              std::to_string(aFrameIndex) + " of " + std::to_string(anEnd));
            itsContext.itsReporter.AddDone(static_cast<std::uint64_t>(anEnd - aFrameIndex - 1));
            break;
        }
    }
    FinishDICOMFile();
}

void DecodeJob::HandleFrame(DecodedFrame theFrame, bool theSeveral)
{
    if (!theFrame.IsDecoded())
    {
        ReportFailure(theFrame);
        return;
    }
    itsContext.itsReporter.CountDecoded();
    const bool isJSON = itsContext.itsOptions.IsJSON();
    if (itsContext.itsOptions.GetFormat() == OutputFormat::DICOM)
    {
        if (isJSON)
        {
            itsReports.emplace_back(itsSource.GetPath(), theFrame);
        }
        if (itsDICOMError.empty() && !itsFailed)
        {
            itsDICOMError = ReasonOfFailure([&] { itsDICOMWriter.AddFrame(std::move(theFrame)); });
        }
        return;
    }
    std::optional<FrameReport> aReport;
    if (isJSON)
    {
        aReport.emplace(itsSource.GetPath(), theFrame);
    }
    std::string anOutput;
    const std::string aReason = ReasonOfFailure([&] { anOutput = WriteFrame(theFrame, theSeveral); });
    if (!aReason.empty())
    {
        ReportUnwritten("frame " + std::to_string(theFrame.itsFrame), aReason);
    }
    if (aReport)
    {
        aReport->SetOutput(anOutput);
        aReport->SetWriteError(aReason);
        itsContext.itsReporter.PrintResult(aReport->ToLine());
    }
}

std::string DecodeJob::WriteFrame(const DecodedFrame& theFrame, bool theSeveral) const
{
    if (itsContext.itsWriter == nullptr)
    {
        return "";
    }
    const std::string aPath = itsContext.itsPlanner.GetPath(
        itsIndex, theSeveral ? std::optional<int>(theFrame.itsFrame) : std::nullopt,
        itsContext.itsWriter->GetExtension(theFrame));
    TemporaryFile aFile(aPath);
    itsContext.itsWriter->Write(theFrame, aFile.GetPath());
    aFile.Commit();
    return aPath;
}

void DecodeJob::FinishDICOMFile()
{
    std::string anOutput;
    if (itsFailed)
    {
        // A file with frames left out would number the others wrongly.
        if (!itsDICOMWriter.IsEmpty())
        {
            itsContext.itsReporter.PrintError(itsSource.GetPath() + ": no file written, frames are missing");
        }
    }
    else if (!itsDICOMWriter.IsEmpty())
    {
        if (itsDICOMError.empty())
        {
            itsDICOMError = ReasonOfFailure(
                [&]
                {
                    const std::string aPath = itsContext.itsPlanner.GetPath(itsIndex, std::nullopt, ".dcm");
                    TemporaryFile aFile(aPath);
                    itsDICOMWriter.Save(aFile.GetPath());
                    aFile.Commit();
                    anOutput = aPath;
                });
        }
        if (!itsDICOMError.empty())
        {
            ReportUnwritten("DICOM file", itsDICOMError);
        }
    }
    for (FrameReport& aReport : itsReports)
    {
        aReport.SetOutput(anOutput);
        aReport.SetWriteError(itsDICOMError);
        itsContext.itsReporter.PrintResult(aReport.ToLine());
    }
}

void DecodeJob::ReportFailure(const DecodedFrame& theFrame)
{
    itsFailed = true;
    std::string aText = itsSource.GetPath() + ": frame " + std::to_string(theFrame.itsFrame) + ": code " +
                        std::to_string(theFrame.itsResultCode) + ": " + theFrame.itsMessage;
    if (theFrame.itsSystemError != 0)
    {
        aText += " (" + std::generic_category().message(theFrame.itsSystemError) + ")";
    }
    // Messages may quote the file; what would move the cursor is not shown.
    std::replace_if(
        aText.begin(), aText.end(), [](unsigned char theByte) { return theByte < ' ' || theByte == 0x7f; },
        ' ');
    itsContext.itsReporter.PrintError(aText);
    if (itsContext.itsOptions.IsJSON())
    {
        itsContext.itsReporter.PrintResult(FrameReport(itsSource.GetPath(), theFrame).ToLine());
    }
}

void DecodeJob::ReportUnwritten(const std::string& theWhat, const std::string& theReason)
{
    itsContext.itsReporter.CountUnwritten();
    itsContext.itsReporter.PrintError(itsSource.GetPath() + ": " + theWhat +
                                      ": output not written: " + theReason);
}
