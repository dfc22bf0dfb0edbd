// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace j2k
{

/// Something that delivers lines from top to bottom: the blocks of a subband, or a synthesis over four of
/// them. Sample is std::int16_t, std::int32_t (reversible) or float (irreversible).
///
/// Made before the allocator's finalize, used after it.
template <class Sample>
class LineSource
{
public:
    virtual ~LineSource() = default;

    /// The next line, which belongs to the source and stays until the next Pull. Not to be called more often
    /// than there are lines.
    virtual const Sample* Pull() = 0;
};

} // namespace j2k
