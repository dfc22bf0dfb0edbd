// SPDX-License-Identifier: Apache-2.0
#include "outputs/RawWriter.h"

#include "outputs/OutputFile.h"

void RawWriter::Write(const DecodedFrame& theFrame, const std::string& thePath) const
{
    OutputFile aFile(thePath);
    aFile.Write(theFrame.itsRenderable->getPixelData(), theFrame.itsRenderable->getPixelDataSize());
    aFile.Close();
}
