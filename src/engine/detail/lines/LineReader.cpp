// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/lines/LineReader.h"

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <type_traits>

#include "engine/detail/lines/BlockScratch.h"
#include "engine/detail/lines/ChainBuilder.h"
#include "engine/detail/lines/LineDepth.h"
#include "engine/kdu_line_buf.h"

namespace j2k
{
namespace
{
std::int16_t* GetSamples(kdu_line_buf& theLine, std::int16_t)
{
    static_assert(sizeof(kdu_sample16) == sizeof(std::int16_t));
    return theLine.is_absolute() ? reinterpret_cast<std::int16_t*>(theLine.get_buf16()) : nullptr;
}

std::int32_t* GetSamples(kdu_line_buf& theLine, std::int32_t)
{
    static_assert(sizeof(kdu_sample32) == sizeof(std::int32_t));
    return theLine.is_absolute() ? reinterpret_cast<std::int32_t*>(theLine.get_buf32()) : nullptr;
}

float* GetSamples(kdu_line_buf& theLine, float)
{
    static_assert(sizeof(kdu_sample32) == sizeof(float));
    return theLine.is_absolute() ? nullptr : reinterpret_cast<float*>(theLine.get_buf32());
}

template <class Sample>
class TypedLineReader final : public LineReader
{
public:
    /// Part: a Subband or a Resolution.
    template <class Part>
    TypedLineReader(const Part& thePart, kdu_sample_allocator& theAllocator)
        : itsSource(ChainBuilder<Sample>(itsScratch, theAllocator).Build(thePart)),
          itsWidth(thePart.GetRect().GetWidth()), itsLinesLeft(thePart.GetRect().GetHeight())
    {
    }

    void Pull(kdu_line_buf& theLine) override
    {
        Sample* const aSamples = GetSamples(theLine, Sample());
        if (aSamples == nullptr || static_cast<std::uint32_t>(theLine.get_width()) != itsWidth)
        {
            throw std::logic_error("kdu_line_buf does not suit the lines it is to be filled with");
        }
        const std::size_t aSize = itsWidth * sizeof(Sample);
        if (itsLinesLeft == 0)
        {
            std::memset(aSamples, 0, aSize);
        }
        else if (itsWidth > 0)
        {
            std::memcpy(aSamples, itsSource->Pull(), aSize);
            --itsLinesLeft;
        }
    }

private:
    BlockScratch itsScratch;
    std::unique_ptr<LineSource<Sample>> itsSource;
    std::uint32_t itsWidth;
    std::uint32_t itsLinesLeft;
};

template <class Part>
std::unique_ptr<LineReader> CreateReader(const Part& thePart, const Subband& theLL,
                                         kdu_sample_allocator& theAllocator, bool theUseShorts)
{
    if (!thePart.IsReversible())
    {
        if (theUseShorts)
        {
            throw std::logic_error("16-bit lines are for reversible components");
        }
        return std::make_unique<TypedLineReader<float>>(thePart, theAllocator);
    }
    if (theUseShorts)
    {
        return std::make_unique<TypedLineReader<std::int16_t>>(thePart, theAllocator);
    }
    CheckLineDepth(theLL);
    return std::make_unique<TypedLineReader<std::int32_t>>(thePart, theAllocator);
}
} // namespace

std::unique_ptr<LineReader> LineReader::Create(const Subband& theSubband, kdu_sample_allocator& theAllocator,
                                               bool theUseShorts)
{
    return CreateReader(theSubband, theSubband, theAllocator, theUseShorts);
}

std::unique_ptr<LineReader> LineReader::Create(const Resolution& theResolution,
                                               kdu_sample_allocator& theAllocator, bool theUseShorts)
{
    const Resolution* aLowest = &theResolution;
    while (aLowest->GetNext() != nullptr)
    {
        aLowest = aLowest->GetNext();
    }
    return CreateReader(theResolution, aLowest->GetSubband(0), theAllocator, theUseShorts);
}

} // namespace j2k
