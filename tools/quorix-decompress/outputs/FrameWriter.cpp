// SPDX-License-Identifier: Apache-2.0
#include "outputs/FrameWriter.h"

#include <filesystem>

#include "outputs/OutputFile.h"
#include "outputs/Picture.h"

std::unique_ptr<FrameWriter> FrameWriter::Create(const Options& theOptions)
{
    switch (theOptions.GetFormat())
    {
    case OutputFormat::PNG:
        return std::make_unique<PNGWriter>(theOptions.GetWindow());
    case OutputFormat::PNM:
        return std::make_unique<PNMWriter>(theOptions.GetWindow());
    case OutputFormat::RAW:
        return std::make_unique<RawWriter>();
    case OutputFormat::REND:
        return std::make_unique<RendWriter>();
    case OutputFormat::DICOM:
    case OutputFormat::NONE:
        break;
    }
    return nullptr;
}

void RawWriter::Write(const DecodedFrame& theFrame, TemporaryFile& theFile) const
{
    OutputFile aFile(theFile);
    aFile.Write(theFrame.itsRenderable->getPixelData(), theFrame.itsRenderable->getPixelDataSize());
    aFile.Close();
}

void RendWriter::Write(const DecodedFrame& theFrame, TemporaryFile& theFile) const
{
    constexpr std::uintmax_t kHeaderLength = 64;
    const std::uintmax_t anExpected =
        kHeaderLength + theFrame.itsRenderable->getRequiredPixelDataBufferSize();
    theFile.Claim(anExpected);
    theFrame.itsRenderable->saveToFile(theFile.GetPath().c_str());
    // A short write goes unnoticed there.
    std::error_code anError;
    if (std::filesystem::file_size(theFile.GetPath(), anError) != anExpected || anError)
    {
        throw OutputError("the file could not be written as a whole");
    }
}

std::string PNMWriter::GetExtension(const DecodedFrame& theFrame) const
{
    return theFrame.itsRenderable->getSamplesPerPixel() == 1 ? ".pgm" : ".ppm";
}

void PNMWriter::Write(const DecodedFrame& theFrame, TemporaryFile& theFile) const
{
    Picture aPicture(theFrame, itsWindow);
    OutputFile aFile(theFile);
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
