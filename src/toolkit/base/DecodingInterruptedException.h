// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "toolkit/base/ExceptionBase.h"

/// The producer of the compressed bytes was interrupted while a codec waited for them.
class QUORIX_API DecodingInterruptedException : public ExceptionBase
{
public:
    /// theReason: 1 when raised by an interrupted data source.
    explicit DecodingInterruptedException(RWCString theMessage, int theReason = 0);
    ~DecodingInterruptedException() override;
    std::unique_ptr<ExceptionBase> Clone() const override;
    RWCString ClassName() const override;

    /// As the constructor was told.
    int GetReason() const { return itsReason; }

private:
    int itsReason;
};
