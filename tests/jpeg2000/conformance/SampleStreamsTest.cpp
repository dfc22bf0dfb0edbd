// SPDX-License-Identifier: Apache-2.0
// Real codestreams at three resolutions: against OpenJPEG's decoder, and high-throughput ones against the
// samples that were encoded or that several decoders agree on.

#include <gtest/gtest.h>

#include <zlib.h>

#include <algorithm>
#include <string>

#include "support/EngineDecode.h"
#include "support/SampleTable.h"
#include "support/Sha256.h"
#include "support/jpeg2000/OpenJpeg.h"

namespace
{
using Bytes = std::vector<std::uint8_t>;

/// The codestream in a file, which may stand in a box.
Bytes Unbox(const Bytes& theFile)
{
    const std::string aType = "jp2c";
    const auto aBox = std::search(theFile.begin(), theFile.end(), aType.begin(), aType.end());
    return aBox == theFile.end() ? theFile : Bytes(aBox + 4, theFile.end());
}

/// The components that a row of the table is about are those of OpenJPEG, bit for bit or nearly.
void ExpectRow(const SampleRow& theRow, const PlanarImage& theImage, const PlanarImage& thePeers)
{
    const std::string aMark = "component ";
    const std::int32_t aTolerance = theRow.itsExact == "yes" ? 0 : 1;
    if (theRow.itsColourSpace.compare(0, aMark.size(), aMark) == 0)
    {
        const std::size_t aComponent = std::stoul(theRow.itsColourSpace.substr(aMark.size()));
        EXPECT_EQ(DescribeDifference(theImage.itsComponents.at(aComponent),
                                     thePeers.itsComponents.at(aComponent), aTolerance),
                  "");
    }
    else if (theRow.itsColourSpace.find("codestream components") == 0)
    {
        EXPECT_EQ(DescribeDifference(theImage, thePeers, aTolerance), "");
    }
}

TEST(SampleStreams, AreAsOpenJpegDecodesThem)
{
    if (SampleTable::GetFolder().empty())
    {
        GTEST_SKIP() << "no sample images in " << QUORIX_SAMPLES_DIR;
    }
    // How many files of the table are compared: none is left out unseen.
    for (const auto& [aDiscardLevels, aCount] : {std::pair{0, 48}, {1, 41}, {2, 37}})
    {
        int aFileCount = 0;
        const SampleTable aTable = SampleTable::Load(aDiscardLevels);
        for (const auto& [aName, aFrames] : aTable.GetFiles())
        {
            if (aFrames.empty() || (aName.find("jpeg2000/") != 0 && aName.find("jp2/") != 0))
            {
                continue;
            }
            SCOPED_TRACE(aName);
            ++aFileCount;
            const Bytes aFile = SampleTable::ReadFile(aName);
            const auto aPeers =
                OpenJpeg::Decode(aFile, {.itsDiscardLevels = static_cast<unsigned int>(aDiscardLevels)});
            ASSERT_TRUE(aPeers.has_value());
            const PlanarImage anImage = EngineDecode(Unbox(aFile), {.itsDiscardLevels = aDiscardLevels});
            for (const SampleRow& aRow : aFrames.at(0))
            {
                ExpectRow(aRow, anImage, *aPeers);
            }
        }
        EXPECT_EQ(aFileCount, aCount) << aDiscardLevels << " levels less";
    }
}

/// As the table has them: component after component for each pixel, low byte first.
Bytes Pack(const std::vector<PlanarComponent>& theComponents, int theBytesPerSample)
{
    Bytes aBytes;
    for (std::size_t i = 0; i < theComponents.at(0).itsSamples.size(); ++i)
    {
        for (const PlanarComponent& aComponent : theComponents)
        {
            for (int aByte = 0; aByte < theBytesPerSample; ++aByte)
            {
                aBytes.push_back(static_cast<std::uint8_t>(aComponent.itsSamples.at(i) >> (8 * aByte)));
            }
        }
    }
    return aBytes;
}

/// The samples of another decoder; empty where the table has none.
Bytes ReadReference(const std::string& theName)
{
    Bytes aBytes;
    const std::string aPath =
        SampleTable::GetFolder(SampleSet::NewCodecs) + "/reference/" + theName + ".raw.gz";
    if (const gzFile aFile = gzopen(aPath.c_str(), "rb"))
    {
        for (int aByte = gzgetc(aFile); aByte >= 0; aByte = gzgetc(aFile))
        {
            aBytes.push_back(static_cast<std::uint8_t>(aByte));
        }
        gzclose(aFile);
    }
    return aBytes;
}

std::int32_t GetSample(const Bytes& theBytes, std::size_t theIndex, const PlanarComponent& theComponent,
                       int theBytesPerSample)
{
    const std::size_t aStart = theIndex * static_cast<std::size_t>(theBytesPerSample);
    std::int32_t aSample = theBytes.at(aStart);
    if (theBytesPerSample == 2)
    {
        aSample |= theBytes.at(aStart + 1) << 8;
        return theComponent.itsSigned ? static_cast<std::int16_t>(aSample) : aSample;
    }
    return theComponent.itsSigned ? static_cast<std::int8_t>(aSample) : aSample;
}

/// How far two images in the form of the table lie apart, at most.
std::int32_t GetPeak(const Bytes& theActual, const Bytes& theExpected, const PlanarComponent& theComponent,
                     int theBytesPerSample)
{
    EXPECT_EQ(theActual.size(), theExpected.size());
    std::int32_t aPeak = 0;
    for (std::size_t i = 0; i < theExpected.size() / static_cast<std::size_t>(theBytesPerSample); ++i)
    {
        aPeak = std::max(aPeak, std::abs(GetSample(theActual, i, theComponent, theBytesPerSample) -
                                         GetSample(theExpected, i, theComponent, theBytesPerSample)));
    }
    return aPeak;
}

/// How many rows of the table were compared, by the hash and sample by sample.
struct Compared
{
    int itsExact = 0;
    int itsNear = 0;
};

void ExpectRows(const std::string& theName, int theDiscardLevels, const std::vector<SampleRow>& theRows,
                Compared& theCount)
{
    const PlanarImage anImage = EngineDecode(Unbox(SampleTable::ReadFile(theName, SampleSet::NewCodecs)),
                                             {.itsDiscardLevels = theDiscardLevels});
    for (const SampleRow& aRow : theRows)
    {
        const bool isOne = aRow.itsColourSpace.find("component ") == 0;
        const std::size_t aNumber = isOne ? std::stoul(aRow.itsColourSpace.substr(10)) : 0;
        const PlanarComponent& aFirst = anImage.itsComponents.at(aNumber);
        if (aRow.itsWidth != aFirst.itsWidth)
        {
            continue; // a column more than T.800 B-15 gives an image off the origin, see OpenJpeg::Decode
        }
        const Bytes aBytes =
            Pack(isOne ? std::vector{aFirst} : anImage.itsComponents, aRow.itsBytesPerSample);
        const Bytes aReference = ReadReference(theName + (isOne ? ".c" + std::to_string(aNumber) : ""));
        if (aRow.itsExact == "yes")
        {
            EXPECT_EQ(Sha256(aBytes.data(), aBytes.size()), aRow.itsSHA256);
            ++theCount.itsExact;
        }
        else if (theDiscardLevels == 0 && !aReference.empty() && theName.find("_06_b1") == std::string::npos)
        {
            // The decoders differ by that among themselves. The one that reads the streams left out is
            // further away from the image with its region of interest than their limits' tests show us to be.
            EXPECT_LE(GetPeak(aBytes, aReference, aFirst, aRow.itsBytesPerSample),
                      aFirst.itsDepth > 12 ? 3 : 1);
            ++theCount.itsNear;
        }
    }
}

TEST(SampleStreams, OfHighThroughputAreAsExpected)
{
    if (SampleTable::GetFolder(SampleSet::NewCodecs).empty())
    {
        GTEST_SKIP() << "no samples of the codecs beside " << QUORIX_SAMPLES_DIR;
    }
    Compared aCount;
    for (const int aDiscardLevels : {0, 1, 2})
    {
        const SampleTable aTable = SampleTable::Load(aDiscardLevels, SampleSet::NewCodecs);
        for (const auto& [aName, aFrames] : aTable.GetFiles())
        {
            if (!aFrames.empty() && aName.find("htj2k/") == 0)
            {
                SCOPED_TRACE(aName + ", reduced by " + std::to_string(aDiscardLevels));
                ExpectRows(aName, aDiscardLevels, aFrames.at(0), aCount);
            }
        }
    }
    EXPECT_EQ(aCount.itsExact, 98);
    EXPECT_EQ(aCount.itsNear, 22);
}
} // namespace
