// SPDX-License-Identifier: Apache-2.0
// An RLE frame through the driver.
#include "FrameDecode.h"
#include "toolkit/dicom/TransferSyntaxType.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* theData, std::size_t theSize)
{
    SetFuzzLimits();
    FuzzInput anInput(theData, theSize);
    const int aSlack = anInput.TakeOne({0, 0, 0, 1, -1, 100, -100});
    DecodeFrame(FuzzFrame(anInput), TransferSyntaxType::TSRLEUID, aSlack);
    return 0;
}
