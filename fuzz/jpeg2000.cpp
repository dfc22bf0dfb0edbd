// SPDX-License-Identifier: Apache-2.0
// A JPEG 2000 frame through the driver, in the three tolerances.
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
    return 0;
}
