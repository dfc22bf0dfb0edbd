// SPDX-License-Identifier: Apache-2.0
#include "outputs/DICOMWriter.h"

#include <algorithm>
#include <filesystem>

#include "outputs/OutputFile.h"
#include "pixels/DecompressionLibUtils.h"
#include "toolkit/dicom/MVRFactory.h"
#include "toolkit/dicom/TransferSyntaxType.h"

namespace
{
/// A value of undefined length is not allowed for native pixels, and lengths have 32 bits.
constexpr std::uint64_t kMaximumLength = 0xfffffffe;

MVRFactory FactoryFor(const DICOMDataObject& theDataSet)
{
    return MVRFactory(theDataSet.GetDataDictionary(), theDataSet.GetEndian(),
                      VR::GetDefaultMemoryAllocater());
}

/// Bytes of the image itself; the buffer may be longer.
std::uint64_t ImageSize(const Renderable& theImage)
{
    return std::min(theImage.getPixelDataSize(), theImage.getRequiredPixelDataBufferSize());
}
} // namespace

void DICOMWriter::CheckAlike(const Renderable& theImage) const
{
    const Renderable& aFirst = *itsFirst.itsRenderable;
    if (theImage.getRows() != aFirst.getRows() || theImage.getColumns() != aFirst.getColumns() ||
        theImage.getSamplesPerPixel() != aFirst.getSamplesPerPixel() ||
        theImage.getBitsAllocated() != aFirst.getBitsAllocated() ||
        theImage.getBitsStored() != aFirst.getBitsStored() || theImage.isSigned() != aFirst.isSigned() ||
        theImage.isPixelDataLittleEndian() != aFirst.isPixelDataLittleEndian() ||
        theImage.getPhotometricInterpretation() != aFirst.getPhotometricInterpretation() ||
        ImageSize(theImage) != ImageSize(aFirst))
    {
        throw RefusedOutput("frames that differ in size or layout do not fit one file");
    }
    if (theImage.getBitsAllocated() < 8 &&
        ImageSize(theImage) * 8 != std::uint64_t(theImage.getRows()) * std::uint64_t(theImage.getColumns()))
    {
        throw RefusedOutput("frames of single bits that end inside a byte are not joined");
    }
}

void DICOMWriter::AddFrame(DecodedFrame theFrame)
{
    if (IsEmpty())
    {
        itsFirst = std::move(theFrame);
        itsFrameCount = 1;
        return;
    }
    CheckAlike(*theFrame.itsRenderable);
    const std::uint64_t aSize = ImageSize(*theFrame.itsRenderable);
    if ((itsFrameCount + 1) * aSize > kMaximumLength)
    {
        throw RefusedOutput("the frames are too large for one file");
    }
    if (itsFrameCount == 1)
    {
        const auto* const aBytes = static_cast<const unsigned char*>(itsFirst.itsRenderable->getPixelData());
        itsPixels.assign(aBytes, aBytes + aSize);
    }
    const auto* const aBytes = static_cast<const unsigned char*>(theFrame.itsRenderable->getPixelData());
    itsPixels.insert(itsPixels.end(), aBytes, aBytes + aSize);
    ++itsFrameCount;
}

void DICOMWriter::PrepareDataSet()
{
    const bool isBare = itsFirst.itsDataSet == nullptr;
    if (isBare)
    {
        itsFirst.itsDataSet = SecondaryCapture::MakeDataSet();
    }
    DICOMDataObject& aDataSet = *itsFirst.itsDataSet;
    MVRFactory aFactory = FactoryFor(aDataSet);
    Renderable& anImage = *itsFirst.itsRenderable;
    // The element says that the pixels already are in its byte order: the fix-up must not touch them.
    BufferVR aPixels(DICOMTags::PixelData, VR::TYPE_OW,
                     anImage.isPixelDataLittleEndian() ? DLEndian::LITTLE_ENDIAN_ORDER
                                                       : DLEndian::BIG_ENDIAN_ORDER,
                     anImage.getPixelData(), anImage.getPixelDataSize());
    const RWCString& aKind = itsFirst.itsCompressionKind;
    DecompressionLibUtils::FixupDICOMObjectFromRenderable(&aDataSet, &anImage, aFactory, &aPixels, aKind,
                                                          !aKind.empty(), itsFirst.itsReading);
    if (isBare)
    {
        // Not earlier: the lossy history would name this very image as its own source.
        aDataSet.ReplaceVR(aFactory.CreateUID(DICOMTags::SOPInstanceUID, SecondaryCapture::MakeUID()));
    }
}

void DICOMWriter::DescribePixels()
{
    DICOMDataObject& aDataSet = *itsFirst.itsDataSet;
    const MVRFactory aFactory = FactoryFor(aDataSet);
    const Renderable& anImage = *itsFirst.itsRenderable;
    const auto Set = [&](DICOMTag theTag, int theValue)
    { aDataSet.ReplaceVR(aFactory.CreateUnsignedShort(theTag, static_cast<std::uint16_t>(theValue))); };
    Set(DICOMTags::SamplesPerPixel, anImage.getSamplesPerPixel());
    Set(DICOMTags::Rows, anImage.getRows());
    Set(DICOMTags::Columns, anImage.getColumns());
    Set(DICOMTags::BitsAllocated, anImage.getBitsAllocated());
    Set(DICOMTags::PixelRepresentation, anImage.isSigned() ? 1 : 0);
    if (itsFrameCount > 1 || aDataSet.Contains(DICOMTags::NumberOfFrames))
    {
        aDataSet.ReplaceVR(aFactory.CreateString(DICOMTags::NumberOfFrames, std::to_string(itsFrameCount)));
    }
    aDataSet.RemoveVR(DICOMTags::ExtendedOffsetTable);
    aDataSet.RemoveVR(DICOMTags::ExtendedOffsetTableLengths);
}

void DICOMWriter::Save(TemporaryFile& theFile)
{
    const Renderable& anImage = *itsFirst.itsRenderable;
    const std::uint64_t aSize = itsFrameCount == 1 ? ImageSize(anImage) : itsPixels.size();
    if (aSize > kMaximumLength || anImage.getRows() > 65535 || anImage.getColumns() > 65535)
    {
        throw RefusedOutput("the image is too large for a DICOM file");
    }
    theFile.Claim(aSize);
    PrepareDataSet();
    DescribePixels();
    DICOMDataObject& aDataSet = *itsFirst.itsDataSet;
    ReducedDataSet::Adapt(aDataSet, itsFirst.itsHalvings, itsFirst.itsRegion);
    aDataSet.ReplaceVR(FactoryFor(aDataSet).CreatePixelData(
        itsFrameCount == 1 ? anImage.getPixelData() : itsPixels.data(), aSize,
        anImage.getBitsAllocated() > 8 ? VR::TYPE_OW : VR::TYPE_OB,
        anImage.isPixelDataLittleEndian() ? DLEndian::LITTLE_ENDIAN_ORDER : DLEndian::BIG_ENDIAN_ORDER));
    aDataSet.SaveToFile(theFile.GetPath(), TransferSyntaxType::TSExplicitLittleEndianUID);
    theFile.Claim(std::filesystem::file_size(theFile.GetPath()) - aSize);
}
