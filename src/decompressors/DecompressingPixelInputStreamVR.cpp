// SPDX-License-Identifier: Apache-2.0
#include "decompressors/DecompressingPixelInputStreamVR.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include "decoding/CompressedCodestreamDecoder.h"
#include "decompressors/detail/Part10ImageAttributes.h"
#include "decompressors/detail/UnwrittenPixels.h"
#include "image/Renderable.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/base/Limits.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/ImageFrameInputStream.h"
#include "toolkit/dicom/PixelDataFragmentInputStreamVR.h"
#include "toolkit/dicom/ScratchpadKeys.h"
#include "toolkit/dicom/TransferSyntaxType.h"
#include "toolkit/dicom/VR.h"

namespace
{
constexpr const char* kReadName =
    "DecompressingPixelInputStreamVR::Read(uchar_t* theBuffer, size_t theLength)";
constexpr const char* kSkipName = "DecompressingPixelInputStreamVR::Skip(size_t theLength)";

/// The element is read like a native one, and the codecs deliver words as the machine has them.
constexpr DICOMTag kTag = DICOMTags::PixelData;

std::size_t ToSize(std::uint64_t theCount)
{
    return static_cast<std::size_t>(
        std::min<std::uint64_t>(theCount, std::numeric_limits<std::size_t>::max()));
}
} // namespace

DecompressingPixelInputStreamVR::DecompressingPixelInputStreamVR(DICOMDataObject& theDataSet,
                                                                 const TransferSyntaxType& theTransferSyntax,
                                                                 PixelDataFragmentInputStreamVR& theFragments,
                                                                 MemoryAllocater& theAllocator)
    : PixelInputStreamVR(kTag, VR::TYPE_OW, DLEndian::NativeEndian()), itsDataSet(theDataSet),
      itsTransferSyntax(theTransferSyntax), itsAllocator(theAllocator),
      itsFragments(std::shared_ptr<PixelDataFragmentInputStreamVR>(), &theFragments),
      itsFrameBuffer(nullptr, Release{&theAllocator})
{
    Init();
}

DecompressingPixelInputStreamVR::DecompressingPixelInputStreamVR(DICOMDataObject& theDataSet,
                                                                 const TransferSyntaxType& theTransferSyntax,
                                                                 PixelDataFragmentInputStreamVR* theFragments,
                                                                 MemoryAllocater& theAllocator)
    : PixelInputStreamVR(kTag, VR::TYPE_OW, DLEndian::NativeEndian()), itsDataSet(theDataSet),
      itsTransferSyntax(theTransferSyntax), itsAllocator(theAllocator), itsFragments(theFragments),
      itsFrameBuffer(nullptr, Release{&theAllocator})
{
    Init();
}

DecompressingPixelInputStreamVR::DecompressingPixelInputStreamVR(
    const DecompressingPixelInputStreamVR& theOther)
    : PixelInputStreamVR(kTag, theOther.GetTypeCode(), theOther.GetEndian()), itsDataSet(theOther.itsDataSet),
      itsTransferSyntax(theOther.itsTransferSyntax), itsAllocator(theOther.itsAllocator),
      itsFragments(theOther.itsFragments), itsFrames(theOther.itsFrames),
      itsFrameBuffer(nullptr, theOther.itsFrameBuffer.get_deleter()),
      itsCurrentFrameIndex(theOther.itsCurrentFrameIndex),
      itsCurrentFrameBufferSize(theOther.itsCurrentFrameBufferSize),
      itsReadPosition(theOther.itsReadPosition), itsLength(theOther.itsLength),
      itsRemainingLength(theOther.itsRemainingLength), itsNumberOfFrames(theOther.itsNumberOfFrames),
      itsBitsStored(theOther.itsBitsStored), itsIsValid(theOther.itsIsValid),
      itsErrorText(theOther.itsErrorText)
{
    if (theOther.itsFrameBuffer)
    {
        itsFrameBuffer.reset(static_cast<unsigned char*>(
            itsAllocator.Allocate(std::max<std::uint64_t>(itsCurrentFrameBufferSize, 1))));
        const std::size_t aStart = ToSize(itsReadPosition);
        std::memcpy(itsFrameBuffer.get() + aStart, theOther.itsFrameBuffer.get() + aStart,
                    ToSize(itsCurrentFrameBufferSize) - aStart);
    }
}

