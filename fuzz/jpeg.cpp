// SPDX-License-Identifier: Apache-2.0
// A JPEG frame of any precision through the driver, and on both paths, which must agree to the bit and to the
// letter, whatever the bytes.
#include <algorithm>
#include <set>
#include <string>
#include <type_traits>

#include "FrameDecode.h"
#include "WildBlocks.h"
#include "codecs/jpeg/JPEGDecoders.h"
#include "codecs/jpeg/detail/JPEGLibrary.h"
#include "toolkit/dicom/TransferSyntaxType.h"

namespace
{
/// Whether a scan names a component twice. Behind the first scan the library decodes such components into
/// each other, which no encoder can want and nobody else does.
bool HasRepeatingScan(const Bytes& theStream)
{
    constexpr std::size_t kMostComponents = 4;
    for (std::size_t i = 0; i + 5 + 2 * kMostComponents <= theStream.size(); ++i)
    {
        if (theStream[i] != 0xff || theStream[i + 1] != 0xda)
        {
            continue;
        }
        std::set<std::uint8_t> aComponents;
        const std::size_t aCount = std::min<std::size_t>(theStream[i + 4], kMostComponents);
        for (std::size_t k = 0; k < aCount; ++k)
        {
            aComponents.insert(theStream[i + 5 + 2 * k]);
        }
        if (aComponents.size() < aCount)
        {
            return true;
        }
    }
    return false;
}

struct PathOutcome
{
    Bytes itsPixels;
    std::string itsError;
    bool operator==(const PathOutcome&) const = default;
};

template <class Codec>
PathOutcome DecodeOn(JPEGPath thePath, const FuzzFrame& theFrame)
{
    Codec aCodec;
    aCodec.SetPath(thePath);
    DICOMDataObject aDataSet;
    theFrame.Describe(aDataSet);
    ByteSource aSource(theFrame.itsBytes, 97);
    PathOutcome anOutcome;
    try
    {
        aCodec.SetSource(&aDataSet, aSource);
        if (aCodec.GetOutputSize() <= Limits::Get().itsBytesPerFrame)
        {
            Bytes aPixels(aCodec.GetOutputSize(), thePath == JPEGPath::LIBRARY ? 0x00 : 0x5a);
            aCodec.Decode(0, aPixels.data(), aPixels.size());
            anOutcome.itsPixels = std::move(aPixels);
        }
    }
    catch (const ExceptionBase& anException)
    {
        anOutcome.itsError = anException.GetMessageText();
    }
    return anOutcome;
}

template <class Codec>
void ComparePaths(const FuzzFrame& theFrame)
{
    const PathOutcome aFast = DecodeOn<Codec>(JPEGPath::FAST, theFrame);
    const PathOutcome aLibrary = DecodeOn<Codec>(JPEGPath::LIBRARY, theFrame);
    Require(aFast.itsError == aLibrary.itsError, "both paths end alike");
    if (aFast.itsPixels != aLibrary.itsPixels)
    {
        const bool mayWrap = std::is_same_v<Codec, JPEG8BitDecoder> && HasWildBlock(theFrame.itsBytes);
        Require(mayWrap || HasRepeatingScan(theFrame.itsBytes), "both paths deliver the same pixels");
    }
}

/// How large an image an input may have, in samples: so many in all its scans, as each costs a pass over the
/// image however few bytes it has. So large images are seen, too, as far as their bytes would let them past
/// the decompressors: 1024 pixels each.
std::uint64_t GetAreaBudget(const std::uint8_t* theData, std::size_t theSize)
{
    constexpr std::uint64_t kFewest = std::uint64_t{1} << 18;
    constexpr std::uint64_t kMost = std::uint64_t{1} << 22;
    constexpr std::uint64_t kMostOfAllScans = std::uint64_t{1} << 28;
    constexpr std::uint64_t kPixelsPerByte = 1024;
    std::uint64_t aScans = 1;
    for (std::size_t i = 1; i < theSize; ++i)
    {
        aScans += theData[i - 1] == 0xff && theData[i] == 0xda ? 1 : 0;
    }
    return std::clamp(std::min(kPixelsPerByte * theSize, kMostOfAllScans / aScans), kFewest, kMost);
}
} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* theData, std::size_t theSize)
{
    SetFuzzLimits(GetAreaBudget(theData, theSize));
    FuzzInput anInput(theData, theSize);
    const char* const kSyntaxes[] = {TransferSyntaxType::TSJPEG50UID, TransferSyntaxType::TSJPEG51UID,
                                     TransferSyntaxType::TSJPEG57UID, TransferSyntaxType::TSJPEG70UID};
    const RWCString aUID = anInput.TakeOne(kSyntaxes);
    const int aBuild = anInput.TakeNumber(0, 2);
    const FuzzFrame aFrame(anInput);
    DecodeFrame(aFrame, aUID, 0);
    switch (aBuild)
    {
    case 0:
        ComparePaths<JPEG8BitDecoder>(aFrame);
        break;
    case 1:
        ComparePaths<JPEG12BitDecoder>(aFrame);
        break;
    default:
        ComparePaths<JPEG16BitDecoder>(aFrame);
    }
    return 0;
}
