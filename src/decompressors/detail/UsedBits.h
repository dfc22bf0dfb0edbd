// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

class ReadingContext;
class Renderable;

/// Samples of more bits than are said to be stored.
class UsedBits
{
public:
    UsedBits() = delete;

    /// What words of samples say.
    struct Layout
    {
        int itsDepth;      ///< bits of a sample, 1 to 16; what stands above them is not looked at
        int itsStored;     ///< bits that are said to be stored, from 1 on
        bool itsIsSigned;  ///< two's complement
        bool itsIsForeign; ///< in the other byte order than this machine's
    };

    /// Bits that the largest of theSize bytes of samples needs; no more than are stored where all keep to
    /// these.
    static int Count(const void* theWords, std::uint64_t theSize, const Layout& theLayout);

    /// The warning that theUsed bits of a sample are more than theStored.
    static void Tell(ReadingContext& theContext, int theStored, int theUsed);

    /// Warns where words of a grey image, of which 8 bits or fewer are stored from the lowest one on, have
    /// higher ones: whoever shows such images shows all of the words, as files that say too few are more
    /// common than those that keep something else there. Costs a pass over such an image and nothing for
    /// others.
    static void Warn(const Renderable& theImage, ReadingContext& theContext);
};
