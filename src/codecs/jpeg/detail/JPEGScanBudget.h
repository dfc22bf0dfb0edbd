// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

/// Bounds the scans of one image by the bytes that it brought. Each scan behind the first costs a pass over
/// all blocks that it names, and runs of blocks that say nothing make it nearly free of bytes: a small file
/// could otherwise keep a decoder busy for minutes.
///
/// So many visits to blocks cost nothing that sixty scans of four million pixels, or ten of two hundred
/// million, are free. Behind that each byte pays for several times what encoders leave of a picture's blocks,
/// even with scripts of sixty-four scans. A sample of a lossless image is a block; it takes a bit at least,
/// so that its scans always pay for themselves.
class JPEGScanBudget
{
public:
    /// Bytes that were delivered for the image.
    void AddBytes(int theBytes) { itsBytes += static_cast<std::uint64_t>(theBytes); }

    /// To be asked before the blocks of a scan are decoded, as often as one likes; scans count from 1. False
    /// when this scan, of so many blocks, is more than one in theShare of the budget.
    bool Allows(int theScan, std::uint64_t theBlocks, std::uint64_t theShare = 1)
    {
        if (theScan > itsScan)
        {
            itsScan = theScan;
            itsVisits += theBlocks;
        }
        return itsScan <= kMostScans && itsVisits <= (kFreeVisits + kVisitsPerByte * itsBytes) / theShare;
    }

private:
    /// More than spectral selection and successive approximation can tell apart.
    static constexpr int kMostScans = 1000;
    static constexpr std::uint64_t kFreeVisits = std::uint64_t{1} << 25;
    static constexpr std::uint64_t kVisitsPerByte = 32;

    int itsScan = 1;
    std::uint64_t itsVisits = 0;
    std::uint64_t itsBytes = 0;
};
