// SPDX-License-Identifier: Apache-2.0
// Real codestreams at three resolutions: against OpenJPEG's decoder, and high-throughput ones against the
// samples that were encoded or that several decoders agree on.

#include <gtest/gtest.h>

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

/// Returns how many rows were compared: those whose samples are known for sure.
int ExpectRows(const std::string& theName, int theDiscardLevels, const std::vector<SampleRow>& theRows)
{
    const PlanarImage anImage = EngineDecode(Unbox(SampleTable::ReadFile(theName, SampleSet::NewCodecs)),
                                             {.itsDiscardLevels = theDiscardLevels});
    int aCount = 0;
    for (const SampleRow& aRow : theRows)
    {
        const bool isOne = aRow.itsColourSpace.find("component ") == 0;
        const PlanarComponent& aFirst =
            anImage.itsComponents.at(isOne ? std::stoul(aRow.itsColourSpace.substr(10)) : 0);
        // An image off the origin has a column more there than T.800 B-15 gives it, see OpenJpeg::Decode.
        if (aRow.itsExact == "yes" && aRow.itsWidth == aFirst.itsWidth)
        {
            const Bytes aBytes =
                Pack(isOne ? std::vector{aFirst} : anImage.itsComponents, aRow.itsBytesPerSample);
            EXPECT_EQ(Sha256(aBytes.data(), aBytes.size()), aRow.itsSHA256);
            ++aCount;
        }
    }
    return aCount;
}

TEST(SampleStreams, OfHighThroughputAreAsExpected)
{
    if (SampleTable::GetFolder(SampleSet::NewCodecs).empty())
    {
        GTEST_SKIP() << "no samples of the codecs beside " << QUORIX_SAMPLES_DIR;
    }
    int aCount = 0;
    for (const int aDiscardLevels : {0, 1, 2})
    {
        const SampleTable aTable = SampleTable::Load(aDiscardLevels, SampleSet::NewCodecs);
        for (const auto& [aName, aFrames] : aTable.GetFiles())
        {
            if (!aFrames.empty() && aName.find("htj2k/") == 0)
            {
                SCOPED_TRACE(aName + ", reduced by " + std::to_string(aDiscardLevels));
                aCount += ExpectRows(aName, aDiscardLevels, aFrames.at(0));
            }
        }
    }
    EXPECT_EQ(aCount, 98);
}
} // namespace
