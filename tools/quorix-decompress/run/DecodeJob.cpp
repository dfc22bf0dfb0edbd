// SPDX-License-Identifier: Apache-2.0
#include "run/DecodeJob.h"

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
DecodeJob::Failure DecodeJob::Try(Action theAction)
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
        // Somebody named what is not DICOM; what is only found in a folder never gets here.
        const bool isForgiven = anOutcome == Outcome::DECODED ||
                                (anOutcome == Outcome::NO_IMAGE && !itsContext.itsOptions.IsStrict());
        itsContext.itsReporter.CountInput(anOutcome, itsSize, !isForgiven);
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
        if (IsDoneBefore())
        {
            itsContext.itsReporter.CountSkipped();
            itsContext.itsReporter.AddDone(1);
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
    const Failure aFailure = Try([&] { itsRecord->Save(itsOutcome); });
    if (!aFailure.itsReason.empty())
    {
        ReportUnwritten("record", aFailure);
    }
}

void DecodeJob::PrintLine(const std::string& theLine)
{
    itsUnwritten = !itsContext.itsReporter.PrintLine(theLine) || itsUnwritten;
}

void DecodeJob::ShowInfo(JImageType theKind)
{
    const InfoReport aReport(itsSource, theKind);
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
    const FrameSelection& aFrames = anOptions.GetFrames();
    int aCount = 1;
    int aFailuresInARow = 0;
    // Names in a list's output folder do not depend on how many frames there are.
    bool hasSeveral = itsRecord && aFrames.HasSeveral();
    for (std::optional<int> anIndex = aFrames.GetFirst(); anIndex && !IsStopped(*anIndex, aCount);
         anIndex = aFrames.GetNext(*anIndex, aCount))
    {
        DecodedFrame aFrame = aDecoder->Decode(*anIndex);
        if (*anIndex == aFrames.GetFirst())
        {
            aCount = aDecoder->GetNumberOfFrames(aFrame);
            const std::uint64_t aMore = aFrames.CountBehind(*anIndex, aCount);
            hasSeveral = hasSeveral || aMore > 0;
            itsContext.itsReporter.AddToTotal(aMore);
        }
        const bool isDone = HandleFrame(std::move(aFrame), hasSeveral);
        aFailuresInARow = isDone ? 0 : aFailuresInARow + 1;
        itsContext.itsReporter.AddDone(1);
        if (aFailuresInARow == kMostFailuresInARow && aFrames.GetNext(*anIndex, aCount))
        {
            itsContext.itsReporter.PrintError(itsSource.GetPath() + ": given up after frame " +
                                              std::to_string(*anIndex) + " of " + std::to_string(aCount));
            itsContext.itsReporter.AddDone(aFrames.CountBehind(*anIndex, aCount));
            break;
        }
    }
    FinishDICOMFile();
}

/// What was begun is finished; frames after a signal are not begun.
bool DecodeJob::IsStopped(int theFrame, int theEnd)
{
    itsStopped = theFrame != itsContext.itsOptions.GetFrames().GetFirst() && itsContext.itsStop.IsRaised();
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
    itsContext.itsReporter.CountFrame(CodecTable::GetName(theFrame.itsTransferSyntaxUID),
                                      theFrame.itsRenderable->getPixelDataSize());
    PrintWarnings(theFrame);
    const bool isReporting = itsContext.itsReporter.IsReporting();
    if (itsContext.itsOptions.GetFormat() == OutputFormat::DICOM)
    {
        if (isReporting)
        {
            itsReports.emplace_back(itsSource.GetPath(), theFrame, Outcome::DECODED);
        }
        if (itsDICOMError.itsReason.empty() && itsOutcome == Outcome::DECODED)
        {
            itsDICOMError = Try([&] { itsDICOMWriter.AddFrame(std::move(theFrame)); });
        }
        return itsDICOMError.itsReason.empty();
    }
    std::optional<FrameReport> aReport;
    if (isReporting)
    {
        aReport.emplace(itsSource.GetPath(), theFrame, Outcome::DECODED);
    }
    std::string anOutput;
    const Failure aFailure = Try([&] { anOutput = WriteFrame(theFrame, hasSeveral); });
    if (!aFailure.itsReason.empty())
    {
        ReportUnwritten("frame " + std::to_string(theFrame.itsFrame), aFailure);
    }
    if (aReport)
    {
        aReport->SetOutput(anOutput);
        aReport->SetWriteError(aFailure.itsReason);
        PrintLine(aReport->ToLine());
    }
    return aFailure.itsReason.empty();
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
    itsContext.itsReporter.CountWritten(theFile.GetSize());
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
        PrintLine(aReport.ToLine());
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
        PrintLine(FrameReport(itsSource.GetPath(), theFrame, itsOutcome).ToLine());
    }
}

void DecodeJob::ReportUnwritten(const std::string& theWhat, const Failure& theFailure)
{
    itsUnwritten = true;
    if (!theFailure.itsIsRefusal)
    {
        itsContext.itsReporter.CountUnwritten();
    }
    itsContext.itsReporter.PrintError(itsSource.GetPath() + ": " + theWhat +
                                      ": output not written: " + theFailure.itsReason);
}
