// SPDX-License-Identifier: Apache-2.0
// Real high-throughput codestreams at three resolutions, against the samples that were encoded or that
// several decoders agree on. (Images of the other kind are walked through the whole library.)

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/EngineDecode.h"
#include "support/SampleTable.h"
#include "support/Sha256.h"

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

/// Holds the components that a row is about against its hash. (Images off the origin have a column or row
/// more in the table than T.800 B-15 gives them.)
void ExpectRow(const SampleRow& theRow, PlanarImage theImage)
{
    const bool isOne = theRow.itsColourSpace.find("component ") == 0;
    if (isOne)
    {
        theImage.itsComponents = {theImage.itsComponents.at(std::stoul(theRow.itsColourSpace.substr(10)))};
    }
    const PlanarComponent& aFirst = theImage.itsComponents[0];
    if ((isOne || theRow.itsColourSpace.find("codestream components") == 0) && theRow.itsExact == "yes" &&
        theRow.itsWidth == aFirst.itsWidth && theRow.itsHeight == aFirst.itsHeight)
    {
        const Bytes aBytes = Pack(theImage.itsComponents, theRow.itsBytesPerSample);
        EXPECT_EQ(Sha256(aBytes.data(), aBytes.size()), theRow.itsSHA256);
    }
}

TEST(SampleStreams, AreAsExpected)
{
    if (SampleTable::GetFolder(SampleSet::NewCodecs).empty())
    {
        GTEST_SKIP() << "no sample images beside " << QUORIX_SAMPLES_DIR;
    }
    // How many files of the table are compared: none is left out unseen.
    for (const auto& [aDiscardLevels, aCount] : {std::pair{0, 58}, {1, 56}, {2, 50}})
    {
        int aFileCount = 0;
        const SampleTable aTable = SampleTable::Load(aDiscardLevels, SampleSet::NewCodecs);
        for (const auto& [aName, aFrames] : aTable.GetFiles())
        {
            if (aFrames.empty() || !aName.starts_with("htj2k/"))
            {
                continue;
            }
            SCOPED_TRACE(aName + ", reduced by " + std::to_string(aDiscardLevels));
            ++aFileCount;
            const PlanarImage anImage =
                EngineDecode(Unbox(SampleTable::ReadFile(aName, SampleSet::NewCodecs)),
                             {.itsDiscardLevels = aDiscardLevels});
            for (const SampleRow& aRow : aFrames.at(0))
            {
                ExpectRow(aRow, anImage);
            }
        }
        EXPECT_EQ(aFileCount, aCount) << aDiscardLevels << " levels less";
    }
}
} // namespace
