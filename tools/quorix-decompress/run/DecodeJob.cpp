// SPDX-License-Identifier: Apache-2.0
#include "run/DecodeJob.h"

#include <filesystem>
#include <system_error>

#include "decoding/CodecTable.h"
#include "outputs/OutputFile.h"
#include "report/InfoReport.h"
#include "toolkit/base/CaughtException.h"

namespace
{
/// A file may claim any number of frames; what it does not have fails frame by frame.
constexpr int kMostFailuresInARow = 8;

} // namespace

/// Runs theAction, which may write.
template <class Action>
WriteFailure DecodeJob::Try(Action theAction)
{
    try
    {
        theAction();
        return {};
    }
    catch (const RefusedOutput& anError)
    {
        return {anError.what(), true};
    }
    catch (...)
    {
        const CaughtException aCaught = CaughtException::Current();
        return {aCaught.itsKind == CaughtException::Kind::OUT_OF_MEMORY ? "out of memory" : aCaught.itsText};
    }
}

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
        itsIsBegun = true;
        itsOutcome = Outcome::FAILED;
        itsContext.itsReporter.PrintOutOfMemory(itsInput.itsPath);
    }
    if (itsIsBegun)
    {
        const Outcome anOutcome = itsUnwritten || itsStopped ? Outcome::FAILED : itsOutcome;
        itsContext.itsReporter.CountInput(anOutcome, itsSize, IsFailure(anOutcome));
    }
}

void DecodeJob::RunUnguarded()
{
    try
    {
        if (!itsInput.itsRefusal.empty())
        {
            throw RefusedOutput(itsInput.itsRefusal);
        }
        if (const std::optional<Outcome> anOutcome = FindEarlierOutcome())
        {
            Skip(*anOutcome);
            return;
        }
        itsSource.Load();
        itsSize = itsSource.GetLength();
        const StopSignal::Work aWork(itsContext.itsStop);
        itsIsBegun = aWork.IsBegun();
        if (itsIsBegun)
        {
            Decode();
        }
    }
    catch (const OutputError& anError)
    {
        itsIsBegun = true;
        ReportUnwritten("input", {anError.what(), dynamic_cast<const RefusedOutput*>(&anError) != nullptr});
        itsContext.itsReporter.AddDone(1);
    }
    catch (...)
    {
        itsIsBegun = true;
        DecodedFrame aFrame;
        aFrame.itsFrame = itsContext.itsOptions.GetFrames().GetFirst();
        aFrame.FailWithCurrentException();
        ReportFailure(aFrame);
        itsContext.itsReporter.AddDone(1);
    }
}

/// Somebody named what is not DICOM; what is only found in a folder never gets here.
bool DecodeJob::IsFailure(Outcome theOutcome) const
{
    const Options& anOptions = itsContext.itsOptions;
    return theOutcome != Outcome::DECODED &&
           (theOutcome != Outcome::NO_IMAGE || (anOptions.IsStrict() && !anOptions.IsInfo()));
}

/// Not decoded again, an input is still as much of a failure as it was.
void DecodeJob::Skip(Outcome theOutcome)
{
    if (IsFailure(theOutcome))
    {
        itsContext.itsReporter.PrintError(itsInput.itsPath +
                                          (theOutcome == Outcome::NO_IMAGE ? ": no image" : ": not DICOM") +
                                          ", as an earlier run has found");
    }
    itsContext.itsReporter.CountSkipped(IsFailure(theOutcome));
    itsContext.itsReporter.AddDone(1);
}

/// What an earlier run made of the input, where that is current and not to be made again.
std::optional<Outcome> DecodeJob::FindEarlierOutcome()
{
    const std::string aRecord = itsContext.itsNames.GetRecordPath(itsInput);
    if (aRecord.empty())
    {
        return std::nullopt;
    }
    itsRecord.emplace(aRecord, itsContext.itsNames.GetPath(itsInput, std::nullopt, ""), itsInput.itsPath,
                      itsContext.itsOptions);
    return itsContext.itsOptions.IsResume() ? itsRecord->FindCurrent() : std::nullopt;
}

void DecodeJob::Decode()
{
    const std::vector<unsigned char> aHead = itsSource.ReadHead(InputClassifier::kHeadLength);
    const JImageType aKind = InputClassifier::Classify(aHead, itsContext.itsOptions.GetType());
    itsIsNotDICOM = aKind == IMAGE_TYPE_DICOM_PART10 && !InputClassifier::IsDICOM(aHead);
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
    if (!itsRecord || itsOutcome == Outcome::FAILED || itsUnwritten || itsStopped)
    {
        return;
    }
    const WriteFailure aFailure = Try([&] { itsRecord->Save(itsOutcome); });
    if (!aFailure.itsReason.empty())
    {
        ReportUnwritten("record", aFailure);
    }
}

