// SPDX-License-Identifier: Apache-2.0
// Codestreams cut off at any byte inside a file that is in order, and headers with any byte changed: an
// error or pixels, in bounded time.
#include "faults/FaultFiles.h"
#include "support/LongRun.h"

namespace
{
class HeaderFault : public FaultTest
{
};

void ExpectBounded(const Bytes& theFile, const std::string& theInput)
{
    // A sanitized program on a slow machine keeps this many times over.
    constexpr double kMostSeconds = 2;
    const std::clock_t aStart = std::clock();
    FaultFiles::ExpectListed(RunPart10(theFile), theInput);
    EXPECT_LT(static_cast<double>(std::clock() - aStart) / CLOCKS_PER_SEC, kMostSeconds) << theInput;
}

TEST_F(HeaderFault, CodestreamsCutOffAnywhere)
{
    for (const FaultFile& aFile : FaultFiles::Get())
    {
        for (std::size_t i = 0; i < aFile.itsFrame.size() && !HasFailure(); ++i)
        {
            const Bytes aFrame(aFile.itsFrame.data(), aFile.itsFrame.data() + i);
            ExpectBounded(FaultFiles::WithFrame(aFile, aFrame), aFile.itsName + ", " + std::to_string(i));
        }
    }
}

/// How many bytes from the first one on are no entropy-coded data.
std::size_t GetHeaderSize(const FaultFile& theFile)
{
    const auto aFrame = std::search(theFile.itsFile.begin(), theFile.itsFile.end(), theFile.itsFrame.begin(),
                                    theFile.itsFrame.end());
    const bool isJpeg2000 = theFile.itsName.find("2000") != std::string::npos;
    const Bytes aEnd = isJpeg2000 ? Bytes{0xff, 0x93} : Bytes{0xff, 0xda};
    const auto aData = std::search(aFrame, theFile.itsFile.end(), aEnd.begin(), aEnd.end());
    const auto aSize = static_cast<std::size_t>(aData - theFile.itsFile.begin());
    return std::min(aSize + 16, theFile.itsFile.size());
}

TEST_F(HeaderFault, AnyByteChanged)
{
    // Preamble bytes say nothing.
    constexpr std::size_t kPreamble = 128;
    // The usual run sets each byte to 0, 255 and its complement; a long one turns each bit over as well.
    const int aWays = Rounds(1) == 1 ? 3 : 11;
    for (const FaultFile& aFile : FaultFiles::Get())
    {
        for (std::size_t i = kPreamble; i < GetHeaderSize(aFile); ++i)
        {
            for (int aWay = 0; aWay < aWays && !HasFailure(); ++aWay)
            {
                Bytes aChanged = aFile.itsFile;
                const int kValues[] = {0, 255, ~aChanged[i]};
                aChanged[i] =
                    static_cast<std::uint8_t>(aWay < 3 ? kValues[aWay] : aChanged[i] ^ (1 << (aWay - 3)));
                ExpectBounded(aChanged, aFile.itsName + ", byte " + std::to_string(i) + " is " +
                                            std::to_string(aChanged[i]));
            }
        }
    }
}
} // namespace
