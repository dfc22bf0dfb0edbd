// SPDX-License-Identifier: Apache-2.0
// One codestream into a buffer of pixels that is there already, ours beside OpenJPEG and OpenJPH; and where
// ours spends its time.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <optional>

#include "codecs/jpeg2000/JPEG2000Decoder.h"
#include "codecs/sources/CompressedSources.h"
#include "engine/kdu_codestream.h"
#include "engine/kdu_decoder.h"
#include "engine/kdu_line_buf.h"
#include "jpeg2000/Jpeg2000Decoders.h"
#include "toolkit/io/InputStream.h"

namespace
{
using Decode = std::size_t (*)(const Bytes&, int, Bytes&);

void Run(benchmark::State& theState, const Jpeg2000Case& theCase, Decode theDecode)
{
    const Bytes aStream = ReadInput("jpeg2000/" + theCase.itsFile, ".j2k");
    Bytes anOutput(GetOutputSize(aStream));
    std::size_t aSize = 0;
    for (auto _ : theState)
    {
        aSize = theDecode(aStream, theCase.itsScale, anOutput);
        if (aSize == 0)
        {
            theState.SkipWithError("the decoder reports an error");
            break;
        }
    }
    theState.SetBytesProcessed(static_cast<std::int64_t>(aSize) * theState.iterations());
}

/// How far a decode of ours goes. What a stage costs is what it has more than the one before.
enum class Stage
{
    Packets, ///< markers and packet headers
    Blocks,  ///< and the lines of all subbands
    Lines    ///< and the wavelet transform; the codec adds colour and pixels
};

/// Something that delivers the lines of a band or of a resolution, and the line.
struct LineSource
{
    std::optional<kdu_decoder> itsDecoder;
    std::optional<kdu_synthesis> itsSynthesis;
    kdu_line_buf itsLine;
    int itsHeight = 0;

