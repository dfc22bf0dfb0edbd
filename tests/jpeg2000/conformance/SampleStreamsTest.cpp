// SPDX-License-Identifier: Apache-2.0
// Real codestreams against OpenJPEG's decoder, at three resolutions.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/EngineDecode.h"
#include "support/SampleTable.h"
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
} // namespace
