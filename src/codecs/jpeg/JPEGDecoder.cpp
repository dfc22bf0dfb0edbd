// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/JPEGDecoder.h"

#include <algorithm>
#include <cstdlib>
#include <string>
#include <utility>

#include "codecs/jpeg/detail/JPEGInputBuffer.h"
#include "codecs/jpeg/detail/JPEGLibrary.h"
#include "codecs/jpeg/detail/JPEGPaths.h"
#include "codecs/jpeg/detail/JPEGTurbo.h"
#include "codecs/sources/CompressedSources.h"
#include "toolkit/base/Exceptions.h"

JPEGDecoderException::JPEGDecoderException(RWCString theMessage, int theCode)
    : ExceptionBase(std::move(theMessage)), itsCode(theCode)
{
}

JPEGDecoderException::~JPEGDecoderException() = default;

std::unique_ptr<ExceptionBase> JPEGDecoderException::Clone() const
{
    return std::make_unique<JPEGDecoderException>(*this);
}

RWCString JPEGDecoderException::ClassName() const
{
    return "JPEGDecoderException";
}

RWCString JPEGDecoderException::ToString() const
{
    return ClassName() + ": " + (IsError() ? "Error: " : "Warning: ") + GetMessageText();
}

namespace
{

Decoder::ColorModel ToColorModel(JPEGColorSpace theSpace)
{
    switch (theSpace)
    {
    case JPEGColorSpace::GRAYSCALE:
        return Decoder::COLOR_MODEL_GREY;
    case JPEGColorSpace::RGB:
        return Decoder::COLOR_MODEL_RGB;
    case JPEGColorSpace::YCBCR:
        return Decoder::COLOR_MODEL_YBR_FULL_422;
    default:
        return Decoder::COLOR_MODEL_UNKNOWN;
    }
}

JPEGColorSpace ToColorSpace(Decoder::ColorModel theModel)
{
    switch (theModel)
    {
    case Decoder::COLOR_MODEL_GREY:
        return JPEGColorSpace::GRAYSCALE;
    case Decoder::COLOR_MODEL_RGB:
        return JPEGColorSpace::RGB;
    case Decoder::COLOR_MODEL_YBR_FULL_422:
        return JPEGColorSpace::YCBCR;
    default:
        return JPEGColorSpace::UNKNOWN;
    }
}

/// What the stream itself says of three components; unknown where it is silent. A JFIF marker outranks
/// everything: JFIF knows YCbCr only. Of what is lossless it says nothing.
JPEGColorSpace MarkedSpace(const JPEGFrameHeader& theHeader)
{
    if (theHeader.itsJFIF)
    {
        return theHeader.itsProcess == JPEGProcess::LOSSLESS ? JPEGColorSpace::UNKNOWN
                                                             : JPEGColorSpace::YCBCR;
    }
    if (theHeader.itsAdobe)
    {
        return theHeader.itsAdobeTransform == 0 ? JPEGColorSpace::RGB : JPEGColorSpace::YCBCR;
    }
    const bool isNamed = theHeader.itsComponentIds == std::array<int, 3>{'R', 'G', 'B'};
    return isNamed ? JPEGColorSpace::RGB : JPEGColorSpace::UNKNOWN;
}

bool IsYBR(Decoder::ColorModel theModel)
{
    return theModel == Decoder::COLOR_MODEL_YBR_FULL || theModel == Decoder::COLOR_MODEL_YBR_FULL_422;
}

/// Colour space of three components of which the stream says nothing. What is lossless is RGB unless the
/// data set says otherwise, what is lossy YCbCr, because coding in RGB is usual there and unusual here. By
/// contract YBR_FULL is not enough for the first.
JPEGColorSpace LabelledSpace(const JPEGFrameHeader& theHeader, Decoder::ColorModel theDataSetModel,
                             bool theIsByMeaning)
{
    const bool isPlain = !theHeader.itsJFIF && theHeader.itsComponentIds == std::array<int, 3>{1, 2, 3};
    if (theHeader.itsProcess != JPEGProcess::LOSSLESS || isPlain)
    {
        return theDataSetModel == Decoder::COLOR_MODEL_RGB ? JPEGColorSpace::RGB : JPEGColorSpace::YCBCR;
    }
    const bool isYBR =
        theIsByMeaning ? IsYBR(theDataSetModel) : theDataSetModel == Decoder::COLOR_MODEL_YBR_FULL_422;
    return isYBR ? JPEGColorSpace::YCBCR : JPEGColorSpace::RGB;
}

/// Why three components may be no such colour as theSpace, which they are taken for; null where nothing
/// tells.
const char* DoubtOfSpace(const JPEGFrameHeader& theHeader, JPEGColorSpace theSpace,
                         Decoder::ColorModel theDataSetModel)
{
    if (theDataSetModel == Decoder::COLOR_MODEL_GREY || theDataSetModel == Decoder::COLOR_MODEL_PALETTE_COLOR)
    {
        return "the data set's label is one of a single component, the JPEG frame has three";
    }
    if (theSpace == JPEGColorSpace::RGB)
    {
        return IsYBR(theDataSetModel) ? "the data set says YBR, the JPEG frame is taken for RGB" : nullptr;
    }
    if (theDataSetModel == Decoder::COLOR_MODEL_RGB)
    {
        return "the data set says RGB, the JPEG frame YCbCr: converted";
    }
    const bool isGuessed = theDataSetModel == Decoder::COLOR_MODEL_UNKNOWN &&
                           theHeader.itsProcess == JPEGProcess::LOSSLESS &&
                           MarkedSpace(theHeader) == JPEGColorSpace::UNKNOWN;
    return isGuessed ? "nothing says that the lossless JPEG frame is YCbCr: converted" : nullptr;
}

/// Whether at least half of the pixels have a green and a blue that stand for no colour in YCbCr, with a red
/// far from them. Pictures that are grey over large parts look so when they were never converted; as RGB this
/// is the same cyan or red in different brightness, half a picture of it. Some thousand pixels tell.
bool LooksUnconverted(const std::uint8_t* thePixels, std::uint64_t theCount)
{
    constexpr int kNeutral = 128;
    constexpr std::uint64_t kMost = 16384;
    const std::uint64_t aStep = theCount / kMost + 1;
    std::uint64_t aNeutral = 0;
    std::uint64_t aSeen = 0;
    for (std::uint64_t i = 0; i < theCount; i += aStep, ++aSeen)
    {
        const std::uint8_t* const aPixel = thePixels + 3 * i;
        const int aSpread = std::max(std::abs(aPixel[1] - kNeutral), std::abs(aPixel[2] - kNeutral));
        aNeutral += aSpread <= 4 && std::abs(aPixel[0] - kNeutral) >= 32 ? 1 : 0;
    }
    return aSeen != 0 && 2 * aNeutral >= aSeen;
}

JPEGColorSpace FourComponentSpace(const JPEGFrameHeader& theHeader)
{
    const bool isTransformed = theHeader.itsAdobe && theHeader.itsAdobeTransform != 0;
    return isTransformed ? JPEGColorSpace::YCCK : JPEGColorSpace::CMYK;
}

} // namespace

