// SPDX-License-Identifier: Apache-2.0
#include "run/DecodeJob.h"

#include <system_error>

#include "outputs/OutputFile.h"
#include "report/InfoReport.h"
#include "toolkit/base/CaughtException.h"

namespace
{
/// A file may claim any number of frames; what it does not have fails frame by frame.
constexpr int kMostFailuresInARow = 8;

/// Runs theAction. The reason where it failed, empty where it did not.
template <class Action>
std::string ReasonOfFailure(Action theAction)
{
    try
    {
        theAction();
        return "";
    }
    catch (...)
    {
        const CaughtException aCaught = CaughtException::Current();
        return aCaught.itsKind == CaughtException::Kind::OUT_OF_MEMORY ? "out of memory" : aCaught.itsText;
    }
}
} // namespace

DecodeJob::DecodeJob(const Context& theContext, const Input& theInput)
    : itsContext(theContext), itsSource(theInput.itsPath), itsInput(theInput)
{
}

void DecodeJob::Run()
{
    try
    {
        RunUnguarded();
    }
    catch (const std::exception&)
    {
        // Not even the error could be told.
        itsFailed = true;
        itsContext.itsReporter.PrintOutOfMemory(itsInput.itsPath);
    }
    if (itsFailed)
    {
        itsContext.itsReporter.CountFailedInput();
    }
}

void DecodeJob::RunUnguarded()
{
    try
    {
        if (!itsInput.itsRefusal.empty())
        {
            throw OutputError(itsInput.itsRefusal);
        }
        if (IsDoneBefore())
        {
            itsContext.itsReporter.CountSkipped();
            itsContext.itsReporter.AddDone(1);
            return;
        }
        itsSource.Load();
        const StopSignal::Work aWork(itsContext.itsStop);
        if (aWork.IsBegun())
        {
            Decode();
        }
    }
    catch (const OutputError& anError)
    {
        ReportUnwritten("input", anError.what());
        itsContext.itsReporter.AddDone(1);
    }
    catch (...)
    {
        DecodedFrame aFrame;
        aFrame.itsFrame = itsContext.itsOptions.GetFrame();
        aFrame.FailWithCurrentException();
        ReportFailure(aFrame);
        itsContext.itsReporter.AddDone(1);
    }
}

bool DecodeJob::IsDoneBefore()
{
    const std::string aRecord = itsContext.itsNames.GetRecordPath(itsInput);
    if (aRecord.empty())
    {
        return false;
    }
    itsRecord.emplace(aRecord, itsContext.itsNames.GetPath(itsInput, std::nullopt, ""), itsInput.itsPath,
                      itsContext.itsOptions);
    return itsContext.itsOptions.IsResume() && itsRecord->IsCurrent();
}

void DecodeJob::Decode()
{
    const JImageType aKind = InputClassifier::Classify(itsSource.ReadHead(InputClassifier::kHeadLength),
                                                       itsContext.itsOptions.GetType());
    if (itsContext.itsOptions.IsInfo())
    {
        ShowInfo(aKind);
        return;
    }
    if (itsRecord)
    {
        itsRecord->Discard();
    }
    DecodeFrames(aKind);
    SaveRecord();
}

/// Comes after the lines of the report: what is on record has been reported.
void DecodeJob::SaveRecord()
{
    if (!itsRecord || itsFailed || itsUnwritten || itsStopped)
    {
        return;
    }
    const std::string aReason = ReasonOfFailure([&] { itsRecord->Save(); });
    if (!aReason.empty())
    {
        ReportUnwritten("record", aReason);
    }
}

void DecodeJob::PrintLine(const std::string& theLine)
{
    itsUnwritten = !itsContext.itsReporter.PrintLine(theLine) || itsUnwritten;
}

void DecodeJob::ShowInfo(JImageType theKind)
{
    const InfoReport aReport(itsSource, theKind);
    itsContext.itsReporter.CountDecoded();
    if (itsContext.itsReporter.IsReporting())
    {
        PrintLine(aReport.ToText(itsSource.GetPath(), true));
    }
    if (!itsContext.itsOptions.IsJSON())
    {
        itsContext.itsReporter.PrintResult(aReport.ToText(itsSource.GetPath(), false));
    }
    itsContext.itsReporter.AddDone(1);
}

void DecodeJob::DecodeFrames(JImageType theKind)
{
    const Options& anOptions = itsContext.itsOptions;
    const auto aDecoder =
        FrameDecoder::Create(theKind, itsSource, {anOptions.GetScale(), anOptions.GetReading()});
    const int aFirst = anOptions.IsAllFrames() ? 0 : anOptions.GetFrame();
    int anEnd = aFirst + 1;
    int aFailuresInARow = 0;
    // Names in a list's output folder do not depend on how many frames there are.
    const bool isNumbered = itsRecord && anOptions.IsAllFrames();
    for (int aFrameIndex = aFirst; aFrameIndex < anEnd && !IsStopped(aFrameIndex, anEnd); ++aFrameIndex)
    {
        DecodedFrame aFrame = aDecoder->Decode(aFrameIndex);
        if (anOptions.IsAllFrames() && aFrameIndex == 0)
        {
            anEnd = aDecoder->GetNumberOfFrames(aFrame);
            itsContext.itsReporter.AddToTotal(static_cast<std::uint64_t>(anEnd) - 1);
        }
        const bool isDone = HandleFrame(std::move(aFrame), isNumbered || anEnd - aFirst > 1);
        aFailuresInARow = isDone ? 0 : aFailuresInARow + 1;
        itsContext.itsReporter.AddDone(1);
        if (aFailuresInARow == kMostFailuresInARow && aFrameIndex + 1 < anEnd)
        {
            itsContext.itsReporter.PrintError(itsSource.GetPath() + ": given up after frame " +
                                              std::to_string(aFrameIndex) + " of " + std::to_string(anEnd));
            itsContext.itsReporter.AddDone(static_cast<std::uint64_t>(anEnd - aFrameIndex - 1));
            break;
        }
    }
    FinishDICOMFile();
}

