// SPDX-License-Identifier: Apache-2.0
#include "codecs/sources/CompressedSources.h"

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