struct JPEGDecoder::State
{
    explicit State(std::unique_ptr<JPEGLibrary> theLibrary) : itsLibrary(std::move(theLibrary)) {}

    JPEGInputBuffer itsInput;
    std::unique_ptr<JPEGLibrary> itsLibrary;
    bool itsIsAtFirstScan = false; ///< a header was read, and nothing has been done with it
};

/// Feeds a decoder from one codec's source for the length of a call: with copies around, the codec that
/// is called is the one whose source counts.
class JPEGDecoder::Session : public JPEGLibrary::Client
{
public:
    explicit Session(JPEGDecoder& theOwner) : itsOwner(theOwner), itsInput(theOwner.itsState->itsInput) {}

    int FillInput(const std::uint8_t*& theData) override
    {
        if (itsInput.IsSuppliedNext())
        {
            itsInput.FillFromSupplied(itsOwner.GetBytesRead());
        }
        else
        {
            itsInput.Refill(itsOwner.GetSource());
        }
        theData = itsInput.GetData();
        return itsInput.GetCount();
    }

    void CloseInput() override { itsOwner.GetSource().close(); }
    void InputAccepted(int theBytes) override { itsInput.AddToTotal(theBytes); }
    std::uint64_t GetInputTotal() const override { return itsInput.GetTotal(); }

