// SPDX-License-Identifier: Apache-2.0
#include "outputs/PNMWriter.h"

#include "outputs/OutputFile.h"
#include "outputs/Picture.h"

std::string PNMWriter::GetExtension(const DecodedFrame& theFrame) const
{
    return theFrame.itsRenderable->getSamplesPerPixel() == 1 ? ".pgm" : ".ppm";
}

void PNMWriter::Write(const DecodedFrame& theFrame, const std::string& thePath) const
{
    Picture aPicture(theFrame, itsWindow);
    OutputFile aFile(thePath);
    std::string aHeader = aPicture.IsColour() ? "P6\n" : "P5\n";
    if (aPicture.GetOffset() != 0)
    {
        aHeader += "# sample = value + " + std::to_string(aPicture.GetOffset()) + "\n";
    }
    aHeader += std::to_string(aPicture.GetColumns()) + " " + std::to_string(aPicture.GetRows()) + "\n" +
               std::to_string((1 << aPicture.GetDepth()) - 1) + "\n";
    aFile.Write(aHeader.data(), aHeader.size());
    std::vector<unsigned char> aRow;
    for (std::uint32_t aRowIndex = 0; aRowIndex < aPicture.GetRows(); ++aRowIndex)
    {
        aPicture.GetRow(aRowIndex, aRow);
        aFile.Write(aRow.data(), aRow.size());
    }
    aFile.Close();
}
