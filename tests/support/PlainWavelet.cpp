// SPDX-License-Identifier: Apache-2.0
#include "support/PlainWavelet.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace
{
/// A signal from theBegin to theEnd, extended beyond its ends (F.3.7).
class Signal
{
public:
    Signal(std::vector<double> theSamples, std::int64_t theBegin)
        : itsBegin(theBegin), itsEnd(theBegin + static_cast<std::int64_t>(theSamples.size()))
    {
        const std::int64_t aPeriod = 2 * (itsEnd - itsBegin - 1);
        for (std::int64_t i = itsBegin - kMargin; i < itsEnd + kMargin; ++i)
        {
            const std::int64_t aPhase = ((i - itsBegin) % aPeriod + aPeriod) % aPeriod;
            itsExtended.push_back(
                theSamples.at(static_cast<std::size_t>(std::min(aPhase, aPeriod - aPhase))));
        }
    }

    double& operator[](std::int64_t theIndex)
    {
        return itsExtended.at(static_cast<std::size_t>(theIndex - itsBegin + kMargin));
    }

    /// theOperation on all indices of one parity that have both neighbours.
    void ForEach(std::int64_t theParity, const std::function<double(double, double)>& theOperation)
    {
        for (std::int64_t i = itsBegin - kMargin + 1; i < itsEnd + kMargin - 1; ++i)
        {
            if ((i - theParity) % 2 == 0)
            {
                (*this)[i] = theOperation((*this)[i], (*this)[i - 1] + (*this)[i + 1]);
            }
        }
    }

    std::vector<double> GetInner() const
    {
        return {itsExtended.begin() + kMargin, itsExtended.end() - kMargin};
    }

private:
    // Every step spoils one sample at either end.
    static constexpr std::int64_t kMargin = 6;
    std::int64_t itsBegin;
    std::int64_t itsEnd;
    std::vector<double> itsExtended;
};

using Filter = std::function<std::vector<double>(const std::vector<double>&, std::int64_t)>;

std::vector<double> SynthesizeReversibly(const std::vector<double>& theSamples, std::int64_t theBegin)
{
    if (theSamples.size() == 1)
    {
        return {theBegin % 2 == 0 ? theSamples[0] : std::trunc(theSamples[0] / 2)};
    }
    Signal aSignal(theSamples, theBegin);
    aSignal.ForEach(0,
                    [](double theValue, double theSum) { return theValue - std::floor((theSum + 2) / 4); });
    aSignal.ForEach(1, [](double theValue, double theSum) { return theValue + std::floor(theSum / 2); });
    return aSignal.GetInner();
}

std::vector<double> SynthesizeIrreversibly(const std::vector<double>& theSamples, std::int64_t theBegin)
{
    if (theSamples.size() == 1)
    {
        return {theBegin % 2 == 0 ? theSamples[0] : theSamples[0] / 2};
    }
    constexpr double kK = 1.230174104914001;
    Signal aSignal(theSamples, theBegin);
    aSignal.ForEach(0, [](double theValue, double) { return theValue * kK; });
    aSignal.ForEach(1, [](double theValue, double) { return theValue / kK; });
    aSignal.ForEach(0, [](double theValue, double theSum) { return theValue - 0.443506852043971 * theSum; });
    aSignal.ForEach(1, [](double theValue, double theSum) { return theValue - 0.882911075530934 * theSum; });
    aSignal.ForEach(0, [](double theValue, double theSum) { return theValue + 0.052980118572961 * theSum; });
    aSignal.ForEach(1, [](double theValue, double theSum) { return theValue + 1.586134342059924 * theSum; });
    return aSignal.GetInner();
}

std::vector<double> AnalyzeReversibly(const std::vector<double>& theSamples, std::int64_t theBegin)
{
    if (theSamples.size() == 1)
    {
        return {theBegin % 2 == 0 ? theSamples[0] : theSamples[0] * 2};
    }
    Signal aSignal(theSamples, theBegin);
    aSignal.ForEach(1, [](double theValue, double theSum) { return theValue - std::floor(theSum / 2); });
    aSignal.ForEach(0,
                    [](double theValue, double theSum) { return theValue + std::floor((theSum + 2) / 4); });
    return aSignal.GetInner();
}

void FilterRows(PlainPlane& thePlane, const Filter& theFilter)
{
    for (std::int64_t y = 0; y < thePlane.itsHeight && thePlane.itsWidth > 0; ++y)
    {
        const auto aRow = thePlane.itsSamples.begin() + y * thePlane.itsWidth;
        const std::vector<double> aResult = theFilter({aRow, aRow + thePlane.itsWidth}, thePlane.itsX0);
        std::copy(aResult.begin(), aResult.end(), aRow);
    }
}

void FilterColumns(PlainPlane& thePlane, const Filter& theFilter)
{
    for (std::int64_t x = thePlane.itsX0; x < thePlane.itsX0 + thePlane.itsWidth && thePlane.itsHeight > 0;
         ++x)
    {
        std::vector<double> aColumn;
        for (std::int64_t y = 0; y < thePlane.itsHeight; ++y)
        {
            aColumn.push_back(thePlane.At(x, thePlane.itsY0 + y));
        }
        aColumn = theFilter(aColumn, thePlane.itsY0);
        for (std::int64_t y = 0; y < thePlane.itsHeight; ++y)
        {
            thePlane.At(x, thePlane.itsY0 + y) = aColumn[static_cast<std::size_t>(y)];
        }
    }
}

/// theVisit for every sample of the bands and its place on the interleaved grid.
void ForEachSample(std::array<PlainPlane, 4>& theBands,
                   const std::function<void(double&, std::int64_t, std::int64_t)>& theVisit)
{
    for (std::int64_t b = 0; b < 4; ++b)
    {
        PlainPlane& aBand = theBands[static_cast<std::size_t>(b)];
        for (std::int64_t y = aBand.itsY0; y < aBand.itsY0 + aBand.itsHeight; ++y)
        {
            for (std::int64_t x = aBand.itsX0; x < aBand.itsX0 + aBand.itsWidth; ++x)
            {
                theVisit(aBand.At(x, y), 2 * x + b % 2, 2 * y + b / 2);
            }
        }
    }
}
} // namespace

