// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_decoder.h"

#include "engine/detail/lines/LineReader.h"
#include "engine/detail/packets/TileComponent.h"

kdu_decoder::kdu_decoder(kdu_subband theSubband, kdu_sample_allocator* theAllocator, bool isShort)
    : itsReader(j2k::LineReader::Create(*theSubband.get_state(), *theAllocator, isShort))
{
}

kdu_decoder::kdu_decoder(kdu_decoder&&) noexcept = default;
kdu_decoder& kdu_decoder::operator=(kdu_decoder&&) noexcept = default;
kdu_decoder::~kdu_decoder() = default;

void kdu_decoder::pull(kdu_line_buf& theLine)
{
    itsReader->Pull(theLine);
}

kdu_synthesis::kdu_synthesis(kdu_resolution theResolution, kdu_sample_allocator* theAllocator, bool isShort)
    : itsReader(j2k::LineReader::Create(*theResolution.get_state(), *theAllocator, isShort))
{
}

kdu_synthesis::kdu_synthesis(kdu_synthesis&&) noexcept = default;
kdu_synthesis& kdu_synthesis::operator=(kdu_synthesis&&) noexcept = default;
kdu_synthesis::~kdu_synthesis() = default;

void kdu_synthesis::pull(kdu_line_buf& theLine)
{
    itsReader->Pull(theLine);
}