    void Warn(const char* theText, bool theIsDamage) override
    {
        itsOwner.Decoder::Warn(theIsDamage ? WarningIdentifier::kDamaged : WarningIdentifier::kNonconformant,
                               theText);
    }

    bool IsPrinting(bool theIsOfDepth) const override
    {
        return !itsOwner.IsSilent() && (theIsOfDepth || !itsOwner.IsByMeaning());
    }

    bool MayEndEarly() const override { return itsOwner.IsByMeaning(); }

    bool AcceptMissing(std::uint64_t theMissing, std::uint64_t theTotal) override
    {
        return itsOwner.WarnOfMissing(theMissing, theTotal);
    }

protected:
    JPEGDecoder& itsOwner;
    JPEGInputBuffer& itsInput;
};

/// Keeps the bytes of a header of reasonable length, for another decoder to begin with.
class JPEGDecoder::HeaderSession final : public Session
{
public:
    explicit HeaderSession(JPEGDecoder& theOwner) : Session(theOwner)
    {
        if (!itsInput.IsKeeping() || !itsInput.IsRewound())
        {
            itsInput.StartKeeping();
        }
    }

    int FillInput(const std::uint8_t*& theData) override
    {
        constexpr std::uint64_t kMost = 1 << 20;
        if (itsInput.GetKeptBytes() > kMost)
        {
            itsInput.StopKeeping();
        }
        return Session::FillInput(theData);
    }

    /// A header is there as a whole, or there is no image.
    bool MayEndEarly() const override { return false; }
};

/// Delivers an image from its first byte, and keeps it for the library to begin anew. Data out of all
/// proportion to the image end early, which leaves them to the library, too.
class JPEGDecoder::TurboSession final : public Session
{
public:
    explicit TurboSession(JPEGDecoder& theOwner)
        : Session(theOwner), itsMost((1 << 20) + 2 * theOwner.GetOutputSize())
    {
        itsInput.BeginAnew();
    }

    int FillInput(const std::uint8_t*& theData) override
    {
        return !itsInput.IsRewound() && itsInput.GetKeptBytes() > itsMost ? 0 : Session::FillInput(theData);
    }

private:
    std::uint64_t itsMost;
};

JPEGDecoder::JPEGDecoder(int theBits, std::unique_ptr<JPEGLibrary> theLibrary)
    : itsState(std::make_shared<State>(std::move(theLibrary)))
{
    itsBitsAllocatedPerSample = theBits > 8 ? 16 : 8;
    itsBitsStoredPerSample = theBits;
    itsRecommendedBitsStoredPerSample = theBits;
}

JPEGDecoder::~JPEGDecoder() = default;
JPEGDecoder::JPEGDecoder(const JPEGDecoder&) = default;
JPEGDecoder& JPEGDecoder::operator=(const JPEGDecoder&) = default;

void JPEGDecoder::SetSourceImpl()
{
    ReadHeader();
    CorrectCompressedColorSpace();
    SettleOutput();
}

void JPEGDecoder::ReadHeader()
{
    HeaderSession aSession(*this);
    itsState->itsIsAtFirstScan = false;
    itsState->itsLibrary->ReadHeader(aSession);
    itsState->itsIsAtFirstScan = true;
    itsPrecision = itsState->itsLibrary->GetHeader().itsPrecision;
}

