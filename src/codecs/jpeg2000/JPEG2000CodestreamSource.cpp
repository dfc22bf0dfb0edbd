// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg2000/detail/JPEG2000CodestreamSource.h"

#include <algorithm>
#include <cstring>

#include "jp2/jp2_source.h"
#include "toolkit/base/CodestreamSignature.h"

void JPEG2000CodestreamSource::FindCodestream(bool isHeaderOptional)
{
    while (itsFrontSize < itsFront.size())
    {
        const int aCount =
            itsSource.read(itsFront.data() + itsFrontSize, static_cast<int>(itsFront.size() - itsFrontSize));
        if (aCount <= 0)
        {
            break;
        }
        itsFrontSize += static_cast<std::size_t>(aCount);
    }
    // The length of the signature box tells: no codestream begins with it.
    if (CodestreamSignature::Begins(itsFront.data(), itsFrontSize,
                                    CodestreamSignature::kJP2.substr(0, itsFront.size())))
    {
        ReadBoxes(isHeaderOptional);
    }
}

void JPEG2000CodestreamSource::ReadBoxes(bool isHeaderOptional)
{
    jp2_family_src aFamily;
    aFamily.open(&itsSource);
    aFamily.put_back(itsFront.data(), itsFrontSize);
    jp2_source aFile;
    aFile.open(&aFamily);
    if (isHeaderOptional)
    {
        aFile.accept_missing_header();
    }
    aFile.read_header();
    itsLacksHeader = aFile.lacks_header();
    itsColours = aFile.get_colours();
    itsRemaining = aFile.get_codestream_length();
    aFile.close();
    aFamily.close();
    itsFrontPosition = itsFrontSize;
}

int JPEG2000CodestreamSource::read(kdu_byte* theBuffer, int theCount)
{
    if (theCount <= 0)
    {
        return 0;
    }
    if (itsFrontPosition < itsFrontSize)
    {
        const std::size_t aCount =
            std::min(static_cast<std::size_t>(theCount), itsFrontSize - itsFrontPosition);
        std::memcpy(theBuffer, itsFront.data() + itsFrontPosition, aCount);
        itsFrontPosition += aCount;
        return static_cast<int>(aCount);
    }
    const int aWanted =
        static_cast<int>(std::min<std::uint64_t>(static_cast<std::uint64_t>(theCount), itsRemaining));
    if (aWanted == 0)
    {
        return 0;
    }
    const int aCount = itsSource.read(theBuffer, aWanted);
    itsRemaining -= static_cast<std::uint64_t>(std::max(aCount, 0));
    return aCount;
}
