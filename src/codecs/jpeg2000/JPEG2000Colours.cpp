// SPDX-License-Identifier: Apache-2.0
// What a codestream's components are as colours: by its component transform, by the data set's label, and by
// the boxes of a JP2 file around it.
#include <algorithm>
#include <string>

#include "codecs/jpeg2000/JPEG2000Decoder.h"
#include "codecs/jpeg2000/detail/JPEG2000DecoderState.h"
#include "toolkit/dicom/DICOMDataObject.h"

/// Settles the samples of a pixel, and answers how many components are to be decoded for them.
int JPEG2000Decoder::SettleChannels(int theComponents)
{
    State& aState = *itsState;
    aState.itsIsBeyondPalette = false;
    RWCString aProblem;
    aState.itsColours =
        aState.itsSource->GetColours().GetChannels(static_cast<std::size_t>(theComponents), aProblem);
    RWCString aSubject = "palette or channel definition of the JP2 file";
    if (!aState.itsColours.empty())
    {
        aSubject = HasPalette() ? "palette of the JP2 file" : "channel definition of the JP2 file";
        aProblem = FindObstacle();
    }
    if (!aProblem.empty())
    {
        Warn(WarningIdentifier::kColourLabel, aSubject + " not applied: " + aProblem);
        aState.itsColours.clear();
    }
    if (aState.itsColours.empty())
    {
        itsSamplesPerPixel = theComponents;
        return theComponents;
    }
    Warn(WarningIdentifier::kColourLabel, aSubject + " applied");
    itsSamplesPerPixel = static_cast<int>(aState.itsColours.size());
    if (HasPalette() && itsScaleFactor > 1)
    {
        // What lies between two indices is some third colour.
        Warn(WarningIdentifier::kScale, "a picture with a palette cannot be reduced: full size");
        itsScaleFactor = 1;
    }
    std::size_t aLast = 0;
    for (const JP2Channel& aColour : aState.itsColours)
    {
        aLast = std::max(aLast, aColour.itsComponent);
    }
    return static_cast<int>(aLast) + 1;
}

bool JPEG2000Decoder::HasPalette() const
{
    return std::ranges::any_of(itsState->itsColours,
                               [](const JP2Channel& theColour) { return !theColour.itsEntries.empty(); });
}

/// Why colours that a JP2 file states without fault are not to be applied all the same; empty for nothing. A
/// data set describes its pixels itself: only what agrees with it counts.
RWCString JPEG2000Decoder::FindObstacle() const
{
    if (!IsByMeaning())
    {
        return "files are read by contract";
    }
    std::int32_t aSamples = 0;
    if (GetDICOMDataObject() != nullptr)
    {
        GetDICOMDataObject()->GetInteger(DICOMTags::SamplesPerPixel, aSamples);
    }
    if (aSamples != 0 && static_cast<std::size_t>(aSamples) != itsState->itsColours.size())
    {
        return "the data set says " + std::to_string(aSamples) + " samples a pixel";
    }
    if (GetOriginalPhotometricInterpretation() == COLOR_MODEL_PALETTE_COLOR)
    {
        return "the data set says PALETTE COLOR";
    }
    for (const JP2Channel& aColour : itsState->itsColours)
    {
        const auto aComponent = static_cast<int>(aColour.itsComponent);
        if (!aColour.itsEntries.empty() && (itsState->itsCodestream.get_signed(aComponent) ||
                                            itsState->itsCodestream.get_bit_depth(aComponent) > 16))
        {
            return "indices are signed or of more than 16 bits";
        }
    }
    return "";
}

void JPEG2000Decoder::SettleColour()
{
    itsDecompressedColorspace = itsState->itsYCC ? COLOR_MODEL_RGB : GetCompressedColorspace();
    if (IsConvertedAsSYCC())
    {
        itsDecompressedColorspace = COLOR_MODEL_YBR_FULL;
    }
    itsRecommendedDecompressedColorspace = itsDecompressedColorspace;
    if (itsSamplesPerPixel == 3)
    {
        WarnOfLabel();
    }
    if (IsByMeaning())
    {
        // Whatever the transfer syntax or the caller says: the codestream knows.
        itsCompressionReversible = itsState->itsReversible ? CR_REVERSIBLE : CR_IRREVERSIBLE;
    }
    else if (!itsState->itsReversible && itsCompressionReversible == CR_UNSPECIFIED)
    {
        // The transfer syntax left it open; the 9/7 transform always loses something.
        itsCompressionReversible = CR_IRREVERSIBLE;
    }
}

