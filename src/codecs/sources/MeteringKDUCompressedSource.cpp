// SPDX-License-Identifier: Apache-2.0
#include "codecs/sources/MeteringKDUCompressedSource.h"

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
