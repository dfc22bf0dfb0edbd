// SPDX-License-Identifier: Apache-2.0
// Small images of every codec, whose time is what a frame costs apart from its pixels: sixteen frames in turn
// into a buffer that is there already, by ours and by the peers there are. Native images have no codec: the
// whole file is read, into pages of its own and, "heap", into memory of the heap as the peer does.

#include <charls/charls.h>

#include <functional>

#include "DcmtkPeer.h"
#include "Frames.h"
#include "Part10.h"
#include "decoding/DecoderFactory.h"
#include "image/ProcessHeapMemoryAllocator.h"
#include "jpeg/JpegPeer.h"
#include "jpeg2000/Jpeg2000Decoders.h"

namespace
{
/// Returns the bytes written.
using PeerDecode = std::size_t (*)(const Bytes&, Bytes&);

template <std::size_t (*theDecode)(const std::uint8_t*, std::size_t, void*)>
std::size_t OneJpeg(const Bytes& theStream, Bytes& theOutput)
{
    return theDecode(theStream.data(), theStream.size(), theOutput.data());
}

template <std::size_t (*theDecode)(const Bytes&, int, Bytes&)>
std::size_t OneJpeg2000(const Bytes& theStream, Bytes& theOutput)
{
    return theDecode(theStream, 1, theOutput);
}

std::size_t OneJpegLs(const Bytes& theStream, Bytes& theOutput)
{
    charls::jpegls_decoder aDecoder(theStream, true);
    aDecoder.decode(theOutput);
    return theOutput.size();
}

struct Peer
{
    const char* itsName;
    PeerDecode itsDecode;
};

constexpr Peer kTurbo{"turbo", OneJpeg<DecodeWithTurbo>};
constexpr Peer kOpenJpeg{"openjpeg", OneJpeg2000<DecodeWithOpenJpeg>};

struct SmallCase
{
    const char* itsName;
    bool itsIsForDcmtk; ///< whether DCMTK decodes it
    std::vector<Peer> itsPeers;
};

void Alone(benchmark::State& theState, const std::string& theName, PeerDecode theDecode)
{
    const std::vector<Frame> aFrames = LoadFrames(theName);
    Bytes anOutput(aFrames[0].itsSize);
    std::size_t aNext = 0;
    for (auto _ : theState)
    {
        if (theDecode(aFrames[aNext++ % aFrames.size()].itsCompressed, anOutput) != anOutput.size())
        {
            theState.SkipWithError("the library reports an error");
            break;
        }
    }
}

void Ours(benchmark::State& theState, const std::string& theName)
{
    DecoderFactory::EnableExtensions(true); // JPEG-LS
    BenchOurs(theState, theName);
}

void LoadByDcmtk(benchmark::State& theState, const std::string& theName)
{
    const Bytes aFile = ReadInput(theName);
    for (auto _ : theState)
    {
        benchmark::DoNotOptimize(DcmtkPeer::LoadNative(aFile));
    }
}

template <typename... Arguments>
void Register(const std::string& theName, Arguments&&... theArguments)
{
    benchmark::RegisterBenchmark(theName.c_str(), std::forward<Arguments>(theArguments)...)
        ->Unit(benchmark::kMicrosecond);
}

[[maybe_unused]] const bool isRegistered = []
{
    const std::vector<SmallCase> aCases = {
        {"grey16_rle", true, {}},
        {"grey8_baseline", true, {{"ijg8", OneJpeg<DecodeWithIjg8>}, kTurbo}},
        {"rgb_baseline420", true, {{"ijg8", OneJpeg<DecodeWithIjg8>}, kTurbo}},
        {"grey12_extended", true, {{"ijg12", OneJpeg<DecodeWithIjg12>}}},
        {"grey16_lossless1", true, {{"ijg16", OneJpeg<DecodeWithIjg16>}}},
        {"grey16_jpegls", false, {{"charls", OneJpegLs}}},
        {"grey16_jpeg2000", false, {kOpenJpeg}},
        {"grey12_jpeg2000_lossy", false, {kOpenJpeg}},
        {"grey12_htj2k", false, {{"openjph", OneJpeg2000<DecodeWithOpenJph>}, kOpenJpeg}},
    };
    for (const std::string aSide : {"64", "128"})
    {
        const std::string aNative = "small/grey16_" + aSide;
        Register(aNative + "/ours", BenchPart10, aNative);
        Register(aNative + "/dcmtk", LoadByDcmtk, aNative);
        Register(aNative + "_heap/ours", BenchPart10From, aNative,
                 std::ref(ProcessHeapMemoryAllocator::GetDefaultInstance()));
        Register(aNative + "_heap/dcmtk", LoadByDcmtk, aNative);
        for (const SmallCase& aCase : aCases)
        {
            const std::string anInput = std::string("small/") + aCase.itsName + "_" + aSide;
            Register(anInput + "/ours", Ours, anInput);
            if (aCase.itsIsForDcmtk)
            {
                Register(anInput + "/dcmtk", BenchDcmtk, anInput);
            }
            for (const Peer& aPeer : aCase.itsPeers)
            {
                Register(anInput + "/" + aPeer.itsName, Alone, anInput, aPeer.itsDecode);
            }
        }
    }
    return true;
}();
} // namespace