DecompressingPixelInputStreamVR::~DecompressingPixelInputStreamVR() = default;

DecompressingPixelInputStreamVR&
DecompressingPixelInputStreamVR::operator=(const DecompressingPixelInputStreamVR&)
{
    throw StreamIOException("DecompressingPixelInputStreamVR::operator=(): assignment not supported",
                            DLRC_GENERAL_FAILURE, 0);
}

void DecompressingPixelInputStreamVR::Init()
{
    if (!itsFragments)
    {
        itsErrorText += "Missing pixel data;";
        itsIsValid = false;
    }
    itsIsValid = ReadAttributes() && itsIsValid;
    if (!itsIsValid)
    {
        return;
    }
    itsReadPosition = itsCurrentFrameBufferSize;
    DecompressFirstFrame();
}

/// False, with the reasons in the error text, where something is missing.
bool DecompressingPixelInputStreamVR::ReadAttributes()
{
    std::uint16_t aRows = 0;
    std::uint16_t aColumns = 0;
    std::uint16_t aBitsAllocated = 0;
    std::uint16_t aSamplesPerPixel = 0;
    const struct
    {
        DICOMTag itsTag;
        std::uint16_t& itsValue;
        const char* itsName;
    } theElements[] = {
        {DICOMTags::Rows, aRows, "Rows"},
        {DICOMTags::Columns, aColumns, "Columns"},
        {DICOMTags::BitsAllocated, aBitsAllocated, "BitsAllocated"},
        {DICOMTags::BitsStored, itsBitsStored, "BitsStored"},
        {DICOMTags::SamplesPerPixel, aSamplesPerPixel, "SamplesPerPixel"},
    };
    bool isComplete = true;
    for (const auto& anElement : theElements)
    {
        if (!itsDataSet.GetUnsignedShort(anElement.itsTag, anElement.itsValue))
        {
            itsErrorText += std::string("Missing DICOM data element ") + anElement.itsName + ";";
            isComplete = false;
        }
    }
    RWCString aValue;
    if (itsDataSet.GetScratchpadValue(ScratchpadKeys::DecompOrigSamplesPerPixel, aValue) && aValue == "1")
    {
        aSamplesPerPixel = 1; // a palette that an earlier decode has applied
    }
    itsNumberOfFrames = Part10ImageAttributes::ReadNumberOfFrames(itsDataSet);
    SetTypeCode(aBitsAllocated < 9 ? VR::TYPE_OB : VR::TYPE_OW);
    return SetSizes(aRows, aColumns, aBitsAllocated, aSamplesPerPixel) && isComplete;
}

bool DecompressingPixelInputStreamVR::SetSizes(int theRows, int theColumns, int theBitsAllocated,
                                               int theSamplesPerPixel)
{
    itsCurrentFrameBufferSize = Renderable::calculateRequiredBufferSize(theRows, theColumns, theBitsAllocated,
                                                                        theSamplesPerPixel, Renderable::RGB);
    try
    {
        Limits::CheckFrames(static_cast<std::uint64_t>(itsNumberOfFrames));
        Limits::CheckFrame(static_cast<std::uint64_t>(theRows), static_cast<std::uint64_t>(theColumns),
                           itsCurrentFrameBufferSize);
    }
    catch (const StreamIOException& anException)
    {
        itsErrorText += RWCString(anException.what()) + ";";
        return false;
    }
    constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max() - 1;
    if (itsCurrentFrameBufferSize > kMost / static_cast<std::uint64_t>(itsNumberOfFrames))
    {
        itsErrorText += "The frames have more bytes than can be counted;";
        itsCurrentFrameBufferSize = 0;
        return false;
    }
    const std::uint64_t aLength = itsCurrentFrameBufferSize * static_cast<std::uint64_t>(itsNumberOfFrames);
    itsLength = aLength + aLength % 2;
    itsRemainingLength = itsLength;
    return true;
}

