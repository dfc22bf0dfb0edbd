// SPDX-License-Identifier: Apache-2.0
// The fix-up of a data set of any content after an image of any description, twice.
#include <memory>

#include "DataSetBytes.h"
#include "FuzzImage.h"
#include "pixels/DecompressionLibUtils.h"
#include "toolkit/dicom/MVRFactory.h"

int LLVMFuzzerTestOneInput(const std::uint8_t* theData, std::size_t theSize)
{
    SetFuzzLimits();
    FuzzInput anInput(theData, theSize);
    const char* const aCompression = anInput.TakeOne({"", "JPG", "JP2", "jpg", "other"});
    const bool isMarked = anInput.TakeFlag();
    const bool hasElement = anInput.TakeFlag();
    const DLEndian::Endian anEndian =
        anInput.TakeFlag() ? DLEndian::BIG_ENDIAN_ORDER : DLEndian::LITTLE_ENDIAN_ORDER;
    FuzzAllocator anAllocator;
    const std::unique_ptr<Renderable> anImage = MakeFuzzImage(anInput, {}, anAllocator);
    DICOMDataObject aDataSet(anEndian);
    ReadDataSet(anInput.GetRest(), aDataSet, anAllocator);
    try
    {
        for (int i = 0; i < 2; ++i)
        {
            MVRFactory aFactory(aDataSet.GetDataDictionary(), aDataSet.GetEndian(), anAllocator);
            const std::unique_ptr<BufferVR> anElement = aFactory.CreatePixelData(
                anImage->getPixelData(), anImage->getPixelDataSize(), VR::TYPE_OW, anEndian);
            DecompressionResult aResult;
            Require(DecompressionLibUtils::FixupDICOMObjectFromRenderable(
                        &aDataSet, anImage.get(), aFactory, hasElement ? anElement.get() : nullptr,
                        aCompression, isMarked, aResult),
                    "the answer is always true");
        }
    }
    catch (const ExceptionBase& anException)
    {
        Require(!anException.GetMessageText().empty(), "every exception has a text");
    }
    return 0;
}
