// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/DICOMObject.h"

#include <limits>
#include <optional>
#include <utility>

#include <dcmtk/config/osconfig.h>

#include <dcmtk/dcmdata/dcsequen.h>

#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/ScratchpadKeys.h"
#include "toolkit/dicom/detail/DICOMObjectAccess.h"
#include "toolkit/dicom/detail/DataSetLoader.h"
#include "toolkit/dicom/detail/DcmtkBridge.h"
#include "toolkit/dicom/detail/ElementParser.h"
#include "toolkit/dicom/detail/ElementValue.h"
#include "toolkit/dicom/detail/Part10Writer.h"

namespace
{
/// The block that is taken when this library reserves one: creator (1021,0016), elements (1021,16xx).
constexpr std::uint16_t kPrivateGroup = 0x1021;
constexpr std::uint16_t kPreferredBlock = 0x16;

struct PrivateMatch
{
    DcmElement* itsElement;
    std::uint16_t itsTypeCode;
};

template <class Integer>
bool Narrow(DcmElement* theElement, Integer& theValue)
{
    std::int64_t aNumber = 0;
    if (theElement == nullptr || !ElementValue(*theElement).GetInteger(aNumber) ||
        aNumber < std::numeric_limits<Integer>::min() || aNumber > std::numeric_limits<Integer>::max())
    {
        return false;
    }
    theValue = static_cast<Integer>(aNumber);
    return true;
}

DcmSequenceOfItems* FindSequence(const DICOMObject& theObject, DICOMTag theTag)
{
    return dynamic_cast<DcmSequenceOfItems*>(
        DcmtkBridge::Find(DICOMObjectAccess::GetItem(theObject), theTag));
}

/// Null where there is no such sequence or no such item.
DcmItem* ItemOf(DcmSequenceOfItems* theSequence, std::size_t theItem)
{
    return theSequence != nullptr && theItem < theSequence->card()
               ? theSequence->getItem(static_cast<unsigned long>(theItem))
               : nullptr;
}

bool GetText(DcmItem* theItem, DICOMTag theTag, RWCString& theValue)
{
    DcmElement* const anElement = theItem != nullptr ? DcmtkBridge::Find(*theItem, theTag) : nullptr;
    return anElement != nullptr && ElementValue(*anElement).GetText(theValue);
}

std::optional<PrivateMatch> FindPrivate(const DICOMObject& theObject, const RWCString& theCreator,
                                        const RWCString& theName)
{
    const auto* aDefinition = theObject.GetDataDictionary().FindPrivateElement(theCreator, theName);
    if (aDefinition == nullptr)
    {
        return std::nullopt;
    }
    for (const DICOMTag aBlock : DICOMObjectAccess::FindPrivateBlocks(theObject, theCreator))
    {
        const DICOMTag aTag{aBlock.itsGroup,
                            static_cast<std::uint16_t>(aBlock.itsElement << 8 | aDefinition->itsElement)};
        DcmElement* anElement = DcmtkBridge::Find(DICOMObjectAccess::GetItem(theObject), aTag);
        if (anElement != nullptr)
        {
            return PrivateMatch{anElement, aDefinition->itsTypeCode};
        }
    }
    return std::nullopt;
}

/// The DCMTK element of a VR that is about to go into a data set.
std::unique_ptr<DcmElement> TakeElement(VR& theVR)
{
    if (auto* anElementVR = dynamic_cast<ElementVR*>(&theVR))
    {
        auto anElement = anElementVR->Release();
        const std::uint16_t aCode = theVR.GetTypeCode();
        if (aCode == VR::TYPE_OB || aCode == VR::TYPE_OW)
        {
            anElement->setVR(aCode == VR::TYPE_OB ? EVR_OB : EVR_OW);
        }
        return anElement;
    }
    if (theVR.GetData() == nullptr)
    {
        throw DICOMLibException("DICOMObject::ReplaceVR: the value of element " +
                                    ElementHeader::Format(theVR.GetTag()) + " cannot be held in a data set",
                                DLRC_GENERAL_FAILURE, 0);
    }
    return DcmtkBridge::MakeElement(theVR.GetTag(), theVR.GetTypeCode(), theVR.GetEndian(), theVR.GetData(),
                                    static_cast<std::size_t>(theVR.GetLength()));
}

void Insert(DcmItem& theItem, std::unique_ptr<DcmElement> theElement)
{
    const DICOMTag aTag = DcmtkBridge::TagOf(*theElement);
    if (theItem.insert(theElement.get(), OFTrue).bad())
    {
        throw DICOMLibException("DICOMObject::ReplaceVR: element " + ElementHeader::Format(aTag) +
                                    " cannot be held in a data set",
                                DLRC_GENERAL_FAILURE, 0);
    }
    static_cast<void>(theElement.release()); // the item owns it now
}

void CopyPixelBytes(const VR& thePixelData, std::vector<std::uint8_t>& theValue)
{
    const auto* aData = static_cast<const std::uint8_t*>(thePixelData.GetData());
    theValue.assign(aData, aData + thePixelData.GetLength());
    if (thePixelData.GetTypeCode() == VR::TYPE_OW && thePixelData.GetEndian() == DLEndian::BIG_ENDIAN_ORDER)
    {
        for (std::size_t anIndex = 1; anIndex < theValue.size(); anIndex += 2)
        {
            std::swap(theValue[anIndex - 1], theValue[anIndex]);
        }
    }
}
} // namespace

