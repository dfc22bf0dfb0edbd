// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "toolkit/io/InputStream.h"

/// A pseudo-random walk of reads, skips and seeks through a stream over theContent, each below
/// theLongestStep: a buffer that is not dropped, or dropped twice, shows up as a wrong byte or position.
inline void WalkStream(InputStream& theStream, const std::vector<unsigned char>& theContent,
                       std::size_t theLongestStep)
{
    std::size_t aPosition = 0;
    std::uint32_t aRandom = 1;
    for (int aStep = 0; aStep < 3000; ++aStep)
    {
        aRandom = aRandom * 1664525 + 1013904223;
        std::vector<unsigned char> aBuffer((aRandom >> 8) % theLongestStep);
        const std::size_t aCount = std::min(aBuffer.size(), theContent.size() - aPosition);
        if (aRandom >> 30 == 0)
        {
            aPosition = (aRandom >> 8) % (theContent.size() + 1);
            theStream.Seek(aPosition);
        }
        else if (aRandom >> 30 == 1)
        {
            ASSERT_EQ(theStream.SkipFully(aBuffer.size()), aCount);
            aPosition += aCount;
        }
        else
        {
            ASSERT_EQ(theStream.ReadFully(aBuffer.data(), aBuffer.size()), aCount);
            ASSERT_TRUE(std::equal(aBuffer.data(), aBuffer.data() + aCount, theContent.data() + aPosition));
            aPosition += aCount;
        }
        ASSERT_EQ(theStream.GetStreamPosition(), aPosition);
        ASSERT_EQ(theStream.HasMoreData(), aPosition < theContent.size());
    }
}
