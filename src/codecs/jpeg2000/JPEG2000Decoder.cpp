// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg2000/JPEG2000Decoder.h"

#include <algorithm>
#include <cstring>
#include <limits>

#include "codecs/jpeg/JPEGDecoder.h"
#include "codecs/jpeg2000/KDUMessages.h"
#include "codecs/jpeg2000/detail/JPEG2000DecoderState.h"
#include "codecs/sources/CompressedSources.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/DICOMDataObject.h"

namespace
{
[[noreturn]] void FailHeader(const char* theText)
{
    throw StreamIOException(RWCString("JPEG2000Decoder::JPEG2000Decoder: ") + theText,
                            DLRC_PIXEL_DATA_TOO_SHORT, 0);
}

[[noreturn]] void FailTile(const char* theText)
{
    throw StreamIOException(RWCString("JPEG2000Decoder::DecompressCurrentTile: ") + theText,
                            DLRC_DECODER_ERROR, 0);
}

/// Extents and positions have 32 bits without a sign.
std::uint64_t Unsigned(int theCoordinate)
{
    return static_cast<std::uint32_t>(theCoordinate);
}

/// Copies the sign of two's complement with theFrom bits up to bit theTo - 1; zeros above.
template <class Word>
void ExtendSign(std::uint8_t* theSamples, std::uint64_t theCount, int theFrom, int theTo)
{
    const unsigned aSign = 1U << (theFrom - 1);
    const unsigned aMask = (1U << theTo) - 1;
    for (std::uint64_t i = 0; i < theCount; ++i)
    {
        Word aWord = 0;
        std::memcpy(&aWord, theSamples + i * sizeof(Word), sizeof(Word));
        aWord = static_cast<Word>(((aWord ^ aSign) - aSign) & aMask);
        std::memcpy(theSamples + i * sizeof(Word), &aWord, sizeof(Word));
    }
}

bool IsSame(const kdu_dims& theFirst, const kdu_dims& theSecond)
{
    return theFirst.pos.x == theSecond.pos.x && theFirst.pos.y == theSecond.pos.y &&
           theFirst.size.x == theSecond.size.x && theFirst.size.y == theSecond.size.y;
}
} // namespace

JPEG2000Decoder::JPEG2000Decoder(int theScaleFactor, ParsingErrorTolerance theTolerance)
    : itsTolerance(theTolerance), itsWantedScaleFactor(theScaleFactor), itsState(std::make_shared<State>())
{
    KDUMessagingWrapper::Register();
    itsScaleFactor = itsWantedScaleFactor;
}

JPEG2000Decoder::~JPEG2000Decoder() = default;
JPEG2000Decoder::JPEG2000Decoder(const JPEG2000Decoder&) = default;
JPEG2000Decoder& JPEG2000Decoder::operator=(const JPEG2000Decoder&) = default;

void JPEG2000Decoder::FinishDecoding()
{
    itsState->Finish();
}

void JPEG2000Decoder::ThrowDecoderException(const RWCString& thePrefix,
                                            const KDUMessageCallbackException* theReport)
{
    const RWCString aText = theReport != nullptr ? theReport->GetMessageText() : RWCString();
    const bool isWarning =
        theReport != nullptr && theReport->ClassName() == "KDUWarningMessageCallbackException";
    throw JPEGDecoderException(
        thePrefix + (aText.empty() ? "Unknown message callback from decompression engine" : aText),
        isWarning ? 1 : 0);
}

/// theAction with the engine's reports made exceptions that name the phase.
template <class Action>
void JPEG2000Decoder::ReportingPhase(const Action& theAction)
{
    try
    {
        theAction();
    }
    catch (const KDUMessageCallbackException& aReport)
    {
        ThrowDecoderException(RWCString("JPEG2000Decoder::JPEG2000Decoder()[") + itsState->itsPhase + "]: ",
                              &aReport);
    }
    catch (...)
    {
        FinishDecoding();
        throw;
    }
}

template <class Action>
void JPEG2000Decoder::Reporting(const char* thePrefix, const Action& theAction)
{
    try
    {
        theAction();
    }
    catch (const KDUMessageCallbackException& aReport)
    {
        ThrowDecoderException(thePrefix, &aReport);
    }
}

void JPEG2000Decoder::SetPhase(const char* thePhase)
{
    itsState->itsPhase = thePhase;
}

