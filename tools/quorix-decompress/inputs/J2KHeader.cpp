// SPDX-License-Identifier: Apache-2.0
#include "inputs/J2KHeader.h"

#include <limits>
#include <string_view>
#include <vector>

#include "toolkit/base/CodestreamSignature.h"

namespace
{
constexpr std::size_t kSearchedLength = std::size_t{1} << 20;
constexpr std::size_t kNeededLength = 43; // SOC to the first component's Ssiz

std::uint32_t Number(const unsigned char* theBytes)
{
    return std::uint32_t{theBytes[0]} << 24 | std::uint32_t{theBytes[1]} << 16 |
           std::uint32_t{theBytes[2]} << 8 | theBytes[3];
}

/// The image's extent in one direction; -1 for one that makes no sense.
int Extent(std::uint32_t theEnd, std::uint32_t theStartOffset)
{
    const bool isUsable =
        theEnd > theStartOffset &&
        theEnd - theStartOffset <= static_cast<std::uint32_t>(std::numeric_limits<int>::max());
    return isUsable ? static_cast<int>(theEnd - theStartOffset) : -1;
}
} // namespace

std::optional<J2KHeader> J2KHeader::Read(InputStream& theStream)
{
    std::vector<unsigned char> aHead(kSearchedLength);
    aHead.resize(theStream.ReadFully(aHead.data(), aHead.size()));
    const std::size_t aFound = std::string_view(reinterpret_cast<const char*>(aHead.data()), aHead.size())
                                   .find(CodestreamSignature::kJPEG2000);
    if (aFound == std::string_view::npos || aHead.size() - aFound < kNeededLength)
    {
        return std::nullopt;
    }
    const unsigned char* const aSize = aHead.data() + aFound + 8; // past both markers, Lsiz and Rsiz
    J2KHeader aHeader;
    aHeader.itsColumns = Extent(Number(aSize), Number(aSize + 8));
    aHeader.itsRows = Extent(Number(aSize + 4), Number(aSize + 12));
    aHeader.itsComponents = aSize[32] * 256 + aSize[33];
    aHeader.itsPrecision = (aSize[34] & 0x7f) + 1;
    aHeader.itsSigned = (aSize[34] & 0x80) != 0;
    if (aHeader.itsColumns < 0 || aHeader.itsRows < 0 || aHeader.itsComponents == 0)
    {
        return std::nullopt;
    }
    return aHeader;
}
