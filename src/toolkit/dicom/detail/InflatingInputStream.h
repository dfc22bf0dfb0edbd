// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "toolkit/io/InputStream.h"

/// The data set of a deflated transfer syntax, inflated while it is read (PS3.5 Annex A.5).
///
/// Cannot be sought; positions count inflated bytes. What the compressed stream throws is thrown on
/// unchanged; damaged data is a StreamIOException (code 38). Internal to this room; not thread-safe.
class InflatingInputStream final : public InputStream
{
public:
    explicit InflatingInputStream(std::shared_ptr<InputStream> theCompressed);
    ~InflatingInputStream() override;

    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override;
    std::size_t GetStreamPosition() const override { return itsPosition; }

private:
    class Implementation;
    std::unique_ptr<Implementation> itsImplementation;
    std::size_t itsPosition = 0;
};
