// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>

#include "toolkit/io/InputStream.h"

/// The bytes of a value of words in the other byte order, in the order of this machine.
///
/// Words are counted from the start of the value, wherever a reader begins or ends inside one. A last word
/// that is not whole stays as it is. Not thread-safe.
class ExchangedWordsInputStream final : public InputStream
{
public:
    /// theStream stands at the first byte of the value; borrowed. theWordBytes: 2 or 4.
    ExchangedWordsInputStream(InputStream& theStream, std::size_t theWordBytes);

    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override;
    std::size_t Skip(std::size_t theLength) override;
    long long Length() const override { return itsStream.Length(); }
    std::size_t GetStreamPosition() const override
    {
        return itsStream.GetStreamPosition() - (itsWordEnd - itsWordBegin);
    }

    /// Exchanges the bytes of theCount words of theWordBytes each (2 or 4) in place.
    static void Exchange(unsigned char* theData, std::uint64_t theCount, std::size_t theWordBytes);

private:
    std::size_t DeliverWord(unsigned char* theBuffer, std::size_t theLength);

    InputStream& itsStream;
    std::size_t itsWordBytes;
    std::array<unsigned char, 4> itsWord{}; ///< of which bytes itsWordBegin … itsWordEnd - 1 are yet to come
    std::size_t itsWordBegin = 0;
    std::size_t itsWordEnd = 0;
};
