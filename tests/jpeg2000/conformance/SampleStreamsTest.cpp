// SPDX-License-Identifier: Apache-2.0
// Real codestreams at three resolutions, high-throughput ones among them: against the samples that were
// encoded or that several decoders agree on, or against OpenJPEG's decoder.

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

/// Holds the components that a row is about against its hash, or against OpenJPEG where there is something
/// between decoders: irreversible images, and those off the origin, which have a column or row more in the
/// table than T.800 B-15 gives them. High-throughput ones of these OpenJPEG does not decode at all, or the
/// matrix has them.
void ExpectRow(const SampleRow& theRow, PlanarImage theImage, const Bytes& theFile, SampleSet theSet,
               unsigned int theDiscardLevels)
{
    const bool isOne = theRow.itsColourSpace.find("component ") == 0;
    if (!isOne && theRow.itsColourSpace.find("codestream components") != 0)
    {
        return;
    }
    const auto aKeep = [&](PlanarImage& theWhole)
    {
        if (isOne)
        {
            theWhole.itsComponents = {
                theWhole.itsComponents.at(std::stoul(theRow.itsColourSpace.substr(10)))};
        }
    };
    aKeep(theImage);
    const bool isExact = theRow.itsExact == "yes";
    const PlanarComponent& aFirst = theImage.itsComponents[0];
    if (isExact && theRow.itsWidth == aFirst.itsWidth && theRow.itsHeight == aFirst.itsHeight)
    {
        const Bytes aBytes = Pack(theImage.itsComponents, theRow.itsBytesPerSample);
        EXPECT_EQ(Sha256(aBytes.data(), aBytes.size()), theRow.itsSHA256);
    }
    else if (theSet == SampleSet::Images)
    {
        auto aPeers = OpenJpeg::Decode(theFile, {.itsDiscardLevels = theDiscardLevels});
        ASSERT_TRUE(aPeers.has_value());
        aKeep(*aPeers);
        EXPECT_EQ(DescribeDifference(theImage, *aPeers, isExact ? 0 : 1), "");
    }
}

TEST(SampleStreams, AreAsExpected)
{
    // How many files of a table are compared: none is left out unseen.
    for (const auto& [aSet, aDiscardLevels, aCount] : {std::tuple{SampleSet::Images, 0, 48},
                                                       {SampleSet::Images, 1, 41},
                                                       {SampleSet::Images, 2, 37},
                                                       {SampleSet::NewCodecs, 0, 58},
                                                       {SampleSet::NewCodecs, 1, 56},
                                                       {SampleSet::NewCodecs, 2, 50}})
    {
        if (SampleTable::GetFolder(aSet).empty())
        {
            GTEST_SKIP() << "no sample images in " << QUORIX_SAMPLES_DIR << " or beside it";
        }
        int aFileCount = 0;
        const SampleTable aTable = SampleTable::Load(aDiscardLevels, aSet);
        for (const auto& [aName, aFrames] : aTable.GetFiles())
        {
            const std::string aFolder = aName.substr(0, aName.find('/'));
            if (aFrames.empty() || (aFolder != "jpeg2000" && aFolder != "jp2" && aFolder != "htj2k"))
            {
                continue;
            }
            SCOPED_TRACE(aName + ", reduced by " + std::to_string(aDiscardLevels));
            ++aFileCount;
            const Bytes aFile = SampleTable::ReadFile(aName, aSet);
            const PlanarImage anImage = EngineDecode(Unbox(aFile), {.itsDiscardLevels = aDiscardLevels});
            for (const SampleRow& aRow : aFrames.at(0))
            {
                ExpectRow(aRow, anImage, aFile, aSet, static_cast<unsigned int>(aDiscardLevels));
            }
        }
        EXPECT_EQ(aFileCount, aCount) << aDiscardLevels << " levels less";
    }
}
} // namespace