    void PullAll()
    {
        itsLine.create();
        for (int i = 0; i < itsHeight; ++i)
        {
            itsDecoder ? itsDecoder->pull(itsLine) : itsSynthesis->pull(itsLine);
        }
    }
};

void AddDecoder(std::vector<LineSource>& theSources, const kdu_subband& theBand,
                const kdu_tile_comp& theComponent, kdu_sample_allocator& theAllocator)
{
    kdu_dims aDims;
    theBand.get_dims(aDims);
    LineSource& aSource = theSources.emplace_back();
    aSource.itsHeight = aDims.size.y;
    aSource.itsDecoder.emplace(theBand, &theAllocator, theComponent.fits_short_lines());
    aSource.itsLine.pre_create(&theAllocator, aDims.size.x, theComponent.get_reversible(),
                               theComponent.fits_short_lines());
}

void AddSynthesis(std::vector<LineSource>& theSources, const kdu_tile_comp& theComponent,
                  kdu_sample_allocator& theAllocator)
{
    kdu_dims aDims;
    theComponent.access_resolution().get_dims(aDims);
    LineSource& aSource = theSources.emplace_back();
    aSource.itsHeight = aDims.size.y;
    aSource.itsSynthesis.emplace(theComponent.access_resolution(), &theAllocator,
                                 theComponent.fits_short_lines());
    aSource.itsLine.pre_create(&theAllocator, aDims.size.x, theComponent.get_reversible(),
                               theComponent.fits_short_lines());
}

void RunTile(const kdu_tile& theTile, Stage theStage)
{
    kdu_sample_allocator anAllocator;
    std::vector<LineSource> aSources;
    for (int c = 0; c < theTile.get_num_components() && theStage != Stage::Packets; ++c)
    {
        const kdu_tile_comp aComponent = theTile.access_component(c);
        if (theStage == Stage::Lines)
        {
            AddSynthesis(aSources, aComponent, anAllocator);
            continue;
        }
        for (kdu_resolution aResolution = aComponent.access_resolution(); aResolution.exists();
             aResolution = aResolution.access_next())
        {
            const bool isLowest = aResolution.which() == 0;
            for (int aBand = isLowest ? 0 : 1; aBand <= (isLowest ? 0 : 3); ++aBand)
            {
                AddDecoder(aSources, aResolution.access_subband(aBand), aComponent, anAllocator);
            }
        }
    }
    anAllocator.finalize();
    std::for_each(aSources.begin(), aSources.end(), [](LineSource& theSource) { theSource.PullAll(); });
}

void RunStages(benchmark::State& theState, const std::string& theFile, Stage theStage)
{
    const Bytes aStream = ReadInput("jpeg2000/" + theFile, ".j2k");
    for (auto _ : theState)
    {
        MemoryInputStream aMemory(aStream.data(), aStream.size());
        InputStreamAdapter aSource(aMemory);
        kdu_codestream aCodestream;
        aCodestream.create(&aSource);
        kdu_dims aTiles;
        aCodestream.get_valid_tiles(aTiles);
        for (int i = 0; i < aTiles.size.x * aTiles.size.y; ++i)
        {
            kdu_tile aTile =
                aCodestream.open_tile({aTiles.pos.x + i % aTiles.size.x, aTiles.pos.y + i / aTiles.size.x});
            RunTile(aTile, theStage);
            aTile.close();
        }
        aCodestream.destroy();
    }
}

/// A region of the largest images, from the codestream to its pixels.
void RunRegion(benchmark::State& theState, const std::string& theFile, const PixelRegion& theRegion)
{
    const Bytes aStream = ReadInput("jpeg2000/" + theFile, ".j2k");
    Bytes anOutput(GetOutputSize(aStream));
    for (auto _ : theState)
    {
        MemoryInputStream aMemory(aStream.data(), aStream.size());
        InputStreamAdapter aSource(aMemory);
        JPEG2000Decoder aDecoder(1, Decoder::PET_FAST);
        aDecoder.SetRegion(theRegion);
        aDecoder.SetSource(nullptr, aSource);
        aDecoder.Decode(static_cast<unsigned int>(aStream.size()), anOutput.data(), anOutput.size());
    }
}

/// All threads count.
template <typename... Arguments>
void Register(const std::string& theName, Arguments&&... theArguments)
{
    benchmark::RegisterBenchmark(theName.c_str(), std::forward<Arguments>(theArguments)...)
        ->Unit(benchmark::kMillisecond)
        ->MeasureProcessCPUTime();
}

/// How far ours gets in the time, for images of which every stage can be told from noise.
void RegisterStages(const std::string& theGroup, const Jpeg2000Case& theCase)
{
    if (theCase.itsScale == 1 && theCase.itsFile.find("4096") == std::string::npos)
    {
        const std::string aName = theGroup + "_stages/" + theCase.itsName;
        Register(aName + "/packets", RunStages, theCase.itsFile, Stage::Packets);
        Register(aName + "/blocks", RunStages, theCase.itsFile, Stage::Blocks);
        Register(aName + "/lines", RunStages, theCase.itsFile, Stage::Lines);
        Register(aName + "/all", Run, theCase, DecodeWithOurs);
    }
}

/// 512 x 512 pixels at the top and in the middle, beside all there are.
void RegisterRegions(const std::string& theSide)
{
    constexpr std::uint64_t kWindow = 512;
    const std::uint64_t aSide = std::stoul(theSide);
    const std::uint64_t aMiddle = (aSide - kWindow) / 2;
    for (const std::string& aFile : {"cr_" + theSide, "cr_" + theSide + "_lossy", "ht_cr_" + theSide})
    {
        Register("region/" + aFile + "/whole", RunRegion, aFile, PixelRegion{0, 0, aSide, aSide});
        Register("region/" + aFile + "/top", RunRegion, aFile, PixelRegion{0, 0, kWindow, kWindow});
        Register("region/" + aFile + "/middle", RunRegion, aFile,
                 PixelRegion{aMiddle, aMiddle, kWindow, kWindow});
    }
}

[[maybe_unused]] const bool isRegistered = []
{
    for (const Jpeg2000Case& aCase : GetJpeg2000Cases())
    {
        Register("jpeg2000/" + aCase.itsName + "/ours", Run, aCase, DecodeWithOurs);
        Register("jpeg2000/" + aCase.itsName + "/openjpeg", Run, aCase, DecodeWithOpenJpeg);
        RegisterStages("jpeg2000", aCase);
    }
    for (const Jpeg2000Case& aCase : GetHighThroughputCases())
    {
        Register("htj2k/" + aCase.itsName + "/ours", Run, aCase, DecodeWithOurs);
        Register("htj2k/" + aCase.itsName + "/openjph", Run, aCase, DecodeWithOpenJph);
        Register("htj2k/" + aCase.itsName + "/openjpeg", Run, aCase, DecodeWithOpenJpeg);
        RegisterStages("htj2k", aCase);
    }
    RegisterRegions(GetSides().back());
    return true;
}();
} // namespace
