// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/detail/Part10Writer.h"

#include <algorithm>
#include <vector>

#include <dcmtk/config/osconfig.h>

#include <dcmtk/dcmdata/dcuid.h>
#include <dcmtk/dcmdata/dcwcache.h>

#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/TransferSyntaxManager.h"
#include "toolkit/dicom/detail/DICOMObjectAccess.h"
#include "toolkit/dicom/detail/DcmtkBridge.h"
#include "toolkit/dicom/detail/ElementParser.h"

namespace
{
constexpr std::uint16_t kFileMetaGroup = 0x0002;
constexpr DICOMTag kMediaStorageSOPClassUID{0x0002, 0x0002};
constexpr DICOMTag kMediaStorageSOPInstanceUID{0x0002, 0x0003};

/// Names this implementation, as PS3.10 7.1 wants it; a UUID-derived UID needs no registration.
constexpr const char* kImplementationClassUID = "2.25.239648110557301245377401838046103915467";
constexpr const char* kImplementationVersion = "QUORIX_DL_0_1";
constexpr const char* kSecondaryCaptureUID = "1.2.840.10008.5.1.4.1.1.7";

/// Pixel bytes whose order changes go through a piece of memory of this size, a multiple of every word.
constexpr std::size_t kChunkSize = 64u << 10;

/// Bytes before the pixels that do not fit into a length of 32 bits: FFFFFFFF means undefined.
constexpr std::uint64_t kLongestValue = 0xfffffffdu;

class ConsumerStream final : public DcmOutputStream
{
public:
    explicit ConsumerStream(FileConsumer& theFile) : DcmOutputStream(&theFile) {}
};

RWCString FirstText(const DICOMObject& theSource, DICOMTag theFirst, DICOMTag theSecond)
{
    RWCString aText;
    if (!theSource.GetString(theFirst, aText) || aText.empty())
    {
        theSource.GetString(theSecond, aText);
    }
    return aText;
}

RWCString MakeUID()
{
    char aUID[100];
    return dcmGenerateUniqueIdentifier(aUID);
}

void AddText(DcmItem& theItem, DICOMTag theTag, std::uint16_t theTypeCode, const RWCString& theText)
{
    auto anElement = DcmtkBridge::MakeText(theTag, theTypeCode, theText);
    if (theItem.insert(anElement.get(), OFTrue).good())
    {
        static_cast<void>(anElement.release()); // the item owns it now
    }
}

E_TransferSyntax ToDcmtk(bool isExplicitVR, DLEndian::Endian theEndian)
{
    if (!isExplicitVR)
    {
        return EXS_LittleEndianImplicit;
    }
    return theEndian == DLEndian::BIG_ENDIAN_ORDER ? EXS_BigEndianExplicit : EXS_LittleEndianExplicit;
}

void SwapWords(std::uint8_t* theBytes, std::size_t theCount, std::size_t theWidth)
{
    for (std::size_t anOffset = 0; anOffset + theWidth <= theCount; anOffset += theWidth)
    {
        std::reverse(theBytes + anOffset, theBytes + anOffset + theWidth);
    }
}

/// Writes pixel bytes with every word turned round.
void PutSwapped(FileConsumer& theFile, const std::uint8_t* theData, std::size_t theLength,
                std::size_t theWidth)
{
    std::vector<std::uint8_t> aChunk;
    for (std::size_t anOffset = 0; anOffset < theLength; anOffset += kChunkSize)
    {
        const std::size_t aCount = std::min(kChunkSize, theLength - anOffset);
        aChunk.assign(theData + anOffset, theData + anOffset + aCount);
        aChunk.resize(aCount + aCount % 2); // the padding byte is part of the last word
        SwapWords(aChunk.data(), aChunk.size(), theWidth);
        theFile.Put(aChunk.data(), aChunk.size());
    }
}

/// Elements that have no place in the data set being written: the file meta group is made anew, group
/// lengths are retired, offset tables describe encapsulated pixels.
bool IsLeftOut(DICOMTag theTag)
{
    return theTag.itsGroup <= kFileMetaGroup || theTag.itsElement == 0 ||
           theTag == DICOMTags::ExtendedOffsetTable || theTag == DICOMTags::ExtendedOffsetTableLengths;
}
} // namespace

