// SPDX-License-Identifier: Apache-2.0
// The codestreams and reference images of ISO/IEC 15444-4 (ITU-T T.803), high-throughput ones included.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <set>
#include <sstream>

#include "support/EngineDecode.h"
#include "support/SampleTable.h"

namespace
{
struct Limit
{
    std::string itsFile;
    std::string itsClass;
    int itsDiscardLevels = 0;
    std::string itsComponent; ///< a number, or "all"
    std::string itsReference;
    double itsPeak = 0;
    double itsMeanSquare = 0;
};

/// Where streams of one kind, their limits and their reference images are.
struct Suite
{
    SampleSet itsSet;
    std::string itsFolder;
    std::string itsLimits;
    std::size_t itsStreams;
    std::size_t itsPlanes;
};

std::vector<Limit> LoadLimits(const Suite& theSuite)
{
    std::vector<Limit> aLimits;
    std::ifstream aFile(SampleTable::GetFolder(theSuite.itsSet) + theSuite.itsFolder + theSuite.itsLimits);
    std::string aLine;
    std::getline(aFile, aLine); // the heading
    while (std::getline(aFile, aLine))
    {
        std::istringstream aFields(aLine);
        Limit aLimit;
        std::string aSkipped;
        aFields >> aLimit.itsFile >> aLimit.itsClass >> aLimit.itsDiscardLevels >> aLimit.itsComponent >>
            aLimit.itsReference;
        aFields >> aSkipped >> aSkipped >> aSkipped >> aSkipped >> aLimit.itsPeak >> aLimit.itsMeanSquare;
        aLimits.push_back(aLimit);
    }
    return aLimits;
}

/// The text fields of a PGX or PNM heading; comments are left out.
std::vector<std::string> ReadHeading(std::istream& theFile, std::size_t theCount)
{
    std::vector<std::string> aFields;
    std::string aField;
    while (aFields.size() < theCount && theFile >> aField)
    {
        if (aField[0] == '#')
        {
            std::getline(theFile, aField);
        }
        else
        {
            aFields.push_back(aField);
        }
    }
    if (theFile.get() == '\r') // some headings end as on other systems
    {
        theFile.get();
    }
    return aFields;
}

std::vector<PlanarComponent> ReadPlanes(std::istream& theFile, PlanarComponent theShape, std::size_t theCount,
                                        bool isLittle = false)
{
    std::vector<PlanarComponent> aPlanes(theCount, theShape);
    for (std::size_t i = 0; i < std::size_t{theShape.itsWidth} * theShape.itsHeight; ++i)
    {
        for (PlanarComponent& aPlane : aPlanes)
        {
            std::int32_t aSample = theFile.get();
            if (theShape.itsDepth > 8)
            {
                const std::int32_t aSecond = theFile.get();
                aSample = isLittle ? aSecond << 8 | aSample : aSample << 8 | aSecond;
                aSample = theShape.itsSigned ? static_cast<std::int16_t>(aSample) : aSample;
            }
            else if (theShape.itsSigned)
            {
                aSample = static_cast<std::int8_t>(aSample);
            }
            aPlane.itsSamples.push_back(aSample);
        }
    }
    return aPlanes;
}

std::uint32_t ToSize(const std::string& theText)
{
    return static_cast<std::uint32_t>(std::stoul(theText));
}

/// One component out of "PG ML [+-]DEPTH WIDTH HEIGHT"; LM instead of ML: the low byte first.
std::vector<PlanarComponent> ReadPgx(std::istream& theFile)
{
    std::vector<std::string> aFields = ReadHeading(theFile, 3);
    if (aFields.at(2) == "+" || aFields.at(2) == "-")
    {
        aFields[2] += ReadHeading(theFile, 1).at(0);
    }
    // Reading the field before the sizes has eaten the blank behind it, which is harmless.
    const std::vector<std::string> aSizes = ReadHeading(theFile, 2);
    PlanarComponent aShape;
    aShape.itsDepth = std::abs(std::stoi(aFields[2]));
    aShape.itsSigned = aFields[2][0] == '-';
    aShape.itsWidth = ToSize(aSizes.at(0));
    aShape.itsHeight = ToSize(aSizes.at(1));
    return ReadPlanes(theFile, aShape, 1, aFields[1] == "LM");
}

std::vector<PlanarComponent> ReadPnm(std::istream& theFile)
{
    const std::vector<std::string> aFields = ReadHeading(theFile, 4);
    PlanarComponent aShape;
    aShape.itsWidth = ToSize(aFields.at(1));
    aShape.itsHeight = ToSize(aFields.at(2));
    return ReadPlanes(theFile, aShape, aFields[0] == "P6" ? 3 : 1);
}

std::vector<PlanarComponent> ReadReference(const Suite& theSuite, const std::string& theName)
{
    // Both kinds of streams were made of the same images, which are with the first.
    const bool isOfOthers = theName.find("../") == 0;
    std::ifstream aFile(isOfOthers ? SampleTable::GetFolder() + theName.substr(2)
                                   : SampleTable::GetFolder(theSuite.itsSet) + theSuite.itsFolder + theName,
                        std::ios::binary);
    return theName.find(".pgx") != std::string::npos ? ReadPgx(aFile) : ReadPnm(aFile);
}

void ExpectWithin(const Limit& theLimit, const PlanarComponent& theActual, const PlanarComponent& theExpected)
{
    ASSERT_EQ(theActual.itsWidth, theExpected.itsWidth);
    ASSERT_EQ(theActual.itsHeight, theExpected.itsHeight);
    // Some references have fewer bits than the codestream.
    const int aShift = std::max(theActual.itsDepth - theExpected.itsDepth, 0);
    double aPeak = 0;
    double aSum = 0;
    for (std::size_t i = 0; i < theExpected.itsSamples.size(); ++i)
    {
        const double anError = (theActual.itsSamples[i] >> aShift) - theExpected.itsSamples[i];
        aPeak = std::max(aPeak, std::abs(anError));
        aSum += anError * anError;
    }
    EXPECT_LE(aPeak, theLimit.itsPeak);
    EXPECT_LE(aSum / static_cast<double>(theExpected.itsSamples.size()), theLimit.itsMeanSquare);
}

TEST(T803, EveryStreamIsWithinItsLimits)
{
    for (const Suite& aSuite : {Suite{SampleSet::Images, "/jpeg2000/", "t803_limits.tsv", 19, 49},
                                Suite{SampleSet::NewCodecs, "/htj2k/", "htj2k_limits.tsv", 17, 34}})
    {
        if (SampleTable::GetFolder(aSuite.itsSet).empty())
        {
            GTEST_SKIP() << "no sample images in " << QUORIX_SAMPLES_DIR << " or beside it";
        }
        std::set<std::string> aStreams;
        std::size_t aPlanes = 0;
        for (const Limit& aLimit : LoadLimits(aSuite))
        {
            SCOPED_TRACE(aLimit.itsFile + ", class " + aLimit.itsClass + ", component " +
                         aLimit.itsComponent + ", reduced by " + std::to_string(aLimit.itsDiscardLevels));
            const PlanarImage anImage =
                EngineDecode(SampleTable::ReadFile(aSuite.itsFolder + aLimit.itsFile, aSuite.itsSet),
                             {.itsDiscardLevels = aLimit.itsDiscardLevels});
            const std::vector<PlanarComponent> aReference = ReadReference(aSuite, aLimit.itsReference);
            const std::size_t aFirst = aLimit.itsComponent == "all" ? 0 : std::stoul(aLimit.itsComponent);
            for (std::size_t i = 0; i < aReference.size(); ++i)
            {
                ASSERT_LT(aFirst + i, anImage.itsComponents.size());
                ExpectWithin(aLimit, anImage.itsComponents[aFirst + i], aReference[i]);
                ++aPlanes;
            }
            aStreams.insert(aLimit.itsFile);
        }
        // None is left out unseen.
        EXPECT_EQ(aStreams.size(), aSuite.itsStreams);
        EXPECT_EQ(aPlanes, aSuite.itsPlanes);
    }
}
} // namespace
