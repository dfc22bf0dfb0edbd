// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/ImageFrameInputStream.h"

#include <algorithm>
#include <array>
#include <limits>
#include <optional>

#include "toolkit/base/CodestreamSignature.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/base/Limits.h"
#include "toolkit/dicom/TransferSyntaxType.h"
#include "toolkit/io/InputStream.h"

namespace
{
constexpr std::uint64_t kItemHeaderSize = 8;
constexpr std::uint64_t kNoOffset = std::numeric_limits<std::uint64_t>::max();
constexpr std::size_t kGatherChunk = 0x10000;

/// Where a frame is a fragment by the definition of its transfer syntax.
bool HasOneFragmentAFrame(const RWCString& theTransferSyntaxUID)
{
    return theTransferSyntaxUID == TransferSyntaxType::TSRLEUID ||
           theTransferSyntaxUID == TransferSyntaxType::TSEncapsulatedUncompressedUID ||
           theTransferSyntaxUID == TransferSyntaxType::TSDeflatedImageFrameUID;
}

/// One fragment; 16 bytes, because hostile files have millions of them.
struct Fragment
{
    std::uint64_t itsPosition; ///< offset of the item tag, or position in the gathered bytes
    std::uint32_t itsLength;
    bool itsBeginsCodestream;
};

/// Fragments that follow each other: the content of one frame.
struct FragmentRange
{
    const Fragment* itsFirst = nullptr;
    const Fragment* itsLast = nullptr; ///< one past the last
    bool itsIsOpen = false;            ///< the fragment stream already stands in the first one

    std::uint64_t GetLength() const
    {
        std::uint64_t aLength = 0;
        for (const Fragment* aFragment = itsFirst; aFragment != itsLast; ++aFragment)
        {
            aLength += aFragment->itsLength;
        }
        return aLength;
    }
};

/// The fragments of one frame as one stream, read straight from the fragment stream.
class FrameStream final : public InputStream
{
public:
    FrameStream(PixelDataFragmentInputStreamVR& theFragments, const FragmentRange& theRange)
        : itsFragments(theFragments), itsRange(theRange), itsLength(theRange.GetLength())
    {
    }

    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override
    {
        while (theLength > 0 && itsRange.itsFirst != itsRange.itsLast && Open())
        {
            const std::size_t aCount = itsFragments.Read(theBuffer, theLength);
            if (aCount > 0)
            {
                itsPosition += aCount;
                return aCount;
            }
            ++itsRange.itsFirst;
            itsRange.itsIsOpen = false;
        }
        return 0;
    }

    long long Length() const override { return static_cast<long long>(itsLength); }
    std::size_t GetStreamPosition() const override { return itsPosition; }

private:
    bool Open()
    {
        if (!itsRange.itsIsOpen)
        {
            itsRange.itsIsOpen =
                itsFragments.SeekToFragment(itsRange.itsFirst->itsPosition) && itsFragments.NextFragment();
        }
        return itsRange.itsIsOpen;
    }

    PixelDataFragmentInputStreamVR& itsFragments;
    FragmentRange itsRange;
    std::uint64_t itsLength;
    std::size_t itsPosition = 0;
};
} // namespace

class ImageFrameInputStream::Implementation
{
public:
    Implementation(PixelDataFragmentInputStreamVR& theFragments, const RWCString& theTransferSyntaxUID,
                   int theNumberOfFrames)
        : itsFragments(theFragments), itsHasOneFragmentAFrame(HasOneFragmentAFrame(theTransferSyntaxUID)),
          itsNumberOfFrames(static_cast<std::uint64_t>(std::max(theNumberOfFrames, 1)))
    {
    }

    InputStream* GetFrame(std::int64_t theIndex);
    bool SkipNextFrame();
    std::int64_t GetNextFrameIndex() const { return itsNextFrame; }
    std::uint32_t GetCurrentFrameLength() const { return itsCurrentFrameLength; }

private:
    enum class Table
    {
        UNDECIDED,
        EXTENDED,
        BASIC,
        NONE
    };

