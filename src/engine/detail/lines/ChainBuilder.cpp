// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/lines/ChainBuilder.h"

#include <cstdint>
#include <utility>

#include "engine/detail/lines/SubbandSource.h"
#include "engine/detail/lines/ZeroSource.h"

namespace j2k
{
namespace
{
bool HasData(const Resolution& theResolution)
{
    bool aResult = false;
    for (unsigned int b = 0; b < theResolution.GetSubbandCount(); ++b)
    {
        aResult |= theResolution.GetSubband(b).HasData();
    }
    return aResult;
}
} // namespace

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
        if (aResolution.GetRect().IsEmpty() || (aSource == nullptr && !HasData(aResolution)))
        {
            continue;
        }
        aSource = aResolution.GetLevel() == 0 ? BuildSubband(aResolution.GetSubband(0), aLevel.itsScale)
                                              : BuildLevel(aLevel, std::move(aSource));
    }
    return aSource != nullptr ? std::move(aSource) : BuildZeros(theResolution.GetRect());
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
    if (theSubband.GetRect().IsEmpty() || !theSubband.HasData())
    {
        return BuildZeros(theSubband.GetRect());
    }
    return std::make_unique<SubbandSource<Sample>>(theSubband, itsScratch, itsAllocator, theScale);
}

template <class Sample>
std::unique_ptr<LineSource<Sample>>
ChainBuilder<Sample>::BuildLevel(const Level& theLevel, std::unique_ptr<LineSource<Sample>> theLL)
{
    const Resolution& aResolution = *theLevel.itsResolution;
    const AxisScale& anAcross = theLevel.itsAcross;
    const AxisScale& aDown = theLevel.itsDown;
    SynthesisInputs<Sample> anInputs;
    anInputs.itsLL = theLL != nullptr ? std::move(theLL) : BuildZeros(aResolution.GetNext()->GetRect());
    anInputs.itsHL =
        BuildSubband(aResolution.GetSubband(0), theLevel.itsScale * anAcross.itsHigh * aDown.itsLow);
    anInputs.itsLH =
        BuildSubband(aResolution.GetSubband(1), theLevel.itsScale * anAcross.itsLow * aDown.itsHigh);
    anInputs.itsHH =
        BuildSubband(aResolution.GetSubband(2), theLevel.itsScale * anAcross.itsHigh * aDown.itsHigh);
    return std::make_unique<Synthesis<Sample>>(aResolution.GetRect(), std::move(anInputs), itsAllocator);
}

template class ChainBuilder<std::int16_t>;
template class ChainBuilder<std::int32_t>;
template class ChainBuilder<float>;

} // namespace j2k
