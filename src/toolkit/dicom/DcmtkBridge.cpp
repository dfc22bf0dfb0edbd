// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/detail/DcmtkBridge.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>
#include <mutex>
#include <new>
#include <span>
#include <utility>
#include <vector>

#include <dcmtk/config/osconfig.h>

#include <dcmtk/dcmdata/dcistrma.h>
#include <dcmtk/dcmdata/dcitem.h>
#include <dcmtk/dcmdata/dcsequen.h>
#include <dcmtk/dcmdata/dctag.h>
#include <dcmtk/dcmdata/dcvrpobw.h>

#include "toolkit/base/Exceptions.h"

namespace
{
constexpr std::uint16_t Code(const char (&theLetters)[3])
{
    return VR::MakeTypeCode(theLetters[0], theLetters[1]);
}

constexpr std::uint16_t kShortForms[] = {
    Code("AE"), Code("AS"), Code("AT"), Code("CS"), Code("DA"), Code("DS"), Code("DT"),
    Code("FD"), Code("FL"), Code("IS"), Code("LO"), Code("LT"), Code("PN"), Code("SH"),
    Code("SL"), Code("SS"), Code("ST"), Code("TM"), Code("UI"), Code("UL"), Code("US"),
};
constexpr std::uint16_t kLongForms[] = {
    Code("OB"), Code("OD"), Code("OF"), Code("OL"), Code("OV"), Code("OW"), Code("SQ"),
    Code("SV"), Code("UC"), Code("UN"), Code("UR"), Code("UT"), Code("UV"),
};
constexpr std::uint16_t kStrings[] = {
    Code("AE"), Code("AS"), Code("CS"), Code("DA"), Code("DS"), Code("DT"),
    Code("IS"), Code("LO"), Code("LT"), Code("PN"), Code("SH"), Code("ST"),
    Code("TM"), Code("UC"), Code("UI"), Code("UR"), Code("UT"),
};

template <std::size_t Count>
bool Contains(const std::uint16_t (&theCodes)[Count], std::uint16_t theCode)
{
    return std::find(std::begin(theCodes), std::end(theCodes), theCode) != std::end(theCodes);
}

struct KnownTag
{
    DICOMTag itsTag;
    std::uint16_t itsTypeCode;
};

/// The tags of DICOMTags, for a machine where DCMTK's dictionary file is missing.
constexpr KnownTag kKnownTags[] = {
    {DICOMTags::TransferSyntaxUID, Code("UI")},
    {DICOMTags::ImageType, Code("CS")},
    {DICOMTags::SOPClassUID, Code("UI")},
    {DICOMTags::SOPInstanceUID, Code("UI")},
    {DICOMTags::DerivationDescription, Code("ST")},
    {DICOMTags::SourceImageSequence, Code("SQ")},
    {DICOMTags::SamplesPerPixel, Code("US")},
    {DICOMTags::PhotometricInterpretation, Code("CS")},
    {DICOMTags::PlanarConfiguration, Code("US")},
    {DICOMTags::NumberOfFrames, Code("IS")},
    {DICOMTags::Rows, Code("US")},
    {DICOMTags::Columns, Code("US")},
    {DICOMTags::BitsAllocated, Code("US")},
    {DICOMTags::BitsStored, Code("US")},
    {DICOMTags::HighBit, Code("US")},
    {DICOMTags::PixelRepresentation, Code("US")},
    {DICOMTags::RescaleIntercept, Code("DS")},
    {DICOMTags::RescaleSlope, Code("DS")},
    {DICOMTags::PixelValueTransformationSequence, Code("SQ")},
    {DICOMTags::SharedFunctionalGroupsSequence, Code("SQ")},
    {DICOMTags::SmallestImagePixelValue, DcmtkBridge::TYPE_US_OR_SS},
    {DICOMTags::LargestImagePixelValue, DcmtkBridge::TYPE_US_OR_SS},
    {DICOMTags::SmallestPixelValueInSeries, DcmtkBridge::TYPE_US_OR_SS},
    {DICOMTags::LargestPixelValueInSeries, DcmtkBridge::TYPE_US_OR_SS},
    {DICOMTags::SmallestImagePixelValueInPlane, DcmtkBridge::TYPE_US_OR_SS},
    {DICOMTags::LargestImagePixelValueInPlane, DcmtkBridge::TYPE_US_OR_SS},
    {DICOMTags::RedPaletteColorLookupTableDescriptor, DcmtkBridge::TYPE_US_OR_SS},
    {DICOMTags::GreenPaletteColorLookupTableDescriptor, DcmtkBridge::TYPE_US_OR_SS},
    {DICOMTags::BluePaletteColorLookupTableDescriptor, DcmtkBridge::TYPE_US_OR_SS},
    {DICOMTags::LargeRedPaletteColorLookupTableDescriptor, DcmtkBridge::TYPE_US_OR_SS},
    {DICOMTags::LargeGreenPaletteColorLookupTableDescriptor, DcmtkBridge::TYPE_US_OR_SS},
    {DICOMTags::LargeBluePaletteColorLookupTableDescriptor, DcmtkBridge::TYPE_US_OR_SS},
    {DICOMTags::PaletteColorLookupTableUID, Code("UI")},
    {DICOMTags::RedPaletteColorLookupTableData, Code("OW")},
    {DICOMTags::GreenPaletteColorLookupTableData, Code("OW")},
    {DICOMTags::BluePaletteColorLookupTableData, Code("OW")},
    {DICOMTags::LargeRedPaletteColorLookupTableData, Code("OW")},
    {DICOMTags::LargeGreenPaletteColorLookupTableData, Code("OW")},
    {DICOMTags::LargeBluePaletteColorLookupTableData, Code("OW")},
    {DICOMTags::LargePaletteColorLookupTableUID, Code("UI")},
    {DICOMTags::SegmentedRedPaletteColorLookupTableData, Code("OW")},
    {DICOMTags::SegmentedGreenPaletteColorLookupTableData, Code("OW")},
    {DICOMTags::SegmentedBluePaletteColorLookupTableData, Code("OW")},
    {DICOMTags::LossyImageCompression, Code("CS")},
    {DICOMTags::LossyImageCompressionRatio, Code("DS")},
    {DICOMTags::LossyImageCompressionMethod, Code("CS")},
    {DICOMTags::ExtendedOffsetTable, Code("OV")},
    {DICOMTags::ExtendedOffsetTableLengths, Code("OV")},
    {DICOMTags::PixelData, Code("OW")},
    {DICOMTags::ConcatenationFrameOffsetNumber, Code("UL")},
    {DICOMTags::DimensionOrganizationType, Code("CS")},
    {DICOMTags::ZOffsetInSlideCoordinateSystem, Code("DS")},
    {DICOMTags::TotalPixelMatrixColumns, Code("UL")},
    {DICOMTags::TotalPixelMatrixRows, Code("UL")},
    {DICOMTags::RecommendedAbsentPixelCIELabValue, Code("US")},
    {DICOMTags::OpticalPathIdentifier, Code("SH")},
    {DICOMTags::OpticalPathIdentificationSequence, Code("SQ")},
    {DICOMTags::PlanePositionSlideSequence, Code("SQ")},
    {DICOMTags::ColumnPositionInTotalImagePixelMatrix, Code("SL")},
    {DICOMTags::RowPositionInTotalImagePixelMatrix, Code("SL")},
    {DICOMTags::SegmentIdentificationSequence, Code("SQ")},
    {DICOMTags::ReferencedSegmentNumber, Code("US")},
    {DICOMTags::PerFrameFunctionalGroupsSequence, Code("SQ")},
};

std::uint16_t FallBack(DICOMTag theTag)
{
    for (const KnownTag& aKnown : kKnownTags)
    {
        if (aKnown.itsTag == theTag)
        {
            return aKnown.itsTypeCode;
        }
    }
    return VR::TYPE_UN;
}

/// Value representations in DCMTK's terms and in ours. DCMTK finds its own by comparing names, one after the
/// other, which an element of a data set would take several times. Thread-safe.
class Representations
{
public:
    static const Representations& Get()
    {
        static const Representations anInstance;
        return anInstance;
    }

