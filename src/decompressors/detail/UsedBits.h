// SPDX-License-Identifier: Apache-2.0
#pragma once

class ReadingContext;
class Renderable;

/// Samples of more bits than are said to be stored.
class UsedBits
{
public:
    UsedBits() = delete;

    /// Warns where words of a grey image, of which 8 bits or fewer are stored from the lowest one on, have
    /// higher ones: whoever shows such images shows all of the words, as files that say too few are more
    /// common than those that keep something else there. Costs a pass over such an image and nothing for
    /// others.
    static void Warn(const Renderable& theImage, ReadingContext& theContext);
};
