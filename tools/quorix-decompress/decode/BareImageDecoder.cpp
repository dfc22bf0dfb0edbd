// SPDX-License-Identifier: Apache-2.0
#include "decode/BareImageDecoder.h"

#include "decoding/CodecTable.h"
#include "decompressors/BareStreamDecode.h"
#include "toolkit/base/System.h"

void BareImageDecoder::DecodeInto(DecodedFrame& theResult)
{
    if (theResult.itsFrame != 0)
    {
        theResult.Fail(DLRC_GENERAL_FAILURE, 0, "no such frame: this input has one");
        return;
    }
    DMTickCounter aCounter;
    const std::unique_ptr<InputStream> aStream = itsSource.Open();
    const double anOpenTime = aCounter.Lap() * 1000.0;
    theResult.itsRenderable = BareStreamDecode::Run(*aStream, itsKind, itsScale);
    theResult.itsResultCode = DLRC_SUCCESS;
    theResult.itsMessage = "Completed successfully";
    if (theResult.itsRenderable->getTimeTakenToOpenStream() <= 0.0)
    {
        theResult.itsRenderable->setTimeTakenToOpenStream(anOpenTime);
    }
    if (theResult.itsRenderable->isLossyImageCompression())
    {
        theResult.itsCompressionKind = CodecTable::FindBareStream(itsKind, false)->GetLossyKind(true);
    }
}