    std::optional<FragmentRange> Locate(std::uint64_t theFrame);

    void ChooseNextTable();
    template <class Entry>
    bool IsUsable(const std::vector<Entry>& theTable) const;
    std::uint64_t GetTableEntry(std::uint64_t theFrame) const;

    bool WalkTable(std::uint64_t theFrame);
    std::optional<FragmentRange> FollowStream(std::uint64_t theFrame);
    bool CollectStreamFrame(std::uint64_t theFrame);

    std::optional<FragmentRange> LocateInIndex(std::uint64_t theFrame);
    void BuildIndex();
    void DivideIndex();
    bool IsCutShort(std::size_t theCodestreams, std::size_t theFilled) const;
    template <class Predicate>
    void StartFramesAt(Predicate thePredicate);
    bool PeekCodestream();

    bool NextFragment();
    void AddToIndex(const Fragment& theFragment);
    void AppendToMemory();
    void GatherRest();

    PixelDataFragmentInputStreamVR& itsFragments;
    const bool itsHasOneFragmentAFrame; ///< what fragments begin with says nothing then
    const std::uint64_t itsNumberOfFrames;
    const std::uint64_t itsMostFragments = Limits::Get().itsFragments;

    Table itsTable = Table::UNDECIDED;
    std::uint64_t itsStreamFrame = 0; ///< next frame of a stream that cannot be sought and goes by a table

    bool itsIndexIsComplete = false;
    bool itsFragmentsAreInMemory = false;
    std::vector<Fragment> itsIndex;         ///< all fragments, or those of the frame located last
    std::vector<std::size_t> itsFirstIndex; ///< place in the complete index of each frame's first fragment
    std::vector<unsigned char> itsGathered;

    std::unique_ptr<InputStream> itsFrame;
    std::uint32_t itsCurrentFrameLength = 0;
    std::int64_t itsNextFrame = 0;
};

InputStream* ImageFrameInputStream::Implementation::GetFrame(std::int64_t theIndex)
{
    itsFrame.reset();
    if (theIndex < 0 || static_cast<std::uint64_t>(theIndex) >= itsNumberOfFrames)
    {
        return nullptr;
    }
    const std::optional<FragmentRange> aRange = Locate(static_cast<std::uint64_t>(theIndex));
    if (!aRange)
    {
        return nullptr;
    }
    const std::uint64_t aLength = aRange->GetLength();
    if (itsFragmentsAreInMemory)
    {
        const std::uint64_t aStart = aLength == 0 ? 0 : aRange->itsFirst->itsPosition;
        itsFrame = std::make_unique<MemoryInputStream>(itsGathered.data() + aStart, aLength);
    }
    else
    {
        itsFrame = std::make_unique<FrameStream>(itsFragments, *aRange);
    }
    itsCurrentFrameLength = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(aLength, std::numeric_limits<std::uint32_t>::max()));
    itsNextFrame = theIndex + 1;
    return itsFrame.get();
}

bool ImageFrameInputStream::Implementation::SkipNextFrame()
{
    itsFrame.reset();
    if (static_cast<std::uint64_t>(itsNextFrame) >= itsNumberOfFrames ||
        !Locate(static_cast<std::uint64_t>(itsNextFrame)))
    {
        return false;
    }
    ++itsNextFrame;
    return true;
}

// Finds a frame's fragments; nothing when there is no such frame.
std::optional<FragmentRange> ImageFrameInputStream::Implementation::Locate(std::uint64_t theFrame)
{
    if (itsTable == Table::UNDECIDED)
    {
        ChooseNextTable();
    }
    if (itsTable != Table::NONE && !itsFragments.CanSeek())
    {
        return FollowStream(theFrame);
    }
    for (; itsTable != Table::NONE; ChooseNextTable())
    {
        if (WalkTable(theFrame))
        {
            return FragmentRange{itsIndex.data(), itsIndex.data() + itsIndex.size()};
        }
    }
    return LocateInIndex(theFrame);
}

