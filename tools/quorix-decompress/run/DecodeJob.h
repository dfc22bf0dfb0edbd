// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "decode/DecodedFrame.h"
#include "inputs/InputSource.h"
#include "outputs/DICOMWriter.h"
#include "outputs/FrameWriter.h"
#include "outputs/OutputNames.h"
#include "outputs/OutputRecord.h"
#include "report/FrameReport.h"
#include "report/Reporter.h"
#include "run/FrameSequence.h"
#include "run/Options.h"
#include "run/StopSignal.h"

class TemporaryFile;

/// Everything that is done for one input: decode, write, report. One thread; different jobs share only
/// what is thread-safe.
class DecodeJob
{
public:
    /// What all jobs share. Borrowed.
    struct Context
    {
        const Options& itsOptions;
        const OutputNames& itsNames;
        const FrameWriter* itsWriter; ///< null where frames get no file each
        Reporter& itsReporter;
        StopSignal& itsStop;
        int itsFrameThreads = 1; ///< for the frames of one input
    };

    DecodeJob(const Context& theContext, const Input& theInput);

    /// Never throws: whatever goes wrong is reported, and counts for the exit status.
    void Run();

private:
    template <class Action>
    static WriteFailure Try(Action theAction);

    void RunUnguarded();
    std::optional<Outcome> FindEarlierOutcome();
    bool IsFailure(Outcome theOutcome) const;
    void Skip(Outcome theOutcome);
    void Decode();
    Outcome FindOutcome(const DecodedFrame& theFrame) const;
    void SaveRecord();
    void PrintLine(const std::string& theLine);
    void PrintReport(const FrameReport& theReport);
    void ShowInfo(JImageType theKind);
    void DecodeFrames(JImageType theKind);
    FinishedFrame FinishFrame(DecodedFrame theFrame, bool hasSeveral);
    bool HandleFrame(FinishedFrame theFrame);
    void PrintWarnings(const DecodedFrame& theFrame);
    std::string WriteFrame(const DecodedFrame& theFrame, bool hasSeveral);
    void FinishOutput(TemporaryFile& theFile, const std::string& thePath);
    bool IsStopped(const FrameSequence& theFrames);
    void GiveUp(FrameSequence& theFrames, int theFrame);
    void FinishDICOMFile();
    void ReportFailure(const DecodedFrame& theFrame);
    void ReportUnwritten(const std::string& theWhat, const WriteFailure& theFailure);

    const Context& itsContext;
    InputSource itsSource;
    const Input& itsInput;
    std::optional<OutputRecord> itsRecord; ///< of a list's input
    bool itsIsNotDICOM = false;            ///< nor anything else that has a decoder
    bool itsIsBegun = false;
    std::uint64_t itsSize = 0;
    Outcome itsOutcome = Outcome::DECODED; ///< so far; of all frames
    bool itsUnwritten = false;
    bool itsStopped = false;

    // For a DICOM file: its frames, and the reports that wait for it.
    DICOMWriter itsDICOMWriter;
    std::vector<FrameReport> itsReports;
    WriteFailure itsDICOMError;
};