DICOMObject::DICOMObject(DLEndian::Endian theEndian)
    : itsElements(std::make_unique<Elements>()), itsEndian(theEndian)
{
    DcmtkBridge::SilenceLogging();
}

DICOMObject::~DICOMObject() = default;

bool DICOMObject::GetString(DICOMTag theTag, RWCString& theValue) const
{
    DcmElement* anElement = DcmtkBridge::Find(itsElements->itsItem, theTag);
    return anElement != nullptr && ElementValue(*anElement).GetText(theValue);
}

bool DICOMObject::GetInteger(DICOMTag theTag, std::int32_t& theValue) const
{
    return Narrow(DcmtkBridge::Find(itsElements->itsItem, theTag), theValue);
}

bool DICOMObject::GetUnsignedShort(DICOMTag theTag, std::uint16_t& theValue) const
{
    return Narrow(DcmtkBridge::Find(itsElements->itsItem, theTag), theValue);
}

bool DICOMObject::GetBytes(DICOMTag theTag, std::vector<std::uint8_t>& theValue) const
{
    if (theTag == DICOMTags::PixelData)
    {
        if (itsPixelData)
        {
            CopyPixelBytes(*itsPixelData, theValue);
        }
        return itsPixelData != nullptr;
    }
    DcmElement* anElement = DcmtkBridge::Find(itsElements->itsItem, theTag);
    return anElement != nullptr && ElementValue(*anElement).GetBytes(DLEndian::LITTLE_ENDIAN_ORDER, theValue);
}

bool DICOMObject::Contains(DICOMTag theTag) const
{
    return theTag == DICOMTags::PixelData ? itsPixelData != nullptr
                                          : DcmtkBridge::Find(itsElements->itsItem, theTag) != nullptr;
}

bool DICOMObject::IsSequence(DICOMTag theTag) const
{
    return FindSequence(*this, theTag) != nullptr;
}

std::vector<DICOMTag> DICOMObject::GetTags() const
{
    std::vector<DICOMTag> aTags;
    bool isPixelDataPending = itsPixelData != nullptr;
    DICOMObjectAccess::ForEach(*this,
                               [&](DcmElement& theElement)
                               {
                                   const DICOMTag aTag = DcmtkBridge::TagOf(theElement);
                                   if (isPixelDataPending && aTag > DICOMTags::PixelData)
                                   {
                                       aTags.push_back(DICOMTags::PixelData);
                                       isPixelDataPending = false;
                                   }
                                   aTags.push_back(aTag);
                               });
    if (isPixelDataPending)
    {
        aTags.push_back(DICOMTags::PixelData);
    }
    return aTags;
}

void DICOMObject::ReplaceVR(std::unique_ptr<VR> theVR)
{
    if (!theVR)
    {
        return;
    }
    if (theVR->GetTag() != DICOMTags::PixelData)
    {
        Insert(itsElements->itsItem, TakeElement(*theVR));
        return;
    }
    if (theVR->GetData() == nullptr && theVR->GetLength() > 0)
    {
        throw DICOMLibException(
            "DICOMObject::ReplaceVR: pixel data that is a stream cannot be held in a data set",
            DLRC_GENERAL_FAILURE, 0);
    }
    itsPixelData = std::move(theVR);
}

