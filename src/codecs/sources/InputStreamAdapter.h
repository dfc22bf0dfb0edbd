// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/kdu_compressed_source.h"

class InputStream;

/// Lets a codec read from an InputStream. Not thread-safe.
class QUORIX_API InputStreamAdapter final : public kdu_compressed_source
{
public:
    /// theStream is borrowed and read from its current position.
    explicit InputStreamAdapter(InputStream& theStream) : itsStream(&theStream) {}

    /// Deliberately refused when they are run: both throw StreamIOException (code 6), and nothing is copied.
    /// Two readers of one stream would take each other's bytes.
    /// @{
    InputStreamAdapter(const InputStreamAdapter&);
    InputStreamAdapter& operator=(const InputStreamAdapter&);
    /// @}

    /// Reads until theCount bytes have arrived or the stream ends: a short count is the end of the data,
    /// never an error. What the stream throws passes through.
    int read(kdu_byte* theBuffer, int theCount) override;

    int get_capabilities() override { return KDU_SOURCE_CAP_SEQUENTIAL; }

private:
    InputStream* itsStream;
};
