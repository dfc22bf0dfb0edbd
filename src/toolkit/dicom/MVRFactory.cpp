// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/MVRFactory.h"

#include <algorithm>

#include <dcmtk/config/osconfig.h>

#include <dcmtk/dcmdata/dcelem.h>

#include "toolkit/dicom/detail/DICOMObjectAccess.h"
#include "toolkit/dicom/detail/DcmtkBridge.h"
#include "toolkit/dicom/detail/ElementValue.h"

namespace
{
constexpr std::uint16_t TYPE_US = VR::MakeTypeCode('U', 'S');

std::vector<std::uint8_t> Encode(const std::vector<std::uint16_t>& theValues)
{
    std::vector<std::uint8_t> aBytes;
    aBytes.reserve(theValues.size() * 2);
    for (const std::uint16_t aValue : theValues)
    {
        aBytes.push_back(static_cast<std::uint8_t>(aValue & 0xff));
        aBytes.push_back(static_cast<std::uint8_t>(aValue >> 8));
    }
    return aBytes;
}

/// Where an element of theCreator belongs in theTarget: the first block that the set reserves for it.
DICOMTag PrivateTag(DICOMObject& theTarget, const RWCString& theCreator, std::uint8_t theElement)
{
    theTarget.ReservePrivateBlock(theCreator);
    const DICOMTag aBlock = DICOMObjectAccess::FindPrivateBlocks(theTarget, theCreator).front();
    return {aBlock.itsGroup, static_cast<std::uint16_t>(aBlock.itsElement << 8 | theElement)};
}
} // namespace

MVRFactory::MVRFactory(const DataDictionary& theDictionary, DLEndian::Endian theEndian,
                       MemoryAllocater& theAllocator)
    : itsDictionary(theDictionary), itsEndian(theEndian), itsAllocator(theAllocator)
{
}

std::unique_ptr<VR> MVRFactory::CreateString(DICOMTag theTag, const RWCString& theValue) const
{
    return CreateString(theTag, DcmtkBridge::LookUpTextTypeCode(theTag), theValue);
}

std::unique_ptr<VR> MVRFactory::CreateString(DICOMTag theTag, std::uint16_t theTypeCode,
                                             const RWCString& theValue) const
{
    return std::make_unique<ElementVR>(DcmtkBridge::MakeText(theTag, theTypeCode, theValue), itsEndian);
}

std::unique_ptr<VR> MVRFactory::CreateUnsignedShort(DICOMTag theTag, std::uint16_t theValue) const
{
    return std::make_unique<ElementVR>(DcmtkBridge::MakeUnsignedShort(theTag, theValue), itsEndian);
}

std::unique_ptr<VR> MVRFactory::CreateUnsignedShorts(DICOMTag theTag,
                                                     const std::vector<std::uint16_t>& theValues) const
{
    const std::vector<std::uint8_t> aBytes = Encode(theValues);
    return std::make_unique<ElementVR>(DcmtkBridge::MakeElement(theTag, TYPE_US,
                                                                DLEndian::LITTLE_ENDIAN_ORDER, aBytes.data(),
                                                                aBytes.size()),
                                       itsEndian);
}

std::unique_ptr<VR> MVRFactory::CreateBytes(DICOMTag theTag, std::uint16_t theTypeCode,
                                            const std::vector<std::uint8_t>& theValue) const
{
    if (theTag != DICOMTags::PixelData)
    {
        return std::make_unique<ElementVR>(
            DcmtkBridge::MakeElement(theTag, theTypeCode, itsEndian, theValue.data(), theValue.size()),
            itsEndian);
    }
    const auto free = [this](void* theBlock) { itsAllocator.Free(theBlock); };
    const std::size_t aSize = std::max<std::size_t>(theValue.size(), 1);
    std::unique_ptr<void, decltype(free)> aBlock(itsAllocator.Allocate(aSize), free);
    std::copy(theValue.begin(), theValue.end(), static_cast<std::uint8_t*>(aBlock.get()));
    auto aVR = std::make_unique<BufferVR>(theTag, theTypeCode, itsEndian, aBlock.get(), theValue.size());
    aVR->TakeOwnership(itsAllocator);
    static_cast<void>(aBlock.release()); // the element owns it now
    return aVR;
}

std::unique_ptr<VR> MVRFactory::CreateUID(DICOMTag theTag, const RWCString& theValue) const
{
    return CreateString(theTag, VR::MakeTypeCode('U', 'I'), theValue);
}

std::unique_ptr<VR> MVRFactory::CreateSequence(DICOMTag theTag) const
{
    return std::make_unique<ElementVR>(DcmtkBridge::MakeSequence(theTag), itsEndian);
}

std::unique_ptr<VR> MVRFactory::CreatePrivateUnsignedShort(DICOMObject& theTarget,
                                                           const RWCString& theCreator,
                                                           const RWCString& theName,
                                                           std::uint16_t theValue) const
{
    const auto* aDefinition = itsDictionary.FindPrivateElement(theCreator, theName);
    return aDefinition != nullptr
               ? CreateUnsignedShort(PrivateTag(theTarget, theCreator, aDefinition->itsElement), theValue)
               : nullptr;
}

std::unique_ptr<VR> MVRFactory::CreatePrivateString(DICOMObject& theTarget, const RWCString& theCreator,
                                                    const RWCString& theName, const RWCString& theValue) const
{
    const auto* aDefinition = itsDictionary.FindPrivateElement(theCreator, theName);
    return aDefinition != nullptr ? CreateString(PrivateTag(theTarget, theCreator, aDefinition->itsElement),
                                                 aDefinition->itsTypeCode, theValue)
                                  : nullptr;
}

std::unique_ptr<BufferVR> MVRFactory::CreatePixelData(void* theBuffer, std::uint64_t theSize,
                                                      std::uint16_t theTypeCode,
                                                      DLEndian::Endian theEndian) const
{
    return std::make_unique<BufferVR>(DICOMTags::PixelData, theTypeCode, theEndian, theBuffer, theSize);
}