void JPEG2000Decoder::OpenSource()
{
    if (itsState->itsSource != nullptr)
    {
        return;
    }
    SetPhase("start");
    itsState->itsSource = std::make_unique<JPEG2000CodestreamSource>(GetSource());
    ReportingPhase([this] { itsState->itsSource->FindCodestream(IsByMeaning()); });
    if (itsState->itsSource->LacksHeader())
    {
        Warn(WarningIdentifier::kNonconformant, "the JP2 file has no header box");
    }
}

void JPEG2000Decoder::SetSourceImpl()
{
    Begin();
    ReadCodestream();
}

/// What an earlier source has left and settled goes: it has itself gone already.
void JPEG2000Decoder::Begin()
{
    FinishDecoding();
    itsScaleFactor = itsWantedScaleFactor;
    itsCompressionReversible = itsToldReversible;
}

void JPEG2000Decoder::ReadCodestream()
{
    ReportingPhase([this] { ReadHeader(); });
}

void JPEG2000Decoder::ReadHeader()
{
    SetPhase("start");
    if (itsScaleFactor < 1)
    {
        FailHeader("Invalid output scale request (theScaleFactor < 1)");
    }
    OpenSource();
    CreateCodestream();
    ReadComponents();
    ReadDepth();
    OpenFirstTile();
    SettleColour();
}

void JPEG2000Decoder::CreateCodestream()
{
    SetPhase("create codestream");
    kdu_codestream& aCodestream = itsState->itsCodestream;
    aCodestream.create(itsState->itsSource.get());
    switch (itsTolerance)
    {
    case PET_RESILIENT:
        aCodestream.set_resilient(false);
        break;
    case PET_FUSSY:
        aCodestream.set_fussy();
        break;
    default:
        itsTolerance = PET_FAST;
        aCodestream.set_fast();
        break;
    }
}

void JPEG2000Decoder::ReadComponents()
{
    SetPhase("itsCodestream.get_num_components()");
    kdu_codestream& aCodestream = itsState->itsCodestream;
    const int aDecoded = SettleChannels(aCodestream.get_num_components(false));
    if (itsSamplesPerPixel != 1 && itsSamplesPerPixel != 3)
    {
        FailHeader("Image component count not in (1, 3) as required by DICOM");
    }
    kdu_dims aFullSize;
    aCodestream.get_dims(0, aFullSize);
    SetPhase("itsCodestream.apply_input_restrictions()");
    aCodestream.apply_input_restrictions(0, aDecoded, itsScaleFactor - 1, 0, nullptr,
                                         KDU_WANT_OUTPUT_COMPONENTS);
    SetPhase("itsCodestream.get_dims()");
    aCodestream.get_dims(0, itsState->itsDims);
    constexpr const char* kTexts[] = {nullptr, "Component 1 dimensions != Component 0 dimensions",
                                      "Component 2 dimensions != Component 0 dimensions",
                                      "Component 3 dimensions != Component 0 dimensions"};
    for (int c = 1; c < aDecoded; ++c)
    {
        kdu_dims aDims;
        aCodestream.get_dims(c, aDims);
        if (!IsSame(aDims, itsState->itsDims))
        {
            FailHeader(kTexts[c]);
        }
    }
    itsState->itsPart = {0, 0, GetImageWidth(), GetImageHeight()};
    if (GetRegion())
    {
        CheckRegion(*GetRegion(), {0, 0, Unsigned(aFullSize.size.x), Unsigned(aFullSize.size.y)});
        RestrictToRegion(aDecoded);
    }
}

/// Once it is known which image there is at the resolution that is decoded: the engine takes a region of the
/// reference grid.
void JPEG2000Decoder::RestrictToRegion(int theComponents)
{
    State& aState = *itsState;
    const int aLevels =
        itsScaleFactor > 1 ? std::min(itsScaleFactor - 1, aState.itsCodestream.get_fewest_levels(true)) : 0;
    aState.itsPart = GetRegion()->Reduced(aLevels).ClippedTo(GetImageWidth(), GetImageHeight());
    const kdu_coords aSampling = aState.itsCodestream.get_subsampling(0);
    const auto aPlace = [aLevels](int theOrigin, std::uint64_t thePixel, int theSampling)
    {
        // The grid ends below that, and may end before the last pixel does.
        constexpr std::uint64_t kEnd = std::numeric_limits<int>::max();
        const std::uint64_t aPixels = (Unsigned(theOrigin) + thePixel) << aLevels;
        return static_cast<int>(std::min(aPixels * Unsigned(theSampling), kEnd));
    };
    const auto& [aColumn, aRow, aWidth, aHeight] = aState.itsPart;
    kdu_dims aRegion;
    aRegion.pos = {aPlace(aState.itsDims.pos.x, aColumn, aSampling.x),
                   aPlace(aState.itsDims.pos.y, aRow, aSampling.y)};
    aRegion.size = {aPlace(aState.itsDims.pos.x, aColumn + aWidth, aSampling.x) - aRegion.pos.x,
                    aPlace(aState.itsDims.pos.y, aRow + aHeight, aSampling.y) - aRegion.pos.y};
    aState.itsCodestream.apply_input_restrictions(0, theComponents, aLevels, 0, &aRegion,
                                                  KDU_WANT_OUTPUT_COMPONENTS);
    aState.itsCodestream.get_dims(0, aState.itsDims);
}

