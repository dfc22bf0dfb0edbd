// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inputs/InputCollector.h"
#include "run/FrameSelection.h"
#include "toolkit/base/PixelRegion.h"
#include "toolkit/base/Reading.h"

namespace CLI
{
class App;
}

enum class OutputFormat
{
    PNG,
    PNM,
    RAW,
    REND,
    DICOM,
    NONE
};

enum class InputType
{
    AUTO,
    DICOM,
    JPEG,
    JPEGLS,
    J2K,
    J2K_LOSSLESS
};

/// What --window asks for: the whole range of values of each image, or one window for all.
struct WindowOption
{
    bool itsAutomatic = false;
    double itsCenter = 0.0;
    double itsWidth = 0.0; ///< at least 1
};

/// The command line, read and checked. Immutable after Parse.
class Options
{
public:
    /// Reads the command line. An exit status when the program is to end now (help and version: 0, wrong
    /// use: 1, the reason on standard error), nothing when there is work to do.
    std::optional<int> Parse(int theArgumentCount, const char* const* theArguments);

    const std::vector<std::string>& GetInputs() const { return itsInputs; }
    const std::string& GetOutput() const { return itsOutput; }
    OutputFormat GetFormat() const { return itsFormat; }
    InputType GetType() const { return itsType; }
    const FrameSelection& GetFrames() const { return itsFrames; }
    int GetScale() const { return itsScale; }
    const std::optional<PixelRegion>& GetRegion() const { return itsRegion; }
    Reading GetReading() const { return itsByContract ? Reading::BY_CONTRACT : Reading::BY_MEANING; }
    const std::optional<WindowOption>& GetWindow() const { return itsWindow; }
    /// Whether the output goes to standard output; there is then one input and one output.
    bool IsPiped() const { return itsOutput == "-"; }
    bool IsInfo() const { return itsInfo; }
    bool IsJSON() const { return itsJSON; }
    int GetJobs() const { return itsJobs; }
    bool IsProgress() const { return itsProgress; }
    bool IsQuiet() const { return itsQuiet; }
    bool IsStrict() const { return itsStrict; }

    /// A file with the names of the inputs, "-" for standard input; empty where they are on the command line.
    const std::string& GetList() const { return itsList; }
    bool HasShard() const { return itsHasShard; }
    const Shard& GetShard() const { return itsShard; }
    bool IsResume() const { return itsResume; }
    const std::string& GetReport() const { return itsReport; } ///< empty for none

    std::optional<std::uint64_t> GetMaximumPixels() const { return itsMaximumPixels; }
    std::optional<std::uint64_t> GetMaximumMemory() const { return itsMaximumMemory; } ///< bytes
    std::optional<std::uint64_t> GetMaximumOutput() const { return itsMaximumOutput; } ///< bytes

    /// A manifest that is made, and one that it is compared with; empty for none. Without inputs the
    /// comparison is all.
    const std::string& GetAudit() const { return itsAudit; }
    const std::string& GetAuditAgainst() const { return itsAuditAgainst; }
    bool HasInputs() const { return !itsInputs.empty() || !itsList.empty(); }

    /// Whether it is kept what was made of the inputs of a list.
    bool KeepsRecords() const { return HasOutputs() || !itsAudit.empty(); }

    bool HasOutputs() const { return !itsInfo && itsFormat != OutputFormat::NONE; }
    const std::string& GetFormatName() const { return itsFormatName; }

    /// Everything that an output depends on, apart from its input and this program's version.
    std::string Describe() const;

private:
    struct Texts;

    void AddInputOptions(CLI::App& theApp, Texts& theTexts);
    void AddOutputOptions(CLI::App& theApp, Texts& theTexts);
    void AddArchiveOptions(CLI::App& theApp, Texts& theTexts);
    void Check(const Texts& theTexts);
    void CheckPiped() const;
    void CheckAudit(const Texts& theTexts);
    void AddAuditOptions(CLI::App& theApp);
    void CheckArchive(const Texts& theTexts);

    std::vector<std::string> itsInputs;
    std::string itsOutput;
    OutputFormat itsFormat = OutputFormat::PNG;
    InputType itsType = InputType::AUTO;
    FrameSelection itsFrames;
    int itsScale = 1;
    std::optional<PixelRegion> itsRegion;
    bool itsByContract = false;
    std::optional<WindowOption> itsWindow;
    bool itsInfo = false;
    bool itsJSON = false;
    int itsJobs = 1;
    bool itsProgress = true;
    bool itsQuiet = false;
    bool itsStrict = false;
    std::string itsFormatName;
    std::string itsTypeName;
    std::string itsList;
    bool itsHasShard = false;
    Shard itsShard;
    bool itsResume = false;
    std::string itsReport;
    std::string itsAudit;
    std::string itsAuditAgainst;
    std::optional<std::uint64_t> itsMaximumPixels;
    std::optional<std::uint64_t> itsMaximumMemory;
    std::optional<std::uint64_t> itsMaximumOutput;
};