std::array<PlainPlane, 4> PlainBands(const PlainPlane& thePlane)
{
    std::array<PlainPlane, 4> aBands;
    for (std::int64_t b = 0; b < 4; ++b)
    {
        PlainPlane& aBand = aBands[static_cast<std::size_t>(b)];
        aBand.itsX0 = (thePlane.itsX0 + 1 - b % 2) / 2;
        aBand.itsY0 = (thePlane.itsY0 + 1 - b / 2) / 2;
        aBand.itsWidth = (thePlane.itsX0 + thePlane.itsWidth + 1 - b % 2) / 2 - aBand.itsX0;
        aBand.itsHeight = (thePlane.itsY0 + thePlane.itsHeight + 1 - b / 2) / 2 - aBand.itsY0;
        aBand.itsSamples.resize(static_cast<std::size_t>(aBand.itsWidth * aBand.itsHeight));
    }
    return aBands;
}

void PlainSynthesize(PlainPlane& thePlane, std::array<PlainPlane, 4> theBands, bool theReversible)
{
    thePlane.itsSamples.assign(static_cast<std::size_t>(thePlane.itsWidth * thePlane.itsHeight), 0.0);
    ForEachSample(theBands, [&thePlane](double& theSample, std::int64_t theX, std::int64_t theY)
                  { thePlane.At(theX, theY) = theSample; });
    const Filter aFilter = theReversible ? SynthesizeReversibly : SynthesizeIrreversibly;
    FilterRows(thePlane, aFilter);
    FilterColumns(thePlane, aFilter);
}

std::array<PlainPlane, 4> PlainAnalyze(PlainPlane thePlane)
{
    FilterColumns(thePlane, AnalyzeReversibly);
    FilterRows(thePlane, AnalyzeReversibly);
    std::array<PlainPlane, 4> aBands = PlainBands(thePlane);
    ForEachSample(aBands, [&thePlane](double& theSample, std::int64_t theX, std::int64_t theY)
                  { theSample = thePlane.At(theX, theY); });
    return aBands;
}