void DICOMObject::PutUnsignedShort(DICOMTag theTag, std::uint16_t theValue)
{
    DcmElement* const aPresent = DcmtkBridge::Find(itsElements->itsItem, theTag);
    if (aPresent == nullptr || !ElementValue::IsUnsignedShort(*aPresent, theValue))
    {
        Insert(itsElements->itsItem, DcmtkBridge::MakeUnsignedShort(theTag, theValue));
    }
}

void DICOMObject::PutString(DICOMTag theTag, const RWCString& theValue)
{
    const std::uint16_t aTypeCode = DcmtkBridge::LookUpTextTypeCode(theTag);
    DcmElement* const aPresent = DcmtkBridge::Find(itsElements->itsItem, theTag);
    if (aPresent == nullptr || !ElementValue::IsText(*aPresent, aTypeCode, theValue))
    {
        Insert(itsElements->itsItem, DcmtkBridge::MakeText(theTag, aTypeCode, theValue));
    }
}

bool DICOMObject::AddVR(std::unique_ptr<VR>&& theVR)
{
    if (!theVR || Contains(theVR->GetTag()))
    {
        return false;
    }
    ReplaceVR(std::move(theVR));
    return true;
}

std::unique_ptr<VR> DICOMObject::RemoveVR(DICOMTag theTag)
{
    if (theTag == DICOMTags::PixelData)
    {
        return std::move(itsPixelData);
    }
    std::unique_ptr<DcmElement> anElement(
        itsElements->itsItem.remove(DcmTagKey(theTag.itsGroup, theTag.itsElement)));
    return anElement ? std::make_unique<ElementVR>(std::move(anElement), itsEndian) : nullptr;
}

std::size_t DICOMObject::GetSequenceItemCount(DICOMTag theTag) const
{
    const DcmSequenceOfItems* aSequence = FindSequence(*this, theTag);
    return aSequence != nullptr ? aSequence->card() : 0;
}

bool DICOMObject::GetSequenceItemString(DICOMTag theSequence, std::size_t theItem, DICOMTag theTag,
                                        RWCString& theValue) const
{
    return GetText(ItemOf(FindSequence(*this, theSequence), theItem), theTag, theValue);
}

bool DICOMObject::GetNestedItemString(DICOMTag theSequence, std::size_t theItem, DICOMTag theInner,
                                      DICOMTag theTag, RWCString& theValue) const
{
    DcmItem* const anOuter = ItemOf(FindSequence(*this, theSequence), theItem);
    DcmElement* const anInner = anOuter != nullptr ? DcmtkBridge::Find(*anOuter, theInner) : nullptr;
    return GetText(ItemOf(dynamic_cast<DcmSequenceOfItems*>(anInner), 0), theTag, theValue);
}

void DICOMObject::ForEachSequenceItem(
    DICOMTag theSequence, const std::vector<ItemPlace>& thePlaces,
    const std::function<void(const std::vector<RWCString>&)>& theReceiver) const
{
    DcmSequenceOfItems* const aSequence = FindSequence(*this, theSequence);
    std::vector<RWCString> aTexts(thePlaces.size());
    // Not by index, which DCMTK counts out from the first item every time.
    for (DcmObject* anObject = aSequence != nullptr ? aSequence->nextInContainer(nullptr) : nullptr;
         anObject != nullptr; anObject = aSequence->nextInContainer(anObject))
    {
        for (std::size_t i = 0; i < thePlaces.size(); ++i)
        {
            aTexts[i].clear();
            auto* anItem = dynamic_cast<DcmItem*>(anObject);
            if (thePlaces[i].itsSequence != DICOMTags::None && anItem != nullptr)
            {
                DcmElement* const anInner = DcmtkBridge::Find(*anItem, thePlaces[i].itsSequence);
                anItem = ItemOf(dynamic_cast<DcmSequenceOfItems*>(anInner), 0);
            }
            GetText(anItem, thePlaces[i].itsTag, aTexts[i]);
        }
        theReceiver(aTexts);
    }
}

bool DICOMObject::AddSequenceItem(DICOMTag theSequence, DICOMObject& theItem)
{
    DcmSequenceOfItems* aSequence = FindSequence(*this, theSequence);
    if (aSequence == nullptr || &theItem == this)
    {
        return false;
    }
    auto anItem = std::make_unique<DcmItem>();
    if (theItem.itsPixelData)
    {
        Insert(*anItem, TakeElement(*theItem.itsPixelData));
        theItem.itsPixelData.reset();
    }
    const unsigned long aFirst = 0;
    while (std::unique_ptr<DcmElement> anElement{theItem.itsElements->itsItem.remove(aFirst)})
    {
        Insert(*anItem, std::move(anElement));
    }
    if (aSequence->append(anItem.get()).bad())
    {
        return false;
    }
    static_cast<void>(anItem.release()); // the sequence owns it now
    return true;
}

