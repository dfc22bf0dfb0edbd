// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <vector>

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
    int GetFrame() const { return itsFrame; }
    bool IsAllFrames() const { return itsAllFrames; }
    int GetScale() const { return itsScale; }
    const std::optional<WindowOption>& GetWindow() const { return itsWindow; }
    bool IsInfo() const { return itsInfo; }
    bool IsJSON() const { return itsJSON; }
    int GetJobs() const { return itsJobs; }
    bool IsProgress() const { return itsProgress; }

private:
    struct Texts;

    void AddInputOptions(CLI::App& theApp, Texts& theTexts);
    void AddOutputOptions(CLI::App& theApp, Texts& theTexts);
    void Check(const Texts& theTexts);

    std::vector<std::string> itsInputs;
    std::string itsOutput;
    OutputFormat itsFormat = OutputFormat::PNG;
    InputType itsType = InputType::AUTO;
    int itsFrame = 0;
    bool itsAllFrames = false;
    int itsScale = 1;
    std::optional<WindowOption> itsWindow;
    bool itsInfo = false;
    bool itsJSON = false;
    int itsJobs = 1;
    bool itsProgress = true;
};
