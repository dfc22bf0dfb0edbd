// SPDX-License-Identifier: Apache-2.0
#include "run/Options.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <map>
#include <stdexcept>

#include <CLI/CLI.hpp>

#include "run/Completion.h"
#include "run/ManPage.h"

namespace
{
const std::map<std::string, OutputFormat> kFormats = {
    {"png", OutputFormat::PNG},   {"pnm", OutputFormat::PNM},     {"raw", OutputFormat::RAW},
    {"rend", OutputFormat::REND}, {"dicom", OutputFormat::DICOM}, {"none", OutputFormat::NONE}};

const std::map<std::string, InputType> kTypes = {
    {"auto", InputType::AUTO},     {"dicom", InputType::DICOM}, {"jpeg", InputType::JPEG},
    {"jpegls", InputType::JPEGLS}, {"j2k", InputType::J2K},     {"j2k-lossless", InputType::J2K_LOSSLESS}};

const char* const kNotes =
    "Pictures: png and pnm hold the real values, the bits stored of each sample: 16-bit images have 16 "
    "bits,\n"
    "and signed samples are written with 32768 added (128 for 8-bit images). With --window, grey images are\n"
    "8 bits a sample: C and W are modality values (Hounsfield units on CT) where the file has rescale slope\n"
    "and intercept for the frame, else sample values; a modality LUT is not applied. MONOCHROME1 is shown\n"
    "inverted. Colour is RGB and takes no window.\n"
    "\n"
    "Names: without --output files go to the current folder. A file is named after its input; with several\n"
    "frames NAME_f0000, NAME_f0001 and so on. Inputs of the same name get -2, -3 ... in the order given.\n"
    "A file that is already there is replaced, an input never.\n"
    "\n"
    "After 8 frames in a row that cannot be decoded or written the rest of an input is given up.\n"
    "With --jobs, lines come in the order in which images are finished.\n"
    "\n"
    "Lists: with --list, the output of study/1.dcm is OUT/study/1.dcm.png, of its frame 7 with --all-frames\n"
    "OUT/study/1.dcm_f0007.png. OUT/.quorix keeps what --resume has to know. Names must be all relative or\n"
    "all absolute, and no input may be in OUT. However long the list, memory stays the same.\n"
    "\n"
    "SIGTERM, SIGINT and SIGHUP: the frames in hand are finished, or removed when that takes more than five\n"
    "seconds; nothing unfinished is left.\n"
    "\n"
    "Outcomes: an input is decoded, has no image (plans, reports, directories and the like), is not DICOM, "
    "or\n"
    "failed. The summary at the end counts them, and so does the last line of --json and --report. An input\n"
    "without an image is no failure unless --strict is given; files of folders that are not DICOM never "
    "are.\n"
    "\n"
    "Exit status: 0 all decoded; 1 wrong use; 2 some input failed, or was named and is not DICOM; 3 the "
    "system\n"
    "did not let an output be written; 4 nothing decoded; 5 stopped by a signal. The highest that applies "
    "wins.";

/// A whole text as a finite number.
bool ParseNumber(const std::string& theText, double& theValue)
{
    const char* const anEnd = theText.data() + theText.size();
    const char* const aStart = theText.data() + (theText.starts_with('+') ? 1 : 0);
    const auto aResult = std::from_chars(aStart, anEnd, theValue);
    return aResult.ec == std::errc() && aResult.ptr == anEnd && std::isfinite(theValue);
}

WindowOption ParseWindow(const std::string& theText)
{
    WindowOption aWindow;
    if (theText == "auto")
    {
        aWindow.itsAutomatic = true;
        return aWindow;
    }
    const std::size_t aComma = theText.find(',');
    if (aComma == std::string::npos || !ParseNumber(theText.substr(0, aComma), aWindow.itsCenter) ||
        !ParseNumber(theText.substr(aComma + 1), aWindow.itsWidth) || aWindow.itsWidth < 1.0)
    {
        throw CLI::ValidationError("--window", "must be auto or CENTER,WIDTH with a width of at least 1");
    }
    return aWindow;
}

/// Four whole numbers with commas between them, each as large as a picture can be.
PixelRegion ParseRegion(const std::string& theText)
{
    std::uint32_t aNumbers[4] = {};
    const char* aStart = theText.data();
    const char* const anEnd = aStart + theText.size();
    bool isGood = true;
    for (std::uint32_t& aNumber : aNumbers)
    {
        const auto aResult = std::from_chars(aStart, anEnd, aNumber);
        const bool isLast = &aNumber == &aNumbers[3];
        isGood = isGood && aResult.ec == std::errc() && aNumber <= INT32_MAX &&
                 (isLast ? aResult.ptr == anEnd : aResult.ptr != anEnd && *aResult.ptr == ',');
        aStart = isGood && !isLast ? aResult.ptr + 1 : anEnd;
    }
    if (!isGood || aNumbers[2] == 0 || aNumbers[3] == 0)
    {
        throw CLI::ValidationError("--region", "must be X,Y,W,H: column, row, width and height in pixels");
    }
    return {aNumbers[0], aNumbers[1], aNumbers[2], aNumbers[3]};
}

/// A variable of a script that is not set must not pass for an option that is not given.
std::string CheckNotEmpty(const std::string& theText)
{
    return theText.empty() ? "must not be empty" : "";
}

/// A number of bytes with K, M or G (of 1024) behind it; none where the option is not given.
std::optional<std::uint64_t> ParseBytes(const std::string& theOption, const std::string& theText)
{
    if (theText.empty())
    {
        return std::nullopt;
    }
    std::uint64_t aValue = 0;
    const char* const anEnd = theText.data() + theText.size();
    const auto aResult = std::from_chars(theText.data(), anEnd, aValue);
    const std::string aSuffix(aResult.ptr, anEnd);
    const std::size_t aPower = aSuffix.empty() ? 0 : std::string("KMG").find(aSuffix) + 1;
    if (aResult.ec != std::errc() || aSuffix.size() > 1 || (aPower == 0 && !aSuffix.empty()) || aValue == 0 ||
        aValue > (std::uint64_t{INT64_MAX} >> (10 * aPower)))
    {
        throw CLI::ValidationError(theOption, "must be a number of bytes, or one with K, M or G");
    }
    return aValue << (10 * aPower);
}
} // namespace

