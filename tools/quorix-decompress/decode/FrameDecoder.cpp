// SPDX-License-Identifier: Apache-2.0
#include "decode/FrameDecoder.h"

#include "decode/BareImageDecoder.h"
#include "decode/DICOMFrameDecoder.h"
#include "toolkit/base/System.h"

DecodedFrame FrameDecoder::Decode(int theFrame)
{
    DecodedFrame aFrame;
    aFrame.itsFrame = theFrame;
    const DMTickCounter aCounter;
    try
    {
        DecodeInto(aFrame);
    }
    catch (...)
    {
        aFrame.FailWithCurrentException();
    }
    if (aFrame.IsDecoded() && aFrame.itsRenderable->getTotalTimeTakenToLoad() <= 0.0)
    {
        aFrame.itsRenderable->setTotalTimeTakenToLoad(aCounter.Total() * 1000.0);
    }
    return aFrame;
}

std::unique_ptr<FrameDecoder> FrameDecoder::Create(JImageType theKind, const InputSource& theSource,
                                                   int theScale)
{
    if (theKind == IMAGE_TYPE_DICOM_PART10)
    {
        return std::make_unique<DICOMFrameDecoder>(theSource, theScale);
    }
    return std::make_unique<BareImageDecoder>(theKind, theSource, theScale);
}
