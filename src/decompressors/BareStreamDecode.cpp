// SPDX-License-Identifier: Apache-2.0
#include "decompressors/BareStreamDecode.h"

#include <algorithm>
#include <limits>

#include "codecs/sources/CompressedSources.h"
#include "decoding/CodecTable.h"
#include "decompressors/CompressedImageStreamDecompressor.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "image/Renderable.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/io/InputStream.h"

namespace
{
/// Bytes from the stream's position to its end, as many as a request can count; 0 where unknown.
std::uint32_t LengthLeft(const InputStream& theStream)
{
    const long long aRest = theStream.Length() - static_cast<long long>(theStream.GetStreamPosition());
    return static_cast<std::uint32_t>(
        std::clamp<long long>(aRest, 0, std::numeric_limits<std::uint32_t>::max()));
}
} // namespace

std::unique_ptr<Renderable> BareStreamDecode::Run(InputStream& theStream, JImageType theType, int theScale,
                                                  const std::optional<PixelRegion>& theRegion,
                                                  ReadingContext& theContext)
{
    const CodecRow* const aRow = CodecTable::FindImageType(theType, theContext.GetReading());
    if (aRow == nullptr)
    {
        throw StreamIOException("BareStreamDecode::Run: no codec for image type " + std::to_string(theType),
                                DLRC_NO_DECODER, 0);
    }
    InputStreamAdapter aSource(theStream);
    DecompressionRequest aRequest(&aSource, nullptr, "", true, theScale, 0, aRow->itsUID, false);
    aRequest.setSourceLength(LengthLeft(theStream));
    aRequest.setReading(theContext.GetReading());
    aRequest.setRegion(theRegion);
    aRequest.setSilent(theContext.IsSilent());
    DecompressionResult aResult;
    CompressedImageStreamDecompressor().Decompress(aRequest, aResult);
    std::unique_ptr<Renderable> anImage(aResult.getRenderable());
    aResult.setRenderable(nullptr); // the image is ours now
    theContext.Add(aResult.getWarnings());
    if (aResult.getDCMLibResultCode() != DLRC_SUCCESS || !anImage)
    {
        throw StreamIOException(aResult.getMessage(), aResult.getDCMLibResultCode(),
                                aResult.getSystemErrorCode());
    }
    return anImage;
}