void JPEGDecoder::CorrectCompressedColorSpace()
{
    const JPEGFrameHeader aHeader = itsState->itsLibrary->GetHeader();
    JPEGColorSpace aSpace = JPEGColorSpace::UNKNOWN;
    switch (aHeader.itsComponents)
    {
    case 1:
        aSpace = JPEGColorSpace::GRAYSCALE;
        break;
    case 3:
        aSpace = SettleThreeComponents(aHeader);
        break;
    case 4:
        aSpace = FourComponentSpace(aHeader);
        break;
    default:
        break;
    }
    itsState->itsLibrary->SetColorSpace(aSpace);
}

JPEGColorSpace JPEGDecoder::SettleThreeComponents(const JPEGFrameHeader& theHeader) const
{
    const ColorModel aLabel = GetOriginalPhotometricInterpretation();
    JPEGColorSpace aSpace = MarkedSpace(theHeader);
    if (aSpace == JPEGColorSpace::UNKNOWN)
    {
        aSpace = LabelledSpace(theHeader, aLabel, IsByMeaning());
    }
    if (const char* const aDoubt = DoubtOfSpace(theHeader, aSpace, aLabel))
    {
        Warn(WarningIdentifier::kColourLabel, aDoubt);
    }
    return aSpace;
}

void JPEGDecoder::SettleOutput()
{
    const JPEGFrameHeader aHeader = itsState->itsLibrary->GetHeader();
    const bool isGrey = aHeader.itsColorSpace == JPEGColorSpace::GRAYSCALE;
    itsState->itsLibrary->SetOutputColorSpace(isGrey ? JPEGColorSpace::GRAYSCALE : JPEGColorSpace::RGB);
    itsDecompressedColorspace = isGrey ? COLOR_MODEL_GREY : COLOR_MODEL_RGB;
    itsRecommendedDecompressedColorspace = itsDecompressedColorspace;
    itsSamplesPerPixel = isGrey ? 1 : 3;
    itsCompressionReversible = aHeader.itsProcess == JPEGProcess::LOSSLESS ? CR_REVERSIBLE : CR_IRREVERSIBLE;
}

void JPEGDecoder::Decode(unsigned int, void* theBuffer, std::uint64_t theSize)
{
    CheckBuffer(theBuffer, theSize);
    auto* const aBuffer = static_cast<std::uint8_t*>(theBuffer);
    if (!DecodeWithTurbo(aBuffer))
    {
        itsState->itsInput.StopKeeping();
        Session aSession(*this);
        itsState->itsLibrary->Decode(aSession, aBuffer, GetRowsToDecode());
    }
    WarnOfUnconverted(aBuffer);
}

void JPEGDecoder::WarnOfUnconverted(const std::uint8_t* thePixels) const
{
    const JPEGFrameHeader aHeader = itsState->itsLibrary->GetHeader();
    if (aHeader.itsComponents == 3 && aHeader.itsColorSpace == JPEGColorSpace::RGB &&
        aHeader.itsBuildPrecision == 8 && MarkedSpace(aHeader) == JPEGColorSpace::UNKNOWN &&
        GetOriginalPhotometricInterpretation() == COLOR_MODEL_RGB &&
        LooksUnconverted(thePixels, GetImageWidth() * GetRowsToDecode()))
    {
        Warn(WarningIdentifier::kColourLabel,
             "the data set says RGB, and the pixels look like YCbCr: not converted");
    }
}

bool JPEGDecoder::DecodeWithTurbo(std::uint8_t* theBuffer)
{
    JPEGLibrary& aLibrary = *itsState->itsLibrary;
    JPEGInputBuffer& anInput = itsState->itsInput;
    const JPEGFrameHeader aHeader = aLibrary.GetHeader();
    const bool isAtFirstScan = std::exchange(itsState->itsIsAtFirstScan, false);
    if (!isAtFirstScan || !anInput.IsKeeping() ||
        JPEGPaths::Choose(aHeader, aLibrary.GetPath(), GetRowsToDecode()) != JPEGPaths::Way::TURBO)
    {
        return false;
    }
    TurboSession aSession(*this);
    bool isDecoded = false;
    try
    {
        isDecoded = JPEGTurbo::Decode(aSession, aHeader, theBuffer, GetRowsToDecode());
    }
    catch (...)
    {
        aLibrary.EndImage(false);
        throw;
    }
    if (isDecoded)
    {
        aLibrary.EndImage(true);
        anInput.StopKeeping();
    }
    else
    {
        anInput.GoBack();
    }
    return isDecoded;
}