Part10Writer::Part10Writer(const DICOMObject& theSource, const RWCString& theTransferSyntaxUID)
    : itsSource(theSource), itsTransferSyntaxUID(theTransferSyntaxUID)
{
    const auto* aType =
        TransferSyntaxManager::GetDefaultInstance().GetTransferSyntaxType(theTransferSyntaxUID);
    if (aType == nullptr || aType->IsEncapsulated() || aType->IsDeflated())
    {
        throw StreamIOException("DICOMObject::SaveToFile: cannot write transfer syntax " +
                                    theTransferSyntaxUID,
                                DLRC_GENERAL_FAILURE, 0);
    }
    itsExplicitVR = aType->IsExplicitVR();
    itsEndian = aType->GetEndian();
}

void Part10Writer::Write(const RWCString& thePath) const
{
    CheckPixelData(); // before the file is touched
    FileConsumer aFile(thePath);
    ConsumerStream aStream(aFile);
    WriteFileMeta(aFile, aStream);
    bool isPixelDataPending = itsSource.GetPixelData() != nullptr;
    DICOMObjectAccess::ForEach(itsSource,
                               [&](DcmElement& theElement)
                               {
                                   const DICOMTag aTag = DcmtkBridge::TagOf(theElement);
                                   if (IsLeftOut(aTag))
                                   {
                                       return;
                                   }
                                   if (isPixelDataPending && aTag > DICOMTags::PixelData)
                                   {
                                       WritePixelData(aFile);
                                       isPixelDataPending = false;
                                   }
                                   WriteElement(theElement, ToDcmtk(itsExplicitVR, itsEndian), aStream);
                               });
    if (isPixelDataPending)
    {
        WritePixelData(aFile);
    }
    aFile.Close();
}

void Part10Writer::CheckPixelData() const
{
    const VR* aPixelData = itsSource.GetPixelData();
    if (aPixelData == nullptr)
    {
        return;
    }
    if (aPixelData->GetData() == nullptr && aPixelData->GetLength() > 0)
    {
        throw StreamIOException("DICOMObject::SaveToFile: pixel data is not in memory", DLRC_GENERAL_FAILURE,
                                0);
    }
    if (aPixelData->GetLength() > kLongestValue)
    {
        throw StreamIOException("DICOMObject::SaveToFile: pixel data of " +
                                    std::to_string(aPixelData->GetLength()) +
                                    " bytes is too long for a DICOM file",
                                DLRC_GENERAL_FAILURE, 0);
    }
}

void Part10Writer::WriteElement(DcmElement& theElement, int theTransferSyntax,
                                DcmOutputStream& theStream) const
{
    DcmWriteCache aCache;
    theElement.transferInit();
    const OFCondition aStatus = theElement.write(theStream, static_cast<E_TransferSyntax>(theTransferSyntax),
                                                 EET_UndefinedLength, &aCache);
    theElement.transferEnd();
    if (aStatus.bad())
    {
        throw StreamIOException("DICOMObject::SaveToFile: cannot write element " +
                                    ElementHeader::Format(DcmtkBridge::TagOf(theElement)) + ": " +
                                    aStatus.text(),
                                DLRC_GENERAL_FAILURE, 0);
    }
}

void Part10Writer::WriteFileMeta(FileConsumer& theFile, DcmOutputStream& theStream) const
{
    constexpr auto aUI = VR::MakeTypeCode('U', 'I');
    RWCString aClass = FirstText(itsSource, DICOMTags::SOPClassUID, kMediaStorageSOPClassUID);
    RWCString anInstance = FirstText(itsSource, DICOMTags::SOPInstanceUID, kMediaStorageSOPInstanceUID);
    DcmItem aMeta;
    AddText(aMeta, {kFileMetaGroup, 0x0001}, VR::TYPE_OB, RWCString("\0\1", 2));
    AddText(aMeta, kMediaStorageSOPClassUID, aUI, aClass.empty() ? kSecondaryCaptureUID : aClass);
    AddText(aMeta, kMediaStorageSOPInstanceUID, aUI, anInstance.empty() ? MakeUID() : anInstance);
    AddText(aMeta, DICOMTags::TransferSyntaxUID, aUI, itsTransferSyntaxUID);
    AddText(aMeta, {kFileMetaGroup, 0x0012}, aUI, kImplementationClassUID);
    AddText(aMeta, {kFileMetaGroup, 0x0013}, VR::MakeTypeCode('S', 'H'), kImplementationVersion);

    const Uint32 aLength = aMeta.getLength(EXS_LittleEndianExplicit, EET_ExplicitLength);
    std::uint8_t aLengthBytes[4];
    for (unsigned anIndex = 0; anIndex < 4; ++anIndex)
    {
        aLengthBytes[anIndex] = static_cast<std::uint8_t>(aLength >> (8 * anIndex));
    }
    std::uint8_t aPreamble[132] = {};
    std::copy_n("DICM", 4, aPreamble + 128);
    theFile.Put(aPreamble, sizeof aPreamble);
    auto aGroupLength = DcmtkBridge::MakeElement({kFileMetaGroup, 0}, VR::MakeTypeCode('U', 'L'),
                                                 DLEndian::LITTLE_ENDIAN_ORDER, aLengthBytes, 4);
    WriteElement(*aGroupLength, EXS_LittleEndianExplicit, theStream);
    for (DcmObject* anObject = aMeta.nextInContainer(nullptr); anObject != nullptr;
         anObject = aMeta.nextInContainer(anObject))
    {
        WriteElement(static_cast<DcmElement&>(*anObject), EXS_LittleEndianExplicit, theStream);
    }
}

