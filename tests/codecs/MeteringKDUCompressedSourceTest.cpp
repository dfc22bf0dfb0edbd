// SPDX-License-Identifier: Apache-2.0
#include "codecs/sources/MeteringKDUCompressedSource.h"

#include <array>

#include <gtest/gtest.h>

#include "support/ByteSource.h"

namespace
{
/// Can do everything, so that what is forwarded shows.
class AbleSource final : public kdu_compressed_source
{
public:
    bool close() override
    {
        ++itsCloses;
        return false;
    }
    int get_capabilities() override { return KDU_SOURCE_CAP_SEQUENTIAL | KDU_SOURCE_CAP_SEEKABLE; }
    int read(kdu_byte*, int) override { return 0; }
    bool seek(kdu_long) override { return true; }
    kdu_long get_pos() override { return 5; }
    bool set_tile_scope(int, int) override { return true; }
    bool set_precinct_scope(kdu_long) override { return true; }

    int itsCloses = 0;
};

TEST(MeteringKDUCompressedSource, CountsWhatArrives)
{
    ByteSource aSource({1, 2, 3, 4, 5});
    aSource.AtEnd([] { return -1; });
    MeteringKDUCompressedSource aMeter(aSource);
    std::array<kdu_byte, 4> aBuffer{};
    EXPECT_EQ(aMeter.GetBytesRead(), 0u);
    EXPECT_EQ(aMeter.read(aBuffer.data(), 4), 4);
    EXPECT_EQ(aBuffer[3], 4);
    EXPECT_EQ(aMeter.read(aBuffer.data(), 4), 1); // one call of the source for each, never a second one
    EXPECT_EQ(aMeter.GetBytesRead(), 5u);
    EXPECT_EQ(aMeter.read(aBuffer.data(), 4), -1);
    EXPECT_EQ(aMeter.GetBytesRead(), 5u);
    EXPECT_EQ(aSource.GetReads(), 3);
}

TEST(MeteringKDUCompressedSource, IsSequentialWhateverItWraps)
{
    AbleSource aSource;
    MeteringKDUCompressedSource aMeter(aSource);
    EXPECT_EQ(aMeter.get_capabilities(), 1);
    EXPECT_FALSE(aMeter.seek(0));
    EXPECT_FALSE(aMeter.set_tile_scope(0, 1));
    EXPECT_FALSE(aMeter.set_precinct_scope(0));
    EXPECT_EQ(aMeter.get_pos(), -1);
    EXPECT_TRUE(aMeter.close());
    EXPECT_EQ(aSource.itsCloses, 1);
}
} // namespace