/// What the command line says in words, before it is looked at.
struct Options::Texts
{
    std::string itsFormat = "png";
    std::string itsType = "auto";
    std::string itsFrames;
    bool itsAllFrames = false;
    std::string itsRegion;
    std::string itsWindow;
    bool itsNoProgress = false;
    std::string itsShard;
    std::string itsMemory;
    std::string itsMaximumOutput;
};

void Options::Check(const Texts& theTexts)
{
    itsFormat = kFormats.at(theTexts.itsFormat);
    itsType = kTypes.at(theTexts.itsType);
    itsFormatName = theTexts.itsFormat;
    itsTypeName = theTexts.itsType;
    itsProgress = !theTexts.itsNoProgress && !IsPiped();
    try
    {
        const std::string aFrames = theTexts.itsFrames.empty() ? "0" : theTexts.itsFrames;
        itsFrames = FrameSelection::Parse(theTexts.itsAllFrames ? "0-" : aFrames);
    }
    catch (const std::invalid_argument& anError)
    {
        throw CLI::ValidationError("--frames", anError.what());
    }
    if (!theTexts.itsRegion.empty())
    {
        itsRegion = ParseRegion(theTexts.itsRegion);
    }
    if (!theTexts.itsWindow.empty())
    {
        itsWindow = ParseWindow(theTexts.itsWindow);
        if (itsFormat != OutputFormat::PNG && itsFormat != OutputFormat::PNM)
        {
            throw CLI::ValidationError("--window", "is for --format png and pnm");
        }
    }
    if (std::count(itsInputs.begin(), itsInputs.end(), "-") > 1)
    {
        throw CLI::ValidationError("INPUT", "standard input (-) can be read only once");
    }
    itsMaximumMemory = ParseBytes("--max-memory", theTexts.itsMemory);
    itsMaximumOutput = ParseBytes("--max-output", theTexts.itsMaximumOutput);
    CheckAudit(theTexts);
    CheckArchive(theTexts);
    CheckPiped();
}