void DecodeJob::PrintLine(const std::string& theLine)
{
    itsUnwritten = !itsContext.itsReporter.PrintLine(theLine) || itsUnwritten;
}

void DecodeJob::PrintReport(const FrameReport& theReport)
{
    itsUnwritten = !itsContext.itsReporter.PrintFrame(theReport) || itsUnwritten;
}

void DecodeJob::ShowInfo(JImageType theKind)
{
    const InfoReport aReport(itsSource, theKind);
    itsOutcome = aReport.HasImage() ? Outcome::DECODED : Outcome::NO_IMAGE;
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
    FrameSequence aFrames(
        {theKind,
         itsSource,
         {anOptions.GetScale(), anOptions.GetReading(), anOptions.GetRegion()},
         anOptions.GetFrames()},
        [this](DecodedFrame theFrame, bool hasSeveral)
        { return FinishFrame(std::move(theFrame), hasSeveral); },
        itsContext.itsFrameThreads);
    int aFailuresInARow = 0;
    while (aFrames.HasNext() && !IsStopped(aFrames))
    {
        const int anIndex = aFrames.GetNextIndex();
        FinishedFrame aFrame = aFrames.TakeNext(itsContext.itsStop.IsRaised());
        if (anIndex == anOptions.GetFrames().GetFirst())
        {
            itsContext.itsReporter.AddToTotal(aFrames.CountLeft());
        }
        aFailuresInARow = HandleFrame(std::move(aFrame)) ? 0 : aFailuresInARow + 1;
        itsContext.itsReporter.AddDone(1);
        if (aFailuresInARow == kMostFailuresInARow && aFrames.HasNext())
        {
            GiveUp(aFrames, anIndex);
            break;
        }
    }
    FinishDICOMFile();
}

/// Of the frames behind theFrame nothing is left, whether they were begun or not.
void DecodeJob::GiveUp(FrameSequence& theFrames, int theFrame)
{
    itsContext.itsReporter.PrintError(itsSource.GetPath() + ": given up after frame " +
                                      std::to_string(theFrame) + " of " +
                                      std::to_string(theFrames.GetCount()));
    itsContext.itsReporter.AddDone(theFrames.CountLeft());
    while (theFrames.IsNextBegun())
    {
        std::error_code anIgnored;
        std::filesystem::remove(theFrames.TakeNext(true).itsOutput, anIgnored);
    }
}

/// What was begun is finished; frames after a signal are not begun.
bool DecodeJob::IsStopped(const FrameSequence& theFrames)
{
    itsStopped = theFrames.GetNextIndex() != itsContext.itsOptions.GetFrames().GetFirst() &&
                 !theFrames.IsNextBegun() && itsContext.itsStop.IsRaised();
    if (itsStopped)
    {
        itsContext.itsReporter.PrintError(itsSource.GetPath() + ": stopped before frame " +
                                          std::to_string(theFrames.GetNextIndex()) + " of " +
                                          std::to_string(theFrames.GetCount()));
    }
    return itsStopped;
}

/// Called from several threads at once, but for inputs of lists, whose record has one user.
FinishedFrame DecodeJob::FinishFrame(DecodedFrame theFrame, bool hasSeveral)
{
    FinishedFrame aFinished;
    if (theFrame.IsDecoded())
    {
        if (itsContext.itsReporter.IsReporting())
        {
            aFinished.itsReport.emplace(itsSource.GetPath(), theFrame, Outcome::DECODED);
        }
        if (itsContext.itsOptions.GetFormat() != OutputFormat::DICOM)
        {
            // Names in a list's output folder do not depend on how many frames there are.
            const bool isNumbered =
                hasSeveral || (itsRecord && itsContext.itsOptions.GetFrames().HasSeveral());
            aFinished.itsFailure = Try([&] { aFinished.itsOutput = WriteFrame(theFrame, isNumbered); });
        }
    }
    aFinished.itsFrame = std::move(theFrame);
    return aFinished;
}

