// SPDX-License-Identifier: Apache-2.0
#include "codecs/sources/InputStreamAdapter.h"

#include "toolkit/io/InputStream.h"

int InputStreamAdapter::read(kdu_byte* theBuffer, int theCount)
{
    if (theCount <= 0)
    {
        return 0;
    }
    return static_cast<int>(itsStream->ReadFully(theBuffer, static_cast<std::size_t>(theCount)));
}