void DecompressingPixelInputStreamVR::DecompressFirstFrame()
{
    try
    {
        DecompressNextFrame();
    }
    catch (const std::exception& anException)
    {
        itsErrorText += RWCString("Exception while decompressing first frame: ") + anException.what();
        itsIsValid = false;
    }
}

bool DecompressingPixelInputStreamVR::DecompressNextFrame()
{
    if (!itsFrames)
    {
        itsFrames = std::make_shared<ImageFrameInputStream>(*itsFragments, itsTransferSyntax.GetUID(),
                                                            itsNumberOfFrames, itsCurrentFrameBufferSize);
    }
    InputStream* const aFrame = itsFrames->GetFrame(itsCurrentFrameIndex + 1);
    if (aFrame == nullptr)
    {
        return false;
    }
    ++itsCurrentFrameIndex;
    CheckPosition();
    CompressedCodestreamDecoder aDriver(itsTransferSyntax.GetUID(), itsBitsStored, *aFrame, itsDataSet, 1,
                                        Decoder::PET_FAST);
    auto anOpenedFrame = aDriver.Open(itsFrames->GetCurrentFrameLength(), itsCurrentFrameBufferSize);
    PrepareFrameBuffer(anOpenedFrame.GetDecodedSize());
    aDriver.Decode(std::move(anOpenedFrame), itsFrameBuffer.get());
    // Only now: of a frame that fails nothing is handed out.
    itsReadPosition = 0;
    DiscardFinalFramePaddingIfNecessary();
    return true;
}

/// Has the frame buffer ready: taken once, and not before a codestream's header has been read and found
/// credible. theDecodedSize: bytes that the codec will write, which may be fewer than the data set promises.
void DecompressingPixelInputStreamVR::PrepareFrameBuffer(std::uint64_t theDecodedSize)
{
    if (!itsFrameBuffer)
    {
        itsFrameBuffer.reset(static_cast<unsigned char*>(
            itsAllocator.Allocate(std::max<std::uint64_t>(itsCurrentFrameBufferSize, 1))));
    }
    // Neither the frame before nor what used to be in the memory may show through.
    const std::uint64_t aWritten =
        UnwrittenPixels::MayLeaveSamples(itsTransferSyntax.GetUID()) ? 0 : theDecodedSize;
    if (aWritten < itsCurrentFrameBufferSize)
    {
        std::memset(itsFrameBuffer.get() + ToSize(aWritten), 0, ToSize(itsCurrentFrameBufferSize - aWritten));
    }
}

void DecompressingPixelInputStreamVR::CheckPosition() const
{
    const std::uint64_t aStart = static_cast<std::uint64_t>(itsCurrentFrameIndex) * itsCurrentFrameBufferSize;
    if (aStart != itsLength - itsRemainingLength)
    {
        throw StreamIOException(
            "DecompressingPixelInputStreamVR::DecompressNextFrame(): itsCurrentFrameIndex * "
            "itsCurrentFrameBufferSize != GetLength() - itsRemainingLength:\n"
            "itsCurrentFrameIndex = " +
                std::to_string(itsCurrentFrameIndex) + "\nitsCurrentFrameBufferSize = " +
                std::to_string(itsCurrentFrameBufferSize) + "\nGetLength() = " + std::to_string(itsLength) +
                "\nitsRemainingLength = " + std::to_string(itsRemainingLength) + "\n",
            DLRC_GENERAL_FAILURE, 0);
    }
}

/// Deliberately looks only when everything has been handed out, which is not so right after a frame was
/// decompressed unless that frame is one too many.
void DecompressingPixelInputStreamVR::DiscardFinalFramePaddingIfNecessary()
{
    if (itsRemainingLength == 0 && itsFrames->SkipNextFrame())
    {
        throw StreamIOException(
            "DecompressingPixelInputStreamVR::DiscardFinalFramePaddingIfNecessary(): Expected EOF on input "
            "but SkipNextFrame() on input succeeded",
            DLRC_GENERAL_FAILURE, 0);
    }
}

std::size_t DecompressingPixelInputStreamVR::Read(unsigned char* theBuffer, std::size_t theLength)
{
    return Advance(theBuffer, theLength, kReadName);
}

