// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/PixelDataFragmentInputStreamVR.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "toolkit/base/CodestreamSignature.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/io/InputStream.h"

namespace
{
constexpr std::uint16_t kItemGroup = 0xfffe;
constexpr std::uint16_t kItemElement = 0xe000;
constexpr std::uint64_t kItemHeaderSize = 8;
constexpr std::uint32_t kUndefinedLength = 0xffffffff;

// 16 million frames. What is longer is no table but a damaged length.
constexpr std::uint32_t kLongestTable = 0x4000000;
constexpr std::size_t kTableChunk = 0x10000;

constexpr std::uint64_t kUnknownEnd = std::numeric_limits<std::uint64_t>::max();

std::uint32_t LittleEndian32(const unsigned char* theBytes)
{
    return static_cast<std::uint32_t>(theBytes[0]) | (static_cast<std::uint32_t>(theBytes[1]) << 8) |
           (static_cast<std::uint32_t>(theBytes[2]) << 16) | (static_cast<std::uint32_t>(theBytes[3]) << 24);
}
} // namespace

PixelDataFragmentInputStreamVR::PixelDataFragmentInputStreamVR(std::unique_ptr<InputStream> theStream,
                                                               std::vector<std::uint64_t> theExtendedOffsets,
                                                               std::vector<std::uint64_t> theExtendedLengths)
    : VR(DICOMTags::PixelData, VR::TYPE_OB, DLEndian::LITTLE_ENDIAN_ORDER), itsStream(std::move(theStream)),
      itsInput(itsStream.get()), itsExtendedOffsets(std::move(theExtendedOffsets)),
      itsExtendedLengths(std::move(theExtendedLengths))
{
}

PixelDataFragmentInputStreamVR::~PixelDataFragmentInputStreamVR() = default;

const std::vector<std::uint32_t>& PixelDataFragmentInputStreamVR::GetBasicOffsetTable()
{
    if (!itsBasicOffsetTableRead)
    {
        ReadBasicOffsetTable();
    }
    return itsBasicOffsets;
}

// Reads an item tag and its length. False where no item begins.
bool PixelDataFragmentInputStreamVR::ReadItemHeader(std::uint32_t& theLength)
{
    EndianHandlingReader aReader(*itsInput, DLEndian::LITTLE_ENDIAN_ORDER);
    std::uint16_t aGroup = 0;
    std::uint16_t anElement = 0;
    if (!aReader.Read(aGroup) || !aReader.Read(anElement) || !aReader.Read(theLength))
    {
        itsStreamEnded = true;
        return false;
    }
    return aGroup == kItemGroup && anElement == kItemElement;
}

// An item's length, or what the stream holds behind the item's header where that is known to be less.
std::uint32_t PixelDataFragmentInputStreamVR::CutToStream(std::uint32_t theLength) const
{
    if (itsEndPosition == kUnknownEnd)
    {
        return theLength;
    }
    const std::uint64_t aPosition = itsInput->GetStreamPosition();
    const std::uint64_t aRest = itsEndPosition > aPosition ? itsEndPosition - aPosition : 0;
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(theLength, aRest));
}

// Memory grows with what really arrives, not with what the item promises.
std::vector<unsigned char> PixelDataFragmentInputStreamVR::ReadTableBytes(std::uint32_t theLength)
{
    std::vector<unsigned char> aTable;
    while (aTable.size() < theLength)
    {
        const std::size_t anOldSize = aTable.size();
        const std::size_t aChunk = std::min<std::size_t>(kTableChunk, theLength - anOldSize);
        aTable.resize(anOldSize + aChunk);
        const std::size_t aCount = itsInput->ReadFully(aTable.data() + anOldSize, aChunk);
        if (aCount != aChunk)
        {
            aTable.resize(anOldSize + aCount);
            break;
        }
    }
    return aTable;
}

// Some writers leave the table's item out. An item that begins like a codestream is no table (whose first
// entry is 0) but the first fragment, and is read once more as that.
bool PixelDataFragmentInputStreamVR::ReturnToFirstItem(const std::vector<unsigned char>& theTable)
{
    if (!CodestreamSignature::BeginsCodestream(theTable.data(), theTable.size()))
    {
        return false;
    }
    itsReplay->Rewind();
    return true;
}

