// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>

#include "engine/detail/blocks/BlockDecoder.h"
#include "engine/detail/packets/Subband.h"

namespace j2k
{

/// What decoding a code-block needs, shared by all subbands of one chain of lines: they decode one block at a
/// time. Without any block it costs nothing.
class BlockScratch
{
public:
    /// Where a block's data is collected.
    CollectedBlock& GetBlock() { return itsBlock; }

    /// Decodes what was collected. The samples stay with the decoder until the next call.
    BlockFindings Decode()
    {
        if (!itsDecoder.has_value())
        {
            itsDecoder.emplace();
        }
        return itsDecoder->Decode(itsBlock.itsBlock);
    }

    /// Only after Decode.
    const BlockDecoder& GetDecoder() const { return *itsDecoder; }

private:
    std::optional<BlockDecoder> itsDecoder;
    CollectedBlock itsBlock;
};

} // namespace j2k