Decoder::ColorModel JPEG2000Decoder::GetCompressedColorspace() const
{
    if (itsSamplesPerPixel != 3)
    {
        return itsSamplesPerPixel == 1 ? COLOR_MODEL_GREY : COLOR_MODEL_UNKNOWN;
    }
    if (itsState->itsYCC)
    {
        return itsState->itsReversible ? COLOR_MODEL_YBR_RCT : COLOR_MODEL_YBR_ICT;
    }
    const ColorModel aLabel = GetOriginalPhotometricInterpretation();
    const bool isYBR =
        aLabel == COLOR_MODEL_YBR_FULL || (IsByMeaning() && aLabel == COLOR_MODEL_YBR_FULL_422);
    return isYBR ? COLOR_MODEL_YBR_FULL : COLOR_MODEL_RGB;
}

/// Three components are as large as each other: subsampling is not in them. A component transform is made of
/// RGB, and where there is none, nothing of the kind would have to be undone.
void JPEG2000Decoder::WarnOfLabel() const
{
    const bool isTransformed = itsState->itsYCC;
    const char* aText = nullptr;
    switch (GetOriginalPhotometricInterpretation())
    {
    case COLOR_MODEL_YBR_FULL:
        aText =
            isTransformed ? "labelled YBR_FULL and coded with a component transform: taken for RGB" : nullptr;
        break;
    case COLOR_MODEL_YBR_FULL_422:
        aText = isTransformed   ? "labelled YBR_FULL_422 and coded with a component transform: taken for RGB"
                : IsByMeaning() ? "labelled YBR_FULL_422 and not subsampled: converted as YBR_FULL"
                                : "labelled YBR_FULL_422 and not subsampled: taken for RGB";
        break;
    case COLOR_MODEL_YBR_RCT:
    case COLOR_MODEL_YBR_ICT:
        aText = isTransformed
                    ? nullptr
                    : "the label names a component transform, the codestream has none: taken for RGB";
        break;
    case COLOR_MODEL_GREY:
    case COLOR_MODEL_PALETTE_COLOR:
        aText = "the label is one of a single component, the codestream has three: taken for RGB";
        break;
    default:
        break;
    }
    if (aText != nullptr)
    {
        Warn(WarningIdentifier::kColourLabel, aText);
    }
}

/// Whether the samples are the luminance and colour differences that a JP2 file says they are. Where a data
/// set has a label, that is believed.
bool JPEG2000Decoder::IsConvertedAsSYCC() const
{
    const JP2Colours& someColours = itsState->itsSource->GetColours();
    if (itsSamplesPerPixel == 3 && someColours.IsOtherYCC())
    {
        Warn(WarningIdentifier::kColourLabel,
             "the JPH file says colour differences, of an unusual kind: taken for RGB");
    }
    if (itsSamplesPerPixel != 3 || !someColours.IsSYCC())
    {
        return false;
    }
    const ColorModel aLabel = GetOriginalPhotometricInterpretation();
    if (aLabel == COLOR_MODEL_YBR_FULL || aLabel == COLOR_MODEL_YBR_FULL_422)
    {
        return false; // told, and converted, elsewhere
    }
    constexpr const char* kDeclared = "the JP2 file says sYCC";
    const bool isWhole = std::ranges::all_of(itsState->itsChannels, [](const JPEG2000Channel& theChannel)
                                             { return theChannel.itsBits == 8; });
    const bool isConverted = IsByMeaning() && aLabel == COLOR_MODEL_UNKNOWN && isWhole;
    const char* const aReason = isConverted                     ? ": converted to RGB"
                                : aLabel != COLOR_MODEL_UNKNOWN ? ", the data set otherwise: taken for RGB"
                                : isWhole                       ? ": taken for RGB"
                                                                : " without 8 bits a sample: taken for RGB";
    Warn(WarningIdentifier::kColourLabel, RWCString(kDeclared) + aReason);
    return isConverted;
}
