// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/DataSetReader.h"

#include <utility>
#include <vector>

#include <dcmtk/config/osconfig.h>

#include <dcmtk/dcmdata/dcelem.h>

#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/PixelDataFragmentInputStreamVR.h"
#include "toolkit/dicom/detail/ElementParser.h"
#include "toolkit/dicom/detail/ElementValue.h"
#include "toolkit/dicom/detail/Part10InputStreamState.h"
#include "toolkit/dicom/detail/StreamFilters.h"

struct DataSetReader::State
{
    State(std::shared_ptr<PeekableInputStream> theSource, const TransferSyntaxType& theType,
          MemoryAllocater& theAllocator);

    std::unique_ptr<VR> NextOfFileMeta();
    std::unique_ptr<VR> NextOfDataSet();
    bool PassPadding(DICOMTag theTag);
    std::unique_ptr<VR> TakeElement(const ElementHeader& theHeader);
    std::unique_ptr<VR> TakePixelData(const ElementHeader& theHeader);

    bool itsPassesStrayItems = false;
    bool itsHasPassedItems = false;
    std::shared_ptr<PeekableInputStream> itsSource;
    ElementParser itsParser;
    ElementEncoding itsEncoding;
    bool itsEncapsulated;
    MemoryAllocater& itsAllocator;
    std::vector<std::unique_ptr<VR>> itsFileMeta;
    std::size_t itsNextOfFileMeta = 0;
    DICOMTag itsStopTag = DICOMTags::None;
    std::vector<std::uint64_t> itsExtendedOffsets;
    std::vector<std::uint64_t> itsExtendedLengths;
    std::size_t itsElementCount = 0;
    DICOMTag itsGreatestTag;
    bool itsAtEnd = false;
};

namespace
{
std::vector<std::uint64_t> DecodeOffsets(DcmElement& theElement)
{
    std::vector<std::uint8_t> aBytes;
    ElementValue(theElement).GetBytes(DLEndian::LITTLE_ENDIAN_ORDER, aBytes);
    std::vector<std::uint64_t> anOffsets(aBytes.size() / 8);
    for (std::size_t anIndex = 0; anIndex < anOffsets.size() * 8; ++anIndex)
    {
        anOffsets[anIndex / 8] |= std::uint64_t{aBytes[anIndex]} << (anIndex % 8 * 8);
    }
    return anOffsets;
}

std::shared_ptr<PeekableInputStream> DataSource(std::shared_ptr<PeekableInputStream> theSource,
                                                const TransferSyntaxType& theType)
{
    if (!theSource)
    {
        throw StreamIOException("DataSetReader: the Part 10 stream is not open", DLRC_PARSE_ERROR, 0);
    }
    if (!theType.IsDeflated())
    {
        return theSource;
    }
    return std::make_shared<PeekableInputStream>(
        std::make_shared<InflatingInputStream>(std::move(theSource)));
}
} // namespace

DataSetReader::State::State(std::shared_ptr<PeekableInputStream> theSource, const TransferSyntaxType& theType,
                            MemoryAllocater& theAllocator)
    : itsSource(std::move(theSource)),
      itsParser(*itsSource, theType.IsDeflated()), itsEncoding{theType.IsExplicitVR(), theType.GetEndian()},
      itsEncapsulated(theType.IsEncapsulated()), itsAllocator(theAllocator)
{
}

DataSetReader::DataSetReader(Part10InputStream& theStream, const TransferSyntaxType& theType,
                             MemoryAllocater& thePixelAllocator)
    : itsState(std::make_unique<State>(DataSource(theStream.itsState->itsSource, theType), theType,
                                       thePixelAllocator))
{
    itsState->itsFileMeta.swap(theStream.itsState->itsFileMeta);
}

DataSetReader::~DataSetReader() = default;

void DataSetReader::PassStrayItems()
{
    itsState->itsPassesStrayItems = true;
}

bool DataSetReader::HasPassedItems() const
{
    return itsState->itsHasPassedItems;
}

void DataSetReader::SetStopTag(DICOMTag theTag)
{
    itsState->itsStopTag = theTag;
}

std::unique_ptr<VR> DataSetReader::Next()
{
    if (itsState->itsAtEnd)
    {
        return nullptr;
    }
    itsState->itsAtEnd = true; // stays so when an exception leaves the stream inside an element
    auto aVR = itsState->itsNextOfFileMeta < itsState->itsFileMeta.size() ? itsState->NextOfFileMeta()
                                                                          : itsState->NextOfDataSet();
    itsState->itsAtEnd = !aVR || aVR->GetTag() == DICOMTags::PixelData;
    return aVR;
}