    /// EVR_UN for what is unknown.
    DcmEVR ToEVR(std::uint16_t theTypeCode) const
    {
        const auto aKnown =
            std::find_if(itsKnown.begin(), itsKnown.end(),
                         [theTypeCode](const auto& theEntry) { return theEntry.first == theTypeCode; });
        return aKnown != itsKnown.end() ? aKnown->second : EVR_UN;
    }

    std::uint16_t ToTypeCode(DcmEVR theEVR) const { return itsTypeCodes.at(theEVR); }

private:
    Representations()
    {
        for (std::size_t i = 0; i < itsTypeCodes.size(); ++i)
        {
            const char* aName = DcmVR(static_cast<DcmEVR>(i)).getValidVRName();
            itsTypeCodes[i] = VR::MakeTypeCode(aName[0], aName[1]);
        }
        for (const std::uint16_t aCode : kShortForms)
        {
            Add(aCode);
        }
        for (const std::uint16_t aCode : kLongForms)
        {
            Add(aCode);
        }
    }

    void Add(std::uint16_t theTypeCode)
    {
        const char aName[3] = {static_cast<char>(theTypeCode >> 8), static_cast<char>(theTypeCode & 0xff),
                               '\0'};
        itsKnown.emplace_back(theTypeCode, DcmVR(aName).getEVR());
    }

