// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/detail/JPEGPaths.h"

#include <algorithm>

JPEGPaths::Way JPEGPaths::Choose(const JPEGFrameHeader& theHeader, JPEGPath thePath, std::uint32_t theRows)
{
    // Of 12-bit images libjpeg-turbo delivers all coefficients or none.
    const bool isWorthless = thePath == JPEGPath::AUTOMATIC && theHeader.itsPrecision == 12 &&
                             theHeader.itsProcess == JPEGProcess::SEQUENTIAL &&
                             theRows < theHeader.itsHeight / 2;
    if (thePath == JPEGPath::LIBRARY || isWorthless)
    {
        return Way::LIBRARY;
    }
    if (IsUsualDct(theHeader))
    {
        return Way::TURBO;
    }
    // Our tables take longer to make than the library's, which tiny images do not make up for.
    constexpr std::uint64_t kFewest = 1024;
    const std::uint64_t aPixels = std::uint64_t{theHeader.itsWidth} * theHeader.itsHeight;
    const bool isTiny = thePath == JPEGPath::AUTOMATIC && aPixels < kFewest;
    return IsUsualLossless(theHeader) && !isTiny ? Way::LOSSLESS_SCAN : Way::LIBRARY;
}

bool JPEGPaths::IsUsualLossless(const JPEGFrameHeader& theHeader)
{
    using Space = JPEGColorSpace;
    const auto aComponents = static_cast<std::size_t>(theHeader.itsComponents);
    if (theHeader.itsProcess != JPEGProcess::LOSSLESS || theHeader.itsArithmetic ||
        theHeader.itsRepeatsComponent || theHeader.itsPrecision < 2 ||
        theHeader.itsPrecision > theHeader.itsBuildPrecision || (aComponents != 1 && aComponents != 3))
    {
        return false;
    }
    const auto isOne = [](std::uint8_t theFactor) { return theFactor == 1; };
    const bool isSampledFully =
        std::all_of(theHeader.itsHSampling.begin(), theHeader.itsHSampling.begin() + theHeader.itsComponents,
                    isOne) &&
        std::all_of(theHeader.itsVSampling.begin(), theHeader.itsVSampling.begin() + theHeader.itsComponents,
                    isOne);
    const Space aSpace = theHeader.itsColorSpace;
    const bool isCopied =
        aSpace == theHeader.itsOutputColorSpace &&
        (aComponents == 1 ? aSpace == Space::GRAYSCALE : aSpace == Space::RGB || aSpace == Space::YCBCR);
    const bool isConverted =
        aComponents == 3 && aSpace == Space::YCBCR && theHeader.itsOutputColorSpace == Space::RGB;
    return isSampledFully && (isCopied || isConverted);
}

// The two DCT decoders agree to the bit where chroma is subsampled in one of the three usual ways, and on
// colour conversions that both have. Component identifiers that repeat are read differently. Of 12-bit images
// all coefficients are held in memory, so not of huge ones.
bool JPEGPaths::IsUsualDct(const JPEGFrameHeader& theHeader)
{
    constexpr std::uint64_t kMostDeepSamples = std::uint64_t{1} << 26;
    const bool isDct = theHeader.itsProcess != JPEGProcess::LOSSLESS && !theHeader.itsArithmetic &&
                       theHeader.itsPrecision == theHeader.itsBuildPrecision;
    const bool isShallow = theHeader.itsPrecision == 8;
    const bool isDeep =
        theHeader.itsPrecision == 12 && std::uint64_t{theHeader.itsWidth} * theHeader.itsHeight *
                                                static_cast<std::uint64_t>(theHeader.itsComponents) <=
                                            kMostDeepSamples;
    return isDct && (isShallow || isDeep) && HasUsualColour(theHeader) && HasUsualSampling(theHeader);
}

bool JPEGPaths::HasUsualColour(const JPEGFrameHeader& theHeader)
{
    const JPEGColorSpace aSpace = theHeader.itsColorSpace;
    if (theHeader.itsComponents == 1)
    {
        return aSpace == JPEGColorSpace::GRAYSCALE && theHeader.itsOutputColorSpace == aSpace;
    }
    const auto& anIds = theHeader.itsComponentIds;
    const bool isDistinct = anIds[0] != anIds[1] && anIds[0] != anIds[2] && anIds[1] != anIds[2];
    const bool isColour = aSpace == JPEGColorSpace::RGB || aSpace == JPEGColorSpace::YCBCR;
    const bool isSupported =
        theHeader.itsOutputColorSpace == aSpace || theHeader.itsOutputColorSpace == JPEGColorSpace::RGB;
    return theHeader.itsComponents == 3 && isDistinct && isColour && isSupported;
}

bool JPEGPaths::HasUsualSampling(const JPEGFrameHeader& theHeader)
{
    const auto& anH = theHeader.itsHSampling;
    const auto& aV = theHeader.itsVSampling;
    for (std::size_t i = 0; i < static_cast<std::size_t>(theHeader.itsComponents); ++i)
    {
        const bool isWhole = anH[i] == anH[0] && aV[i] == aV[0];
        const bool isHalfAcross = 2 * anH[i] == anH[0] && aV[i] == aV[0];
        const bool isHalfBothWays = 2 * anH[i] == anH[0] && 2 * aV[i] == aV[0];
        if (!isWhole && !isHalfAcross && !isHalfBothWays)
        {
            return false;
        }
    }
    return true;
}
