// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/Part10FrameLoader.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#include "decoding/CodecTable.h"
#include "decoding/CompressedCodestreamDecoder.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/detail/ImageDescription.h"
#include "decompressors/detail/RegionCut.h"
#include "decompressors/detail/UnwrittenPixels.h"
#include "decompressors/detail/UsedBits.h"
#include "pixels/DecompressionLibUtils.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/PixelDataFragmentInputStreamVR.h"
#include "toolkit/dicom/VR.h"

namespace
{
/// Bits of one frame as it stands in a native value. Only one-sample frames can end inside a byte.
std::uint64_t NativeFrameBits(const Part10ImageAttributes& theAttributes, std::uint64_t theSize)
{
    if (theAttributes.itsSamplesPerPixel != 1)
    {
        return theSize * 8;
    }
    return std::uint64_t(theAttributes.itsRows) * std::uint64_t(theAttributes.itsColumns) *
           std::uint64_t(theAttributes.itsBitsAllocated);
}

/// Bytes of the words that a value of type OW consists of.
std::size_t WordBytes(const Part10ImageAttributes& theAttributes)
{
    return theAttributes.itsBitsAllocated == 32 ? 4 : 2;
}

std::uint64_t Unsigned(std::int32_t theCount)
{
    return static_cast<std::uint64_t>(std::max(theCount, 0));
}

bool IsNativeOrder(bool isLittleEndian)
{
    return isLittleEndian == (DLEndian::NativeEndian() == DLEndian::LITTLE_ENDIAN_ORDER);
}
} // namespace

/// Looks how deep the samples are.
class Part10FrameLoader::Driver final : public CompressedCodestreamDecoder
{
public:
    Driver(const Part10FrameLoader& theLoader, Frame& theFrame, InputStream& theStream)
        : CompressedCodestreamDecoder(
              theLoader.itsFrontEnd.GetRequest().getTransferSyntaxUID(), theFrame.itsAttributes.itsBitsStored,
              theStream, theLoader.itsFrontEnd.GetDataSet(), theLoader.itsScaleFactor, Decoder::PET_FAST),
          itsFrame(theFrame), itsIsByMeaning(theLoader.itsFrontEnd.GetReadingContext().IsByMeaning())
    {
    }

    bool CodestreamHeaderRead(Decoder& theDecoder) override
    {
        itsDepth = std::min(theDecoder.GetPrecision(), theDecoder.GetRecommendedBitsStoredPerSample());
        Part10ImageAttributes& anImage = itsFrame.itsAttributes;
        if (itsIsByMeaning && IsRecovered() &&
            theDecoder.GetBitsAllocatedPerSample() > anImage.itsBitsAllocated)
        {
            // The data set is wrong about the bits; its rows and columns still bound the frame.
            anImage.itsBitsAllocated = theDecoder.GetBitsAllocatedPerSample();
            itsFrame.itsSize = anImage.GetFrameSize(Renderable::RGB);
            SetOutputSize(itsFrame.itsSize);
        }
        return true;
    }

    /// Bits that the decoded samples have; 0 from a codec that does not know.
    int GetDepth() const { return itsDepth; }

private:
    Frame& itsFrame;
    bool itsIsByMeaning;
    int itsDepth = 0;
};

Part10FrameLoader::Part10FrameLoader(Part10FrontEnd& theFrontEnd, RWCString theClassName)
    : itsFrontEnd(theFrontEnd), itsClassName(std::move(theClassName)),
      itsScaleFactor(theFrontEnd.GetRequest().getScaleFactor()),
      itsRegion(theFrontEnd.GetRequest().getRegion())
{
}

Part10FrameLoader::~Part10FrameLoader() = default;

bool Part10FrameLoader::IsNative() const
{
    return itsFrontEnd.GetPixelData()->GetPixelInputStream() != nullptr;
}

