// SPDX-License-Identifier: Apache-2.0
#include "codecs/sources/CompressedSources.h"

#include <algorithm>

#include "toolkit/base/Exceptions.h"
#include "toolkit/io/InputStream.h"

InputStreamAdapter::InputStreamAdapter(const InputStreamAdapter&)
    : kdu_compressed_source(), itsStream(nullptr)
{
    throw StreamIOException("InputStreamAdapter::InputStreamAdapter: copy construction not allowed",
                            DLRC_GENERAL_FAILURE, 0);
}

InputStreamAdapter& InputStreamAdapter::operator=(const InputStreamAdapter&)
{
    throw StreamIOException("InputStreamAdapter::operator=: assignment not allowed", DLRC_GENERAL_FAILURE, 0);
}

int InputStreamAdapter::read(kdu_byte* theBuffer, int theCount)
{
    if (theCount <= 0)
    {
        return 0;
    }
    return static_cast<int>(itsStream->ReadFully(theBuffer, static_cast<std::size_t>(theCount)));
}

std::uint64_t LookAheadCompressedSource::Count(std::uint64_t theMost)
{
    constexpr std::size_t kChunk = 0x10000;
    int aCount = 1;
    while (itsBytesTaken < theMost && aCount > 0)
    {
        const std::size_t aSize = itsAhead.size();
        itsAhead.resize(aSize + kChunk);
        aCount = std::max(itsSource.read(itsAhead.data() + aSize, kChunk), 0);
        itsAhead.resize(aSize + static_cast<std::size_t>(aCount));
        itsBytesTaken += static_cast<std::uint64_t>(aCount);
    }
    return itsBytesTaken;
}

int LookAheadCompressedSource::read(kdu_byte* theBuffer, int theCount)
{
    const int aKept = static_cast<int>(
        std::min(itsAhead.size() - itsAheadOffset, static_cast<std::size_t>(std::max(theCount, 0))));
    std::copy_n(itsAhead.begin() + static_cast<std::ptrdiff_t>(itsAheadOffset), aKept, theBuffer);
    itsAheadOffset += static_cast<std::size_t>(aKept);
    if (aKept > 0 && aKept == theCount)
    {
        return aKept;
    }
    const int aCount = itsSource.read(theBuffer + aKept, theCount - aKept);
    itsBytesTaken += static_cast<std::uint64_t>(std::max(aCount, 0));
    return aKept > 0 ? aKept + std::max(aCount, 0) : aCount;
}

MeteringKDUCompressedSource::MeteringKDUCompressedSource(const MeteringKDUCompressedSource& theOther)
    : kdu_compressed_source(), itsSource(theOther.itsSource)
{
    throw StreamIOException(
        "MeteringKDUCompressedSource::MeteringKDUCompressedSource: copy construction not allowed",
        DLRC_GENERAL_FAILURE, 0);
}

MeteringKDUCompressedSource& MeteringKDUCompressedSource::operator=(const MeteringKDUCompressedSource&)
{
    throw StreamIOException("MeteringKDUCompressedSource::operator=: assignment not allowed",
                            DLRC_GENERAL_FAILURE, 0);
}

int MeteringKDUCompressedSource::read(kdu_byte* theBuffer, int theCount)
{
    const int aResult = itsSource.read(theBuffer, theCount);
    if (aResult > 0)
    {
        itsBytesRead += static_cast<std::uint64_t>(aResult);
    }
    return aResult;
}

bool MeteringKDUCompressedSource::close()
{
    itsSource.close();
    return true;
}