/// False for a frame that could not be decoded, or not written.
bool DecodeJob::HandleFrame(FinishedFrame theFrame)
{
    const DecodedFrame& aFrame = theFrame.itsFrame;
    if (!aFrame.IsDecoded())
    {
        ReportFailure(aFrame);
        return false;
    }
    itsContext.itsReporter.CountFrame(CodecTable::GetName(aFrame.itsTransferSyntaxUID),
                                      aFrame.itsRenderable->getPixelDataSize());
    PrintWarnings(aFrame);
    if (itsContext.itsOptions.GetFormat() == OutputFormat::DICOM)
    {
        if (theFrame.itsReport)
        {
            itsReports.push_back(*std::move(theFrame.itsReport));
        }
        if (itsDICOMError.itsReason.empty() && itsOutcome == Outcome::DECODED)
        {
            itsDICOMError = Try([&] { itsDICOMWriter.AddFrame(std::move(theFrame.itsFrame)); });
        }
        return itsDICOMError.itsReason.empty();
    }
    if (!theFrame.itsFailure.itsReason.empty())
    {
        ReportUnwritten("frame " + std::to_string(aFrame.itsFrame), theFrame.itsFailure);
    }
    if (theFrame.itsReport)
    {
        theFrame.itsReport->SetOutput(theFrame.itsOutput);
        theFrame.itsReport->SetWriteError(theFrame.itsFailure.itsReason);
        PrintReport(*theFrame.itsReport);
    }
    return theFrame.itsFailure.itsReason.empty();
}

void DecodeJob::PrintWarnings(const DecodedFrame& theFrame)
{
    for (const DecodeWarning& aWarning : theFrame.itsWarnings)
    {
        itsContext.itsReporter.CountWarning(aWarning.itsIdentifier);
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
    if (itsRecord)
    {
        theFile.Sync(); // a record must not outlive what it tells of
        itsRecord->AddOutput(thePath, theFile.GetPath());
    }
    theFile.Commit();
    itsContext.itsReporter.CountWritten(theFile.GetSize());
}

void DecodeJob::FinishDICOMFile()
{
    std::string anOutput;
    if (itsStopped)
    {
        return;
    }
    if (itsOutcome != Outcome::DECODED)
    {
        // A file with frames left out would number the others wrongly.
        if (!itsDICOMWriter.IsEmpty())
        {
            itsContext.itsReporter.PrintError(itsSource.GetPath() + ": no file written, frames are missing");
        }
    }
    else if (!itsDICOMWriter.IsEmpty())
    {
        if (itsDICOMError.itsReason.empty())
        {
            itsDICOMError = Try(
                [&]
                {
                    std::string aPath = itsContext.itsNames.GetPath(itsInput, std::nullopt, ".dcm");
                    TemporaryFile aFile(aPath);
                    itsDICOMWriter.Save(aFile);
                    FinishOutput(aFile, aPath);
                    anOutput = aPath;
                });
        }
        if (!itsDICOMError.itsReason.empty())
        {
            ReportUnwritten("DICOM file", itsDICOMError);
        }
    }
    for (FrameReport& aReport : itsReports)
    {
        aReport.SetOutput(anOutput);
        aReport.SetWriteError(itsDICOMError.itsReason);
        PrintReport(aReport);
    }
}

/// Of a frame that could not be decoded.
Outcome DecodeJob::FindOutcome(const DecodedFrame& theFrame) const
{
    if (theFrame.IsWithoutImage())
    {
        return Outcome::NO_IMAGE;
    }
    return itsIsNotDICOM ? Outcome::NOT_DICOM : Outcome::FAILED;
}

void DecodeJob::ReportFailure(const DecodedFrame& theFrame)
{
    itsOutcome = FindOutcome(theFrame);
    if (itsOutcome != Outcome::NO_IMAGE || itsContext.itsOptions.IsStrict())
    {
        std::string aText = itsSource.GetPath() + ": frame " + std::to_string(theFrame.itsFrame) + ": code " +
                            std::to_string(theFrame.itsResultCode) + ": " + theFrame.itsMessage;
        if (theFrame.itsSystemError != 0)
        {
            aText += " (" + std::generic_category().message(theFrame.itsSystemError) + ")";
        }
        itsContext.itsReporter.PrintError(aText);
    }
    if (itsContext.itsReporter.IsReporting())
    {
        PrintReport(FrameReport(itsSource.GetPath(), theFrame, itsOutcome));
    }
}

void DecodeJob::ReportUnwritten(const std::string& theWhat, const WriteFailure& theFailure)
{
    itsUnwritten = true;
    if (!theFailure.itsIsRefusal)
    {
        itsContext.itsReporter.CountUnwritten();
    }
    itsContext.itsReporter.PrintError(itsSource.GetPath() + ": " + theWhat +
                                      ": output not written: " + theFailure.itsReason);
}