/// An audit decodes everything and writes nothing, but for its manifest and what --resume has to know.
void Options::CheckAudit(const Texts& theTexts)
{
    if (itsAudit.empty())
    {
        if (!itsAuditAgainst.empty())
        {
            throw CLI::ValidationError("--audit-against", "is for --audit");
        }
        return;
    }
    if (!itsAuditAgainst.empty() && !theTexts.itsShard.empty())
    {
        throw CLI::ValidationError("--audit-against", "is for whole manifests, and no shard of one");
    }
    itsFormat = OutputFormat::NONE;
    itsFormatName = "none";
    itsOutput = itsAudit + ".records";
    if (theTexts.itsFrames.empty())
    {
        itsFrames = FrameSelection::Parse("0-");
    }
}

void Options::CheckPiped() const
{
    if (!IsPiped() || !HasOutputs())
    {
        return;
    }
    std::error_code anIgnored;
    if (itsInputs.size() != 1 || std::filesystem::is_directory(itsInputs.front(), anIgnored))
    {
        throw CLI::ValidationError("--output", "standard output (-) is for one input, no folder and no list");
    }
    if (itsFrames.HasSeveral() && itsFormat != OutputFormat::DICOM)
    {
        throw CLI::ValidationError("--output", "standard output (-) takes one frame, or --format dicom");
    }
}

void Options::CheckArchive(const Texts& theTexts)
{
    if (itsList.empty() == itsInputs.empty() && (HasInputs() || itsAuditAgainst.empty()))
    {
        throw CLI::ValidationError("INPUT", "either inputs or a --list of them are needed");
    }
    if (itsList.empty() && (itsResume || !theTexts.itsShard.empty()))
    {
        throw CLI::ValidationError(itsResume ? "--resume" : "--shard", "is for --list");
    }
    if (!itsList.empty() && HasOutputs() && itsOutput.empty())
    {
        throw CLI::ValidationError("--list", "needs --output, a folder for the outputs");
    }
    if (itsResume && !KeepsRecords())
    {
        throw CLI::ValidationError("--resume", "is for runs that write files");
    }
    if (theTexts.itsShard.empty())
    {
        return;
    }
    try
    {
        itsShard = Shard::Parse(theTexts.itsShard);
        itsHasShard = true;
    }
    catch (const std::invalid_argument& anError)
    {
        throw CLI::ValidationError("--shard", anError.what());
    }
}

std::string Options::Describe() const
{
    char aWindow[96] = "none";
    if (itsWindow)
    {
        std::snprintf(aWindow, sizeof(aWindow), "%.17g,%.17g", itsWindow->itsCenter, itsWindow->itsWidth);
    }
    const std::string aRegion =
        itsRegion ? ", region " + std::to_string(itsRegion->itsX) + "," + std::to_string(itsRegion->itsY) +
                        "," + std::to_string(itsRegion->itsWidth) + "," + std::to_string(itsRegion->itsHeight)
                  : "";
    return "format " + itsFormatName + ", type " + itsTypeName + ", frame " + itsFrames.ToText() +
           ", scale " + std::to_string(itsScale) + ", window " +
           (itsWindow && itsWindow->itsAutomatic ? "auto" : aWindow) +
           (itsByContract ? ", by contract" : ", by meaning") + aRegion;
}

