// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "decode/DecodedFrame.h"
#include "report/RunSummary.h"

/// The JSON line of one frame.
///
/// All fields are always there; what is not known of a frame that could not be decoded is null. "warnings" is
/// a list of objects with "identifier" and "text". "sha256"
/// is over the decoded bytes as they are in memory, "output" the file they were written to, or null.
/// "lossless" is about this compression, "lossy" about all that became of the image so far.
class FrameReport
{
public:
    FrameReport(const std::string& theInput, const DecodedFrame& theFrame, Outcome theOutcome);

    /// An input of which no frame was asked for.
    FrameReport(const std::string& theInput, Outcome theOutcome, const std::string& theMessage);

    void SetOutput(const std::string& thePath) { itsOutput = thePath; }

    /// The frame was decoded, but its output could not be written.
    void SetWriteError(const std::string& theMessage) { itsWriteError = theMessage; }

    /// One line with its line feed.
    std::string ToLine() const;

    /// What a manifest has of it, one line with its line feed: what any correct decoder would find again.
    std::string ToManifestLine() const;

private:
    struct ImageFacts
    {
        int itsRows;
        int itsColumns;
        int itsSamplesPerPixel;
        int itsBitsAllocated;
        int itsBitsStored;
        int itsHighBit;
        bool itsSigned;
        std::string itsPhotometric;
        bool itsPlanar;
        bool itsLossy;
        int itsCompressionRatio;
        int itsScaleFactor;
        unsigned long long itsBytes;
        std::string itsSHA256;
        double itsTimes[5];
    };

    static ImageFacts FactsOf(const Renderable& theImage);

    std::string itsInput;
    Outcome itsOutcome;
    std::optional<int> itsFrame;
    int itsResultCode;
    int itsSystemError;
    std::string itsMessage;
    std::vector<DecodeWarning> itsWarnings;
    RWCString itsTransferSyntaxUID;
    std::optional<PixelRegion> itsRegion;
    RWCString itsSOPClassUID;
    RWCString itsSOPInstanceUID;
    std::optional<bool> itsIsLossless;
    std::optional<ImageFacts> itsFacts;
    std::string itsOutput;
    std::string itsWriteError;
};
