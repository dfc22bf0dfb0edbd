// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/Part10InputStream.h"

#include <cstring>
#include <utility>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcelem.h>

#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/TransferSyntaxType.h"
#include "toolkit/dicom/detail/ElementParser.h"
#include "toolkit/dicom/detail/ElementValue.h"
#include "toolkit/dicom/detail/Part10InputStreamState.h"

Part10InputStream::Part10InputStream() : itsState(std::make_unique<State>()) {}

Part10InputStream::~Part10InputStream() = default;

bool Part10InputStream::DefaultsToLenientParsing()
{
    return true;
}

const RWCString& Part10InputStream::GetTransferSyntaxUID() const
{
    return itsState->itsTransferSyntaxUID;
}

bool Part10InputStream::LooksLikeElements(const unsigned char* theBytes, std::size_t theCount)
{
    MemoryInputStream aStream(theBytes, theCount);
    State aState;
    aState.Attach(aStream);
    return aState.StandsAtElements();
}

Part10InputStreamInputStream::Part10InputStreamInputStream() = default;

Part10InputStreamInputStream::~Part10InputStreamInputStream() = default;

void Part10InputStreamInputStream::Open(InputStream* theStream, bool isStreamClosed, bool isLenient)
{
    *itsState = State();
    itsStream = theStream;
    itsCloseStream = isStreamClosed;
    if (theStream == nullptr)
    {
        throw StreamIOException("Part10InputStreamInputStream::Open: no stream", DLRC_PARSE_ERROR, 0);
    }
    State aState;
    aState.Attach(*theStream);
    itsHasPreamble = aState.ReadPreamble();
    if (!itsHasPreamble && !(itsAcceptsWithoutPreamble && aState.StandsAtElements()))
    {
        throw StreamIOException(
            "Part10InputStreamInputStream::Open: not a DICOM Part 10 stream (no preamble with \"DICM\")",
            DLRC_PARSE_ERROR, 0);
    }
    aState.ReadFileMeta();
    if (isLenient)
    {
        aState.GuessTransferSyntax();
    }
    *itsState = std::move(aState);
}

void Part10InputStreamInputStream::Close()
{
    *itsState = State();
    InputStream* aStream = std::exchange(itsStream, nullptr);
    if (aStream != nullptr && itsCloseStream)
    {
        aStream->Close();
    }
}

namespace
{
constexpr std::uint16_t kFileMetaGroup = 0x0002;
constexpr std::size_t kMaximumOfMetaElements = 1024;

RWCString TrimmedUID(DcmElement& theElement)
{
    RWCString aUID;
    ElementValue(theElement).GetText(aUID);
    const std::size_t aFirst = aUID.find_first_not_of(' ');
    return aFirst == RWCString::npos ? RWCString() : aUID.substr(aFirst);
}
} // namespace

void Part10InputStream::State::Attach(InputStream& theStream)
{
    // Borrowed: the pointer shares nothing and deletes nothing.
    itsSource =
        std::make_shared<PeekableInputStream>(std::shared_ptr<InputStream>(&theStream, [](InputStream*) {}));
}

bool Part10InputStream::State::ReadPreamble()
{
    constexpr std::size_t aPreamble = 128;
    const unsigned char* aData = nullptr;
    if (itsSource->Peek(aData, aPreamble + 4) < aPreamble + 4 ||
        std::memcmp(aData + aPreamble, "DICM", 4) != 0)
    {
        return false;
    }
    itsSource->Skip(aPreamble + 4);
    return true;
}

bool Part10InputStream::State::StandsAtElements()
{
    constexpr std::uint16_t kDirectoryGroup = 0x0004;
    constexpr std::uint16_t kIdentifyingGroup = 0x0008;
    constexpr std::uint32_t kGroupLengthBytes = 4;
    ElementEncoding anEncoding;
    DICOMTag aTag;
    if (!ElementHeader::Guess(*itsSource, anEncoding) ||
        !ElementHeader::PeekTag(*itsSource, anEncoding.itsEndian, aTag))
    {
        return false;
    }
    const bool isFirstGroup = aTag.itsGroup == kFileMetaGroup || aTag.itsGroup == kDirectoryGroup ||
                              aTag.itsGroup == kIdentifyingGroup;
    const unsigned char* aData = nullptr;
    // Small numbers begin other things as well; the length of a group has four bytes.
    return isFirstGroup && (aTag.itsElement != 0 || anEncoding.itsExplicitVR ||
                            (itsSource->Peek(aData, 5) == 5 && aData[4] == kGroupLengthBytes));
}

void Part10InputStream::State::ReadFileMeta()
{
    ElementParser aParser(*itsSource, false);
    DICOMTag aTag;
    while (itsFileMeta.size() < kMaximumOfMetaElements &&
           ElementHeader::PeekTag(*itsSource, DLEndian::LITTLE_ENDIAN_ORDER, aTag) &&
           aTag.itsGroup == kFileMetaGroup)
    {
        auto anElement = aParser.ReadElement(ElementHeader::Read(*itsSource, ElementEncoding()));
        if (!anElement)
        {
            continue;
        }
        if (aTag == DICOMTags::TransferSyntaxUID)
        {
            itsTransferSyntaxUID = TrimmedUID(*anElement);
        }
        itsFileMeta.push_back(
            std::make_unique<ElementVR>(std::move(anElement), DLEndian::LITTLE_ENDIAN_ORDER));
    }
}

void Part10InputStream::State::GuessTransferSyntax()
{
    ElementEncoding anEncoding;
    if (!itsTransferSyntaxUID.empty() || !ElementHeader::Guess(*itsSource, anEncoding))
    {
        return;
    }
    if (anEncoding.itsEndian == DLEndian::BIG_ENDIAN_ORDER)
    {
        itsTransferSyntaxUID = TransferSyntaxType::TSExplicitBigEndianUID;
    }
    else
    {
        itsTransferSyntaxUID = anEncoding.itsExplicitVR ? TransferSyntaxType::TSExplicitLittleEndianUID
                                                        : TransferSyntaxType::TSImplicitLittleEndianUID;
    }
}