PixelRegion JPEGDecoder::GetDecodedRegion() const
{
    return RowsToDecode();
}

std::uint32_t JPEGDecoder::GetRowsToDecode() const
{
    return static_cast<std::uint32_t>(RowsToDecode().itsHeight);
}

void JPEGDecoder::CheckBuffer(const void* theBuffer, std::uint64_t theSize) const
{
    const std::uint64_t aRequired = GetOutputSize();
    const std::uint64_t aGiven = theBuffer == nullptr ? 0 : theSize;
    // Deliberately no check of a size of 0: callers that pass none answer for their buffer themselves.
    const bool isSizeGiven = theBuffer == nullptr || theSize != 0;
    if (isSizeGiven && aGiven < aRequired)
    {
        throw StreamIOException("JPEGDecoder::Decode: the decoded image has " + std::to_string(aRequired) +
                                    " bytes, the output buffer " + std::to_string(aGiven),
                                DLRC_DECODER_ERROR, 0);
    }
}

Decoder::ColorModel JPEGDecoder::GetCompressedColorspace() const
{
    return ToColorModel(itsState->itsLibrary->GetHeader().itsColorSpace);
}

Decoder::ColorModel JPEGDecoder::GetDecompressedColorspace() const
{
    return ToColorModel(itsState->itsLibrary->GetHeader().itsOutputColorSpace);
}

void JPEGDecoder::SetDecompressedColorspace(ColorModel theModel)
{
    itsState->itsLibrary->SetOutputColorSpace(ToColorSpace(theModel));
}

std::int16_t JPEGDecoder::GetScanMode() const
{
    return itsState->itsLibrary->GetHeader().itsProcess == JPEGProcess::PROGRESSIVE ? 0 : 1;
}

std::uint64_t JPEGDecoder::GetImageWidth() const
{
    return itsState->itsLibrary->GetHeader().itsWidth;
}

std::uint64_t JPEGDecoder::GetImageHeight() const
{
    return itsState->itsLibrary->GetHeader().itsHeight;
}

std::uint64_t JPEGDecoder::GetOutputSize() const
{
    return itsState->itsLibrary->GetOutputSize();
}

std::uint8_t* JPEGDecoder::TakeBuffer()
{
    itsState->itsLibrary->DropInput();
    return itsState->itsInput.Take().release();
}

void JPEGDecoder::SetBuffer(std::uint8_t* theBuffer)
{
    itsState->itsInput.Supply(std::unique_ptr<std::uint8_t[]>(theBuffer));
}

void JPEGDecoder::SetBytesRead(int theBytes)
{
    itsState->itsInput.SetBytesRead(theBytes);
}

int JPEGDecoder::GetBytesRead()
{
    return itsState->itsInput.GetBytesRead();
}

bool JPEGDecoder::TakeInputFrom(Decoder& thePredecessor)
{
    auto* const aPredecessor = dynamic_cast<JPEGDecoder*>(&thePredecessor);
    if (aPredecessor == nullptr || !aPredecessor->itsState->itsInput.HasEarlierFills())
    {
        return false;
    }
    aPredecessor->itsState->itsLibrary->DropInput();
    itsState->itsInput = std::move(aPredecessor->itsState->itsInput);
    itsState->itsInput.BeginAnew();
    return true;
}

std::uint64_t JPEGDecoder::GetBytesDelivered() const
{
    return itsState->itsInput.GetTotal();
}

void JPEGDecoder::SetPath(JPEGPath thePath)
{
    itsState->itsLibrary->SetPath(thePath);
}

void JPEGDecoder::SetJpegErrorHandler()
{
    itsState->itsLibrary->SetErrorHandler();
}