bool DICOMObject::ContainsPrivateCreator(const RWCString& theCreator) const
{
    return !DICOMObjectAccess::FindPrivateBlocks(*this, theCreator).empty();
}

bool DICOMObject::GetPrivateString(const RWCString& theCreator, const RWCString& theName,
                                   RWCString& theValue) const
{
    const auto aMatch = FindPrivate(*this, theCreator, theName);
    return aMatch && ElementValue(*aMatch->itsElement, aMatch->itsTypeCode).GetText(theValue);
}

bool DICOMObject::GetPrivateInteger(const RWCString& theCreator, const RWCString& theName,
                                    std::int32_t& theValue) const
{
    const auto aMatch = FindPrivate(*this, theCreator, theName);
    std::int64_t aNumber = 0;
    if (!aMatch || !ElementValue(*aMatch->itsElement, aMatch->itsTypeCode).GetInteger(aNumber) ||
        aNumber < INT32_MIN || aNumber > INT32_MAX)
    {
        return false;
    }
    theValue = static_cast<std::int32_t>(aNumber);
    return true;
}

std::unique_ptr<VR> DICOMObject::RemovePrivateVR(const RWCString& theCreator, const RWCString& theName)
{
    const auto aMatch = FindPrivate(*this, theCreator, theName);
    return aMatch ? RemoveVR(DcmtkBridge::TagOf(*aMatch->itsElement)) : nullptr;
}

void DICOMObject::ReservePrivateBlock(const RWCString& theCreator)
{
    if (ContainsPrivateCreator(theCreator))
    {
        return;
    }
    const std::uint16_t aCount = DICOMObjectAccess::LAST_BLOCK - DICOMObjectAccess::FIRST_BLOCK + 1;
    for (std::uint16_t aStep = 0; aStep < aCount; ++aStep)
    {
        const auto aBlock =
            static_cast<std::uint16_t>(DICOMObjectAccess::FIRST_BLOCK +
                                       (kPreferredBlock - DICOMObjectAccess::FIRST_BLOCK + aStep) % aCount);
        const DICOMTag aTag{kPrivateGroup, aBlock};
        if (!Contains(aTag))
        {
            Insert(itsElements->itsItem, DcmtkBridge::MakeElement(aTag, VR::MakeTypeCode('L', 'O'), itsEndian,
                                                                  theCreator.data(), theCreator.size()));
            return;
        }
    }
    throw DICOMLibException("DICOMObject::ReservePrivateBlock: no private block is free",
                            DLRC_GENERAL_FAILURE, 0);
}

bool DICOMObject::GetScratchpadValue(const RWCString& theName, RWCString& theValue) const
{
    const auto aPosition = itsScratchpad.find(theName);
    if (aPosition == itsScratchpad.end())
    {
        return false;
    }
    theValue = aPosition->second;
    return true;
}

void DICOMObject::SetScratchpadValue(const RWCString& theName, const RWCString& theValue)
{
    itsScratchpad[theName] = theValue;
}

void DICOMObject::ForgetDecoding()
{
    for (const char* aName :
         {ScratchpadKeys::DecompOrigPhotoInterp, ScratchpadKeys::DecompOrigSamplesPerPixel,
          ScratchpadKeys::DecompOrigPlanarConfig})
    {
        itsScratchpad.erase(aName);
    }
}

void DICOMObject::CopyAttributes(const DICOMObject& theOther)
{
    itsElements->itsItem = theOther.itsElements->itsItem;
    itsScratchpad = theOther.itsScratchpad;
    itsEndian = theOther.itsEndian;
}

bool DICOMObject::LoadFromFile(const RWCString& thePath, DLResultCode& theResultCode, int& theSystemErrorCode,
                               DICOMTag theStopTag)
{
    return DataSetLoader(*this, theStopTag).Load(thePath, theResultCode, theSystemErrorCode);
}

void DICOMObject::SaveToFile(const RWCString& thePath, const RWCString& theTransferSyntaxUID) const
{
    Part10Writer(*this, theTransferSyntaxUID).Write(thePath);
}
