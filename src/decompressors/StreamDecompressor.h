// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "toolkit/base/BaseTypes.h"

class DecompressionRequest;
class DecompressionResult;

/// One request in, one result out.
class QUORIX_API StreamDecompressor
{
public:
    virtual ~StreamDecompressor() = default;

    /// Serves theRequest. Never throws: every outcome is in theResult.
    virtual void Decompress(DecompressionRequest& theRequest, DecompressionResult& theResult) = 0;
};
