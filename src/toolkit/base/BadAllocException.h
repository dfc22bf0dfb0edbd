// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "toolkit/base/ExceptionBase.h"

/// An allocator had no block of the requested size.
class QUORIX_API BadAllocException : public ExceptionBase
{
public:
    /// theSize: the bytes that were asked for.
    explicit BadAllocException(std::uint64_t theSize);
    ~BadAllocException() override;
    std::unique_ptr<ExceptionBase> Clone() const override;
    RWCString ClassName() const override;

    /// Bytes that were asked for.
    std::uint64_t GetSize() const { return itsSize; }

private:
    std::uint64_t itsSize;
};