PixelRegion JPEG2000Decoder::GetDecodedRegion() const
{
    return itsState->itsPart;
}

void JPEG2000Decoder::ReadDepth()
{
    SetPhase("itsCodestream.get_signed()");
    const kdu_codestream& aCodestream = itsState->itsCodestream;
    itsSigned = aCodestream.get_signed(0) ? 1 : 0;
    SetPhase("itsCodestream.get_bit_depth()");
    itsBitsStoredPerSample = 0;
    for (std::size_t c = 0; c < static_cast<std::size_t>(itsSamplesPerPixel); ++c)
    {
        const JP2Channel* const aColour = itsState->itsColours.empty() ? nullptr : &itsState->itsColours[c];
        JPEG2000Channel& aChannel = itsState->itsChannels[c];
        aChannel.itsComponent = aColour != nullptr ? aColour->itsComponent : c;
        aChannel.itsDepth = aCodestream.get_bit_depth(static_cast<int>(aChannel.itsComponent));
        const bool isMapped = aColour != nullptr && !aColour->itsEntries.empty();
        aChannel.itsEntries = isMapped ? &aColour->itsEntries : nullptr;
        aChannel.itsBits = isMapped ? aColour->itsBits : aChannel.itsDepth;
        itsBitsStoredPerSample = std::max(itsBitsStoredPerSample, aChannel.itsBits);
    }
    itsSigned = itsSigned != 0 && itsState->itsChannels[0].itsEntries == nullptr ? 1 : 0;
    itsBitsAllocatedPerSample = itsBitsStoredPerSample > 8 ? 16 : 8;
    itsRecommendedBitsStoredPerSample = itsBitsStoredPerSample;
    itsPrecision = itsBitsStoredPerSample;
    SettleSign();
}

/// A grey codestream may have been made of two's complement as if it were unsigned codes. One that says
/// signed was made by somebody who knew.
void JPEG2000Decoder::SettleSign()
{
    std::int32_t aRepresentation = 0;
    if (itsSamplesPerPixel != 1 || itsState->itsChannels[0].itsEntries != nullptr ||
        !GetStatedRepresentation(aRepresentation) || (aRepresentation == 1) == (itsSigned != 0))
    {
        return;
    }
    if (itsSigned != 0)
    {
        Warn(WarningIdentifier::kSign, "the codestream is signed, the data set unsigned: taken for signed");
        return;
    }
    Warn(WarningIdentifier::kSign,
         IsByMeaning() ? "the codestream is unsigned, the data set signed: read as two's complement"
                       : "the codestream is unsigned, the data set signed: taken for unsigned");
    itsState->itsIsMisdeclared = IsByMeaning();
    itsSigned = IsByMeaning() ? 1 : 0;
}

void JPEG2000Decoder::OpenFirstTile()
{
    SetPhase("itsCodestream.get_valid_tiles()");
    kdu_codestream& aCodestream = itsState->itsCodestream;
    aCodestream.get_valid_tiles(itsState->itsValidTiles);
    SetPhase("itsCodestream.open_tile()");
    itsState->itsCurrentlyOpenTile = aCodestream.open_tile(itsState->itsValidTiles.pos);
    const kdu_tile& aTile = itsState->itsCurrentlyOpenTile;
    itsState->itsYCC = itsSamplesPerPixel == 3 && aTile.get_ycc();
    itsState->itsReversible = true;
    for (int c = 0; c < aTile.get_num_components(); ++c)
    {
        itsState->itsReversible = itsState->itsReversible && aTile.access_component(c).get_reversible();
    }
    SetPhase("itsCurrentlyOpenTile.access_component(0).access_resolution(0).which()");
    if (itsScaleFactor > 1)
    {
        // The tile opened first may have more levels than others.
        SettleScaleFactor(aCodestream.get_fewest_levels(true));
    }
}

