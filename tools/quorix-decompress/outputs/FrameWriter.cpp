// SPDX-License-Identifier: Apache-2.0
#include "outputs/FrameWriter.h"

#include "outputs/PNGWriter.h"
#include "outputs/PNMWriter.h"
#include "outputs/RawWriter.h"
#include "outputs/RendWriter.h"

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