Part10FrameLoader::Frame Part10FrameLoader::Begin() const
{
    Frame aFrame;
    aFrame.itsAttributes = itsFrontEnd.GetAttributes();
    aFrame.itsInterpretation =
        Renderable::photometricInterpretationFromString(aFrame.itsAttributes.itsPhotometricInterpretation);
    aFrame.itsLittleEndian = itsFrontEnd.GetDataSet().GetEndian() == DLEndian::LITTLE_ENDIAN_ORDER;
    aFrame.itsScaleFactor = itsScaleFactor;
    const CodecRow* const aRow = itsFrontEnd.GetCodec();
    if (!IsNative() && aRow != nullptr && aRow->itsCanHoldSingleBits)
    {
        // Single bits are packed in native pixels only: the codec delivers at least a byte a sample.
        aFrame.itsAttributes.itsBitsAllocated = std::max(aFrame.itsAttributes.itsBitsAllocated, 8);
    }
    aFrame.itsIsWindow = CanReadWindow(aFrame);
    if (aFrame.itsIsWindow)
    {
        BeginWindow(aFrame);
    }
    aFrame.itsSize =
        aFrame.itsAttributes.GetFrameSize(IsNative() ? aFrame.itsInterpretation : Renderable::RGB);
    return aFrame;
}

/// Whether the native pixels of a region can be found one by one: samples of whole bytes, none shared by
/// pixels, in the order in which they are delivered.
bool Part10FrameLoader::CanReadWindow(const Frame& theFrame) const
{
    constexpr std::int32_t kMostLines = std::numeric_limits<std::uint16_t>::max();
    const Part10ImageAttributes& anImage = theFrame.itsAttributes;
    if (!itsRegion || !IsNative() || HasForeignWords() ||
        std::clamp(anImage.itsRows, 1, kMostLines) != anImage.itsRows ||
        std::clamp(anImage.itsColumns, 1, kMostLines) != anImage.itsColumns)
    {
        return false;
    }
    const bool isWhole =
        anImage.itsBitsAllocated == 8 || anImage.itsBitsAllocated == 16 || anImage.itsBitsAllocated == 32;
    const auto anInterpretation = theFrame.itsInterpretation;
    const bool isShared = anInterpretation == Renderable::YBR_FULL_422 ||
                          anInterpretation == Renderable::YBR_PARTIAL_422 ||
                          anInterpretation == Renderable::YBR_PARTIAL_420;
    return isWhole && (anImage.itsSamplesPerPixel == 1 || (anImage.itsSamplesPerPixel == 3 && !isShared));
}

NativeFrameReader::Layout Part10FrameLoader::GetNativeLayout() const
{
    const Part10ImageAttributes& anImage = itsFrontEnd.GetAttributes();
    const std::uint64_t aSamples = Unsigned(anImage.itsSamplesPerPixel);
    const std::uint64_t aPlanes = anImage.itsPlanar ? aSamples : 1;
    return {Unsigned(anImage.itsRows), Unsigned(anImage.itsColumns),
            Unsigned(anImage.itsBitsAllocated) / 8 * (aSamples / aPlanes), aPlanes};
}

/// From here on the window is the image, except for where it stands in the file.
void Part10FrameLoader::BeginWindow(Frame& theFrame) const
{
    const PixelRegion& aWindow = *itsRegion;
    Part10ImageAttributes& anImage = theFrame.itsAttributes;
    Decoder::CheckRegion(aWindow, {0, 0, Unsigned(anImage.itsColumns), Unsigned(anImage.itsRows)});
    anImage.itsRows = static_cast<std::int32_t>(aWindow.itsHeight);
    anImage.itsColumns = static_cast<std::int32_t>(aWindow.itsWidth);
}

void Part10FrameLoader::Want(const PixelRegion& theRegion, int theScaleFactor)
{
    itsRegion = theRegion;
    itsScaleFactor = theScaleFactor;
}

void Part10FrameLoader::Pass(int theFrameIndex)
{
    Frame aFrame = Begin();
    if (IsNative())
    {
        ReadNativeBytes(aFrame, theFrameIndex);
        return;
    }
    GetCompressedFrame(theFrameIndex, aFrame.itsSize);
}

