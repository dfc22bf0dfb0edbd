// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/ExchangedWordsInputStream.h"

#include <algorithm>

namespace
{
template <std::size_t kBytes>
void ExchangeWords(unsigned char* theData, std::uint64_t theCount)
{
    for (std::uint64_t i = 0; i < theCount; ++i)
    {
        std::reverse(theData + i * kBytes, theData + (i + 1) * kBytes);
    }
}
} // namespace

ExchangedWordsInputStream::ExchangedWordsInputStream(InputStream& theStream, std::size_t theWordBytes)
    : itsStream(theStream), itsWordBytes(theWordBytes)
{
}

void ExchangedWordsInputStream::Exchange(unsigned char* theData, std::uint64_t theCount,
                                         std::size_t theWordBytes)
{
    theWordBytes == 4 ? ExchangeWords<4>(theData, theCount) : ExchangeWords<2>(theData, theCount);
}

std::size_t ExchangedWordsInputStream::Read(unsigned char* theBuffer, std::size_t theLength)
{
    if (itsWordBegin != itsWordEnd || theLength < itsWordBytes)
    {
        return DeliverWord(theBuffer, theLength);
    }
    const std::size_t aDone = itsStream.ReadFully(theBuffer, theLength / itsWordBytes * itsWordBytes);
    Exchange(theBuffer, aDone / itsWordBytes, itsWordBytes);
    return aDone;
}

std::size_t ExchangedWordsInputStream::Skip(std::size_t theLength)
{
    if (itsWordBegin != itsWordEnd || theLength < itsWordBytes)
    {
        std::array<unsigned char, 4> aPassed;
        return DeliverWord(aPassed.data(), std::min(theLength, aPassed.size()));
    }
    return itsStream.SkipFully(theLength / itsWordBytes * itsWordBytes);
}

/// What is left of the word that a reader stopped in, or the front of the next one.
std::size_t ExchangedWordsInputStream::DeliverWord(unsigned char* theBuffer, std::size_t theLength)
{
    if (itsWordBegin == itsWordEnd)
    {
        itsWordBegin = 0;
        itsWordEnd = itsStream.ReadFully(itsWord.data(), itsWordBytes);
        Exchange(itsWord.data(), itsWordEnd / itsWordBytes, itsWordBytes);
    }
    const std::size_t aCount = std::min(theLength, itsWordEnd - itsWordBegin);
    std::copy_n(itsWord.data() + itsWordBegin, aCount, theBuffer);
    itsWordBegin += aCount;
    return aCount;
}
