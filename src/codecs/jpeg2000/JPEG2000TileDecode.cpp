// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg2000/detail/JPEG2000TileDecode.h"

#include <cstring>

#include "codecs/jpeg2000/detail/JPEG2000SampleKernels.h"
#include "engine/kdu_colour_transforms.h"

namespace
{
bool HasSameExtent(const kdu_dims& theFirst, const kdu_dims& theSecond)
{
    return theFirst.size.x == theSecond.size.x && theFirst.size.y == theSecond.size.y;
}

/// Two's complement of theBits bits, zeros above, made one of theReportedBits bits.
template <class Word>
void ExtendSign(std::uint8_t* theSamples, std::size_t theCount, std::size_t theStride, int theBits,
                int theReportedBits)
{
    const auto aSignBit = static_cast<std::uint32_t>(1U << (theBits - 1));
    const auto aMask = static_cast<std::uint32_t>((1U << theReportedBits) - 1);
    for (std::size_t i = 0; i < theCount; ++i)
    {
        std::uint8_t* const aSample = theSamples + i * theStride * sizeof(Word);
        Word aCode;
        std::memcpy(&aCode, aSample, sizeof(Word));
        aCode = static_cast<Word>(((aCode ^ aSignBit) - aSignBit) & aMask);
        std::memcpy(aSample, &aCode, sizeof(Word));
    }
}
} // namespace

JPEG2000TileDecode::JPEG2000TileDecode(const kdu_tile& theTile, int theComponents)
    : itsTile(theTile), itsCount(static_cast<std::size_t>(theComponents)), itsYCC(theTile.get_ycc())
{
    for (std::size_t c = 0; c < itsCount; ++c)
    {
        const kdu_tile_comp aComponent = itsTile.access_component(static_cast<int>(c));
        itsComponents[c].itsReversible = aComponent.get_reversible();
        itsComponents[c].itsFitsShorts = aComponent.get_reversible() && aComponent.fits_short_lines();
        aComponent.access_resolution().get_dims(itsComponents[c].itsDims);
    }
}

bool JPEG2000TileDecode::IsUniform() const
{
    for (std::size_t c = 1; c < itsCount; ++c)
    {
        if (!HasSameExtent(itsComponents[c].itsDims, itsComponents[0].itsDims) ||
            (itsYCC && c < 3 && itsComponents[c].itsReversible != itsComponents[0].itsReversible))
        {
            return false;
        }
    }
    return true;
}

void JPEG2000TileDecode::Prepare()
{
    // Lines that are transformed together have one representation.
    bool isEachShort = true;
    for (std::size_t c = 0; c < itsCount; ++c)
    {
        isEachShort = isEachShort && itsComponents[c].itsFitsShorts;
    }
    for (std::size_t c = 0; c < itsCount; ++c)
    {
        Component& aComponent = itsComponents[c];
        const kdu_resolution aResolution = itsTile.access_component(static_cast<int>(c)).access_resolution();
        const bool isShort = itsYCC ? isEachShort : aComponent.itsFitsShorts;
        aComponent.itsLine.pre_create(&itsAllocator, aComponent.itsDims.size.x, aComponent.itsReversible,
                                      isShort);
        if (aResolution.which() > 0)
        {
            aComponent.itsSynthesis.emplace(aResolution, &itsAllocator, isShort);
        }
        else
        {
            aComponent.itsDecoder.emplace(aResolution.access_subband(0), &itsAllocator, isShort);
        }
    }
    itsAllocator.finalize();
    for (std::size_t c = 0; c < itsCount; ++c)
    {
        itsComponents[c].itsLine.create();
    }
}

void JPEG2000TileDecode::Run(const JPEG2000OutputFormat& theFormat, std::uint8_t* theOutput)
{
    const kdu_dims& aDims = itsComponents[0].itsDims;
    if (aDims.is_empty())
    {
        return;
    }
    Prepare();
    for (int aRow = 0; aRow < aDims.size.y; ++aRow)
    {
        PullLines();
        UndoComponentTransform();
        WriteRow(theFormat, theOutput + static_cast<std::uint64_t>(aRow) * theFormat.itsRowBytes);
    }
}

void JPEG2000TileDecode::PullLines()
{
    for (std::size_t c = 0; c < itsCount; ++c)
    {
        Component& aComponent = itsComponents[c];
        if (aComponent.itsSynthesis)
        {
            aComponent.itsSynthesis->pull(aComponent.itsLine);
        }
        else
        {
            aComponent.itsDecoder->pull(aComponent.itsLine);
        }
    }
}