std::unique_ptr<Renderable> Part10FrameLoader::Load(int theFrameIndex)
{
    DMTickCounter aTimer;
    itsFrontEnd.GetReadingContext().SetFrame(std::max(theFrameIndex, 0));
    Frame aFrame = Begin();
    const bool hasRegion = itsRegion.has_value();
    if (hasRegion)
    {
        // Codecs that go by the data set must not meet what the frame before was cut to.
        RegionCut::WriteDimensions(itsFrontEnd.GetDataSet(), Unsigned(aFrame.itsAttributes.itsRows),
                                   Unsigned(aFrame.itsAttributes.itsColumns));
    }
    if (IsNative())
    {
        ReadNative(aFrame, theFrameIndex);
    }
    else
    {
        DecodeEncapsulated(aFrame, theFrameIndex);
    }
    SettleGreyLabel(aFrame);
    Describe(aFrame);
    ConvertToRGB(aFrame);
    if (hasRegion && IsNative() && !aFrame.itsIsWindow)
    {
        CutNative(aFrame);
    }
    Renderable& anImage = *aFrame.itsRenderable;
    if (!aFrame.itsIsDepthKnown)
    {
        UsedBits::Warn(anImage, itsFrontEnd.GetReadingContext());
    }
    SettleRescale(anImage, std::max(theFrameIndex, 0));
    anImage.setTimeTakenToOpenStream(itsFrontEnd.GetTimeToOpen());
    anImage.setTimeTakenToLoadHeader(itsFrontEnd.GetTimeToParse());
    anImage.setTimeTakenToAllocateMemmory(aFrame.itsTimeToAllocate);
    anImage.setTimeTakenToLoadPixelData(std::max(aTimer.Lap() * 1000.0 - aFrame.itsTimeToAllocate, 0.0));
    anImage.setTotalTimeTakenToLoad(itsFrontEnd.GetTotalTime());
    return std::move(aFrame.itsRenderable);
}

/// Samples that were made unsigned have been moved, and no rescale is theirs. The first frame may be the only
/// one, for which not all frames' items are worth passing through.
void Part10FrameLoader::SettleRescale(Renderable& theImage, int theFrame)
{
    if (itsFrontEnd.GetRequest().isV5ConvertPixelsToUnsigned())
    {
        return;
    }
    if (!std::exchange(itsHasLoaded, true))
    {
        theImage.setRescale(ModalityRescale::Find(itsFrontEnd.GetDataSet(), theFrame));
        return;
    }
    if (!itsRescales)
    {
        itsRescales.emplace(itsFrontEnd.GetDataSet());
    }
    theImage.setRescale(itsRescales->Get(theFrame));
}

void Part10FrameLoader::Allocate(Frame& theFrame) const
{
    DMTickCounter aTimer;
    MemoryAllocater& anAllocator = itsFrontEnd.GetMemoryAllocator();
    theFrame.itsRenderable = std::make_unique<Renderable>(anAllocator);
    theFrame.itsRenderable->setPixelData(anAllocator.Allocate(theFrame.itsSize), theFrame.itsSize);
    theFrame.itsTimeToAllocate = aTimer.Lap() * 1000.0;
}

std::uint64_t Part10FrameLoader::ReadNativeBytes(Frame& theFrame, int theFrameIndex)
{
    if (!itsNativeFrames)
    {
        InputStream* aValue = itsFrontEnd.GetPixelData()->GetPixelInputStream();
        if (HasForeignWords() && itsFrontEnd.GetReadingContext().IsByMeaning())
        {
            aValue = &itsExchangedWords.emplace(*aValue, WordBytes(theFrame.itsAttributes));
        }
        const NativeFrameReader::Layout aLayout = GetNativeLayout();
        itsNativeFrames.emplace(*aValue, theFrame.itsIsWindow
                                             ? aLayout.itsRows * aLayout.itsColumns * aLayout.itsPlanes *
                                                   aLayout.itsPixelBytes * 8
                                             : NativeFrameBits(theFrame.itsAttributes, theFrame.itsSize));
    }
    const int aFrameIndex = theFrameIndex == -1 ? 0 : theFrameIndex;
    // A frame that cannot be there must not cost its memory first.
    itsNativeFrames->Expect(aFrameIndex);
    Allocate(theFrame);
    auto* const aPixels = static_cast<unsigned char*>(theFrame.itsRenderable->getPixelData());
    return theFrame.itsIsWindow
               ? itsNativeFrames->ReadWindow(aFrameIndex, GetNativeLayout(), *itsRegion, aPixels)
               : itsNativeFrames->ReadFrame(aFrameIndex, aPixels);
}

