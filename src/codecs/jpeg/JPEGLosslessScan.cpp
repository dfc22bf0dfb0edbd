// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/detail/JPEGLosslessScan.h"

#include <algorithm>
#include <utility>

namespace
{

/// Modulo 65536, and 0 where the point transform leaves no bits.
std::uint16_t InitialPrediction(int thePrecision, int thePointTransform)
{
    const int aBit = thePrecision - thePointTransform - 1;
    return static_cast<std::uint16_t>(aBit < 0 ? 0 : 1u << aBit);
}

} // namespace

JPEGLosslessScan::JPEGLosslessScan(Parameters theParameters, JPEGLosslessSource& theSource)
    : itsParameters(std::move(theParameters)),
      itsDecoder(itsParameters.itsTables, itsParameters.itsComponents, theSource),
      itsRowSamples(itsParameters.itsWidth * itsParameters.itsComponents),
      itsInitial(InitialPrediction(itsParameters.itsPrecision, itsParameters.itsPointTransform)),
      itsInOrder(IsInOrder()),
      itsInPlace(itsInOrder && itsParameters.itsSampleBytes == 2 && itsParameters.itsPointTransform == 0)
{
    itsDifferences.resize(itsRowSamples + JPEGLosslessDifferences::kSurplus);
    for (std::vector<std::uint16_t>& aRow : itsRows)
    {
        aRow.resize(itsInPlace ? 0 : itsRowSamples);
    }
}

bool JPEGLosslessScan::IsInOrder() const
{
    bool isInOrder = itsParameters.itsComponents == itsParameters.itsImageComponents;
    for (std::size_t i = 0; i < itsParameters.itsComponents; ++i)
    {
        isInOrder = isInOrder && itsParameters.itsPlaces[i] == i;
    }
    return isInOrder;
}

std::size_t JPEGLosslessScan::Decode()
{
    std::size_t aRowsToGo = itsParameters.itsRestartRows;
    for (std::size_t aRow = 0; aRow < itsParameters.itsHeight; ++aRow)
    {
        if (itsParameters.itsRestartRows != 0 && aRowsToGo == 0)
        {
            itsDecoder.Restart();
            itsFirstRow = true;
            aRowsToGo = itsParameters.itsRestartRows;
        }
        DecodeRow(aRow);
        itsWholeRows = itsDecoder.IsDataMissing() ? itsWholeRows : aRow + 1;
        --aRowsToGo;
    }
    return itsDecoder.Finish();
}

void JPEGLosslessScan::DecodeRow(std::size_t theRow)
{
    if (itsDecoder.IsDataMissing())
    {
        // Rows without data are grey: nothing is added to the first prediction.
        std::fill(itsDifferences.begin(), itsDifferences.end(), std::uint16_t{0});
        itsFirstRow = true;
    }
    else
    {
        itsDecoder.DecodeRow(itsDifferences.data(), itsParameters.itsWidth);
    }
    auto* const anImage = reinterpret_cast<std::uint16_t*>(itsParameters.itsImage);
    std::uint16_t* const aRow = itsInPlace ? anImage + theRow * itsRowSamples : itsRows[theRow % 2].data();
    const std::size_t aWidth = itsParameters.itsWidth;
    if (std::exchange(itsFirstRow, false))
    {
        JPEGLosslessPredictor::UndoFirstRow(itsInitial, itsDifferences.data(), aRow, aWidth,
                                            itsParameters.itsComponents);
    }
    else
    {
        const std::uint16_t* const anAbove =
            itsInPlace ? aRow - itsRowSamples : itsRows[(theRow + 1) % 2].data();
        JPEGLosslessPredictor::UndoRow(itsParameters.itsPredictor, itsDifferences.data(), anAbove, aRow,
                                       aWidth, itsParameters.itsComponents);
    }
    if (!itsInPlace)
    {
        itsParameters.itsSampleBytes == 2 ? Deliver<std::uint16_t>(aRow, theRow)
                                          : Deliver<std::uint8_t>(aRow, theRow);
    }
}

template <typename Sample>
void JPEGLosslessScan::Deliver(const std::uint16_t* theSamples, std::size_t theRow) const
{
    const std::size_t aStep = itsParameters.itsImageComponents;
    auto* const aRow =
        reinterpret_cast<Sample*>(itsParameters.itsImage) + theRow * itsParameters.itsWidth * aStep;
    const int aShift = itsParameters.itsPointTransform;
    if constexpr (sizeof(Sample) == 1)
    {
        if (itsInOrder)
        {
            JPEGLosslessPredictor::StoreBytes(theSamples, itsRowSamples, aShift, aRow);
            return;
        }
    }
    for (std::size_t c = 0; c < itsParameters.itsComponents; ++c)
    {
        Sample* anOutput = aRow + itsParameters.itsPlaces[c];
        for (std::size_t i = c; i < itsRowSamples; i += itsParameters.itsComponents, anOutput += aStep)
        {
            *anOutput = static_cast<Sample>(theSamples[i] << aShift);
        }
    }
}
