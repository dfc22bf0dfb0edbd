// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/ExaminedJPEG.h"

#include <algorithm>
#include <limits>
#include <string_view>

#include "toolkit/base/CodestreamSignature.h"

namespace
{
constexpr std::size_t kMostExamined = std::size_t{16} << 20;
} // namespace

std::size_t ExaminedJPEG::Bytes::Read(unsigned char* theBuffer, std::size_t theLength)
{
    const std::size_t aMost = itsIsExamined ? kMostExamined - itsPosition : std::numeric_limits<int>::max();
    // A source that has failed says so again when the codec asks.
    const int aCount = itsSource.read(theBuffer, static_cast<int>(std::min(theLength, aMost)));
    itsPosition += static_cast<std::size_t>(std::max(aCount, 0));
    return static_cast<std::size_t>(std::max(aCount, 0));
}

ExaminedJPEG::ExaminedJPEG(kdu_compressed_source& theSource) : itsBytes(theSource)
{
    constexpr std::string_view kSOI = CodestreamSignature::kJPEG.substr(0, 2);
    unsigned char aStart[kSOI.size()] = {};
    if (CodestreamSignature::Begins(aStart, itsStream.ReadFully(aStart, sizeof(aStart)), kSOI))
    {
        itsHeader = JPEGHeader::Read(itsStream);
    }
    itsBytes.Release();
    itsStream.Rewind();
}
