// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/UnwrittenPixels.h"

#include <cstddef>
#include <cstring>
#include <typeinfo>

#include "image/Renderable.h"
#include "image/VMMemoryAllocator.h"
#include "toolkit/dicom/TransferSyntaxType.h"

bool UnwrittenPixels::MayLeaveSamples(const RWCString& theTransferSyntaxUID)
{
    // Only RLE: a segment that ends early is no error and leaves the rest of its byte plane as it was.
    return theTransferSyntaxUID == TransferSyntaxType::TSRLEUID;
}

void UnwrittenPixels::Blank(Renderable& theRenderable, const RWCString& theTransferSyntaxUID)
{
    if (!MayLeaveSamples(theTransferSyntaxUID) || theRenderable.getPixelData() == nullptr)
    {
        return;
    }
    // Fresh pages are zero already; writing them twice would cost time for nothing.
    const MemoryAllocater& anAllocator = theRenderable.getMemoryAllocator();
    if (typeid(anAllocator) != typeid(VMMemoryAllocator))
    {
        std::memset(theRenderable.getPixelData(), 0,
                    static_cast<std::size_t>(theRenderable.getPixelDataSize()));
    }
}
