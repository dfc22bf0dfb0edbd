// SPDX-License-Identifier: Apache-2.0
#include "support/JpegFixtures.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <random>

namespace
{

using Process = JpegSpec::Process;

constexpr std::array<int, 64> kZigZag = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                         12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                         35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                         58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

int DivideUp(int theValue, int theDivisor)
{
    return (theValue + theDivisor - 1) / theDivisor;
}

/// A Huffman table: how many codes of each length, and the symbols in code order.
struct CodeTable
{
    std::array<int, 17> itsCounts{};
    std::vector<int> itsSymbols;
    std::array<int, 256> itsCodes{};
    std::array<int, 256> itsLengths{};

    void Assign()
    {
        int aCode = 0;
        std::size_t anIndex = 0;
        for (int aLength = 1; aLength <= 16; ++aLength, aCode <<= 1)
        {
            for (int i = 0; i < itsCounts[static_cast<std::size_t>(aLength)]; ++i)
            {
                const auto aSymbol = static_cast<std::size_t>(itsSymbols[anIndex++]);
                itsCodes[aSymbol] = aCode++;
                itsLengths[aSymbol] = aLength;
            }
        }
    }
};

/// Categories 0 … 15, and 16 where only lossless coding has it.
CodeTable MakeDCTable(JpegSpec::Codes theCodes, bool theLossless)
{
    CodeTable aTable;
    const int aCount = theLossless ? 17 : 16;
    for (int i = 0; i < aCount; ++i)
    {
        aTable.itsSymbols.push_back(i);
    }
    if (theCodes == JpegSpec::Codes::FLAT)
    {
        aTable.itsCounts[5] = aCount;
    }
    else
    {
        aTable.itsCounts = {0, 0, 2, 2, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
        aTable.itsCounts[16] = aCount - 16;
    }
    aTable.Assign();
    return aTable;
}

CodeTable MakeACTable()
{
    CodeTable aTable;
    for (int i = 0; i < 256; ++i)
    {
        aTable.itsSymbols.push_back(i);
    }
    aTable.itsCounts[8] = 127;
    aTable.itsCounts[9] = 129;
    aTable.Assign();
    return aTable;
}

struct Plane
{
    int itsHorizontal = 1;
    int itsVertical = 1;
    int itsWidth = 0; ///< samples that a scan of its own would code
    int itsHeight = 0;
    int itsStride = 0; ///< with the padding of interleaved scans
    int itsRows = 0;
    std::vector<int> itsSamples;
    std::vector<std::array<int, 64>> itsBlocks; ///< quantised, in zigzag order
    int itsBlocksPerRow = 0;

    int At(int theX, int theY) const { return itsSamples[static_cast<std::size_t>(theY * itsStride + theX)]; }
};

std::array<int, 64> Transform(const Plane& thePlane, int theX, int theY, int theLevel, int theStep)
{
    static const auto kCosines = []
    {
        std::array<double, 64> aTable{};
        for (std::size_t u = 0; u < 8; ++u)
        {
            for (std::size_t x = 0; x < 8; ++x)
            {
                aTable[u * 8 + x] = std::cos((2.0 * static_cast<double>(x) + 1.0) * static_cast<double>(u) *
                                             std::acos(-1.0) / 16.0) *
                                    (u == 0 ? std::sqrt(0.125) : 0.5);
            }
        }
        return aTable;
    }();
    std::array<int, 64> aBlock{};
    for (std::size_t k = 0; k < 64; ++k)
    {
        const auto aPosition = static_cast<std::size_t>(kZigZag[k]);
        double aSum = 0.0;
        for (std::size_t i = 0; i < 64; ++i)
        {
            const int aSample =
                thePlane.At(theX + static_cast<int>(i % 8), theY + static_cast<int>(i / 8)) - theLevel;
            aSum += aSample * kCosines[(aPosition / 8) * 8 + i / 8] * kCosines[(aPosition % 8) * 8 + i % 8];
        }
        aBlock[k] = static_cast<int>(std::lround(aSum / theStep));
    }
    return aBlock;
}

class Encoder
{
public:
    Encoder(const JpegSpec& theSpec, const std::vector<std::uint16_t>& theSamples);
    std::vector<std::uint8_t> Run();

private:
    struct Scan
    {
        std::vector<std::size_t> itsComponents;
        int itsFirst = 0; ///< spectral selection, or the predictor
        int itsLast = 0;
        int itsHigh = 0; ///< successive approximation; low is also the point transform
        int itsLow = 0;
    };

    bool IsLossless() const { return itsSpec.itsProcess == Process::LOSSLESS; }
    void MakePlane(std::size_t theComponent, const std::vector<std::uint16_t>& theSamples);
    std::vector<Scan> MakeScans() const;

    void PutByte(int theByte) { itsBytes.push_back(static_cast<std::uint8_t>(theByte)); }
    void PutWord(int theWord);
    void PutSegment(int theMarker, const std::vector<int>& theBytes);
    void PutBits(int theValue, int theCount);
    void PutSymbol(const CodeTable& theTable, int theSymbol);
    void FlushBits();

    void WriteHeaders();
    void WriteTable(int theClassAndNumber, const CodeTable& theTable);
    void WriteTables();
    void WriteFrameHeader();
    void WriteScan(const Scan& theScan);
    void WriteUnit(const Scan& theScan, std::size_t theComponent, int theX, int theY);
    void WriteDifference(const CodeTable& theTable, int theDifference);
    bool HasOtherTable(std::size_t theComponent) const
    {
        return itsSpec.itsTwoTables && theComponent % 2 == 1;
    }
    void WriteLossless(const Scan& theScan, std::size_t theComponent, int theX, int theY);
    void WriteBlock(const Scan& theScan, std::size_t theComponent, const std::array<int, 64>& theBlock);
    void WriteAC(const Scan& theScan, const std::array<int, 64>& theBlock);

    const JpegSpec& itsSpec;
    int itsMaxHorizontal = 1;
    int itsMaxVertical = 1;
    int itsUnit; ///< samples on a side of a data unit
    std::vector<Plane> itsPlanes;
    CodeTable itsDC;
    CodeTable itsOtherDC;
    CodeTable itsAC;
    std::vector<int> itsPredictions; ///< DC predictions of the present scan, by component
    int itsIntervalMCURow = 0;       ///< MCU row in which the present restart interval began
    std::vector<std::uint8_t> itsBytes;
    std::uint32_t itsBits = 0;
    int itsBitCount = 0;
};

Encoder::Encoder(const JpegSpec& theSpec, const std::vector<std::uint16_t>& theSamples)
    : itsSpec(theSpec), itsUnit(IsLossless() ? 1 : 8), itsDC(MakeDCTable(theSpec.itsCodes, IsLossless())),
      itsOtherDC(MakeDCTable(theSpec.itsCodes == JpegSpec::Codes::FLAT ? JpegSpec::Codes::STEEP
                                                                       : JpegSpec::Codes::FLAT,
                             IsLossless())),
      itsAC(MakeACTable())
{
    for (const JpegSpec::Sampling& aSampling : theSpec.itsSampling)
    {
        itsMaxHorizontal = std::max(itsMaxHorizontal, aSampling.itsHorizontal);
        itsMaxVertical = std::max(itsMaxVertical, aSampling.itsVertical);
    }
    for (std::size_t i = 0; i < static_cast<std::size_t>(theSpec.itsComponents); ++i)
    {
        MakePlane(i, theSamples);
    }
}

void Encoder::MakePlane(std::size_t theComponent, const std::vector<std::uint16_t>& theSamples)
{
    Plane aPlane;
    if (theComponent < itsSpec.itsSampling.size())
    {
        aPlane.itsHorizontal = itsSpec.itsSampling[theComponent].itsHorizontal;
        aPlane.itsVertical = itsSpec.itsSampling[theComponent].itsVertical;
    }
    aPlane.itsWidth = DivideUp(itsSpec.itsWidth * aPlane.itsHorizontal, itsMaxHorizontal);
    aPlane.itsHeight = DivideUp(itsSpec.itsHeight * aPlane.itsVertical, itsMaxVertical);
    aPlane.itsStride =
        DivideUp(itsSpec.itsWidth, itsMaxHorizontal * itsUnit) * aPlane.itsHorizontal * itsUnit;
    aPlane.itsRows = DivideUp(itsSpec.itsHeight, itsMaxVertical * itsUnit) * aPlane.itsVertical * itsUnit;
    for (int y = 0; y < aPlane.itsRows; ++y)
    {
        for (int x = 0; x < aPlane.itsStride; ++x)
        {
            const int aX = std::min(x * itsMaxHorizontal / aPlane.itsHorizontal, itsSpec.itsWidth - 1);
            const int aY = std::min(y * itsMaxVertical / aPlane.itsVertical, itsSpec.itsHeight - 1);
            const auto anIndex =
                static_cast<std::size_t>((aY * itsSpec.itsWidth + aX) * itsSpec.itsComponents);
            aPlane.itsSamples.push_back(theSamples.at(anIndex + theComponent));
        }
    }
    aPlane.itsBlocksPerRow = aPlane.itsStride / 8;
    for (int y = 0; !IsLossless() && y < aPlane.itsRows; y += 8)
    {
        for (int x = 0; x < aPlane.itsStride; x += 8)
        {
            aPlane.itsBlocks.push_back(
                Transform(aPlane, x, y, 1 << (itsSpec.itsPrecision - 1), itsSpec.itsQuantization));
        }
    }
    itsPlanes.push_back(std::move(aPlane));
}

std::vector<Encoder::Scan> Encoder::MakeScans() const
{
    std::vector<std::size_t> anAll;
    std::vector<std::vector<std::size_t>> aGroups;
    for (std::size_t i = 0; i < itsPlanes.size(); ++i)
    {
        anAll.push_back(i);
        aGroups.push_back({i});
    }
    const std::vector<std::vector<std::size_t>> aSingles = aGroups;
    if (itsSpec.itsInterleaved)
    {
        aGroups = {anAll};
    }
    std::vector<Scan> aScans;
    for (const auto& aGroup : aGroups)
    {
        switch (itsSpec.itsProcess)
        {
        case Process::LOSSLESS:
            aScans.push_back({aGroup, itsSpec.itsPredictor, 0, 0, itsSpec.itsPointTransform});
            break;
        case Process::PROGRESSIVE:
            aScans.push_back({aGroup, 0, 0, 0, 1});
            break;
        default:
            aScans.push_back({aGroup, 0, 63, 0, 0});
            break;
        }
    }
    for (std::size_t i = 0; itsSpec.itsProcess == Process::PROGRESSIVE && i < aSingles.size(); ++i)
    {
        aScans.push_back({aSingles[i], 0, 0, 1, 0});
        aScans.push_back({aSingles[i], 1, 5, 0, 0});
        aScans.push_back({aSingles[i], 6, 63, 0, 0});
    }
    return aScans;
}

void Encoder::PutWord(int theWord)
{
    PutByte(theWord >> 8);
    PutByte(theWord & 0xff);
}

void Encoder::PutSegment(int theMarker, const std::vector<int>& theBytes)
{
    PutByte(0xff);
    PutByte(theMarker);
    PutWord(static_cast<int>(theBytes.size()) + 2);
    std::for_each(theBytes.begin(), theBytes.end(), [this](int theByte) { PutByte(theByte); });
}

void Encoder::PutBits(int theValue, int theCount)
{
    for (int i = theCount - 1; i >= 0; --i)
    {
        itsBits = (itsBits << 1) | ((static_cast<std::uint32_t>(theValue) >> i) & 1u);
        if (++itsBitCount == 8)
        {
            PutByte(static_cast<int>(itsBits & 0xff));
            if ((itsBits & 0xff) == 0xff)
            {
                PutByte(0);
            }
            itsBitCount = 0;
        }
    }
}

void Encoder::PutSymbol(const CodeTable& theTable, int theSymbol)
{
    PutBits(theTable.itsCodes[static_cast<std::size_t>(theSymbol)],
            theTable.itsLengths[static_cast<std::size_t>(theSymbol)]);
}

void Encoder::FlushBits()
{
    while (itsBitCount != 0)
    {
        PutBits(1, 1);
    }
}

std::vector<std::uint8_t> Encoder::Run()
{
    WriteHeaders();
    WriteTables();
    WriteFrameHeader();
    for (const Scan& aScan : MakeScans())
    {
        WriteScan(aScan);
    }
    if (itsSpec.itsEndOfImage)
    {
        PutWord(0xffd9);
    }
    return std::move(itsBytes);
}

void Encoder::WriteHeaders()
{
    PutWord(0xffd8);
    if (itsSpec.itsJFIF)
    {
        PutSegment(0xe0, {'J', 'F', 'I', 'F', 0, 1, 2, 0, 0, 1, 0, 1, 0, 0});
    }
    if (itsSpec.itsAdobeTransform >= 0)
    {
        PutSegment(0xee, {'A', 'd', 'o', 'b', 'e', 0, 100, 0, 0, 0, 0, itsSpec.itsAdobeTransform});
    }
    for (const int aLength : itsSpec.itsCommentLengths)
    {
        PutSegment(0xfe, std::vector<int>(static_cast<std::size_t>(aLength), 'c'));
    }
}

void Encoder::WriteTable(int theClassAndNumber, const CodeTable& theTable)
{
    std::vector<int> aSegment = {theClassAndNumber};
    aSegment.insert(aSegment.end(), theTable.itsCounts.begin() + 1, theTable.itsCounts.end());
    aSegment.insert(aSegment.end(), theTable.itsSymbols.begin(), theTable.itsSymbols.end());
    PutSegment(0xc4, aSegment);
}

void Encoder::WriteTables()
{
    if (!IsLossless())
    {
        std::vector<int> aTable(65, itsSpec.itsQuantization);
        aTable[0] = 0;
        PutSegment(0xdb, aTable);
    }
    WriteTable(0, itsDC);
    if (!IsLossless())
    {
        WriteTable(0x10, itsAC);
    }
    else if (itsSpec.itsTwoTables)
    {
        WriteTable(1, itsOtherDC);
    }
    if (itsSpec.itsRestartInterval > 0)
    {
        PutSegment(0xdd, {itsSpec.itsRestartInterval >> 8, itsSpec.itsRestartInterval & 0xff});
    }
}

void Encoder::WriteFrameHeader()
{
    const int aPrecision =
        itsSpec.itsDeclaredPrecision != 0 ? itsSpec.itsDeclaredPrecision : itsSpec.itsPrecision;
    std::vector<int> aSegment = {aPrecision,
                                 itsSpec.itsHeight >> 8,
                                 itsSpec.itsHeight & 0xff,
                                 itsSpec.itsWidth >> 8,
                                 itsSpec.itsWidth & 0xff,
                                 itsSpec.itsComponents};
    for (std::size_t i = 0; i < itsPlanes.size(); ++i)
    {
        const int anId =
            i < itsSpec.itsComponentIds.size() ? itsSpec.itsComponentIds[i] : static_cast<int>(i) + 1;
        aSegment.insert(aSegment.end(),
                        {anId, itsPlanes[i].itsHorizontal << 4 | itsPlanes[i].itsVertical, 0});
    }
    PutSegment(0xc0 + static_cast<int>(itsSpec.itsProcess), aSegment);
}

void Encoder::WriteScan(const Scan& theScan)
{
    std::vector<int> aHeader = {static_cast<int>(theScan.itsComponents.size())};
    for (const std::size_t i : theScan.itsComponents)
    {
        aHeader.push_back(i < itsSpec.itsComponentIds.size() ? itsSpec.itsComponentIds[i]
                                                             : static_cast<int>(i) + 1);
        aHeader.push_back(HasOtherTable(i) ? 0x10 : 0);
    }
    aHeader.insert(aHeader.end(), {theScan.itsFirst, theScan.itsLast, theScan.itsHigh << 4 | theScan.itsLow});
    PutSegment(0xda, aHeader);

    itsPredictions.assign(itsPlanes.size(), 0);
    itsIntervalMCURow = 0;
    const bool aSingle = theScan.itsComponents.size() == 1;
    const Plane& aFirst = itsPlanes[theScan.itsComponents[0]];
    const int aColumns =
        aSingle ? DivideUp(aFirst.itsWidth, itsUnit) : aFirst.itsStride / (aFirst.itsHorizontal * itsUnit);
    const int aRows =
        aSingle ? DivideUp(aFirst.itsHeight, itsUnit) : aFirst.itsRows / (aFirst.itsVertical * itsUnit);
    for (int anMCU = 0; anMCU < aColumns * aRows; ++anMCU)
    {
        if (itsSpec.itsRestartInterval > 0 && anMCU > 0 && anMCU % itsSpec.itsRestartInterval == 0)
        {
            FlushBits();
            PutWord(0xffd0 + (anMCU / itsSpec.itsRestartInterval - 1) % 8);
            itsPredictions.assign(itsPlanes.size(), 0);
            itsIntervalMCURow = anMCU / aColumns;
        }
        for (const std::size_t i : theScan.itsComponents)
        {
            WriteUnit(theScan, i, anMCU % aColumns, anMCU / aColumns);
        }
    }
    FlushBits();
}

void Encoder::WriteUnit(const Scan& theScan, std::size_t theComponent, int theX, int theY)
{
    const bool aSingle = theScan.itsComponents.size() == 1;
    const Plane& aPlane = itsPlanes[theComponent];
    const int aHorizontal = aSingle ? 1 : aPlane.itsHorizontal;
    const int aVertical = aSingle ? 1 : aPlane.itsVertical;
    for (int y = theY * aVertical; y < (theY + 1) * aVertical; ++y)
    {
        for (int x = theX * aHorizontal; x < (theX + 1) * aHorizontal; ++x)
        {
            if (IsLossless())
            {
                WriteLossless(theScan, theComponent, x, y);
            }
            else
            {
                WriteBlock(theScan, theComponent,
                           aPlane.itsBlocks[static_cast<std::size_t>(y * aPlane.itsBlocksPerRow + x)]);
            }
        }
    }
}

/// A category and its extra bits; category 16 has none.
void Encoder::WriteDifference(const CodeTable& theTable, int theDifference)
{
    int aCategory = 0;
    while ((std::abs(theDifference) >> aCategory) != 0)
    {
        ++aCategory;
    }
    PutSymbol(theTable, aCategory);
    if (aCategory > 0 && aCategory < 16)
    {
        PutBits(theDifference > 0 ? theDifference : theDifference - 1, aCategory);
    }
}

void Encoder::WriteLossless(const Scan& theScan, std::size_t theComponent, int theX, int theY)
{
    const Plane& aPlane = itsPlanes[theComponent];
    const int aShift = theScan.itsLow;
    const int aFirstRow = itsIntervalMCURow * (theScan.itsComponents.size() == 1 ? 1 : aPlane.itsVertical);
    const bool aTop = theY == aFirstRow;
    const int a = theX > 0 ? aPlane.At(theX - 1, theY) >> aShift : 0;
    const int b = !aTop ? aPlane.At(theX, theY - 1) >> aShift : 0;
    const int c = theX > 0 && !aTop ? aPlane.At(theX - 1, theY - 1) >> aShift : 0;
    const std::array<int, 8> aPredictions = {
        0, a, b, c, a + b - c, a + ((b - c) >> 1), b + ((a - c) >> 1), (a + b) / 2};
    int aPrediction = aPredictions[static_cast<std::size_t>(theScan.itsFirst)];
    if (aTop)
    {
        aPrediction = theX > 0 ? a : 1 << (itsSpec.itsPrecision - aShift - 1);
    }
    else if (theX == 0)
    {
        aPrediction = b;
    }
    int aDifference = ((aPlane.At(theX, theY) >> aShift) - aPrediction) & 0xffff;
    aDifference = aDifference > 32768 ? aDifference - 65536 : aDifference;
    WriteDifference(HasOtherTable(theComponent) ? itsOtherDC : itsDC, aDifference);
}

void Encoder::WriteBlock(const Scan& theScan, std::size_t theComponent, const std::array<int, 64>& theBlock)
{
    if (theScan.itsFirst == 0 && theScan.itsHigh > 0)
    {
        PutBits((theBlock[0] >> theScan.itsLow) & 1, 1);
    }
    else if (theScan.itsFirst == 0)
    {
        const int aDC = theBlock[0] >> theScan.itsLow;
        WriteDifference(itsDC, aDC - itsPredictions[theComponent]);
        itsPredictions[theComponent] = aDC;
    }
    if (theScan.itsLast > 0)
    {
        WriteAC(theScan, theBlock);
    }
}

void Encoder::WriteAC(const Scan& theScan, const std::array<int, 64>& theBlock)
{
    int aRun = 0;
    for (int k = std::max(1, theScan.itsFirst); k <= theScan.itsLast; ++k)
    {
        const int aValue = theBlock[static_cast<std::size_t>(k)];
        if (aValue == 0)
        {
            ++aRun;
            continue;
        }
        for (; aRun > 15; aRun -= 16)
        {
            PutSymbol(itsAC, 0xf0);
        }
        int aCategory = 0;
        while ((std::abs(aValue) >> aCategory) != 0)
        {
            ++aCategory;
        }
        PutSymbol(itsAC, aRun << 4 | aCategory);
        PutBits(aValue > 0 ? aValue : aValue - 1, aCategory);
        aRun = 0;
    }
    if (aRun > 0)
    {
        PutSymbol(itsAC, 0);
    }
}

} // namespace

std::vector<std::uint8_t> MakeJpeg(const JpegSpec& theSpec, const std::vector<std::uint16_t>& theSamples)
{
    return Encoder(theSpec, theSamples).Run();
}

std::vector<std::uint16_t> MakeSamples(const JpegSpec& theSpec, unsigned int theSeed)
{
    std::mt19937 aRandom(theSeed);
    const int aMaximum = (1 << theSpec.itsPrecision) - 1;
    std::vector<std::uint16_t> aSamples;
    for (int i = 0; i < theSpec.itsWidth * theSpec.itsHeight * theSpec.itsComponents; ++i)
    {
        const int aPixel = i / theSpec.itsComponents;
        const double aSlope = static_cast<double>(aPixel % theSpec.itsWidth + aPixel / theSpec.itsWidth) /
                              (theSpec.itsWidth + theSpec.itsHeight);
        const int aNoise = static_cast<int>(aRandom() % static_cast<unsigned int>(aMaximum / 8 + 2));
        const int aShift = (i % theSpec.itsComponents) * aMaximum / 5;
        const int aValue = static_cast<int>(aSlope * aMaximum * 1.3) - aMaximum / 8 + aNoise + aShift;
        // A few samples far off exercise the largest differences.
        const bool aSpike = aRandom() % 61 == 0;
        aSamples.push_back(
            static_cast<std::uint16_t>(aSpike ? (aRandom() % 2) * static_cast<unsigned int>(aMaximum)
                                              : static_cast<unsigned int>(std::clamp(aValue, 0, aMaximum))));
    }
    return aSamples;
}

std::vector<std::uint16_t> MakeFlatSamples(const JpegSpec& theSpec, const std::vector<int>& thePixel)
{
    std::vector<std::uint16_t> aSamples;
    for (int i = 0; i < theSpec.itsWidth * theSpec.itsHeight * theSpec.itsComponents; ++i)
    {
        aSamples.push_back(
            static_cast<std::uint16_t>(thePixel.at(static_cast<std::size_t>(i % theSpec.itsComponents))));
    }
    return aSamples;
}
