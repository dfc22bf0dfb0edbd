// SPDX-License-Identifier: Apache-2.0
#include "outputs/RendWriter.h"

#include <filesystem>

#include "outputs/OutputError.h"

void RendWriter::Write(const DecodedFrame& theFrame, const std::string& thePath) const
{
    constexpr std::uintmax_t kHeaderLength = 64;
    theFrame.itsRenderable->saveToFile(thePath.c_str());
    // A short write goes unnoticed there.
    const std::uintmax_t anExpected =
        kHeaderLength + theFrame.itsRenderable->getRequiredPixelDataBufferSize();
    std::error_code anError;
    if (std::filesystem::file_size(thePath, anError) != anExpected || anError)
    {
        throw OutputError("the file could not be written as a whole");
    }
}
