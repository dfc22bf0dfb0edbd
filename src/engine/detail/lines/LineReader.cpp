// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/lines/LineReader.h"

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "engine/detail/lines/LineSource.h"
#include "engine/detail/lines/SubbandSource.h"
#include "engine/detail/lines/Synthesis.h"
#include "engine/detail/packets/Tile.h"
#include "engine/kdu_line_buf.h"

namespace j2k
{
namespace
{
/// Builds the chain of sources that delivers a subband or a resolution. What is built borrows everything.
template <class Sample>
class ChainBuilder
{
public:
    ChainBuilder(BlockScratch& theScratch, kdu_sample_allocator& theAllocator)
        : itsScratch(theScratch), itsAllocator(theAllocator)
    {
    }

    /// Coefficients as they are.
    std::unique_ptr<LineSource<Sample>> Build(const Subband& theSubband);

    /// theResolution and everything below it.
    std::unique_ptr<LineSource<Sample>> Build(const Resolution& theResolution);

private:
    /// One level of the transform, and what its coefficients are multiplied by.
    struct Level
    {
        const Resolution* itsResolution;
        AxisScale itsAcross;
        AxisScale itsDown;
        float itsScale; ///< of the resolution's samples, for the levels above it
    };

    static std::vector<Level> ListLevels(const Resolution& theResolution);
    std::unique_ptr<LineSource<Sample>> BuildZeros(const Rect& theRect);
    std::unique_ptr<LineSource<Sample>> BuildSubband(const Subband& theSubband, float theScale);
    static void LinkSiblings(std::initializer_list<LineSource<Sample>*> theSources);
    std::unique_ptr<LineSource<Sample>> BuildLevel(const Level& theLevel,
                                                   std::unique_ptr<LineSource<Sample>> theLL);

    BlockScratch& itsScratch;
    kdu_sample_allocator& itsAllocator;
};

bool HasData(const Resolution& theResolution)
{
    bool hasData = false;
    for (unsigned int b = 0; b < theResolution.GetSubbandCount(); ++b)
    {
        hasData |= theResolution.GetSubband(b).HasData();
    }
    return hasData;
}

template <class Sample>
std::unique_ptr<LineSource<Sample>> ChainBuilder<Sample>::Build(const Subband& theSubband)
{
    return BuildSubband(theSubband, 1.0f);
}

template <class Sample>
std::unique_ptr<LineSource<Sample>> ChainBuilder<Sample>::Build(const Resolution& theResolution)
{
    std::vector<Level> aLevels = ListLevels(theResolution);
    // Null as long as nothing below has any data.
    std::unique_ptr<LineSource<Sample>> aSource;
    for (; !aLevels.empty(); aLevels.pop_back())
    {
        const Level& aLevel = aLevels.back();
        const Resolution& aResolution = *aLevel.itsResolution;
        if (aResolution.GetWindow().IsEmpty() || (aSource == nullptr && !HasData(aResolution)))
        {
            continue;
        }
        aSource = aResolution.GetLevel() == 0 ? BuildSubband(aResolution.GetSubband(0), aLevel.itsScale)
                                              : BuildLevel(aLevel, std::move(aSource));
    }
    return aSource != nullptr ? std::move(aSource) : BuildZeros(theResolution.GetWindow());
}

template <class Sample>
std::vector<typename ChainBuilder<Sample>::Level>
ChainBuilder<Sample>::ListLevels(const Resolution& theResolution)
{
    std::vector<Level> aLevels;
    float aScale = 1.0f;
    for (const Resolution* r = &theResolution; r != nullptr; r = r->GetNext())
    {
        const Rect& aRect = r->GetRect();
        aLevels.push_back(
            {r, AxisScale(aRect.itsX0, aRect.itsX1), AxisScale(aRect.itsY0, aRect.itsY1), aScale});
        aScale *= aLevels.back().itsAcross.itsLow * aLevels.back().itsDown.itsLow;
    }
    return aLevels;
}

template <class Sample>
std::unique_ptr<LineSource<Sample>> ChainBuilder<Sample>::BuildZeros(const Rect& theRect)
{
    return std::make_unique<ZeroSource<Sample>>(itsAllocator, theRect.GetWidth());
}

template <class Sample>
std::unique_ptr<LineSource<Sample>> ChainBuilder<Sample>::BuildSubband(const Subband& theSubband,
                                                                       float theScale)
{
    if (theSubband.GetWindow().IsEmpty() || !theSubband.HasData())
    {
        return BuildZeros(theSubband.GetWindow());
    }
    return std::make_unique<SubbandSource<Sample>>(theSubband, itsScratch, itsAllocator, theScale);
}

/// Those that decode blocks.
template <class Sample>
void ChainBuilder<Sample>::LinkSiblings(std::initializer_list<LineSource<Sample>*> theSources)
{
    SubbandSource<Sample>* aFirst = nullptr;
    SubbandSource<Sample>* aLast = nullptr;
    for (LineSource<Sample>* const aSource : theSources)
    {
        if (auto* const aSubband = dynamic_cast<SubbandSource<Sample>*>(aSource))
        {
            aFirst = aFirst == nullptr ? aSubband : aFirst;
            aSubband->SetSibling(*aFirst);
            if (aLast != nullptr)
            {
                aLast->SetSibling(*aSubband);
            }
            aLast = aSubband;
        }
    }
}

template <class Sample>
std::unique_ptr<LineSource<Sample>>
ChainBuilder<Sample>::BuildLevel(const Level& theLevel, std::unique_ptr<LineSource<Sample>> theLL)
{
    const Resolution& aResolution = *theLevel.itsResolution;
    const AxisScale& anAcross = theLevel.itsAcross;
    const AxisScale& aDown = theLevel.itsDown;
    SynthesisInputs<Sample> anInputs;
    anInputs.itsLL = theLL != nullptr ? std::move(theLL) : BuildZeros(aResolution.GetNext()->GetWindow());
    anInputs.itsHL =
        BuildSubband(aResolution.GetSubband(0), theLevel.itsScale * anAcross.itsHigh * aDown.itsLow);
    anInputs.itsLH =
        BuildSubband(aResolution.GetSubband(1), theLevel.itsScale * anAcross.itsLow * aDown.itsHigh);
    anInputs.itsHH =
        BuildSubband(aResolution.GetSubband(2), theLevel.itsScale * anAcross.itsHigh * aDown.itsHigh);
    LinkSiblings({anInputs.itsHL.get(), anInputs.itsLH.get(), anInputs.itsHH.get()});
    return std::make_unique<Synthesis<Sample>>(aResolution.GetArea(), aResolution.GetWindow(),
                                               std::move(anInputs), itsAllocator);
}

/// Reversible samples of more bits do not fit 32-bit lines: the component transform adds one bit to them, the
/// transform's HH coefficients two more, and there is a sign.
constexpr unsigned int kDeepestLines = 28;

/// Reports an error when theLL is the lowest subband of a component that is too deep. Reversible only.
void CheckLineDepth(const Subband& theLL)
{
    // A subband does not know its component.
    Tile& aTile = theLL.GetTile();
    for (std::size_t c = 0; c < aTile.GetComponentCount(); ++c)
    {
        const TileComponent& aComponent = aTile.GetComponent(c);
        const unsigned int aDepth = aComponent.GetSize().itsDepth;
        if (&aComponent.GetResolution(0).GetSubband(0) == &theLL && aDepth > kDeepestLines)
        {
            aTile.GetReports().Error("Component " + std::to_string(c) + " of tile " +
                                     std::to_string(aTile.GetIndex()) + " has " + std::to_string(aDepth) +
                                     " bits per sample; reversibly coded ones of more than " +
                                     std::to_string(kDeepestLines) + " are not supported");
        }
    }
}

std::int16_t* GetSamples(kdu_line_buf& theLine, std::int16_t)
{
    static_assert(sizeof(kdu_sample16) == sizeof(std::int16_t));
    return theLine.is_absolute() ? reinterpret_cast<std::int16_t*>(theLine.get_buf16()) : nullptr;
}

std::int32_t* GetSamples(kdu_line_buf& theLine, std::int32_t)
{
    static_assert(sizeof(kdu_sample32) == sizeof(std::int32_t));
    return theLine.is_absolute() ? reinterpret_cast<std::int32_t*>(theLine.get_buf32()) : nullptr;
}

float* GetSamples(kdu_line_buf& theLine, float)
{
    static_assert(sizeof(kdu_sample32) == sizeof(float));
    return theLine.is_absolute() ? nullptr : reinterpret_cast<float*>(theLine.get_buf32());
}

template <class Sample>
class TypedLineReader final : public LineReader
{
public:
    /// Part: a Subband or a Resolution.
    template <class Part>
    TypedLineReader(const Part& thePart, kdu_sample_allocator& theAllocator)
        : itsSource(ChainBuilder<Sample>(itsScratch, theAllocator).Build(thePart)),
          itsWidth(thePart.GetWindow().GetWidth()), itsLinesLeft(thePart.GetWindow().GetHeight())
    {
    }

