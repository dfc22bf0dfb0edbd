// SPDX-License-Identifier: Apache-2.0
#include "pixels/DecompressionLibUtils.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

// Not an exchange, and one pair more than the samples: known to callers bit for bit.
TEST(ByteOperations, SwapBytesCopiesTheFirstByteOfEachPairAndOnePairMore)
{
    const auto aSwap = [](int theRows, int theColumns)
    {
        Bytes aData = {1, 2, 3, 4, 5, 6, 7, 8};
        DecompressionLibUtils::SwapBytes(aData.data(), theRows, theColumns);
        return aData;
    };
    EXPECT_EQ(aSwap(1, 2), (Bytes{1, 1, 3, 3, 5, 5, 7, 8}));
    EXPECT_EQ(aSwap(2, 1), (Bytes{1, 1, 3, 3, 5, 5, 7, 8}));
    EXPECT_EQ(aSwap(1, 1), (Bytes{1, 1, 3, 3, 5, 6, 7, 8}));
    EXPECT_EQ(aSwap(0, 5), (Bytes{1, 1, 3, 4, 5, 6, 7, 8}));
    EXPECT_EQ(aSwap(-1, 2), (Bytes{1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST(ByteOperations, ApplyOffsetWrapsAndLeavesAnOddByteAlone)
{
    Bytes aWords = {0xff, 0x7f, 0x00, 0x80, 0xff, 0xff, 0x55};
    DecompressionLibUtils::ApplyOffset(aWords.data(), aWords.size(), std::int16_t{1});
    EXPECT_EQ(aWords, (Bytes{0x00, 0x80, 0x01, 0x80, 0x00, 0x00, 0x55}));
    DecompressionLibUtils::ApplyOffset(aWords.data(), 4, std::int16_t{-32768});
    EXPECT_EQ(aWords, (Bytes{0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x55}));

    Bytes aBytes = {0, 127, 128, 255};
    DecompressionLibUtils::ApplyOffset(aBytes.data(), 3, std::int8_t{-128});
    EXPECT_EQ(aBytes, (Bytes{128, 255, 0, 255}));
}

TEST(ByteOperations, ErrMessageFormatsAndCutsAt1024)
{
    RWCString aText;
    DecompressionLibUtils::ErrMessage(aText, "DC3 Tag not found: %s (%d)", "Rows", -7);
    EXPECT_EQ(aText, "DC3 Tag not found: Rows (-7)");
    for (const std::size_t aLength : {1023u, 1024u, 1025u, 5000u})
    {
        DecompressionLibUtils::ErrMessage(aText, "%s", std::string(aLength, 'x').c_str());
        EXPECT_EQ(aText, std::string(std::min<std::size_t>(aLength, 1024), 'x'));
    }
    aText = "inner";
    DecompressionLibUtils::ErrMessage(aText, "outer: %s", aText.c_str());
    EXPECT_EQ(aText, "outer: inner");
}
