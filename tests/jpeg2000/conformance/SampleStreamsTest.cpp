// SPDX-License-Identifier: Apache-2.0
// Real codestreams against the table of expected results, at three resolutions.

#include <gtest/gtest.h>

#include <cstring>

#include "support/SampleTable.h"
#include "support/Sha256.h"
#include "support/jpeg2000/EngineDecode.h"
#include "support/jpeg2000/OpenJpeg.h"

namespace
{
using Bytes = std::vector<std::uint8_t>;

/// The codestream inside the boxes of a JP2 file, whose boxes have 32-bit lengths here.
Bytes Unbox(const Bytes& theFile)
{
    std::size_t aPosition = 0;
    while (aPosition + 8 <= theFile.size())
    {
        std::size_t aLength = 0;
        for (std::size_t i = 0; i < 4; ++i)
        {
            aLength = aLength << 8 | theFile[aPosition + i];
        }
        const std::size_t anEnd = aLength == 0 ? theFile.size() : aPosition + aLength;
        if (std::memcmp(theFile.data() + aPosition + 4, "jp2c", 4) == 0)
        {
            return {theFile.begin() + static_cast<std::ptrdiff_t>(aPosition) + 8,
                    theFile.begin() + static_cast<std::ptrdiff_t>(std::min(anEnd, theFile.size()))};
        }
        aPosition = std::max(anEnd, aPosition + 8);
    }
    return {};
}

/// The components that a row of the table is about.
std::vector<PlanarComponent> PickComponents(const PlanarImage& theImage, const SampleRow& theRow)
{
    const std::string aMark = "component ";
    if (theRow.itsColourSpace.compare(0, aMark.size(), aMark) != 0)
    {
        return theImage.itsComponents;
    }
    return {theImage.itsComponents.at(std::stoul(theRow.itsColourSpace.substr(aMark.size())))};
}

std::string HashOf(const std::vector<PlanarComponent>& theComponents, int theBytesPerSample)
{
    const Bytes aBytes = InterleaveSamples(theComponents, theBytesPerSample);
    return Sha256(aBytes.data(), aBytes.size());
}

bool IsAboutCodestream(const SampleRow& theRow)
{
    return theRow.itsColourSpace.find("codestream components") == 0 ||
           theRow.itsColourSpace.find("component ") == 0;
}

/// theRaw: OpenJPEG's image as it comes, which has to be what it was when the table was made. thePeers: cut
/// to the extent that the standard gives it at a lower resolution.
void ExpectRow(const SampleRow& theRow, const PlanarImage& theActual, const PlanarImage& theRaw,
               const PlanarImage& thePeers)
{
    const std::vector<PlanarComponent> anActual = PickComponents(theActual, theRow);
    const std::vector<PlanarComponent> aPeers = PickComponents(thePeers, theRow);
    ASSERT_EQ(HashOf(PickComponents(theRaw, theRow), theRow.itsBytesPerSample), theRow.itsSHA256);
    ASSERT_EQ(anActual.size(), aPeers.size());
    for (std::size_t i = 0; i < aPeers.size(); ++i)
    {
        EXPECT_EQ(DescribeDifference(anActual[i], aPeers[i], theRow.itsExact == "yes" ? 0 : 1), "");
    }
}

/// How many files and rows of the table are compared: none is left out unseen.
struct Reduction
{
    int itsDiscardLevels;
    std::size_t itsFiles;
    std::size_t itsRows;
};

class SampleStreams : public testing::TestWithParam<Reduction>
{
};

TEST_P(SampleStreams, AreAsExpected)
{
    if (SampleTable::GetFolder().empty())
    {
        GTEST_SKIP() << "no sample images in " << QUORIX_SAMPLES_DIR;
    }
    const int aDiscardLevels = GetParam().itsDiscardLevels;
    std::size_t aFileCount = 0;
    std::size_t aRows = 0;
    const SampleTable aTable = SampleTable::Load(aDiscardLevels);
    for (const auto& [aName, aFrames] : aTable.GetFiles())
    {
        if (aFrames.empty() || (aName.find("jpeg2000/") != 0 && aName.find("jp2/") != 0))
        {
            continue;
        }
        SCOPED_TRACE(aName);
        const Bytes aFile = SampleTable::ReadFile(aName);
        EngineOptions anOptions;
        anOptions.itsDiscardLevels = aDiscardLevels;
        const PlanarImage anImage = EngineDecode(aName[2] == '2' ? Unbox(aFile) : aFile, anOptions);
        OpenJpeg::DecodeOptions aPeerOptions;
        aPeerOptions.itsDiscardLevels = static_cast<unsigned int>(aDiscardLevels);
        const auto aPeers = OpenJpeg::Decode(aFile, aPeerOptions);
        aPeerOptions.itsKeepsExtent = true;
        const auto aRaw = OpenJpeg::Decode(aFile, aPeerOptions);
        ASSERT_TRUE(aPeers.has_value() && aRaw.has_value());
        ++aFileCount;
        for (const SampleRow& aRow : aFrames.at(0))
        {
            if (IsAboutCodestream(aRow) && (aRow.itsExact == "yes" || aRow.itsExact == "tolerance"))
            {
                ExpectRow(aRow, anImage, *aRaw, *aPeers);
                ++aRows;
            }
        }
    }
    EXPECT_EQ(aFileCount, GetParam().itsFiles);
    EXPECT_EQ(aRows, GetParam().itsRows);
}

INSTANTIATE_TEST_SUITE_P(DiscardLevels, SampleStreams,
                         testing::Values(Reduction{0, 48, 55}, Reduction{1, 41, 48}, Reduction{2, 37, 44}),
                         [](const auto& theInfo)
                         { return std::to_string(theInfo.param.itsDiscardLevels) + "LevelsLess"; });
} // namespace