void PixelDataFragmentInputStreamVR::TakeTable(const std::vector<unsigned char>& theTable,
                                               std::uint32_t theLength, std::uint32_t theLengthThere)
{
    itsReplay.reset(); // what it keeps is not asked for again
    itsInput = itsStream.get();
    itsInput->SkipFully(theLengthThere - theTable.size());
    // Half a table is none.
    const std::size_t aUsable = theTable.size() == theLength ? theLength : 0;
    for (std::size_t anEntry = 0; anEntry + 4 <= aUsable; anEntry += 4)
    {
        itsBasicOffsets.push_back(LittleEndian32(theTable.data() + anEntry));
    }
}

void PixelDataFragmentInputStreamVR::ReadBasicOffsetTable()
{
    itsBasicOffsetTableRead = true;
    const long long aStreamLength = itsInput->Length();
    itsEndPosition = aStreamLength < 0 ? kUnknownEnd : static_cast<std::uint64_t>(aStreamLength);
    itsReplay.emplace(*itsStream);
    itsInput = &*itsReplay;
    std::uint32_t aLength = 0;
    itsHasFragments = ReadItemHeader(aLength) && aLength != kUndefinedLength;
    if (itsHasFragments)
    {
        const std::uint32_t aWanted = CutToStream(aLength);
        const std::vector<unsigned char> aTable = ReadTableBytes(std::min(aWanted, kLongestTable));
        if (!ReturnToFirstItem(aTable))
        {
            TakeTable(aTable, aLength, aWanted);
        }
    }
    itsAtEnd = !itsHasFragments;
    itsFirstFragmentPosition = itsInput->GetStreamPosition();
}

bool PixelDataFragmentInputStreamVR::NextFragment()
{
    GetBasicOffsetTable();
    if (itsFragmentRemaining > 0)
    {
        const std::size_t aSkipped = itsInput->SkipFully(itsFragmentRemaining);
        if (aSkipped != itsFragmentRemaining)
        {
            EndInside(itsFragmentRemaining - static_cast<std::uint32_t>(aSkipped));
        }
    }
    itsFragmentLength = itsFragmentRemaining = 0;
    std::uint32_t aLength = 0;
    if (itsAtEnd || !ReadItemHeader(aLength))
    {
        itsAtEnd = true;
        return false;
    }
    aLength = CutToStream(aLength);
    itsFragmentOffset = itsNextOffset;
    itsFragmentLength = itsFragmentRemaining = aLength;
    itsNextOffset += kItemHeaderSize + aLength;
    return true;
}

std::size_t PixelDataFragmentInputStreamVR::Read(unsigned char* theBuffer, std::size_t theLength)
{
    const std::size_t aWanted = std::min<std::size_t>(theLength, itsFragmentRemaining);
    if (aWanted == 0)
    {
        return 0;
    }
    const std::size_t aCount = itsInput->Read(theBuffer, aWanted);
    itsFragmentRemaining -= static_cast<std::uint32_t>(aCount);
    if (aCount == 0)
    {
        EndInside(itsFragmentRemaining);
        itsFragmentRemaining = 0;
    }
    return aCount;
}

// The stream has ended theMissing bytes before the current fragment should.
void PixelDataFragmentInputStreamVR::EndInside(std::uint32_t theMissing)
{
    itsMissingLength = theMissing;
    itsAtEnd = itsStreamEnded = true;
}

bool PixelDataFragmentInputStreamVR::CanSeek() const
{
    return itsInput->CanSeek() != 0;
}

bool PixelDataFragmentInputStreamVR::SeekToFragment(std::uint64_t theOffset)
{
    GetBasicOffsetTable();
    const bool isInStream =
        itsEndPosition >= itsFirstFragmentPosition && theOffset <= itsEndPosition - itsFirstFragmentPosition;
    if (!itsHasFragments || !CanSeek() || !isInStream)
    {
        return false;
    }
    try
    {
        itsInput->Seek(static_cast<std::size_t>(itsFirstFragmentPosition + theOffset));
    }
    catch (const StreamIOException&)
    {
        // Where the stream's length is not known, only trying tells that an offset is past its end.
        if (itsEndPosition != kUnknownEnd)
        {
            throw;
        }
        return false;
    }
    itsNextOffset = theOffset;
    itsFragmentLength = itsFragmentRemaining = itsMissingLength = 0;
    itsAtEnd = itsStreamEnded = false;
    return true;
}