void Options::AddInputOptions(CLI::App& theApp, Texts& theTexts)
{
    theApp.option_defaults()->group("Input");
    theApp.add_option("INPUT", itsInputs,
                      "Files, folders (searched for DICOM files, subfolders too) or - for standard input");
    theApp.option_defaults()->group("Frames and regions");
    CLI::Option* const aFrames =
        theApp
            .add_option("--frame,--frames", theTexts.itsFrames,
                        "The frames to decode, counted from 0, as in 7 or 0-9,20 or 5- (default 0)")
            ->option_text("N[-M][,...]")
            ->check(CheckNotEmpty);
    theApp.add_flag("--all-frames", theTexts.itsAllFrames, "Decode every frame")->excludes(aFrames);
    theApp
        .add_option("--scale", itsScale,
                    "Reduce the resolution where the codec can (JPEG 2000): 1 is full size, each step more\n"
                    "halves it (3 is a quarter), as far as the image has levels")
        ->option_text("N")
        ->check(CLI::Range(1, 31));
    theApp
        .add_option(
            "--region", theTexts.itsRegion,
            "Only this part: first column, first row (from 0), width and height in pixels at full size.\n"
            "Of whole-slide images it counts in the total pixel matrix, and --frame is any frame of the\n"
            "focal plane and optical path that are wanted")
        ->option_text("X,Y,W,H")
        ->check(CheckNotEmpty);
    theApp.option_defaults()->group("Input");
    theApp
        .add_option("--type", theTexts.itsType,
                    "Kind of input: auto (by the first bytes), dicom, jpeg (also for JPEG-LS, which its "
                    "frame header\n"
                    "tells), jpegls, j2k or j2k-lossless (both also for JP2 files; they differ in what is "
                    "said of loss)")
        ->option_text("TYPE")
        ->check(CLI::IsMember({"auto", "dicom", "jpeg", "jpegls", "j2k", "j2k-lossless"}));
    theApp.add_flag("--by-contract", itsByContract,
                    "Take files that do not say what they mean by the letter, as the library's classes do;\n"
                    "without it by what they must mean");
    theApp
        .add_option("--jobs", itsJobs,
                    "Inputs, or the frames of a single one, decoded side by side,\n"
                    "one thread each (default 1)")
        ->option_text("N")
        ->check(CLI::Range(1, 1024));
}

void Options::AddOutputOptions(CLI::App& theApp, Texts& theTexts)
{
    theApp.option_defaults()->group("Output");
    theApp.add_option(
        "-o,--output", itsOutput,
        "A file for one input, else a folder (made when missing; end it with / for one input);\n"
        "- for standard output, which takes one frame or one DICOM file; --json then goes to\n"
        "standard error");
    theApp
        .add_option("--format", theTexts.itsFormat,
                    "png, pnm (PGM or PPM), raw (the decoded bytes exactly), rend (the cache file),\n"
                    "dicom (an uncompressed Part 10 file; --all-frames gives one file) or none (default png)")
        ->option_text("FORMAT")
        ->check(CLI::IsMember({"png", "pnm", "raw", "rend", "dicom", "none"}));
    theApp
        .add_option(
            "--window", theTexts.itsWindow,
            "An 8-bit view of grey images: CENTER,WIDTH (in modality values where the file has a rescale),\n"
            "or auto for all values of each image")
        ->option_text("C,W|auto");
    theApp.add_flag("--info", itsInfo, "Show attributes, codec and the boxes of JP2 files; decode no pixels");
    theApp.add_flag("--json", itsJSON, "One JSON line per frame on standard output");
    theApp.add_flag("--no-progress", theTexts.itsNoProgress,
                    "No progress bar (there is one on a terminal only)");
    theApp.add_flag("--quiet", itsQuiet, "No summary at the end");
    theApp.add_flag("--strict", itsStrict,
                    "Count DICOM objects without an image (plans, reports, directories ...) as failures");
}