void ImageFrameInputStream::Implementation::ChooseNextTable()
{
    if (itsTable == Table::UNDECIDED && IsUsable(itsFragments.GetExtendedOffsetTable()))
    {
        itsTable = Table::EXTENDED;
        return;
    }
    const bool isBasicLeft = itsTable == Table::UNDECIDED || itsTable == Table::EXTENDED;
    itsTable = isBasicLeft && IsUsable(itsFragments.GetBasicOffsetTable()) ? Table::BASIC : Table::NONE;
}

// A table with more entries than frames often lists fragments, and would cut frames short.
template <class Entry>
bool ImageFrameInputStream::Implementation::IsUsable(const std::vector<Entry>& theTable) const
{
    if (theTable.size() != itsNumberOfFrames || theTable.front() != 0)
    {
        return false;
    }
    const auto isTooClose = [](Entry theFirst, Entry theSecond)
    { return theSecond < theFirst || theSecond - theFirst < kItemHeaderSize; };
    return std::adjacent_find(theTable.begin(), theTable.end(), isTooClose) == theTable.end();
}

// The offset of a frame by the table in use; past the last frame kNoOffset.
std::uint64_t ImageFrameInputStream::Implementation::GetTableEntry(std::uint64_t theFrame) const
{
    if (theFrame >= itsNumberOfFrames)
    {
        return kNoOffset;
    }
    return itsTable == Table::EXTENDED ? itsFragments.GetExtendedOffsetTable()[theFrame]
                                       : itsFragments.GetBasicOffsetTable()[theFrame];
}

// Hops over the item headers from a frame's offset to the next frame's and lists the fragments in
// itsIndex. False when the table lies: no item there, or fragments that do not end where the next frame
// begins.
bool ImageFrameInputStream::Implementation::WalkTable(std::uint64_t theFrame)
{
    itsIndex.clear();
    const std::uint64_t anEnd = GetTableEntry(theFrame + 1);
    if (!itsFragments.SeekToFragment(GetTableEntry(theFrame)))
    {
        return false;
    }
    std::uint64_t aNextOffset = 0;
    while (aNextOffset != anEnd)
    {
        if (!NextFragment())
        {
            // A file cut short has what there is of the frame.
            return !itsIndex.empty() && (anEnd == kNoOffset || itsFragments.HasReachedStreamEnd());
        }
        AddToIndex({itsFragments.GetFragmentOffset(), itsFragments.GetFragmentLength(), false});
        aNextOffset = itsFragments.GetNextOffset();
        if (aNextOffset > anEnd)
        {
            return false;
        }
    }
    return true;
}

// A stream that cannot be sought, with a table: goes forward frame by frame.
std::optional<FragmentRange> ImageFrameInputStream::Implementation::FollowStream(std::uint64_t theFrame)
{
    if (theFrame < itsStreamFrame)
    {
        return std::nullopt;
    }
    while (itsStreamFrame <= theFrame)
    {
        if (CollectStreamFrame(itsStreamFrame))
        {
            ++itsStreamFrame;
            continue;
        }
        if (itsStreamFrame > 0)
        {
            throw StreamIOException("ImageFrameInputStream: the offset table does not lead to frame " +
                                        std::to_string(itsStreamFrame) + " and the stream cannot be sought",
                                    DLRC_PARSE_ERROR, 0);
        }
        // Nothing has been given out, so all that was read is still at hand for the other ways.
        GatherRest();
        itsTable = Table::NONE;
        return LocateInIndex(theFrame);
    }
    if (itsIndex.empty())
    {
        return std::nullopt;
    }
    return FragmentRange{itsIndex.data(), itsIndex.data() + itsIndex.size(), !itsFragmentsAreInMemory};
}

