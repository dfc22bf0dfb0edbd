// SPDX-License-Identifier: Apache-2.0
#include "decompressors/DICOMPart10StreamDecompressor.h"

#include <memory>
#include <optional>

#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "decompressors/detail/Part10FrameLoader.h"
#include "decompressors/detail/Part10FrontEnd.h"
#include "decompressors/detail/SlideDecode.h"
#include "image/VMMemoryAllocator.h"
#include "pixels/DecompressionLibUtils.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/MVRFactory.h"

namespace
{
constexpr const char* kClassName = "DICOMPart10StreamDecompressor";
} // namespace

DICOMPart10StreamDecompressor::DICOMPart10StreamDecompressor()
    : DICOMPart10StreamDecompressor(VMMemoryAllocator::GetDefaultInstance())
{
}

DICOMPart10StreamDecompressor::DICOMPart10StreamDecompressor(MemoryAllocater& theAllocator)
    : itsMemoryAllocator(theAllocator)
{
}

void DICOMPart10StreamDecompressor::Decompress(DecompressionRequest& theRequest,
                                               DecompressionResult& theResult)
{
    Part10FrontEnd::Serve(theRequest, itsMemoryAllocator, kClassName, theResult,
                          [&](Part10FrontEnd& theFrontEnd) { Decode(theFrontEnd, theResult); });
}

void DICOMPart10StreamDecompressor::Decode(Part10FrontEnd& theFrontEnd, DecompressionResult& theResult)
{
    Part10FrameLoader aLoader(theFrontEnd, kClassName);
    const std::optional<TotalPixelMatrix> aMatrix =
        theFrontEnd.GetRequest().getRegion()
            ? TotalPixelMatrix::Read(theFrontEnd.GetDataSet(), theFrontEnd.GetAttributes())
            : std::nullopt;
    std::unique_ptr<Renderable> anImage = aMatrix ? SlideDecode(theFrontEnd, aLoader, *aMatrix).Run()
                                                  : aLoader.Load(theFrontEnd.GetRequest().getFrameIndex());
    if (!theFrontEnd.IsDataSetPrivate())
    {
        FixUpDataSet(theFrontEnd.GetDataSet(), *anImage, theResult);
    }
    anImage->setTotalTimeTakenToLoad(theFrontEnd.GetTotalTime());
    theResult.setRenderable(anImage.release());
}

void DICOMPart10StreamDecompressor::FixUpDataSet(DICOMDataObject& theDataSet, Renderable& theImage,
                                                 DecompressionResult& theResult)
{
    MVRFactory aFactory(theDataSet.GetDataDictionary(), theDataSet.GetEndian(),
                        theImage.getMemoryAllocator());
    // The element says what byte order the pixels have now, so that the fix-up leaves them alone.
    const std::unique_ptr<BufferVR> aPixels = aFactory.CreatePixelData(
        theImage.getPixelData(), theImage.getPixelDataSize(), VR::TYPE_OW,
        theImage.isPixelDataLittleEndian() ? DLEndian::LITTLE_ENDIAN_ORDER : DLEndian::BIG_ENDIAN_ORDER);
    if (!DecompressionLibUtils::FixupDICOMObjectFromRenderable(&theDataSet, &theImage, aFactory,
                                                               aPixels.get(), "", false, theResult))
    {
        throw DLRuntimeException("the data set could not be brought in line with the decoded image");
    }
}
