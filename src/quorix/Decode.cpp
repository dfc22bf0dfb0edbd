// SPDX-License-Identifier: Apache-2.0
#include "quorix/decode.h"

#include <algorithm>
#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

#include "decoding/CodecTable.h"
#include "decoding/ImageType.h"
#include "decompressors/BareStreamDecode.h"
#include "decompressors/DICOMPart10StreamDecompressor.h"
#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "decompressors/Part10FrameWalk.h"
#include "image/VMMemoryAllocator.h"
#include "quorix/detail/CallersStream.h"
#include "quorix/detail/ImageState.h"
#include "toolkit/base/CaughtException.h"
#include "toolkit/base/CodestreamSignature.h"
#include "toolkit/dicom/Part10InputStream.h"
#include "toolkit/io/InputStream.h"
#include "toolkit/io/LFStream.h"

namespace quorix
{
namespace
{
constexpr std::size_t kPreambleLength = 128;
constexpr std::size_t kHeadLength = kPreambleLength + 4; ///< preamble and "DICM"

/// What an image's first bytes say it is; automatic where they say nothing.
ImageType TypeOf(const std::vector<unsigned char>& theHead)
{
    // The preamble may hold anything, the start of another kind of file included: look behind it first.
    if (theHead.size() > kPreambleLength &&
        CodestreamSignature::Begins(theHead.data() + kPreambleLength, theHead.size() - kPreambleLength,
                                    "DICM"))
    {
        return ImageType::dicom;
    }
    const CodecRow* const aRow = CodecTable::Recognise(theHead.data(), theHead.size());
    if (aRow == nullptr)
    {
        return Part10InputStream::LooksLikeElements(theHead.data(), theHead.size()) ? ImageType::dicom
                                                                                    : ImageType::automatic;
    }
    return aRow->itsImageType == IMAGE_TYPE_JPEG ? ImageType::jpeg : ImageType::jpeg2000;
}

JImageType BareTypeOf(ImageType theType)
{
    switch (theType)
    {
    case ImageType::jpeg2000:
        return IMAGE_TYPE_JPEG2000;
    case ImageType::losslessJpeg2000:
        return IMAGE_TYPE_JPEG2000_LOSSLESS;
    case ImageType::jpegLs:
        return IMAGE_TYPE_JPEGLS;
    default:
        return IMAGE_TYPE_JPEG;
    }
}

/// Other codecs report the scale that was asked for and deliver full size.
int AppliedScale(const Renderable& theImage, const DecompressionRequest& theRequest)
{
    const CodecRow* const aRow = CodecTable::Find(theRequest.getTransferSyntaxUID(), theRequest.getReading());
    return aRow != nullptr && aRow->itsCanReduce ? theImage.getScaleFactor() : 1;
}

void Check(const char* theName, int theValue, int theLeast)
{
    if (theValue < theLeast)
    {
        throw DecodeError(std::string(theName) + " is " + std::to_string(theValue) + ", must be at least " +
                              std::to_string(theLeast),
                          DLRC_GENERAL_FAILURE);
    }
}

void Check(const DecodeOptions& theOptions)
{
    Check("frame", theOptions.frame, 0);
    Check("frameCount", theOptions.frameCount, 1);
    Check("scale", theOptions.scale, 1);
    if (theOptions.region)
    {
        Check("region.x", theOptions.region->x, 0);
        Check("region.y", theOptions.region->y, 0);
        Check("region.width", theOptions.region->width, 1);
        Check("region.height", theOptions.region->height, 1);
    }
}

[[noreturn]] void Throw(const DecompressionResult& theResult)
{
    const int aCode = theResult.getDCMLibResultCode();
    throw DecodeError(theResult.getMessage(), aCode != DLRC_SUCCESS ? aCode : DLRC_DECODER_ERROR,
                      theResult.getSystemErrorCode());
}

/// The image of a result; throws where there is none.
std::unique_ptr<Renderable> Take(DecompressionResult& theResult)
{
    std::unique_ptr<Renderable> anImage(theResult.getRenderable());
    theResult.setRenderable(nullptr);
    if (theResult.getDCMLibResultCode() != DLRC_SUCCESS || !anImage)
    {
        Throw(theResult);
    }
    return anImage;
}

::Reading ReadingOf(const DecodeOptions& theOptions)
{
    return theOptions.reading == Reading::byContract ? ::Reading::BY_CONTRACT : ::Reading::BY_MEANING;
}

std::optional<PixelRegion> RegionOf(const DecodeOptions& theOptions)
{
    if (!theOptions.region)
    {
        return std::nullopt;
    }
    const auto [x, y, aWidth, aHeight] = *theOptions.region;
    return PixelRegion{static_cast<std::uint64_t>(x), static_cast<std::uint64_t>(y),
                       static_cast<std::uint64_t>(aWidth), static_cast<std::uint64_t>(aHeight)};
}

std::vector<Warning> WarningsOf(const std::vector<DecodeWarning>& theWarnings)
{
    std::vector<Warning> aWarnings;
    aWarnings.reserve(theWarnings.size());
    for (const DecodeWarning& aWarning : theWarnings)
    {
        aWarnings.push_back({aWarning.itsIdentifier, aWarning.itsText, aWarning.itsFrame});
    }
    return aWarnings;
}

Image DecodePart10(::InputStream& theStream, const DecodeOptions& theOptions)
{
    const auto aDataSet = std::make_shared<SharedDataSet>();
    DecompressionRequest aRequest(&theStream, &aDataSet->itsDataSet, "", false, theOptions.scale,
                                  theOptions.frame, "", false);
    aRequest.setReading(ReadingOf(theOptions));
    aRequest.setRegion(RegionOf(theOptions));
    DecompressionResult aResult;
    DICOMPart10StreamDecompressor().Decompress(aRequest, aResult);
    std::unique_ptr<Renderable> anImage = Take(aResult);
    const int aScale = AppliedScale(*anImage, aRequest);
    return ImageState::MakeImage(
        {std::move(anImage), aDataSet, theOptions.frame, aScale, WarningsOf(aResult.getWarnings())});
}

Image DecodeBare(::InputStream& theStream, ImageType theType, const DecodeOptions& theOptions)
{
    if (theOptions.frame != 0)
    {
        throw DecodeError("no frame " + std::to_string(theOptions.frame) + ": a bare image has one",
                          DLRC_GENERAL_FAILURE);
    }
    ReadingContext aContext(ReadingOf(theOptions));
    std::unique_ptr<Renderable> anImage = BareStreamDecode::Run(
        theStream, BareTypeOf(theType), theOptions.scale, RegionOf(theOptions), aContext);
    const int aScale = anImage->getScaleFactor();
    return ImageState::MakeImage(
        {std::move(anImage), nullptr, 0, aScale, WarningsOf(aContext.TakeWarnings())});
}

/// Where images go, one by one; false for no more.
using Receiver = std::function<bool(Image)>;

void DecodePart10Frames(::InputStream& theStream, const DecodeOptions& theOptions,
                        const Receiver& theReceiver)
{
    DICOMDataObject aDataSet; // which every frame's codec writes into
    std::shared_ptr<SharedDataSet> aShared;
    DecompressionRequest aRequest(&theStream, &aDataSet, "", false, theOptions.scale, 0, "", false);
    aRequest.setReading(ReadingOf(theOptions));
    aRequest.setRegion(RegionOf(theOptions));
    DecompressionResult aResult;
    int aLeft = theOptions.frameCount;
    Part10FrameWalk::RunFrom(
        aRequest, VMMemoryAllocator::GetDefaultInstance(), theOptions.frame,
        [&](int theFrameIndex, std::unique_ptr<Renderable> theImage,
            const std::vector<DecodeWarning>& theWarnings)
        {
            if (!aShared)
            {
                aShared = std::make_shared<SharedDataSet>();
                aShared->itsDataSet.CopyAttributes(aDataSet);
                DICOMPart10StreamDecompressor::FixUpDataSet(aShared->itsDataSet, *theImage, aResult);
            }
            const int aScale = AppliedScale(*theImage, aRequest);
            --aLeft;
            return theReceiver(ImageState::MakeImage(
                       {std::move(theImage), aShared, theFrameIndex, aScale, WarningsOf(theWarnings)})) &&
                   aLeft > 0;
        },
        aResult);
    if (aResult.getDCMLibResultCode() != DLRC_SUCCESS)
    {
        Throw(aResult);
    }
}

/// Tells what the stream holds and lets theWork(stream, type) begin at its first byte.
template <class Work>
auto WithType(::InputStream& theStream, const DecodeOptions& theOptions, const Work& theWork)
{
    if (theOptions.type != ImageType::automatic)
    {
        return theWork(theStream, theOptions.type);
    }
    RewindableInputStream aStream(theStream);
    std::vector<unsigned char> aHead(kHeadLength);
    aHead.resize(aStream.ReadFully(aHead.data(), aHead.size()));
    const ImageType aType = TypeOf(aHead);
    if (aType == ImageType::automatic)
    {
        throw DecodeError("neither a DICOM Part 10 stream nor a JPEG, JPEG 2000 or JP2 image",
                          DLRC_PARSE_ERROR);
    }
    aStream.Rewind();
    return theWork(aStream, aType);
}

/// theWork's answer, exceptions of the toolkit turned into those of the front door.
template <class Work>
auto Translate(const Work& theWork)
{
    try
    {
        return theWork();
    }
    catch (...)
    {
        const CaughtException aCaught = CaughtException::Current();
        if (!aCaught.IsOwn())
        {
            throw;
        }
        throw DecodeError(aCaught.GetReport(), aCaught.GetResultCodeOr(DLRC_DECODER_ERROR),
                          aCaught.itsSystemErrorCode);
    }
}

/// Opens a file and answers what theWork(stream) does.
template <class Work>
auto WithFile(const std::filesystem::path& theFile, const Work& theWork)
{
    LFInputStream aFile(theFile.native(), LFStream::MODE_READ_BINARY, LFStream::SHARE_DENY_NONE, 65536);
    std::error_code anError(aFile.IsOpen() ? 0 : errno, std::generic_category());
    std::error_code aNoMatter;
    if (!anError && std::filesystem::is_directory(theFile, aNoMatter))
    {
        anError = std::make_error_code(std::errc::is_a_directory);
    }
    if (anError)
    {
        throw DecodeError(theFile.string() + ": " + anError.message(), DLRC_FILE_NOT_FOUND, anError.value());
    }
    return theWork(aFile);
}

/// theWork's answer, unless the caller's code has thrown: then that.
template <class Work>
auto WithCallersCode(CallersCode& theCode, const Work& theWork)
{
    try
    {
        auto anAnswer = theWork();
        theCode.Rethrow();
        return anAnswer;
    }
    catch (...)
    {
        theCode.Rethrow();
        throw;
    }
}

Image DecodeOne(::InputStream& theStream, const DecodeOptions& theOptions)
{
    return Translate(
        [&]
        {
            return WithType(theStream, theOptions,
                            [&](::InputStream& theStart, ImageType theType)
                            {
                                return theType == ImageType::dicom
                                           ? DecodePart10(theStart, theOptions)
                                           : DecodeBare(theStart, theType, theOptions);
                            });
        });
}

int DecodeAll(::InputStream& theStream, const DecodeOptions& theOptions, const FrameCallback& theCallback,
              CallersCode& theCode)
{
    int aCount = 0;
    const Receiver aReceiver = [&](Image theImage)
    {
        ++aCount;
        const int aFrame = theImage.frame();
        return theCode.Call([&] { return theCallback(aFrame, std::move(theImage)); });
    };
    const auto aWork = [&](::InputStream& theStart, ImageType theType)
    {
        if (theType == ImageType::dicom)
        {
            DecodePart10Frames(theStart, theOptions, aReceiver);
        }
        else
        {
            aReceiver(DecodeBare(theStart, theType, theOptions));
        }
        return aCount;
    };
    return Translate([&] { return WithType(theStream, theOptions, aWork); });
}
} // namespace

Image decode(const std::filesystem::path& theFile, const DecodeOptions& theOptions)
{
    Check(theOptions);
    return WithFile(theFile, [&](::InputStream& theStream) { return DecodeOne(theStream, theOptions); });
}

Image decode(ByteView theBytes, const DecodeOptions& theOptions)
{
    Check(theOptions);
    MemoryInputStream aStream(theBytes.data(), theBytes.size());
    return DecodeOne(aStream, theOptions);
}

Image decode(InputStream& theStream, const DecodeOptions& theOptions)
{
    Check(theOptions);
    CallersCode aCode;
    CallersStream aStream(theStream, aCode);
    return WithCallersCode(aCode, [&] { return DecodeOne(aStream, theOptions); });
}

int decodeFrames(const std::filesystem::path& theFile, const DecodeOptions& theOptions,
                 const FrameCallback& theCallback)
{
    Check(theOptions);
    CallersCode aCode;
    return WithFile(theFile,
                    [&](::InputStream& theStream) {
                        return WithCallersCode(
                            aCode, [&] { return DecodeAll(theStream, theOptions, theCallback, aCode); });
                    });
}

int decodeFrames(ByteView theBytes, const DecodeOptions& theOptions, const FrameCallback& theCallback)
{
    Check(theOptions);
    CallersCode aCode;
    MemoryInputStream aStream(theBytes.data(), theBytes.size());
    return WithCallersCode(aCode, [&] { return DecodeAll(aStream, theOptions, theCallback, aCode); });
}

int decodeFrames(InputStream& theStream, const DecodeOptions& theOptions, const FrameCallback& theCallback)
{
    Check(theOptions);
    CallersCode aCode;
    CallersStream aStream(theStream, aCode);
    return WithCallersCode(aCode, [&] { return DecodeAll(aStream, theOptions, theCallback, aCode); });
}
} // namespace quorix