// Takes one frame's fragments off the stream. A frame of one fragment stays in the stream, to be read from
// there; of several the bytes are gathered, because their total length must be known. False when the table
// lies; all that was taken is then in memory. Past the end itsIndex is empty.
bool ImageFrameInputStream::Implementation::CollectStreamFrame(std::uint64_t theFrame)
{
    itsIndex.clear();
    itsGathered.clear();
    itsFragmentsAreInMemory = false;
    const std::uint64_t aStart = GetTableEntry(theFrame);
    const std::uint64_t anEnd = GetTableEntry(theFrame + 1);
    while (itsFragments.NextFragment())
    {
        const bool isFirst = itsIndex.empty();
        const std::uint64_t anOffset = itsFragments.GetFragmentOffset();
        const std::uint64_t aNextOffset = itsFragments.GetNextOffset();
        const bool isMisplaced = aNextOffset > anEnd || (isFirst && anOffset != aStart);
        if (isFirst && !isMisplaced && aNextOffset == anEnd)
        {
            AddToIndex({anOffset, itsFragments.GetFragmentLength(), false});
            return true;
        }
        itsFragmentsAreInMemory = true;
        AppendToMemory();
        if (isMisplaced || aNextOffset == anEnd)
        {
            return !isMisplaced;
        }
    }
    return anEnd == kNoOffset || itsIndex.empty() || itsFragments.HasReachedStreamEnd();
}

std::optional<FragmentRange> ImageFrameInputStream::Implementation::LocateInIndex(std::uint64_t theFrame)
{
    if (!itsIndexIsComplete)
    {
        BuildIndex();
    }
    if (itsFirstIndex.empty() && !itsIndex.empty())
    {
        throw StreamIOException("ImageFrameInputStream: " + std::to_string(itsIndex.size()) +
                                    " fragments cannot be divided into " + std::to_string(itsNumberOfFrames) +
                                    " frames",
                                DLRC_PARSE_ERROR, 0);
    }
    if (theFrame >= itsFirstIndex.size())
    {
        return std::nullopt;
    }
    const std::size_t aFirst = itsFirstIndex[theFrame];
    const std::size_t aLast =
        theFrame + 1 < itsFirstIndex.size() ? itsFirstIndex[theFrame + 1] : itsIndex.size();
    return FragmentRange{itsIndex.data() + aFirst, itsIndex.data() + aLast};
}

void ImageFrameInputStream::Implementation::BuildIndex()
{
    if (!itsFragments.CanSeek())
    {
        GatherRest();
    }
    else
    {
        itsIndex.clear();
        const bool isAtFirst = itsFragments.SeekToFragment(0);
        while (isAtFirst && NextFragment())
        {
            const std::uint64_t anOffset = itsFragments.GetFragmentOffset();
            AddToIndex({anOffset, itsFragments.GetFragmentLength(), PeekCodestream()});
        }
        DivideIndex();
    }
}

// Goes on where fragments are listed and not read. The last one may turn out to be shorter than it says.
bool ImageFrameInputStream::Implementation::NextFragment()
{
    const bool isThere = itsFragments.NextFragment();
    if (!isThere && !itsIndex.empty())
    {
        itsIndex.back().itsLength -= itsFragments.GetMissingLength();
    }
    return isThere;
}

void ImageFrameInputStream::Implementation::AddToIndex(const Fragment& theFragment)
{
    if (itsIndex.size() >= itsMostFragments)
    {
        throw StreamIOException("ImageFrameInputStream: the pixel data is too large: " +
                                    Limits::Describe(itsIndex.size() + 1, "fragments", itsMostFragments),
                                DLRC_PARSE_ERROR, 0);
    }
    itsIndex.push_back(theFragment);
}

// Reads the first bytes of the fragment just reached.
bool ImageFrameInputStream::Implementation::PeekCodestream()
{
    std::array<unsigned char, CodestreamSignature::kFragmentStartLength> aStart;
    std::size_t aCount = 0;
    std::size_t aStep = 0;
    do
    {
        aStep = itsFragments.Read(aStart.data() + aCount, aStart.size() - aCount);
        aCount += aStep;
    } while (aStep > 0 && aCount < aStart.size());
    return !itsHasOneFragmentAFrame && CodestreamSignature::BeginsCodestream(aStart.data(), aCount);
}