    std::array<std::uint16_t, EVR_UNKNOWN2B + 1> itsTypeCodes{};
    std::vector<std::pair<std::uint16_t, DcmEVR>> itsKnown;
};

DcmTag MakeTag(DICOMTag theTag, std::uint16_t theTypeCode)
{
    return DcmTag(theTag.itsGroup, theTag.itsElement, DcmVR(Representations::Get().ToEVR(theTypeCode)));
}

/// Reaches DCMTK's protected way to make an element of a known length, to be filled by reading.
class ElementMaker : private DcmItem
{
public:
    static std::unique_ptr<DcmElement> Make(DcmTag theTag, Uint32 theLength)
    {
        if (theTag == DcmTagKey(0x7fe0, 0x0010))
        {
            // An icon's pixels: plain words; DcmPixelData would bring in codecs and representations.
            return std::make_unique<DcmPolymorphOBOW>(theTag, theLength);
        }
        DcmElement* anElement = nullptr;
        DcmPrivateTagCache aCache;
        OFBool anUnknown = OFFalse;
        const OFCondition aStatus = newDicomElement(anElement, theTag, theLength, &aCache, anUnknown);
        std::unique_ptr<DcmElement> aResult(anElement);
        return aStatus.good() ? std::move(aResult) : nullptr;
    }
};

/// Reaches the list of an item's elements, which DCMTK shows to derived classes only.
class ElementList : private DcmItem
{
public:
    static DcmList& Of(DcmItem& theItem) { return *(theItem.*&ElementList::elementList); }
};

/// Hands out bytes in memory. DCMTK's own stream of this kind makes itself a buffer of a kilobyte on the
/// heap, which an element of a data set would take each time.
class ValueProducer : public DcmProducer
{
public:
    void Set(const void* theBytes, std::size_t theCount, bool isLast)
    {
        itsNext = static_cast<const std::uint8_t*>(theBytes);
        itsRest = theCount;
        itsIsLast = isLast;
    }

    OFBool good() const override { return OFTrue; }
    OFCondition status() const override { return EC_Normal; }
    OFBool eos() override { return itsIsLast && itsRest == 0; }
    offile_off_t avail() override { return static_cast<offile_off_t>(itsRest); }

    offile_off_t read(void* theBuffer, offile_off_t theCount) override
    {
        const std::uint8_t* const aBegin = itsNext;
        const offile_off_t aCount = skip(theCount);
        std::memcpy(theBuffer, aBegin, static_cast<std::size_t>(aCount));
        return aCount;
    }

    offile_off_t skip(offile_off_t theCount) override
    {
        const std::size_t aCount = std::min(static_cast<std::size_t>(theCount), itsRest);
        itsNext += aCount;
        itsRest -= aCount;
        return static_cast<offile_off_t>(aCount);
    }

