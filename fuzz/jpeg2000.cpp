// SPDX-License-Identifier: Apache-2.0
// A JPEG 2000 frame through the driver, in the three tolerances, and a region of it.
#include "FrameDecode.h"
#include "toolkit/dicom/TransferSyntaxType.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* theData, std::size_t theSize)
{
    SetFuzzLimits();
    FuzzInput anInput(theData, theSize);
    const RWCString& aUID =
        anInput.TakeFlag() ? TransferSyntaxType::TSJPEG2KUID : TransferSyntaxType::TSJPEG2KLosslessUID;
    FuzzFrame aFrame(anInput);
    for (const auto aTolerance : {Decoder::PET_FAST, Decoder::PET_RESILIENT, Decoder::PET_FUSSY})
    {
        aFrame.itsTolerance = aTolerance;
        DecodeFrame(aFrame, aUID, 0);
    }
    // The codestream has rows and columns of its own, so those of the data set may name the region; the
    // buffer is no larger then.
    constexpr unsigned kPlaces = 16;
    const auto aColumns = static_cast<unsigned>(aFrame.itsColumns);
    const auto aRows = static_cast<unsigned>(aFrame.itsRows);
    aFrame.itsRegion = {aColumns % kPlaces, aRows % kPlaces, 1 + aColumns / kPlaces, 1 + aRows / kPlaces};
    aFrame.itsColumns = static_cast<int>(aFrame.itsRegion->itsWidth);
    aFrame.itsRows = static_cast<int>(aFrame.itsRegion->itsHeight);
    for (const auto aTolerance : {Decoder::PET_FAST, Decoder::PET_RESILIENT})
    {
        aFrame.itsTolerance = aTolerance;
        DecodeFrame(aFrame, aUID, 0);
    }
    return 0;
}
