// SPDX-License-Identifier: Apache-2.0
#include "support/PlanarImage.h"

#include <cstdlib>

namespace
{
std::string DescribeShape(const PlanarComponent& theComponent)
{
    return std::to_string(theComponent.itsWidth) + "x" + std::to_string(theComponent.itsHeight) + ", " +
           std::to_string(theComponent.itsDepth) + (theComponent.itsSigned ? " bits signed, " : " bits, ") +
           std::to_string(theComponent.itsXRsiz) + "x" + std::to_string(theComponent.itsYRsiz) + " apart";
}
} // namespace

std::string DescribeDifference(const PlanarComponent& theActual, const PlanarComponent& theExpected,
                               std::int32_t theTolerance)
{
    if (DescribeShape(theActual) != DescribeShape(theExpected) ||
        theActual.itsSamples.size() != theExpected.itsSamples.size())
    {
        return "is " + DescribeShape(theActual) + " instead of " + DescribeShape(theExpected);
    }
    for (std::size_t i = 0; i < theActual.itsSamples.size(); ++i)
    {
        if (std::abs(theActual.itsSamples[i] - theExpected.itsSamples[i]) > theTolerance)
        {
            return "sample (" + std::to_string(i % theActual.itsWidth) + ", " +
                   std::to_string(i / theActual.itsWidth) + ") of " + DescribeShape(theActual) + " is " +
                   std::to_string(theActual.itsSamples[i]) + " instead of " +
                   std::to_string(theExpected.itsSamples[i]);
        }
    }
    return "";
}

std::string DescribeDifference(const PlanarImage& theActual, const PlanarImage& theExpected,
                               std::int32_t theTolerance)
{
    if (theActual.itsComponents.size() != theExpected.itsComponents.size())
    {
        return std::to_string(theActual.itsComponents.size()) + " components instead of " +
               std::to_string(theExpected.itsComponents.size());
    }
    for (std::size_t i = 0; i < theActual.itsComponents.size(); ++i)
    {
        const std::string aText =
            DescribeDifference(theActual.itsComponents[i], theExpected.itsComponents[i], theTolerance);
        if (!aText.empty())
        {
            return "component " + std::to_string(i) + " " + aText;
        }
    }
    return "";
}
