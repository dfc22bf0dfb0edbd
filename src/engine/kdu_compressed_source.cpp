// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_compressed_source.h"

kdu_compressed_source::~kdu_compressed_source() = default;

bool kdu_compressed_source::close()
{
    return true;
}

bool kdu_compressed_source::seek(kdu_long)
{
    return false;
}

kdu_long kdu_compressed_source::get_pos()
{
    return -1;
}

bool kdu_compressed_source::set_tile_scope(int, int)
{
    return false;
}

bool kdu_compressed_source::set_precinct_scope(kdu_long)
{
    return false;
}