std::unique_ptr<VR> DataSetReader::State::NextOfFileMeta()
{
    auto& aVR = itsFileMeta[itsNextOfFileMeta];
    if (aVR->GetTag() >= itsStopTag)
    {
        return nullptr;
    }
    ++itsNextOfFileMeta;
    return std::move(aVR);
}

std::unique_ptr<VR> DataSetReader::State::NextOfDataSet()
{
    DICOMTag aTag;
    while (ElementHeader::PeekTag(*itsSource, itsEncoding.itsEndian, aTag) && aTag < itsStopTag)
    {
        if (itsElementCount == 0 && !itsEncoding.itsExplicitVR)
        {
            // Some writers state implicit VR and write explicit VR. Taken as an implicit length the two
            // letters would be an absurd one for a first element.
            itsEncoding.itsExplicitVR = ElementHeader::LooksExplicit(*itsSource);
        }
        if (++itsElementCount > ElementParser::MAXIMUM_ELEMENTS_OF_ITEM)
        {
            throw StreamIOException("DataSetReader::Next: too many elements up to " +
                                        ElementHeader::Format(aTag),
                                    DLRC_PARSE_ERROR, 0);
        }
        if (aTag.itsGroup == 0 || aTag.itsGroup == ElementHeader::Item.itsGroup)
        {
            if (!PassPadding(aTag))
            {
                return nullptr;
            }
            continue;
        }
        itsParser.CheckOrder(aTag, itsGreatestTag);
        const ElementHeader aHeader = ElementHeader::Read(*itsSource, itsEncoding);
        auto aVR = aTag == DICOMTags::PixelData ? TakePixelData(aHeader) : TakeElement(aHeader);
        if (aVR)
        {
            return aVR;
        }
    }
    return nullptr;
}

/// Passes a delimiter that closes nothing. False where zero bytes after the last element fill the file up.
bool DataSetReader::State::PassPadding(DICOMTag theTag)
{
    const ElementHeader aHeader = ElementHeader::Read(*itsSource, {false, itsEncoding.itsEndian});
    const bool isZero = theTag == DICOMTag() && aHeader.itsLength == 0;
    const bool isDelimiter =
        (theTag == ElementHeader::ItemDelimiter || theTag == ElementHeader::SequenceDelimiter) &&
        aHeader.itsLength == 0;
    if (theTag == ElementHeader::Item && itsPassesStrayItems)
    {
        itsHasPassedItems = true;
        if (aHeader.HasUndefinedLength())
        {
            itsParser.PassItem(aHeader, itsEncoding);
        }
        else
        {
            itsSource->Skip(aHeader.itsLength);
        }
        return true;
    }
    if (!isZero && !isDelimiter)
    {
        throw StreamIOException("DataSetReader::Next: no element can have the tag " +
                                    ElementHeader::Format(theTag),
                                DLRC_PARSE_ERROR, 0);
    }
    return isDelimiter;
}

std::unique_ptr<VR> DataSetReader::State::TakeElement(const ElementHeader& theHeader)
{
    auto anElement = itsParser.ReadElement(theHeader);
    if (!anElement)
    {
        return nullptr;
    }
    if (theHeader.itsTag == DICOMTags::ExtendedOffsetTable)
    {
        itsExtendedOffsets = DecodeOffsets(*anElement);
    }
    else if (theHeader.itsTag == DICOMTags::ExtendedOffsetTableLengths)
    {
        itsExtendedLengths = DecodeOffsets(*anElement);
    }
    return std::make_unique<ElementVR>(std::move(anElement), itsEncoding.itsEndian);
}

std::unique_ptr<VR> DataSetReader::State::TakePixelData(const ElementHeader& theHeader)
{
    if (theHeader.HasUndefinedLength() || itsEncapsulated)
    {
        const std::uint64_t aLength =
            theHeader.HasUndefinedLength() ? PixelValueInputStream::NO_LIMIT : theHeader.itsLength;
        return std::make_unique<PixelDataFragmentInputStreamVR>(
            std::make_unique<PixelValueInputStream>(itsSource, aLength), std::move(itsExtendedOffsets),
            std::move(itsExtendedLengths));
    }
    // UN pixel data is what implicit VR would have: little-endian words (PS3.5 6.2.2 and Annex A.1).
    const bool isUnknown = theHeader.itsTypeCode == VR::TYPE_UN;
    return std::make_unique<NativePixelInputStreamVR>(isUnknown ? VR::TYPE_OW : theHeader.itsTypeCode,
                                                      isUnknown ? DLEndian::LITTLE_ENDIAN_ORDER
                                                                : itsEncoding.itsEndian,
                                                      itsSource, theHeader.itsLength, itsAllocator);
}