    void Pull(kdu_line_buf& theLine) override
    {
        Sample* const aSamples = GetSamples(theLine, Sample());
        if (aSamples == nullptr || static_cast<std::uint32_t>(theLine.get_width()) != itsWidth)
        {
            throw std::logic_error("kdu_line_buf does not suit the lines it is to be filled with");
        }
        const std::size_t aSize = itsWidth * sizeof(Sample);
        if (itsLinesLeft == 0)
        {
            std::memset(aSamples, 0, aSize);
        }
        else if (itsWidth > 0)
        {
            std::memcpy(aSamples, itsSource->Pull(), aSize);
            --itsLinesLeft;
        }
    }

private:
    BlockScratch itsScratch;
    std::unique_ptr<LineSource<Sample>> itsSource;
    std::uint32_t itsWidth;
    std::uint32_t itsLinesLeft;
};

template <class Part>
std::unique_ptr<LineReader> CreateReader(const Part& thePart, const Subband& theLL,
                                         kdu_sample_allocator& theAllocator, bool isShort)
{
    if (!thePart.IsReversible())
    {
        if (isShort)
        {
            throw std::logic_error("16-bit lines are for reversible components");
        }
        return std::make_unique<TypedLineReader<float>>(thePart, theAllocator);
    }
    if (isShort)
    {
        return std::make_unique<TypedLineReader<std::int16_t>>(thePart, theAllocator);
    }
    CheckLineDepth(theLL);
    return std::make_unique<TypedLineReader<std::int32_t>>(thePart, theAllocator);
}
} // namespace

std::unique_ptr<LineReader> LineReader::Create(const Subband& theSubband, kdu_sample_allocator& theAllocator,
                                               bool isShort)
{
    return CreateReader(theSubband, theSubband, theAllocator, isShort);
}

std::unique_ptr<LineReader> LineReader::Create(const Resolution& theResolution,
                                               kdu_sample_allocator& theAllocator, bool isShort)
{
    const Resolution* aLowest = &theResolution;
    while (aLowest->GetNext() != nullptr)
    {
        aLowest = aLowest->GetNext();
    }
    return CreateReader(theResolution, aLowest->GetSubband(0), theAllocator, isShort);
}

} // namespace j2k
