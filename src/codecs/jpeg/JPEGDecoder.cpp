// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/JPEGDecoder.h"

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

/// Colour space of three components. A JFIF marker outranks everything: JFIF knows YCbCr only. What is
/// lossless is RGB unless the data set says otherwise, what is lossy YCbCr, because coding in RGB is
/// usual there and unusual here.
JPEGColorSpace ThreeComponentSpace(const JPEGFrameHeader& theHeader, Decoder::ColorModel theDataSetModel)
{
    const JPEGColorSpace aLossySpace =
        theDataSetModel == Decoder::COLOR_MODEL_RGB ? JPEGColorSpace::RGB : JPEGColorSpace::YCBCR;
    const JPEGColorSpace aLosslessSpace =
        theDataSetModel == Decoder::COLOR_MODEL_YBR_FULL_422 ? JPEGColorSpace::YCBCR : JPEGColorSpace::RGB;
    const bool isLossless = theHeader.itsProcess == JPEGProcess::LOSSLESS;
    if (theHeader.itsJFIF)
    {
        return isLossless ? aLosslessSpace : JPEGColorSpace::YCBCR;
    }
    if (theHeader.itsAdobe)
    {
        return theHeader.itsAdobeTransform == 0 ? JPEGColorSpace::RGB : JPEGColorSpace::YCBCR;
    }
    if (theHeader.itsComponentIds == std::array<int, 3>{1, 2, 3})
    {
        return aLossySpace;
    }
    if (theHeader.itsComponentIds == std::array<int, 3>{'R', 'G', 'B'})
    {
        return JPEGColorSpace::RGB;
    }
    return isLossless ? aLosslessSpace : aLossySpace;
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

    bool Warn(const char* theText) override
    {
        itsOwner.Decoder::Warn(WarningIdentifier::kDamaged, theText);
        return !itsOwner.IsByMeaning();
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
        aSpace = ThreeComponentSpace(aHeader, GetOriginalPhotometricInterpretation());
        break;
    case 4:
        aSpace = FourComponentSpace(aHeader);
        break;
    default:
        break;
    }
    itsState->itsLibrary->SetColorSpace(aSpace);
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
        itsState->itsLibrary->Decode(aSession, aBuffer);
    }
}

bool JPEGDecoder::DecodeWithTurbo(std::uint8_t* theBuffer)
{
    JPEGLibrary& aLibrary = *itsState->itsLibrary;
    JPEGInputBuffer& anInput = itsState->itsInput;
    const JPEGFrameHeader aHeader = aLibrary.GetHeader();
    if (!std::exchange(itsState->itsIsAtFirstScan, false) || !anInput.IsKeeping() ||
        JPEGPaths::Choose(aHeader, aLibrary.GetPath()) != JPEGPaths::Way::TURBO)
    {
        return false;
    }
    TurboSession aSession(*this);
    bool isDecoded = false;
    try
    {
        isDecoded = JPEGTurbo::Decode(aSession, aHeader, theBuffer);
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
