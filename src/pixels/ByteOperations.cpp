// SPDX-License-Identifier: Apache-2.0
#include "pixels/DecompressionLibUtils.h"

#include <array>
#include <cstdarg>
#include <cstdio>

#include "pixels/detail/RenderableConversion.h"

void DecompressionLibUtils::SwapBytes(void* theData, int theRows, int theColumns)
{
    // Deliberately no exchange and deliberately one pair too many: callers know the result bit for bit.
    auto* const aData = static_cast<std::uint8_t*>(theData);
    const std::int64_t aSize = static_cast<std::int64_t>(theRows) * theColumns * 2;
    for (std::int64_t i = 0; i < aSize + 1; i += 2)
    {
        aData[i + 1] = aData[i];
    }
}

void DecompressionLibUtils::ApplyOffset(void* theData, std::uint64_t theSizeInBytes, std::int16_t theOffset)
{
    auto* const aData = static_cast<std::uint8_t*>(theData);
    const auto anOffset = static_cast<std::uint16_t>(theOffset);
    for (std::uint64_t i = 0; i < theSizeInBytes / 2; ++i)
    {
        const auto aSample = PixelSample::Read<std::uint16_t>(aData, i, false);
        PixelSample::Write(aData, i, static_cast<std::uint16_t>(aSample + anOffset));
    }
}

void DecompressionLibUtils::ApplyOffset(void* theData, std::uint64_t theSizeInBytes, std::int8_t theOffset)
{
    auto* const aData = static_cast<std::uint8_t*>(theData);
    const auto anOffset = static_cast<std::uint8_t>(theOffset);
    for (std::uint64_t i = 0; i < theSizeInBytes; ++i)
    {
        aData[i] = static_cast<std::uint8_t>(aData[i] + anOffset);
    }
}

void DecompressionLibUtils::ErrMessage(RWCString& theOutput, const char* theFormat, ...)
{
    // 1024 characters and the terminator. Formatted aside, because theOutput may be one of the arguments.
    std::array<char, 1025> aText{};
    va_list anArguments;
    va_start(anArguments, theFormat);
    const int aLength = std::vsnprintf(aText.data(), aText.size(), theFormat, anArguments);
    va_end(anArguments);
    theOutput = aLength < 0 ? "" : aText.data();
}