/// What was begun is finished; frames after a signal are not begun.
bool DecodeJob::IsStopped(int theFrame, int theEnd)
{
    itsStopped = theFrame != itsContext.itsOptions.GetFrame() && itsContext.itsStop.IsRaised();
    if (itsStopped)
    {
        itsContext.itsReporter.PrintError(itsSource.GetPath() + ": stopped before frame " +
                                          std::to_string(theFrame) + " of " + std::to_string(theEnd));
    }
    return itsStopped;
}

/// False for a frame that could not be decoded, or not written.
bool DecodeJob::HandleFrame(DecodedFrame theFrame, bool hasSeveral)
{
    if (!theFrame.IsDecoded())
    {
        ReportFailure(theFrame);
        return false;
    }
    itsContext.itsReporter.CountDecoded();
    PrintWarnings(theFrame);
    const bool isReporting = itsContext.itsReporter.IsReporting();
    if (itsContext.itsOptions.GetFormat() == OutputFormat::DICOM)
    {
        if (isReporting)
        {
            itsReports.emplace_back(itsSource.GetPath(), theFrame);
        }
        if (itsDICOMError.empty() && !itsFailed)
        {
            itsDICOMError = ReasonOfFailure([&] { itsDICOMWriter.AddFrame(std::move(theFrame)); });
        }
        return itsDICOMError.empty();
    }
    std::optional<FrameReport> aReport;
    if (isReporting)
    {
        aReport.emplace(itsSource.GetPath(), theFrame);
    }
    std::string anOutput;
    const std::string aReason = ReasonOfFailure([&] { anOutput = WriteFrame(theFrame, hasSeveral); });
    if (!aReason.empty())
    {
        ReportUnwritten("frame " + std::to_string(theFrame.itsFrame), aReason);
    }
    if (aReport)
    {
        aReport->SetOutput(anOutput);
        aReport->SetWriteError(aReason);
        PrintLine(aReport->ToLine());
    }
    return aReason.empty();
}

void DecodeJob::PrintWarnings(const DecodedFrame& theFrame)
{
    for (const DecodeWarning& aWarning : theFrame.itsWarnings)
    {
        itsContext.itsReporter.PrintError(itsSource.GetPath() + ": frame " +
                                          std::to_string(theFrame.itsFrame) +
                                          ": warning: " + aWarning.itsIdentifier + ": " + aWarning.itsText);
    }
}

std::string DecodeJob::WriteFrame(const DecodedFrame& theFrame, bool hasSeveral)
{
    if (itsContext.itsWriter == nullptr)
    {
        return "";
    }
    std::string aPath = itsContext.itsNames.GetPath(
        itsInput, hasSeveral ? std::optional<int>(theFrame.itsFrame) : std::nullopt,
        itsContext.itsWriter->GetExtension(theFrame));
    TemporaryFile aFile(aPath);
    itsContext.itsWriter->Write(theFrame, aFile);
    FinishOutput(aFile, aPath);
    return aPath;
}

void DecodeJob::FinishOutput(TemporaryFile& theFile, const std::string& thePath)
{
    if (!itsRecord)
    {
        theFile.Commit();
        return;
    }
    theFile.Sync(); // a record must not outlive what it tells of
    itsRecord->AddOutput(thePath, theFile.GetPath());
    theFile.Commit();
}

void DecodeJob::FinishDICOMFile()
{
    std::string anOutput;
    if (itsStopped)
    {
        return;
    }
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
                    std::string aPath = itsContext.itsNames.GetPath(itsInput, std::nullopt, ".dcm");
                    TemporaryFile aFile(aPath);
                    itsDICOMWriter.Save(aFile);
                    FinishOutput(aFile, aPath);
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
        PrintLine(aReport.ToLine());
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
    itsContext.itsReporter.PrintError(aText);
    if (itsContext.itsReporter.IsReporting())
    {
        PrintLine(FrameReport(itsSource.GetPath(), theFrame).ToLine());
    }
}

void DecodeJob::ReportUnwritten(const std::string& theWhat, const std::string& theReason)
{
    itsUnwritten = true;
    itsContext.itsReporter.CountUnwritten();
    itsContext.itsReporter.PrintError(itsSource.GetPath() + ": " + theWhat +
                                      ": output not written: " + theReason);
}