void Part10FrameLoader::ReadNative(Frame& theFrame, int theFrameIndex)
{
    theFrame.itsCompressedSize = ReadNativeBytes(theFrame, theFrameIndex);
    if (theFrame.itsScaleFactor > 1)
    {
        SettleScale(theFrame);
    }
    if (HasForeignWords())
    {
        SettleByteOrder(theFrame);
    }
    if (itsFrontEnd.GetRequest().isV5ConvertPixelsToUnsigned() &&
        theFrame.itsAttributes.itsPixelRepresentation == 1)
    {
        MakeUnsigned(theFrame);
    }
}

void Part10FrameLoader::DecodeEncapsulated(Frame& theFrame, int theFrameIndex)
{
    const DecompressionRequest& aRequest = itsFrontEnd.GetRequest();
    DICOMDataObject& aDataSet = itsFrontEnd.GetDataSet();
    InputStream& aStream = GetCompressedFrame(theFrameIndex, theFrame.itsSize);
    Driver aDriver(*this, theFrame, aStream);
    aDriver.SetReadingContext(&itsFrontEnd.GetReadingContext());
    aDriver.SetStatedRepresentation(theFrame.itsAttributes.itsPixelRepresentation);
    aDriver.SetForceUnsignedPixelOutput(aRequest.isV5ConvertPixelsToUnsigned());
    aDriver.SetRegion(itsRegion);
    // Memory is taken when the header has been found credible, not before.
    auto anOpenedFrame = aDriver.Open(itsCompressedFrames->GetCurrentFrameLength(), theFrame.itsSize);
    SettleRegion(theFrame, anOpenedFrame.GetCodec());
    Allocate(theFrame);
    UnwrittenPixels::Blank(*theFrame.itsRenderable, aRequest.getTransferSyntaxUID());
    aDriver.Decode(std::move(anOpenedFrame), theFrame.itsRenderable->getPixelData());

    theFrame.itsAttributes.ReadDecoded(aDataSet);
    theFrame.itsAttributes.itsPlanar = false;
    SettleDecodedSize(theFrame);
    CutDecoded(theFrame);
    SettleRoom(theFrame, aDriver);
    SettleGreyDepth(theFrame, aDriver);
    SettleColourDepth(theFrame, aDriver.GetDepth());
    theFrame.itsIsDepthKnown = aDriver.GetDepth() != 0;
    theFrame.itsIsIrreversible = itsFrontEnd.GetReadingContext().IsByMeaning() && aDriver.HasLost();
    if (aRequest.isV5ConvertPixelsToUnsigned() && theFrame.itsAttributes.itsPixelRepresentation == 1)
    {
        if (aDriver.IsDecoderSupportedOutputPixelSignConversion())
        {
            // The codec has delivered unsigned samples; the data set still says what it could have.
            theFrame.itsAttributes.itsPixelRepresentation = 0;
        }
        else
        {
            MakeUnsigned(theFrame);
        }
    }
    SettleInterpretation(theFrame);
    // What the announced codec had read is not among the bytes of the one that took over.
    const bool isWholeFrame = aDriver.IsRecovered() && itsFrontEnd.GetReadingContext().IsByMeaning();
    if (aDriver.IsRecovered() && !isWholeFrame)
    {
        itsFrontEnd.GetReadingContext().Warn(
            WarningIdentifier::kRatio,
            "the compression ratio leaves out what was read before another codec took over");
    }
    theFrame.itsCompressedSize =
        isWholeFrame ? itsCompressedFrames->GetCurrentFrameLength() : aDriver.GetTotalBytesRead();
    theFrame.itsScaleFactor = aDriver.GetScaleFactor();
}

/// What theCodec will deliver, and what of that is wanted.
void Part10FrameLoader::SettleRegion(Frame& theFrame, const Decoder& theCodec) const
{
    if (!itsRegion)
    {
        return;
    }
    const CodecRow* const aRow = itsFrontEnd.GetCodec();
    theFrame.itsHeld = theCodec.GetDecodedRegion();
    theFrame.itsWanted = RegionCut::ForCodec(*itsRegion, theCodec, aRow != nullptr && aRow->itsCanReduce);
    Decoder::CheckRegion(theFrame.itsWanted, theFrame.itsHeld);
}