    void putback(offile_off_t theCount) override
    {
        itsNext -= theCount;
        itsRest += static_cast<std::size_t>(theCount);
    }

private:
    const std::uint8_t* itsNext = nullptr;
    std::size_t itsRest = 0;
    bool itsIsLast = false;
};

/// What an element reads itself from.
class ValueStream : private ValueProducer, public DcmInputStream
{
public:
    ValueStream() : DcmInputStream(this) {}
    using ValueProducer::Set;
    DcmInputStreamFactory* newFactory() const override { return nullptr; } // nothing is read later
};

/// Makes an element and hands it its value in the pieces that theNext gives: each at least a byte of the
/// rest, and good until the next is asked for.
template <class Next>
std::unique_ptr<DcmElement> MakeFilled(const DcmTag& theTag, DLEndian::Endian theEndian,
                                       std::size_t theLength, const Next& theNext)
{
    DcmtkBridge::SilenceLogging();
    if (theLength >= 0xfffffffeu)
    {
        throw DICOMLibException("The value of an element is too long", DLRC_GENERAL_FAILURE, 0);
    }
    auto anElement = ElementMaker::Make(theTag, static_cast<Uint32>(theLength));
    OFCondition aStatus = anElement ? EC_Normal : EC_MemoryExhausted;
    if (anElement && theLength > 0)
    {
        const bool isBig = theEndian == DLEndian::BIG_ENDIAN_ORDER;
        ValueStream aStream;
        anElement->transferInit();
        aStatus = EC_StreamNotifyClient;
        for (std::size_t aRest = theLength; aRest > 0 && aStatus == EC_StreamNotifyClient;)
        {
            const auto [aPiece, aCount] = theNext(aRest);
            aRest -= aCount;
            aStream.Set(aPiece, aCount, aRest == 0);
            aStatus = anElement->read(aStream, isBig ? EXS_BigEndianExplicit : EXS_LittleEndianExplicit);
        }
        anElement->transferEnd();
    }
    if (aStatus == EC_MemoryExhausted)
    {
        throw std::bad_alloc();
    }
    if (aStatus.bad())
    {
        throw DICOMLibException("An element could not be made", DLRC_GENERAL_FAILURE, 0);
    }
    return anElement;
}
} // namespace

void DcmtkBridge::SilenceLogging()
{
    static std::once_flag aFlag;
    std::call_once(aFlag, [] { DCM_dcmdataLogger.setLogLevel(OFLogger::OFF_LOG_LEVEL); });
}

std::uint16_t DcmtkBridge::LookUpTypeCode(DICOMTag theTag)
{
    if (theTag.itsElement == 0)
    {
        return Code("UL"); // group length, whatever the group
    }
    if (theTag.itsGroup % 2 != 0)
    {
        return theTag.itsElement >= 0x10 && theTag.itsElement <= 0xff ? Code("LO") : VR::TYPE_UN;
    }
    SilenceLogging();
    const DcmEVR anEVR = DcmTag(theTag.itsGroup, theTag.itsElement).getEVR();
    switch (anEVR)
    {
    case EVR_xs:
        return TYPE_US_OR_SS;
    case EVR_ox:
    case EVR_px:
    case EVR_lt:
        return VR::TYPE_OW; // as PS3.5 Annex A.1 has it for implicit VR
    default:
        break;
    }
    const std::uint16_t aCode = Representations::Get().ToTypeCode(anEVR);
    return aCode == VR::TYPE_UN || !IsKnownTypeCode(aCode) ? FallBack(theTag) : aCode;
}

std::uint16_t DcmtkBridge::LookUpTextTypeCode(DICOMTag theTag)
{
    const std::uint16_t aCode = LookUpTypeCode(theTag);
    return IsString(aCode) ? aCode : Code("LO");
}

RWCString DcmtkBridge::LookUpKeyword(DICOMTag theTag)
{
    SilenceLogging();
    DcmTag aTag(theTag.itsGroup, theTag.itsElement);
    const bool isPublic = theTag.itsElement != 0 && theTag.itsGroup % 2 == 0;
    return isPublic && aTag.getEVR() != EVR_UNKNOWN && aTag.getEVR() != EVR_UN ? aTag.getTagName() : "";
}