std::uint16_t Part10Writer::PixelTypeCode() const
{
    const std::uint16_t aCode = itsSource.GetPixelData()->GetTypeCode();
    if (aCode == VR::TYPE_OB || aCode == VR::TYPE_OW)
    {
        return aCode;
    }
    std::uint16_t aBitsAllocated = 0;
    itsSource.GetUnsignedShort(DICOMTags::BitsAllocated, aBitsAllocated);
    return itsExplicitVR && aBitsAllocated <= 8 ? VR::TYPE_OB : VR::TYPE_OW;
}

/// Bytes of the words whose order has to change; 1 when nothing changes. Bytes are never swapped; cells
/// of 32 bits are turned round as a whole.
std::size_t Part10Writer::SwapWidth(std::uint16_t theTypeCode) const
{
    if (theTypeCode != VR::TYPE_OW || itsSource.GetPixelData()->GetEndian() == itsEndian)
    {
        return 1;
    }
    std::uint16_t aBitsAllocated = 0;
    itsSource.GetUnsignedShort(DICOMTags::BitsAllocated, aBitsAllocated);
    return aBitsAllocated == 32 ? 4 : 2;
}

void Part10Writer::WritePixelDataHeader(FileConsumer& theFile, std::uint16_t theTypeCode,
                                        std::uint32_t theLength) const
{
    std::vector<std::uint8_t> aHeader;
    const auto Put = [&](std::uint32_t theValue, unsigned theWidth)
    {
        for (unsigned anIndex = 0; anIndex < theWidth; ++anIndex)
        {
            const unsigned aByte = itsEndian == DLEndian::BIG_ENDIAN_ORDER ? theWidth - 1 - anIndex : anIndex;
            aHeader.push_back(static_cast<std::uint8_t>(theValue >> (8 * aByte)));
        }
    };
    Put(DICOMTags::PixelData.itsGroup, 2);
    Put(DICOMTags::PixelData.itsElement, 2);
    if (itsExplicitVR)
    {
        aHeader.push_back(static_cast<std::uint8_t>(theTypeCode >> 8));
        aHeader.push_back(static_cast<std::uint8_t>(theTypeCode & 0xff));
        Put(0, 2);
    }
    Put(theLength, 4);
    theFile.Put(aHeader.data(), aHeader.size());
}

void Part10Writer::WritePixelData(FileConsumer& theFile) const
{
    const VR& aPixelData = *itsSource.GetPixelData();
    const std::uint16_t aCode = PixelTypeCode();
    const auto aLength = static_cast<std::size_t>(aPixelData.GetLength());
    const auto* aData = static_cast<const std::uint8_t*>(aPixelData.GetData());
    WritePixelDataHeader(theFile, aCode, static_cast<std::uint32_t>(aLength + aLength % 2));
    const std::size_t aWidth = SwapWidth(aCode);
    if (aWidth > 1)
    {
        PutSwapped(theFile, aData, aLength, aWidth);
        return;
    }
    theFile.Put(aData, aLength);
    if (aLength % 2 != 0)
    {
        const std::uint8_t aPadding = 0;
        theFile.Put(&aPadding, 1);
    }
}
