// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/blocks/BlockDecoder.h"

#include <algorithm>
#include <cstdint>
#include <random>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "support/ForEachTarget.h"
#include "support/LongRun.h"

namespace
{
/// A block of random bytes: whatever they are, they mean something to an arithmetic decoder.
class RandomBlock
{
public:
    explicit RandomBlock(std::mt19937& theEngine) : itsEngine(theEngine)
    {
        constexpr std::uint32_t kSides[] = {1, 3, 8, 9, 16, 17, 31, 63, 64, 64, 64, 127, 1024};
        itsBlock.itsWidth = kSides[Draw(std::size(kSides))];
        itsBlock.itsHeight = std::min(kSides[Draw(std::size(kSides))], 4096 / itsBlock.itsWidth);
        itsBlock.itsBand = static_cast<j2k::Band>(Draw(4));
        itsBlock.itsStyle = static_cast<std::uint8_t>(Draw(4) == 0 ? Draw(64) : Draw(32) * 2);
        itsBlock.itsBitPlanes = 1 + Draw(Draw(8) == 0 ? 30 : 12);
        std::uint32_t aPasses = 3 * itsBlock.itsBitPlanes - 2;
        aPasses = Draw(4) == 0 ? 1 + Draw(aPasses + 3) : aPasses;
        const std::uint32_t aMost = Draw(3) == 0 ? 3 : aPasses;
        itsBytes.assign(j2k::CodedSegment::kLead, 0);
        while (aPasses > 0)
        {
            j2k::CodedSegment aSegment;
            aSegment.itsPasses = 1 + Draw(std::min(aMost, aPasses));
            aSegment.itsLength = 1 + Draw(Draw(2) == 0 ? 40 : 3000);
            aPasses -= aSegment.itsPasses;
            AddBytes(aSegment.itsLength);
            itsSegments.push_back(aSegment);
        }
        const std::uint8_t* aData = itsBytes.data() + j2k::CodedSegment::kLead;
        for (j2k::CodedSegment& aSegment : itsSegments)
        {
            aSegment.itsData = aData;
            aData += aSegment.itsLength + j2k::CodedSegment::kTail;
        }
        itsBlock.itsSegments = itsSegments;
    }

    const j2k::CodedBlock& Get() const { return itsBlock; }

private:
    std::uint32_t Draw(std::size_t theCount) { return static_cast<std::uint32_t>(itsEngine() % theCount); }

    /// Many bytes of ones, and carries behind them. Where everything before a carry was ones, as no encoder
    /// has it, it leads beyond the interval.
    void AddBytes(std::uint32_t theLength)
    {
        const std::uint32_t aOnes = Draw(3) == 0 ? 2 * Draw(12) : 0;
        std::uint8_t aByte = 0;
        for (std::uint32_t i = 0; i < theLength; ++i)
        {
            const bool isAfterOnes = aByte == 0xFF;
            aByte =
                static_cast<std::uint8_t>(isAfterOnes ? (i < aOnes ? 0x7F : 0x60 + Draw(0x31))
                                                      : (i <= aOnes || Draw(40) == 0 ? 0xFF : Draw(0x100)));
            itsBytes.push_back(aByte);
        }
        itsBytes.insert(itsBytes.end(), j2k::CodedSegment::kTail, 0xFF);
    }

    std::mt19937& itsEngine;
    j2k::CodedBlock itsBlock;
    std::vector<std::uint8_t> itsBytes;
    std::vector<j2k::CodedSegment> itsSegments;
};

using Result = std::tuple<std::vector<std::int32_t>, bool, bool, bool>;

Result Describe(const j2k::CodedBlock& theBlock, const j2k::BlockDecoder& theDecoder,
                const j2k::BlockFindings& theFindings)
{
    std::vector<std::int32_t> aSamples(std::size_t{theBlock.itsWidth} * theBlock.itsHeight);
    theDecoder.Store(aSamples.data(), theBlock.itsWidth, {});
    return {aSamples, theFindings.itsBadSegmentationSymbol, theFindings.itsBadTermination,
            theFindings.itsMissingPasses};
}

// Two blocks in turn become what each becomes alone, on every instruction set and whatever their bytes are.
TEST(BlockDecoderTest, TwoBlocks)
{
    std::mt19937 anEngine(16);
    for (int i = 0; i < Rounds(600); ++i)
    {
        const RandomBlock aFirst(anEngine);
        const RandomBlock aSecond(anEngine);
        const auto aDecodeAlone = [](const j2k::CodedBlock& theBlock)
        {
            j2k::BlockDecoder aDecoder;
            const j2k::BlockFindings aFindings = aDecoder.Decode(theBlock);
            return Describe(theBlock, aDecoder, aFindings);
        };
        const std::pair anExpected(aDecodeAlone(aFirst.Get()), aDecodeAlone(aSecond.Get()));
        ForEachTarget(
            [&]
            {
                j2k::BlockDecoder aDecoder;
                j2k::BlockDecoder anOther;
                const auto aFindings = aDecoder.DecodeWith(aFirst.Get(), anOther, aSecond.Get());
                EXPECT_EQ(std::pair(Describe(aFirst.Get(), aDecoder, aFindings[0]),
                                    Describe(aSecond.Get(), anOther, aFindings[1])),
                          anExpected);
                EXPECT_EQ(aDecodeAlone(aFirst.Get()), anExpected.first);
            });
    }
}

} // namespace
