// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/io/InputStream.h"

/// Reads integers of a stated byte order from an InputStream.
class QUORIX_API EndianHandlingReader
{
public:
    /// theStream is borrowed and read from its current position.
    EndianHandlingReader(InputStream& theStream, DLEndian::Endian theEndian);

    /// False when the stream ended before the whole integer had arrived; theValue is then unchanged.
    /// @{
    bool Read(std::uint16_t& theValue);
    bool Read(std::uint32_t& theValue);
    bool Read(std::uint64_t& theValue);
    /// @}

private:
    template <class Integer>
    bool ReadInteger(Integer& theValue);

    InputStream& itsStream;
    DLEndian::Endian itsEndian;
};
