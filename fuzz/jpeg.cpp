// SPDX-License-Identifier: Apache-2.0
// A JPEG frame of any precision through the driver, and on both roads, which must agree to the bit and to the
// letter, whatever the bytes.
#include <algorithm>
#include <set>
#include <string>
#include <type_traits>

#include "FrameDecode.h"
#include "codecs/JPEG12BitDecoder.h"
#include "codecs/JPEG16BitDecoder.h"
#include "codecs/JPEG8BitDecoder.h"
#include "codecs/detail/JPEGRoad.h"
#include "support/WildBlocks.h"
#include "toolkit/dicom/TransferSyntaxType.h"

namespace
{
/// Whether a scan names a component twice. Behind the first scan the library decodes such components into
/// each other, which no encoder can want and nobody else does.
bool HasRepeatingScan(const Bytes& theStream)
{
    constexpr std::size_t theMostComponents = 4;
    for (std::size_t i = 0; i + 5 + 2 * theMostComponents <= theStream.size(); ++i)
    {
        if (theStream[i] != 0xff || theStream[i + 1] != 0xda)
        {
            continue;
        }
        std::set<std::uint8_t> aComponents;
        const std::size_t aCount = std::min<std::size_t>(theStream[i + 4], theMostComponents);
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

struct RoadOutcome
{
    Bytes itsPixels;
    std::string itsError;
    bool operator==(const RoadOutcome&) const = default;
};

template <class Codec>
RoadOutcome DecodeOn(JPEGRoad theRoad, const FuzzFrame& theFrame)
{
    Codec aCodec;
    aCodec.SetRoad(theRoad);
    DICOMDataObject aDataSet;
    theFrame.Describe(aDataSet);
    ByteSource aSource(theFrame.itsBytes, 97);
    RoadOutcome anOutcome;
    try
    {
        aCodec.SetSource(&aDataSet, aSource);
        if (aCodec.GetOutputSize() <= Limits::Get().itsBytesPerFrame)
        {
            Bytes aPixels(aCodec.GetOutputSize(), theRoad == JPEGRoad::LIBRARY ? 0x00 : 0x5a);
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
void CompareRoads(const FuzzFrame& theFrame)
{
    const RoadOutcome aFast = DecodeOn<Codec>(JPEGRoad::FAST, theFrame);
    const RoadOutcome aLibrary = DecodeOn<Codec>(JPEGRoad::LIBRARY, theFrame);
    Require(aFast.itsError == aLibrary.itsError, "both roads end alike");
    if (aFast.itsPixels != aLibrary.itsPixels)
    {
        const bool mayWrap = std::is_same_v<Codec, JPEG8BitDecoder> && HasWildBlock(theFrame.itsBytes);
        Require(mayWrap || HasRepeatingScan(theFrame.itsBytes), "both roads deliver the same pixels");
    }
}
} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* theData, std::size_t theSize)
{
    SetFuzzLimits();
    FuzzInput anInput(theData, theSize);
    const RWCString* const theSyntaxes[] = {
        &TransferSyntaxType::TSJPEG50UID, &TransferSyntaxType::TSJPEG51UID, &TransferSyntaxType::TSJPEG57UID,
        &TransferSyntaxType::TSJPEG70UID};
    const RWCString& aUID = *anInput.TakeOne(theSyntaxes);
    const int aBuild = anInput.TakeNumber(0, 2);
    const FuzzFrame aFrame(anInput);
    DecodeFrame(aFrame, aUID, 0);
    switch (aBuild)
    {
    case 0:
        CompareRoads<JPEG8BitDecoder>(aFrame);
        break;
    case 1:
        CompareRoads<JPEG12BitDecoder>(aFrame);
        break;
    default:
        CompareRoads<JPEG16BitDecoder>(aFrame);
    }
    return 0;
}