void Options::AddArchiveOptions(CLI::App& theApp, Texts& theTexts)
{
    theApp.option_defaults()->group("Archives");
    theApp
        .add_option("--list", itsList,
                    "A file with the names of the inputs, one a line or each ended by NUL; - for standard\n"
                    "input. Instead of INPUT; needs --output, which is a folder")
        ->option_text("FILE")
        ->check(CheckNotEmpty);
    theApp
        .add_option(
            "--shard", theTexts.itsShard,
            "Part I of N of the list, I counted from 0; auto takes both from SLURM_ARRAY_TASK_ID and\n"
            "its like, auto/N takes I from SLURM_ARRAY_TASK_ID or JOB_COMPLETION_INDEX")
        ->option_text("I/N|auto|auto/N")
        ->check(CheckNotEmpty);
    theApp.add_flag("--resume", itsResume,
                    "Skip inputs of the list whose outputs are there, unchanged, and made of the same input\n"
                    "(size and time) with the same options and version");
    theApp
        .add_option("--report", itsReport,
                    "Add the JSON lines to this file, which several processes may share")
        ->option_text("FILE")
        ->check(CheckNotEmpty);
    AddAuditOptions(theApp);
    theApp.option_defaults()->group("Limits");
    theApp.add_option("--max-pixels", itsMaximumPixels, "Refuse images of more pixels (rows times columns)")
        ->option_text("N")
        ->check(CLI::Range(std::uint64_t{1}, std::uint64_t{INT64_MAX}));
    theApp
        .add_option("--max-memory", theTexts.itsMemory,
                    "Refuse images of more bytes, and let the process with all its jobs have no more memory\n"
                    "than this on top of what it starts with; K, M and G for KiB, MiB and GiB")
        ->option_text("BYTES")
        ->check(CheckNotEmpty);
    theApp
        .add_option("--max-output", theTexts.itsMaximumOutput,
                    "Refuse to write files that would make all of this run more than so many bytes, as with\n"
                    "--max-memory; files that are refused do not count, nor does the report")
        ->option_text("BYTES")
        ->check(CheckNotEmpty);
}

void Options::AddAuditOptions(CLI::App& theApp)
{
    CLI::Option* const anAudit =
        theApp
            .add_option(
                "--audit", itsAudit,
                "Decode everything and write nothing but a manifest: add a JSON line for every frame, with\n"
                "its SHA-256, outcome and warnings, to this file, which several processes may share")
            ->option_text("MANIFEST")
            ->check(CheckNotEmpty);
    for (const char* const aName : {"--output", "--format", "--window", "--info"})
    {
        anAudit->excludes(theApp.get_option(aName));
    }
    theApp
        .add_option(
            "--audit-against", itsAuditAgainst,
            "When --audit is done, tell every difference from this earlier manifest; without inputs just\n"
            "compare the two")
        ->option_text("MANIFEST")
        ->check(CheckNotEmpty);
}

std::optional<int> Options::Parse(int theArgumentCount, const char* const* theArguments)
{
    CLI::App anApp(
        "Decompresses medical images: DICOM files (native, RLE, JPEG, JPEG 2000), bare JPEG and JPEG 2000 "
        "streams and JP2 files.",
        "quorix-decompress");
    Texts aTexts;
    AddInputOptions(anApp, aTexts);
    AddOutputOptions(anApp, aTexts);
    AddArchiveOptions(anApp, aTexts);
    anApp.option_defaults()->group("Options");
    const std::string aVersion = std::string("quorix-decompress ") + QUORIX_VERSION;
    anApp.set_version_flag("--version", aVersion);
    anApp.footer(kNotes);
    // In no group: the build asks for these, people use what it makes.
    const auto Offer = [&](const char* theName, auto theMaker) {
        anApp.add_flag_callback(theName, [theMaker] { throw CLI::CallForVersion(theMaker(), 0); })->group("");
    };
    Offer("--man", [&] { return MakeManPage(anApp, aVersion); });
    Offer("--bash-completion", [&] { return MakeBashCompletion(anApp); });
    Offer("--zsh-completion", [&] { return MakeZshCompletion(anApp); });
    try
    {
        anApp.parse(theArgumentCount, theArguments);
        Check(aTexts);
    }
    catch (const CLI::ParseError& anError)
    {
        return anApp.exit(anError) == 0 ? 0 : 1;
    }
    return std::nullopt;
}