/// Takes away what the codec has decoded beyond the request's region, before anything is done with it.
void Part10FrameLoader::CutDecoded(Frame& theFrame) const
{
    Part10ImageAttributes& anImage = theFrame.itsAttributes;
    const PixelRegion& aWanted = theFrame.itsWanted;
    const PixelRegion aDelivered{theFrame.itsHeld.itsX, theFrame.itsHeld.itsY, Unsigned(anImage.itsColumns),
                                 Unsigned(anImage.itsRows)};
    if (!itsRegion || aDelivered == aWanted)
    {
        return;
    }
    theFrame.itsSize = RegionCut::Run(
        *theFrame.itsRenderable, {anImage.itsBitsAllocated, anImage.itsSamplesPerPixel, anImage.itsPlanar},
        theFrame.itsHeld, aWanted);
    anImage.itsRows = static_cast<std::int32_t>(aWanted.itsHeight);
    anImage.itsColumns = static_cast<std::int32_t>(aWanted.itsWidth);
    RegionCut::WriteDimensions(itsFrontEnd.GetDataSet(), aWanted.itsHeight, aWanted.itsWidth);
}

/// Native pixels are cut when they are done: subsampled ones come in groups, planes behind one another.
void Part10FrameLoader::CutNative(const Frame& theFrame) const
{
    const PixelRegion& aWanted = *itsRegion;
    RegionCut::Run(
        *theFrame.itsRenderable,
        {0, 0, Unsigned(theFrame.itsAttributes.itsColumns), Unsigned(theFrame.itsAttributes.itsRows)},
        aWanted);
    RegionCut::WriteDimensions(itsFrontEnd.GetDataSet(), aWanted.itsHeight, aWanted.itsWidth);
}

InputStream& Part10FrameLoader::GetCompressedFrame(int theFrameIndex, std::uint64_t theFrameSize)
{
    if (!itsCompressedFrames)
    {
        itsCompressedFrames = std::make_unique<ImageFrameInputStream>(
            *itsFrontEnd.GetPixelData()->GetPixelDataFragmentInputStream(),
            itsFrontEnd.GetRequest().getTransferSyntaxUID(), itsFrontEnd.GetAttributes().itsNumberOfFrames,
            theFrameSize);
    }
    InputStream* const aStream = itsCompressedFrames->GetFrame(theFrameIndex == -1 ? 0 : theFrameIndex);
    if (aStream == nullptr)
    {
        throw StreamIOException(itsClassName + "::Decode: anImageFrameInputStream->GetFrame(" +
                                    std::to_string(theFrameIndex) + ") failed",
                                DLRC_PARSE_ERROR, 0);
    }
    return *aStream;
}

/// A codec that delivers fewer pixels than were asked for (a reduced image) fills only the front of the
/// buffer; the record must not claim the rest.
void Part10FrameLoader::SettleDecodedSize(Frame& theFrame) const
{
    const std::uint64_t aDecodedSize = theFrame.itsAttributes.GetFrameSize(Renderable::RGB);
    if (aDecodedSize > theFrame.itsSize)
    {
        throw DLRuntimeException("the decoded image needs " + std::to_string(aDecodedSize) + " bytes, not " +
                                 std::to_string(theFrame.itsSize));
    }
    theFrame.itsSize = aDecodedSize;
}

void Part10FrameLoader::SettleInterpretation(Frame& theFrame) const
{
    ReadingContext& aContext = itsFrontEnd.GetReadingContext();
    const CodecRow* const aRow = itsFrontEnd.GetCodec();
    if (theFrame.itsAttributes.itsSamplesPerPixel == 1 && theFrame.itsInterpretation >= Renderable::RGB)
    {
        aContext.Warn(WarningIdentifier::kColourLabel,
                      "the data set says " + theFrame.itsAttributes.itsPhotometricInterpretation +
                          ", the codestream has one component");
        theFrame.itsInterpretation =
            aContext.IsByMeaning() ? Renderable::MONOCHROME2 : theFrame.itsInterpretation;
    }
    else if (aRow != nullptr && !aRow->itsHasOwnColour)
    {
        if (theFrame.itsInterpretation == Renderable::YBR_FULL_422 && aContext.IsByMeaning())
        {
            aContext.Warn(WarningIdentifier::kColourLabel, "labelled YBR_FULL_422: converted as YBR_FULL");
            theFrame.itsInterpretation = Renderable::YBR_FULL;
        }
    }
    else if (theFrame.itsAttributes.itsSamplesPerPixel == 3)
    {
        // What the codec says of the decoded pixels counts: a JPEG file labelled YBR_FULL has become RGB. A
        // JPEG 2000 codestream is never subsampled, whatever its label says.
        RWCString aDecoded;
        itsFrontEnd.GetDataSet().GetString(DICOMTags::PhotometricInterpretation, aDecoded);
        theFrame.itsInterpretation =
            aDecoded == "YBR_FULL" || aDecoded == "YBR_FULL_422" ? Renderable::YBR_FULL : Renderable::RGB;
    }
}