void JPEG2000Decoder::SettleScaleFactor(int theLevels)
{
    if (theLevels < itsScaleFactor - 1)
    {
        itsScaleFactor = std::max(theLevels, 0) + 1;
    }
}

std::uint64_t JPEG2000Decoder::GetImageWidth() const
{
    return Unsigned(itsState->itsDims.size.x);
}

std::uint64_t JPEG2000Decoder::GetImageHeight() const
{
    return Unsigned(itsState->itsDims.size.y);
}

void JPEG2000Decoder::SetCompressionReversible(CompressionReversible theValue)
{
    itsToldReversible = theValue;
    itsCompressionReversible = theValue;
}

void JPEG2000Decoder::Decode(unsigned int, void* theBuffer, std::uint64_t theSize)
{
    if (theBuffer == nullptr || theSize < Decoder::GetOutputSize())
    {
        throw StreamIOException("JPEG2000Decoder::Decode Output buffer too small", DLRC_DECODER_ERROR, 0);
    }
    try
    {
        Reporting("JPEG2000Decoder::Decode: ",
                  [this, theBuffer] { DecodeTiles(static_cast<std::uint8_t*>(theBuffer)); });
        TellWhatWasSurvived();
        ExtendMisdeclared(static_cast<std::uint8_t*>(theBuffer));
    }
    catch (...)
    {
        FinishDecoding();
        throw;
    }
    FinishDecoding();
}

void JPEG2000Decoder::ExtendMisdeclared(std::uint8_t* theBuffer) const
{
    if (itsState->itsIsMisdeclared && itsSigned != 0 && GetReportedBits() > itsPrecision)
    {
        const auto aExtend =
            itsBitsAllocatedPerSample > 8 ? &ExtendSign<std::uint16_t> : &ExtendSign<std::uint8_t>;
        aExtend(theBuffer, GetImageWidth() * GetImageHeight(), itsPrecision, GetReportedBits());
    }
}

void JPEG2000Decoder::TellWhatWasSurvived()
{
    const kdu_codestream& aCodestream = itsState->itsCodestream;
    const RWCString aDamage = aCodestream.get_first_damage();
    if (!aDamage.empty())
    {
        Warn(WarningIdentifier::kDamaged, aDamage);
    }
    if (itsState->itsIsBeyondPalette)
    {
        Warn(WarningIdentifier::kColourLabel,
             "samples lie beyond the palette of the JP2 file: they have its last colour");
    }
    const int aTruncated = aCodestream.get_truncated_tiles();
    if (aTruncated == 0)
    {
        return;
    }
    const std::int64_t aTiles = std::int64_t{itsState->itsValidTiles.size.x} * itsState->itsValidTiles.size.y;
    const double aMissing = aCodestream.get_missing_tiles();
    Warn(
        WarningIdentifier::kTruncated,
        "the data end early in " + std::to_string(aTruncated) + " of " + std::to_string(aTiles) + " tiles: " +
            (aMissing < 0 ? RWCString("an unknown share") : Percent(aMissing / static_cast<double>(aTiles))) +
            " of the data missing, and with it detail or all of the picture there");
    if (IsByMeaning())
    {
        MarkIrreversible();
    }
}

void JPEG2000Decoder::DecodeTiles(std::uint8_t* theBuffer)
{
    State& aState = *itsState;
    if (!aState.itsCurrentlyOpenTile.exists())
    {
        DecompressCurrentTile(theBuffer); // says that there is none
    }
    const kdu_dims& aTiles = aState.itsValidTiles;
    for (int aRow = 0; aRow < aTiles.size.y; ++aRow)
    {
        for (int aColumn = 0; aColumn < aTiles.size.x; ++aColumn)
        {
            if (aRow > 0 || aColumn > 0)
            {
                aState.itsCurrentlyOpenTile =
                    aState.itsCodestream.open_tile({aTiles.pos.x + aColumn, aTiles.pos.y + aRow});
            }
            DecompressCurrentTile(theBuffer + GetOffsetOfCurrentTile());
            aState.itsCurrentlyOpenTile.close();
            aState.itsCurrentlyOpenTile = kdu_tile();
        }
    }
}

