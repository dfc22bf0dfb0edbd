// SPDX-License-Identifier: Apache-2.0
#include "quorix/detail/ImageState.h"

#include <utility>

namespace quorix
{
namespace
{
/// theGetter's answer about the image; a plain 0 where there is none.
template <class Getter>
auto Ask(const std::unique_ptr<ImageState>& theState, Getter theGetter)
{
    using Answer = decltype((std::declval<const Renderable&>().*theGetter)());
    return theState ? (*theState->itsRenderable.*theGetter)() : Answer{};
}

/// What theLookUp(data set, tag, value) finds.
template <class Value, class LookUp>
std::optional<Value> Find(const std::unique_ptr<ImageState>& theState, DICOMTag theTag,
                          const LookUp& theLookUp)
{
    if (!theState || !theState->itsDataSet)
    {
        return std::nullopt;
    }
    const std::lock_guard<std::mutex> aLock(theState->itsDataSet->itsMutex);
    Value aValue{};
    return theLookUp(theState->itsDataSet->itsDataSet, theTag, aValue) ? std::optional<Value>(aValue)
                                                                       : std::nullopt;
}
} // namespace

Image ImageState::MakeImage(ImageState theState)
{
    Image anImage;
    anImage.itsState = std::make_unique<ImageState>(std::move(theState));
    return anImage;
}

Image::Image() noexcept = default;
Image::~Image() = default;
Image::Image(Image&&) noexcept = default;
Image& Image::operator=(Image&&) noexcept = default;

ByteView Image::pixels() const noexcept
{
    return ByteView(Ask(itsState, &Renderable::getPixelData), Ask(itsState, &Renderable::getPixelDataSize));
}

bool Image::isLittleEndian() const noexcept
{
    return Ask(itsState, &Renderable::isPixelDataLittleEndian);
}

int Image::rows() const noexcept
{
    return Ask(itsState, &Renderable::getRows);
}

int Image::columns() const noexcept
{
    return Ask(itsState, &Renderable::getColumns);
}

int Image::samplesPerPixel() const noexcept
{
    return Ask(itsState, &Renderable::getSamplesPerPixel);
}

int Image::bitsAllocated() const noexcept
{
    return Ask(itsState, &Renderable::getBitsAllocated);
}

int Image::bitsStored() const noexcept
{
    return Ask(itsState, &Renderable::getBitsStored);
}

int Image::highBit() const noexcept
{
    return Ask(itsState, &Renderable::getHighBit);
}

bool Image::isSigned() const noexcept
{
    return Ask(itsState, &Renderable::isSigned);
}

PhotometricInterpretation Image::photometricInterpretation() const noexcept
{
    return static_cast<PhotometricInterpretation>(Ask(itsState, &Renderable::getPhotometricInterpretation));
}

std::string Image::photometricInterpretationName() const
{
    return Renderable::photometricInterpretationTypeToString(
        Ask(itsState, &Renderable::getPhotometricInterpretation));
}

bool Image::isPlanar() const noexcept
{
    return Ask(itsState, &Renderable::isPlanarConfiguration);
}

bool Image::isLossy() const noexcept
{
    return Ask(itsState, &Renderable::isLossyImageCompression);
}

int Image::compressionRatio() const noexcept
{
    return Ask(itsState, &Renderable::getCompressionRatio);
}

int Image::scale() const noexcept
{
    return itsState ? itsState->itsScale : 0;
}

int Image::frame() const noexcept
{
    return itsState ? itsState->itsFrame : 0;
}

const std::vector<Warning>& Image::warnings() const noexcept
{
    static const std::vector<Warning> kNone;
    return itsState ? itsState->itsWarnings : kNone;
}

std::optional<std::string> Image::attribute(std::uint16_t theGroup, std::uint16_t theElement) const
{
    return Find<std::string>(itsState, DICOMTag{theGroup, theElement},
                             [](const DICOMDataObject& theDataSet, DICOMTag theTag, RWCString& theValue)
                             { return theDataSet.GetString(theTag, theValue); });
}

std::optional<int> Image::attributeAsInt(std::uint16_t theGroup, std::uint16_t theElement) const
{
    return Find<int>(itsState, DICOMTag{theGroup, theElement},
                     [](const DICOMDataObject& theDataSet, DICOMTag theTag, std::int32_t& theValue)
                     { return theDataSet.GetInteger(theTag, theValue); });
}
} // namespace quorix
