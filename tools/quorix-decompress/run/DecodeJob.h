// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "decode/FrameDecoder.h"
#include "inputs/InputSource.h"
#include "outputs/DICOMWriter.h"
#include "outputs/FrameWriter.h"
#include "outputs/OutputNames.h"
#include "outputs/OutputRecord.h"
#include "report/FrameReport.h"
#include "report/Reporter.h"
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
    };

    DecodeJob(const Context& theContext, const Input& theInput);

    /// Never throws: whatever goes wrong is reported, and counts for the exit status.
    void Run();

private:
    /// Why an output was not written.
    struct Failure
    {
        std::string itsReason; ///< empty where it was
        bool itsIsRefusal = false;
    };

    template <class Action>
    static Failure Try(Action theAction);

    void RunUnguarded();
    bool IsDoneBefore();
    void Decode();
    Outcome FindOutcome(const DecodedFrame& theFrame) const;
    void SaveRecord();
    void PrintLine(const std::string& theLine);
    void ShowInfo(JImageType theKind);
    void DecodeFrames(JImageType theKind);
    bool HandleFrame(DecodedFrame theFrame, bool hasSeveral);
    void PrintWarnings(const DecodedFrame& theFrame);
    std::string WriteFrame(const DecodedFrame& theFrame, bool hasSeveral);
    void FinishOutput(TemporaryFile& theFile, const std::string& thePath);
    bool IsStopped(int theFrame, int theEnd);
    void FinishDICOMFile();
    void ReportFailure(const DecodedFrame& theFrame);
    void ReportUnwritten(const std::string& theWhat, const Failure& theFailure);

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
    Failure itsDICOMError;
};
