// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "decompressors/DecompressionResult.h"
#include "toolkit/base/Reading.h"

/// Gives a result the warnings of its request at the end of the scope, however that is left: a picture that
/// failed has them, too. Both are borrowed.
class WarningHandOver
{
public:
    WarningHandOver(ReadingContext& theContext, DecompressionResult& theResult)
        : itsContext(theContext), itsResult(theResult)
    {
    }
    ~WarningHandOver()
    {
        try
        {
            itsResult.addWarnings(itsContext.TakeWarnings());
        }
        catch (...)
        {
            // No memory: what the request itself comes to is worth more.
        }
    }
    WarningHandOver(const WarningHandOver&) = delete;
    WarningHandOver& operator=(const WarningHandOver&) = delete;

private:
    ReadingContext& itsContext;
    DecompressionResult& itsResult;
};