/// In bytes. Also makes sure that the tile lies inside the image: memory depends on it.
std::uint64_t JPEG2000Decoder::GetOffsetOfCurrentTile() const
{
    kdu_dims aTile;
    itsState->itsCurrentlyOpenTile.access_component(0).access_resolution().get_dims(aTile);
    if (aTile.is_empty())
    {
        return 0;
    }
    const kdu_dims& anImage = itsState->itsDims;
    // A tile left of the image would come to a column of nearly 2^32.
    const std::uint64_t aColumn = static_cast<std::uint32_t>(Unsigned(aTile.pos.x) - Unsigned(anImage.pos.x));
    const std::uint64_t aRow = static_cast<std::uint32_t>(Unsigned(aTile.pos.y) - Unsigned(anImage.pos.y));
    if (aColumn + Unsigned(aTile.size.x) > GetImageWidth() ||
        aRow + Unsigned(aTile.size.y) > GetImageHeight())
    {
        FailTile("the tile is not inside the image");
    }
    const std::uint64_t aSample =
        (aRow * GetImageWidth() + aColumn) * static_cast<std::uint64_t>(itsSamplesPerPixel);
    return aSample * static_cast<std::uint64_t>(itsBitsAllocatedPerSample / 8);
}

void JPEG2000Decoder::CheckLayout(int theComponents) const
{
    const int aBytes = itsBitsAllocatedPerSample / 8;
    if (theComponents != 1 && theComponents != 3)
    {
        FailTile("component count not 1 or 3");
    }
    if (aBytes != 1 && aBytes != 2)
    {
        FailTile("Bytes Per Output Sample not 1 or 2 (DICOM only allows 1 or 2 bytes per sample)");
    }
    if (theComponents == 3 && aBytes != 1)
    {
        FailTile("bytes per output sample not 1 (DICOM only allows 1 bytes per sample for "
                 "3-component image)");
    }
}

void JPEG2000Decoder::DecompressCurrentTile(void* theOutput)
{
    const kdu_tile& aTile = itsState->itsCurrentlyOpenTile;
    if (!aTile.exists())
    {
        FailTile("itsCurrentlyOpenTile does not exist");
    }
    Reporting("JPEG2000Decoder::DecompressCurrentTile: ",
              [this, &aTile, theOutput]
              {
                  const int aComponents = aTile.get_num_components();
                  const int aSamples = itsState->itsColours.empty() ? aComponents : itsSamplesPerPixel;
                  CheckLayout(aSamples);
                  JPEG2000TileDecode aDecode(aTile, aComponents);
                  if (!aDecode.IsUniform())
                  {
                      FailTile("mismatched dimensions between components");
                  }
                  aDecode.Run(GetFormat(aSamples), static_cast<std::uint8_t*>(theOutput));
                  itsState->itsIsBeyondPalette = itsState->itsIsBeyondPalette || aDecode.IsBeyondPalette();
              });
}

JPEG2000OutputFormat JPEG2000Decoder::GetFormat(int theSamples) const
{
    JPEG2000OutputFormat aFormat;
    aFormat.itsSamples = theSamples;
    aFormat.itsBytesPerSample = itsBitsAllocatedPerSample / 8;
    aFormat.itsSigned = itsSigned != 0;
    aFormat.itsChannels = itsState->itsChannels;
    aFormat.itsReportedBits = GetReportedBits();
    if (itsState->itsIsMisdeclared)
    {
        // The codes are the two's complement. Their unsigned codes are those with the highest bit inverted,
        // which is what the converters make of the middle of the range as two's complement.
        aFormat.itsSigned = !aFormat.itsSigned;
        aFormat.itsReportedBits = itsPrecision;
    }
    aFormat.itsRowBytes =
        GetImageWidth() * static_cast<std::uint64_t>(theSamples * aFormat.itsBytesPerSample);
    return aFormat;
}

/// Bits stored as readers of the data set will see them: those of the codec, or more where the set says so.
int JPEG2000Decoder::GetReportedBits() const
{
    std::int32_t aBits = 0;
    if (GetDICOMDataObject() != nullptr)
    {
        GetDICOMDataObject()->GetInteger(DICOMTags::BitsStored, aBits);
    }
    return std::min(std::max(aBits, itsBitsStoredPerSample), itsBitsAllocatedPerSample);
}

JPEG2000FileStreamDecoder::~JPEG2000FileStreamDecoder() = default;
JPEG2000FileStreamDecoder::JPEG2000FileStreamDecoder(const JPEG2000FileStreamDecoder&) = default;
JPEG2000FileStreamDecoder& JPEG2000FileStreamDecoder::operator=(const JPEG2000FileStreamDecoder&) = default;

void JPEG2000FileStreamDecoder::SetSourceImpl()
{
    Begin();
    OpenSource();
    ReadCodestream();
}