void JPEG2000TileDecode::UndoComponentTransform()
{
    if (!itsYCC || itsCount < 3)
    {
        return;
    }
    const kdu_line_buf& aFirst = itsComponents[0].itsLine;
    const kdu_line_buf& aSecond = itsComponents[1].itsLine;
    const kdu_line_buf& aThird = itsComponents[2].itsLine;
    const int aWidth = aFirst.get_width();
    const bool isReversible = itsComponents[0].itsReversible;
    if (aFirst.get_buf16() != nullptr)
    {
        (isReversible ? kdu_convert_ycc_to_rgb_rev16 : kdu_convert_ycc_to_rgb_irrev16)(
            aFirst.get_buf16(), aSecond.get_buf16(), aThird.get_buf16(), aWidth);
        return;
    }
    (isReversible ? kdu_convert_ycc_to_rgb_rev32 : kdu_convert_ycc_to_rgb_irrev32)(
        aFirst.get_buf32(), aSecond.get_buf32(), aThird.get_buf32(), aWidth);
}

void JPEG2000TileDecode::WriteRow(const JPEG2000OutputFormat& theFormat, std::uint8_t* theRow)
{
    const bool isWritten = WriteTriplets(theFormat, theRow);
    const auto aStep = static_cast<std::size_t>(theFormat.itsBytesPerSample);
    const auto aStride = static_cast<std::size_t>(theFormat.itsSamples);
    for (std::size_t c = 0; c < aStride; ++c)
    {
        const JPEG2000Channel& aChannel = theFormat.itsChannels[c];
        const kdu_line_buf& aLine = itsComponents[aChannel.itsComponent].itsLine;
        std::uint8_t* const anOutput = theRow + c * aStep;
        if (aChannel.itsEntries != nullptr)
        {
            WriteMapped(theFormat, aChannel, anOutput);
        }
        else if (!isWritten)
        {
            JPEG2000LineOutput::Copy(aLine, anOutput, aChannel.itsBits, theFormat.itsSigned,
                                     theFormat.itsBytesPerSample, theFormat.itsSamples);
        }
        if (theFormat.itsSigned && aChannel.itsBits < theFormat.itsReportedBits)
        {
            (theFormat.itsBytesPerSample == 1
                 ? ExtendSign<std::uint8_t>
                 : ExtendSign<std::uint16_t>)(anOutput, static_cast<std::size_t>(aLine.get_width()), aStride,
                                              aChannel.itsBits, theFormat.itsReportedBits);
        }
    }
}

/// The entries that the samples of a component stand for, as codes like those of the converters.
void JPEG2000TileDecode::WriteMapped(const JPEG2000OutputFormat& theFormat, const JPEG2000Channel& theChannel,
                                     std::uint8_t* theOutput)
{
    const kdu_line_buf& aLine = itsComponents[theChannel.itsComponent].itsLine;
    itsIndices.resize(static_cast<std::size_t>(aLine.get_width()));
    JPEG2000LineOutput::Copy(aLine, itsIndices.data(), theChannel.itsDepth, false, 2, 1);
    const std::vector<std::uint16_t>& someEntries = *theChannel.itsEntries;
    const auto aFlip = static_cast<std::uint16_t>(theFormat.itsSigned ? 1U << (theChannel.itsBits - 1) : 0U);
    const auto aBytes = static_cast<std::size_t>(theFormat.itsBytesPerSample);
    for (const std::uint16_t anIndex : itsIndices)
    {
        const bool isBeyond = anIndex >= someEntries.size();
        itsIsBeyondPalette = itsIsBeyondPalette || isBeyond;
        const std::uint16_t aCode = (isBeyond ? someEntries.back() : someEntries[anIndex]) ^ aFlip;
        if (aBytes == 1)
        {
            *theOutput = static_cast<std::uint8_t>(aCode);
        }
        else
        {
            std::memcpy(theOutput, &aCode, sizeof(aCode));
        }
        theOutput += aBytes * static_cast<std::size_t>(theFormat.itsSamples);
    }
}

/// Three alike lines as bytes in one go. False, with nothing written, where that is not so.
bool JPEG2000TileDecode::WriteTriplets(const JPEG2000OutputFormat& theFormat, std::uint8_t* theRow) const
{
    if (theFormat.itsSamples != 3 || theFormat.itsBytesPerSample != 1)
    {
        return false;
    }
    const int aBits = theFormat.itsChannels[0].itsBits;
    const JPEG2000LineKind aKind =
        JPEG2000LineOutput::KindOf(itsComponents[theFormat.itsChannels[0].itsComponent].itsLine);
    std::array<const void*, 3> aLines{};
    for (std::size_t c = 0; c < 3; ++c)
    {
        const JPEG2000Channel& aChannel = theFormat.itsChannels[c];
        const kdu_line_buf& aLine = itsComponents[aChannel.itsComponent].itsLine;
        if (JPEG2000LineOutput::KindOf(aLine) != aKind || aChannel.itsBits != aBits ||
            aChannel.itsEntries != nullptr)
        {
            return false;
        }
        aLines[c] = JPEG2000LineOutput::SamplesOf(aLine);
    }
    JPEG2000LineOutput::Check(aKind, aBits, 1);
    JPEG2000SampleKernels::ToTriplets(aKind, aLines.data(), theRow,
                                      static_cast<std::size_t>(itsComponents[0].itsLine.get_width()), aBits,
                                      theFormat.itsSigned);
    return true;
}
