// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/UnwrittenPixels.h"

#include <cstddef>
#include <cstring>

#include "decoding/CodecTable.h"
#include "image/Renderable.h"

bool UnwrittenPixels::MayLeaveSamples(const RWCString& theTransferSyntaxUID)
{
    const CodecRow* const aRow = CodecTable::Find(theTransferSyntaxUID, Reading::BY_MEANING);
    return aRow != nullptr && aRow->itsCanLeaveSamples;
}

void UnwrittenPixels::Blank(Renderable& theRenderable, const RWCString& theTransferSyntaxUID)
{
    if (!MayLeaveSamples(theTransferSyntaxUID) || theRenderable.getPixelData() == nullptr)
    {
        return;
    }
    // Fresh pages are zero already; writing them twice would cost time for nothing.
    if (!theRenderable.getMemoryAllocator().IsMemoryZeroed())
    {
        std::memset(theRenderable.getPixelData(), 0,
                    static_cast<std::size_t>(theRenderable.getPixelDataSize()));
    }
}