std::size_t DecompressingPixelInputStreamVR::Skip(std::size_t theLength)
{
    return Advance(nullptr, theLength, kSkipName);
}

/// theBuffer is null when nothing is to be copied.
std::size_t DecompressingPixelInputStreamVR::Advance(unsigned char* theBuffer, std::size_t theLength,
                                                     const char* theOperation)
{
    if (!itsIsValid)
    {
        // The same text for both operations.
        throw StreamIOException(std::string(kReadName) +
                                    ": Invalid object - missing required DICOM data elements were "
                                    "encountered during construction or an error occured while "
                                    "decompressing the first frame: " +
                                    itsErrorText,
                                DLRC_INVALID_DECOMPRESSING_STREAM, 0);
    }
    std::size_t aDone = 0;
    while (aDone < theLength)
    {
        if (itsReadPosition >= itsCurrentFrameBufferSize && !DecompressNextFrame())
        {
            break;
        }
        const std::size_t aCount =
            std::min(theLength - aDone, ToSize(itsCurrentFrameBufferSize - itsReadPosition));
        if (theBuffer != nullptr)
        {
            std::memcpy(theBuffer + aDone, itsFrameBuffer.get() + ToSize(itsReadPosition), aCount);
        }
        itsReadPosition += aCount;
        aDone += aCount;
        Consume(aCount, theOperation);
    }
    if (aDone < theLength && itsRemainingLength == 1 && itsCurrentFrameBufferSize % 2 == 1 &&
        itsReadPosition == itsCurrentFrameBufferSize)
    {
        if (theBuffer != nullptr)
        {
            theBuffer[aDone] = 0;
        }
        ++aDone;
        --itsRemainingLength;
    }
    return aDone;
}

void DecompressingPixelInputStreamVR::Consume(std::size_t theCount, const char* theOperation)
{
    if (itsRemainingLength < theCount)
    {
        itsRemainingLength = 0;
        throw StreamIOException(std::string(theOperation) +
                                    ": Error: Decompression produced more bytes than expected",
                                DLRC_GENERAL_FAILURE, 0);
    }
    itsRemainingLength -= theCount;
}

std::unique_ptr<VR> DecompressingPixelInputStreamVR::GetVR()
{
    if (itsRemainingLength != itsLength)
    {
        throw StreamIOException(
            "DecompressingPixelInputStreamVR::GetVR(): Data partially read from stream already",
            DLRC_GENERAL_FAILURE, 0);
    }
    MemoryAllocater& anAllocator = VR::GetDefaultMemoryAllocater();
    void* const aBlock = anAllocator.Allocate(itsLength);
    std::unique_ptr<BufferVR> aVR;
    try
    {
        aVR = std::make_unique<BufferVR>(GetTag(), GetTypeCode(), GetEndian(), aBlock, itsLength);
    }
    catch (...)
    {
        anAllocator.Free(aBlock);
        throw;
    }
    aVR->TakeOwnership(anAllocator);
    const std::size_t aCount = ReadFully(static_cast<unsigned char*>(aBlock), ToSize(itsLength));
    if (aCount < itsLength)
    {
        throw StreamIOException("DecompressingPixelInputStreamVR::GetVR(): the frames end after " +
                                    std::to_string(aCount) + " of " + std::to_string(itsLength) + " bytes",
                                DLRC_PIXEL_DATA_TOO_SHORT, 0);
    }
    return aVR;
}

std::size_t DecompressingPixelInputStreamVR::GetBytesAvailable() const
{
    return ToSize(itsRemainingLength);
}

std::size_t DecompressingPixelInputStreamVR::GetStreamPosition() const
{
    return ToSize(itsLength - itsRemainingLength);
}

void DecompressingPixelInputStreamVR::Seek(std::size_t)
{
    throw StreamIOException("DecompressingPixelInputStreamVR does not support Seek(size_t thePosition)",
                            DLRC_NOT_SUPPORTED, 0);
}

void DecompressingPixelInputStreamVR::Pushback(const unsigned char*, std::size_t)
{
    throw StreamIOException("DecompressingPixelInputStreamVR does not support Pushback(uchar_t* theBuffer, "
                            "size_t theLength)",
                            DLRC_NOT_SUPPORTED, 0);
}