/// Three samples a pixel are no grey values, whatever their label says.
void Part10FrameLoader::SettleGreyLabel(Frame& theFrame) const
{
    const auto aLabel = theFrame.itsInterpretation;
    if (theFrame.itsAttributes.itsSamplesPerPixel != 3 ||
        (aLabel != Renderable::MONOCHROME1 && aLabel != Renderable::MONOCHROME2 &&
         aLabel != Renderable::PALETTE_COLOR))
    {
        return;
    }
    ReadingContext& aContext = itsFrontEnd.GetReadingContext();
    aContext.Warn(WarningIdentifier::kColourLabel, "the data set says " +
                                                       theFrame.itsAttributes.itsPhotometricInterpretation +
                                                       ", pixels have three samples");
    theFrame.itsInterpretation = aContext.IsByMeaning() ? Renderable::RGB : aLabel;
}

/// Bits that the decoded samples have no room for are not stored.
void Part10FrameLoader::SettleRoom(Frame& theFrame, const Driver& theDriver) const
{
    Part10ImageAttributes& anImage = theFrame.itsAttributes;
    if (anImage.itsSamplesPerPixel != 1 || anImage.itsBitsStored <= anImage.itsBitsAllocated)
    {
        return;
    }
    ReadingContext& aContext = itsFrontEnd.GetReadingContext();
    aContext.Warn(WarningIdentifier::kDepth, "the data set says " + std::to_string(anImage.itsBitsStored) +
                                                 " bits stored, samples have " +
                                                 std::to_string(anImage.itsBitsAllocated));
    if (aContext.IsByMeaning())
    {
        const int aDepth = theDriver.GetDepth();
        anImage.itsBitsStored =
            aDepth > 0 ? std::min(aDepth, anImage.itsBitsAllocated) : anImage.itsBitsAllocated;
        anImage.itsHighBit = anImage.itsBitsStored - 1;
        theDriver.WriteDepth(anImage.itsBitsStored);
    }
}

/// Many codestreams announce all bits allocated and use no more than are stored; others do use them.
void Part10FrameLoader::SettleGreyDepth(Frame& theFrame, const Driver& theDriver) const
{
    Part10ImageAttributes& anImage = theFrame.itsAttributes;
    const int aStored = anImage.itsBitsStored;
    const int aDepth = theDriver.GetDepth();
    if (anImage.itsSamplesPerPixel != 1 || anImage.itsBitsAllocated != 16 || aStored < 1 ||
        aDepth <= aStored || theDriver.IsRecovered())
    {
        return;
    }
    const bool isMadeUnsigned = itsFrontEnd.GetRequest().isV5ConvertPixelsToUnsigned() &&
                                theDriver.IsDecoderSupportedOutputPixelSignConversion();
    const bool isSigned = anImage.itsPixelRepresentation == 1 && !isMadeUnsigned;
    const int aUsed = UsedBits::Count(theFrame.itsRenderable->getPixelData(), theFrame.itsSize,
                                      {std::min(aDepth, 16), aStored, isSigned, false});
    if (aUsed <= aStored)
    {
        return;
    }
    UsedBits::Tell(itsFrontEnd.GetReadingContext(), aStored, aUsed);
    if (itsFrontEnd.GetReadingContext().IsByMeaning())
    {
        anImage.itsBitsStored = aDepth;
        anImage.itsHighBit = aDepth - 1;
        theDriver.WriteDepth(aDepth);
    }
}

/// A codestream of fewer bits than the data set tells has no others, and words where the data set tells of
/// bytes are not described by it: such samples become bytes by their own depth.
void Part10FrameLoader::SettleColourDepth(Frame& theFrame, int theDepth)
{
    const int aTop = std::max(theFrame.itsAttributes.itsBitsStored, theFrame.itsAttributes.itsHighBit + 1);
    const bool isWrong = theDepth < aTop || (theDepth > 8 && theFrame.itsAttributes.itsBitsStored <= 8);
    theFrame.itsColourDepth = isWrong ? theDepth : 0;
}