// Divides the complete index into frames.
void ImageFrameInputStream::Implementation::DivideIndex()
{
    itsIndexIsComplete = true;
    itsFirstIndex.clear();
    const auto isAny = [](const Fragment&) { return true; };
    const auto isFilled = [](const Fragment& theFragment) { return theFragment.itsLength > 0; };
    const auto isCodestream = [](const Fragment& theFragment) { return theFragment.itsBeginsCodestream; };
    const std::size_t aFilled =
        static_cast<std::size_t>(std::count_if(itsIndex.begin(), itsIndex.end(), isFilled));
    const std::size_t aCodestreams =
        static_cast<std::size_t>(std::count_if(itsIndex.begin(), itsIndex.end(), isCodestream));
    if (itsNumberOfFrames == 1)
    {
        itsFirstIndex.resize(itsIndex.empty() ? 0 : 1);
    }
    else if (itsIndex.size() == itsNumberOfFrames && !IsCutShort(aCodestreams, aFilled))
    {
        StartFramesAt(isAny);
    }
    else if ((aFilled == itsNumberOfFrames && !IsCutShort(aCodestreams, aFilled)) || itsHasOneFragmentAFrame)
    {
        StartFramesAt(isFilled);
    }
    else
    {
        StartFramesAt(isCodestream);
    }
}

// In a file cut short, several fragments a frame can agree with the number of frames by accident. Then
// some fragments begin a codestream and some do not.
bool ImageFrameInputStream::Implementation::IsCutShort(std::size_t theCodestreams,
                                                       std::size_t theFilled) const
{
    return itsFragments.HasReachedStreamEnd() && theCodestreams > 0 && theCodestreams < theFilled;
}

template <class Predicate>
void ImageFrameInputStream::Implementation::StartFramesAt(Predicate thePredicate)
{
    for (std::size_t anIndex = 0; anIndex < itsIndex.size(); ++anIndex)
    {
        if (thePredicate(itsIndex[anIndex]))
        {
            itsFirstIndex.push_back(anIndex);
        }
    }
}

// Takes what is left of the current fragment into memory, which grows with what really arrives.
void ImageFrameInputStream::Implementation::AppendToMemory()
{
    const std::size_t aStart = itsGathered.size();
    std::size_t aCount = 0;
    do
    {
        const std::size_t anOldSize = itsGathered.size();
        itsGathered.resize(anOldSize +
                           std::min<std::size_t>(kGatherChunk, itsFragments.GetFragmentRemaining()));
        aCount = itsFragments.Read(itsGathered.data() + anOldSize, itsGathered.size() - anOldSize);
        itsGathered.resize(anOldSize + aCount);
    } while (aCount > 0);
    const std::size_t aLength = itsGathered.size() - aStart;
    AddToIndex({aStart, static_cast<std::uint32_t>(aLength),
                !itsHasOneFragmentAFrame &&
                    CodestreamSignature::BeginsCodestream(itsGathered.data() + aStart, aLength)});
}

// Takes all fragments that are left into memory, behind those of the first frame that are there already.
void ImageFrameInputStream::Implementation::GatherRest()
{
    itsFragmentsAreInMemory = true;
    while (itsFragments.NextFragment())
    {
        AppendToMemory();
    }
    DivideIndex();
}

ImageFrameInputStream::ImageFrameInputStream(PixelDataFragmentInputStreamVR& theFragments,
                                             const RWCString& theTransferSyntaxUID, int theNumberOfFrames,
                                             std::uint64_t)
    : itsImplementation(
          std::make_unique<Implementation>(theFragments, theTransferSyntaxUID, theNumberOfFrames))
{
}

ImageFrameInputStream::~ImageFrameInputStream() = default;

InputStream* ImageFrameInputStream::GetFrame(int theFrameIndex)
{
    return itsImplementation->GetFrame(theFrameIndex);
}

InputStream* ImageFrameInputStream::NextFrame()
{
    return itsImplementation->GetFrame(itsImplementation->GetNextFrameIndex());
}

bool ImageFrameInputStream::SkipNextFrame()
{
    return itsImplementation->SkipNextFrame();
}

std::uint32_t ImageFrameInputStream::GetCurrentFrameLength() const
{
    return itsImplementation->GetCurrentFrameLength();
}