std::unique_ptr<DcmElement> DcmtkBridge::MakeElement(DICOMTag theTag, std::uint16_t theTypeCode,
                                                     DLEndian::Endian theEndian, const void* theValue,
                                                     std::size_t theLength)
{
    return MakeFilled(MakeTag(theTag, theTypeCode), theEndian, theLength,
                      [theValue](std::size_t theRest) { return std::pair(theValue, theRest); });
}

std::unique_ptr<DcmElement> DcmtkBridge::MakeElement(DICOMTag theTag, std::uint16_t theTypeCode,
                                                     DLEndian::Endian theEndian, std::size_t theLength,
                                                     const ValueSource& theSource)
{
    constexpr std::size_t kPiece = 64u << 10;
    std::array<std::uint8_t, 256> aShort; // nearly all are no longer
    std::vector<std::uint8_t> aLong(theLength <= aShort.size() ? 0 : std::min(theLength, kPiece));
    const std::span<std::uint8_t> aBuffer = aLong.empty() ? std::span(aShort) : std::span(aLong);
    const auto aNext = [&](std::size_t theRest)
    {
        const std::size_t aCount = std::min(theRest, aBuffer.size());
        theSource(aBuffer.data(), aCount);
        return std::pair<const void*, std::size_t>(aBuffer.data(), aCount);
    };
    return MakeFilled(MakeTag(theTag, theTypeCode), theEndian, theLength, aNext);
}

std::unique_ptr<DcmElement> DcmtkBridge::MakeText(DICOMTag theTag, std::uint16_t theTypeCode,
                                                  const RWCString& theText)
{
    RWCString aPadded = theText;
    if (aPadded.size() % 2 != 0)
    {
        // Left to itself DCMTK pads bytes with a NUL, which only UI has (PS3.5 6.2).
        aPadded += theTypeCode == VR::MakeTypeCode('U', 'I') ? '\0' : ' ';
    }
    return MakeElement(theTag, theTypeCode, DLEndian::LITTLE_ENDIAN_ORDER, aPadded.data(), aPadded.size());
}

std::unique_ptr<DcmElement> DcmtkBridge::MakeUnsignedShort(DICOMTag theTag, std::uint16_t theValue)
{
    const std::array<std::uint8_t, 2> aBytes = {static_cast<std::uint8_t>(theValue & 0xff),
                                                static_cast<std::uint8_t>(theValue >> 8)};
    return MakeElement(theTag, Code("US"), DLEndian::LITTLE_ENDIAN_ORDER, aBytes.data(), aBytes.size());
}

std::unique_ptr<DcmElement> DcmtkBridge::MakeSequence(DICOMTag theTag)
{
    SilenceLogging();
    return std::make_unique<DcmSequenceOfItems>(MakeTag(theTag, VR::TYPE_SQ));
}

DICOMTag DcmtkBridge::TagOf(DcmElement& theElement)
{
    return {theElement.getGTag(), theElement.getETag()};
}

std::uint16_t DcmtkBridge::TypeCodeOf(DcmElement& theElement)
{
    return Representations::Get().ToTypeCode(theElement.getVR());
}

DcmElement* DcmtkBridge::Find(DcmItem& theItem, DICOMTag theTag)
{
    // From the end, where the elements stand that decoding asks for. DCMTK's own search begins at the other,
    // and keeps a stack of what it has found on the heap.
    DcmList& aList = ElementList::Of(theItem);
    for (DcmObject* anObject = aList.seek(ELP_last); anObject != nullptr; anObject = aList.seek(ELP_prev))
    {
        if (anObject->getGTag() == theTag.itsGroup && anObject->getETag() == theTag.itsElement)
        {
            return static_cast<DcmElement*>(anObject);
        }
    }
    return nullptr;
}

bool DcmtkBridge::IsKnownTypeCode(std::uint16_t theTypeCode)
{
    return Contains(kShortForms, theTypeCode) || Contains(kLongForms, theTypeCode);
}

bool DcmtkBridge::IsLongForm(std::uint16_t theTypeCode)
{
    return Contains(kLongForms, theTypeCode);
}

bool DcmtkBridge::IsString(std::uint16_t theTypeCode)
{
    return Contains(kStrings, theTypeCode);
}