/// Native pixels are never reduced. By contract the record says that they were.
void Part10FrameLoader::SettleScale(Frame& theFrame) const
{
    ReadingContext& aContext = itsFrontEnd.GetReadingContext();
    aContext.Warn(WarningIdentifier::kScale,
                  "a reduced image was asked for, native pixels have their full size");
    if (aContext.IsByMeaning())
    {
        theFrame.itsScaleFactor = 1;
    }
}

bool Part10FrameLoader::HasForeignWords() const
{
    return itsFrontEnd.GetPixelData()->GetTypeCode() == VR::TYPE_OW &&
           itsFrontEnd.GetDataSet().GetEndian() != DLEndian::NativeEndian();
}

/// What callers of the contract expect of big-endian files counts pixels, not samples, and from the start of
/// the frame: of colour with 16 bits a sample only the first third of the words is exchanged.
void Part10FrameLoader::SettleByteOrder(Frame& theFrame) const
{
    const Part10ImageAttributes& anImage = theFrame.itsAttributes;
    const std::uint64_t aPixels =
        std::uint64_t(std::max(anImage.itsRows, 0)) * std::uint64_t(std::max(anImage.itsColumns, 0));
    if (aPixels == 0)
    {
        return;
    }
    ReadingContext& aContext = itsFrontEnd.GetReadingContext();
    if (WordBytes(anImage) != 2 || aPixels < theFrame.itsSize / 2 ||
        NativeFrameBits(anImage, theFrame.itsSize) % 16 != 0)
    {
        aContext.Warn(
            WarningIdentifier::kByteOrder,
            aContext.IsByMeaning()
                ? "every word of the big-endian pixels was exchanged, not one for each pixel"
                : "one word for each pixel was exchanged, which are not all of the big-endian ones");
    }
    if (!aContext.IsByMeaning())
    {
        ExchangedWordsInputStream::Exchange(
            static_cast<unsigned char*>(theFrame.itsRenderable->getPixelData()),
            std::min(aPixels, theFrame.itsSize / 2), 2);
    }
    theFrame.itsLittleEndian = !theFrame.itsLittleEndian;
}

void Part10FrameLoader::MakeUnsigned(Frame& theFrame) const
{
    void* const aData = theFrame.itsRenderable->getPixelData();
    if (theFrame.itsAttributes.itsBitsAllocated < 9)
    {
        DecompressionLibUtils::ApplyOffset(aData, theFrame.itsSize, std::int8_t{-128});
    }
    else if (IsNativeOrder(theFrame.itsLittleEndian))
    {
        DecompressionLibUtils::ApplyOffset(aData, theFrame.itsSize, std::int16_t{-32768});
    }
    else
    {
        // Subtracting 32768 inverts the highest bit of the word, which lies in the other byte here.
        auto* const aBytes = static_cast<unsigned char*>(aData) + (theFrame.itsLittleEndian ? 1 : 0);
        for (std::uint64_t i = 0; i < theFrame.itsSize / 2; ++i)
        {
            aBytes[2 * i] ^= 0x80;
        }
    }
    theFrame.itsColourDepth =
        theFrame.itsAttributes.itsBitsAllocated; // bits above those stored have a meaning now
    theFrame.itsAttributes.itsPixelRepresentation = 0;
}

void Part10FrameLoader::Describe(Frame& theFrame) const
{
    const Part10ImageAttributes& aSource = theFrame.itsAttributes;
    ImageDescription aDescription;
    aDescription.itsInterpretation = theFrame.itsInterpretation;
    aDescription.itsRows = aSource.itsRows;
    aDescription.itsColumns = aSource.itsColumns;
    aDescription.itsSamplesPerPixel = aSource.itsSamplesPerPixel;
    aDescription.itsBitsAllocated = aSource.itsBitsAllocated;
    aDescription.itsBitsStored = aSource.itsBitsStored;
    aDescription.itsHighBit = aSource.itsHighBit;
    aDescription.itsIsSigned = aSource.itsPixelRepresentation == 1;
    aDescription.itsIsPlanar = aSource.itsPlanar;
    aDescription.itsIsLossy = aSource.itsLossy || theFrame.itsIsIrreversible;
    aDescription.itsScaleFactor = theFrame.itsScaleFactor;
    aDescription.itsCompressionRatio = GetRatio(theFrame);
    aDescription.itsIsLittleEndian = theFrame.itsLittleEndian;
    Renderable& anImage = *theFrame.itsRenderable;
    aDescription.WriteTo(anImage);
    if (anImage.getPixelDataSize() != theFrame.itsSize)
    {
        void* const aBuffer = anImage.takePixelData();
        anImage.setPixelData(aBuffer, theFrame.itsSize);
    }
}

