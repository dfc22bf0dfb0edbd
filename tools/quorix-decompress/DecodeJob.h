// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "DICOMWriter.h"
#include "FrameDecoder.h"
#include "FrameReport.h"
#include "FrameWriter.h"
#include "InputSource.h"
#include "Options.h"
#include "OutputPlanner.h"
#include "Reporter.h"

/// Everything that is done for one input: decode, write, report. One thread; different jobs share only
/// what is thread-safe.
class DecodeJob
{
public:
    /// What all jobs share. Borrowed.
    struct Context
    {
        const Options& itsOptions;
        const OutputPlanner& itsPlanner;
        const FrameWriter* itsWriter; ///< null where frames get no file each
        Reporter& itsReporter;
    };

    DecodeJob(const Context& theContext, std::string thePath, std::size_t theIndex);

    /// Never throws: whatever goes wrong is reported, and counts for the exit status.
    void Run();

private:
    void ShowInfo(InputKind theKind);
    void DecodeFrames(InputKind theKind);
    void HandleFrame(DecodedFrame theFrame, bool theSeveral);
    std::string WriteFrame(const DecodedFrame& theFrame, bool theSeveral) const;
    void FinishDICOMFile();
    void ReportFailure(const DecodedFrame& theFrame);
    void ReportUnwritten(const std::string& theWhat, const std::string& theReason);

    const Context& itsContext;
    InputSource itsSource;
    std::size_t itsIndex;
    bool itsFailed = false;

    // For a DICOM file: its frames, and the reports that wait for it.
    DICOMWriter itsDICOMWriter;
    std::vector<FrameReport> itsReports;
    std::string itsDICOMError;
};