std::int32_t Part10FrameLoader::GetRatio(const Frame& theFrame) const
{
    const Part10ImageAttributes& aSource = theFrame.itsAttributes;
    if (!aSource.itsForcedLossless && !aSource.itsLossy && theFrame.itsCompressedSize != 0)
    {
        if (itsRegion)
        {
            return 0;
        }
        constexpr int kMostScale = std::numeric_limits<std::int16_t>::max();
        return CompressionRatio::Calculate(
            theFrame.itsSize, std::clamp(theFrame.itsScaleFactor, 1, kMostScale), theFrame.itsCompressedSize);
    }
    if (itsFrontEnd.IsDataSetPrivate())
    {
        return 0;
    }
    return itsFrontEnd.GetDataSet().GetLossyImageCompressionRatio(&itsFrontEnd.GetTransferSyntaxType(), 0, 0,
                                                                  true);
}

/// The conversion of YCbCr takes words for 16 bits stored.
void Part10FrameLoader::SettleYBRDepth(Frame& theFrame) const
{
    const Part10ImageAttributes& anImage = theFrame.itsAttributes;
    const bool isYBR = theFrame.itsInterpretation == Renderable::YBR_FULL ||
                       theFrame.itsInterpretation == Renderable::YBR_FULL_422;
    const int aUnused = 15 - std::max(anImage.itsBitsStored - 1, anImage.itsHighBit);
    if (!isYBR || anImage.itsBitsAllocated != 16 || anImage.itsBitsStored < 1 || aUnused <= 0)
    {
        return;
    }
    if (!itsFrontEnd.GetReadingContext().IsByMeaning())
    {
        itsFrontEnd.GetReadingContext().Warn(WarningIdentifier::kDepth,
                                             "YCbCr of " + std::to_string(anImage.itsBitsStored) +
                                                 " bits stored is taken for 16: colours are wrong");
        return;
    }
    auto* const aBytes = static_cast<unsigned char*>(theFrame.itsRenderable->getPixelData());
    const bool isNative = IsNativeOrder(theFrame.itsLittleEndian);
    for (std::uint64_t i = 0; i + 1 < theFrame.itsSize; i += 2)
    {
        std::uint16_t aWord = 0;
        std::memcpy(&aWord, aBytes + i, sizeof(aWord));
        const int aSample = (isNative ? aWord : __builtin_bswap16(aWord)) << aUnused;
        const auto aMoved = static_cast<std::uint16_t>(aSample);
        aWord = isNative ? aMoved : __builtin_bswap16(aMoved);
        std::memcpy(aBytes + i, &aWord, sizeof(aWord));
    }
}

void Part10FrameLoader::ConvertToRGB(Frame& theFrame) const
{
    SettleYBRDepth(theFrame);
    if (theFrame.itsInterpretation == Renderable::RGB && theFrame.itsColourDepth != 0)
    {
        theFrame.itsRenderable->setBitsStored(static_cast<std::int16_t>(theFrame.itsColourDepth));
        theFrame.itsRenderable->setHighBit(static_cast<std::int16_t>(theFrame.itsColourDepth - 1));
    }
    try
    {
        DecompressionLibUtils::ConvertRenderableToNonPlanar8BitRGB(itsFrontEnd.GetDataSet(),
                                                                   *theFrame.itsRenderable);
    }
    catch (const std::exception& anException)
    {
        throw StreamIOException(
            itsClassName + "::Decode: unable to convert image to non-planar 8-bit RGB: " + anException.what(),
            DLRC_NOT_SUPPORTED, 0);
    }
}
