// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <limits>
#include <memory>

#include "decoding/CodecTable.h"
#include "decoding/ImageType.h"
#include "image/Renderable.h"
#include "jni/natives/detail/DecodeCall.h"
#include "jni/natives/detail/NativeBoundary.h"
#include "jni/natives/detail/StreamDecode.h"
#include "jni/streams/JavaSeekableInputStream.h"
#include "jni/streams/JavaStrings.h"
#include "pixels/DecompressionLibUtils.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/MVRFactory.h"

namespace
{
// Deliberately names of other operations: callers know these texts.
const RWCString kDecodeToMemory = "Native NDecompressor::decodeToMemory: ";
const RWCString kDecodeBytes = "Native NDecompressor::decodeBytes: ";

/// One image decoded into a data set.
class OrthoDecode
{
public:
    OrthoDecode(DecodeCall& theCall, const StreamDecode::Arguments& theArguments, bool isLossless)
        : itsCall(theCall), itsArguments(theArguments), itsLossless(isLossless),
          itsDataSet(theArguments.itsDataSet)
    {
    }

    void Run(jobject theStream)
    {
        if (itsDataSet == nullptr)
        {
            Fail("Native NDecompressor::decodeOrtho: null DICOMDataObject supplied");
        }
        else if (LoadDemoFile())
        {
            Decode(theStream);
        }
        if (itsCall.HasSucceeded())
        {
            itsCall.Decompress(1, [this] { PutIntoDataSet(); });
        }
    }

private:
    void Fail(const RWCString& theMessage) { itsCall.Fail(DLRC_DECODER_ERROR, theMessage); }
    bool LoadDemoFile();
    void Decode(jobject theStream);
    void PutIntoDataSet();
    static void CheckDimensions(const Renderable& theImage);
    RWCString GetCompression() const;
    void DescribePixels(const MVRFactory& theFactory, const Renderable& theImage);
    void RefuseMultiFrame();

    DecodeCall& itsCall;
    const StreamDecode::Arguments& itsArguments;
    bool itsLossless; ///< as the caller said, whatever the image type
    DICOMDataObject* itsDataSet;
};

bool OrthoDecode::LoadDemoFile()
{
    if (itsArguments.itsDemoFile.empty())
    {
        return true;
    }
    DLResultCode aCode = DLRC_SUCCESS;
    int aSystemErrorCode = 0;
    if (itsDataSet->LoadFromFile(itsArguments.itsDemoFile, aCode, aSystemErrorCode, DICOMTags::PixelData))
    {
        return true;
    }
    itsCall.Fail(aCode,
                 "Native NDecompressor::decodeOrtho: failed to load .demo file " + itsArguments.itsDemoFile);
    itsCall.GetResult().setSystemErrorCode(aSystemErrorCode);
    return false;
}

void OrthoDecode::Decode(jobject theStream)
{
    JavaSeekableInputStream aStream(itsCall.GetEnv(), theStream);
    if (!StreamDecode::IsPart10(itsArguments.itsImageType) &&
        !StreamDecode::IsBareImage(itsArguments.itsImageType, itsArguments.itsReading))
    {
        itsCall.FailWithInvalidType();
        return;
    }
    bool isReturned = false;
    itsCall.Decompress(1,
                       [&]
                       {
                           StreamDecode(aStream, itsArguments).Run(itsCall.GetResult());
                           isReturned = true;
                       });
    if (isReturned && itsCall.GetResult().getRenderable() == nullptr)
    {
        // Deliberately in place of what the decompressor said: callers look for this text.
        Fail(kDecodeBytes + "Decompressor returned null Renderable");
    }
}

RWCString OrthoDecode::GetCompression() const
{
    // Deliberately the type's own transfer syntax, whatever the lossless argument says.
    const CodecRow* const aType =
        CodecTable::FindImageType(itsArguments.itsImageType, itsArguments.itsReading);
    RWCString aKind = aType != nullptr ? aType->GetLossyKind(true) : "";
    if (!aKind.empty())
    {
        return aKind;
    }
    RWCString aUID;
    itsDataSet->GetString(DICOMTags::TransferSyntaxUID, aUID);
    const CodecRow* const aRow = CodecTable::Find(aUID, itsArguments.itsReading);
    return aRow != nullptr ? aRow->GetLossyKind(!itsLossless) : "";
}

void OrthoDecode::PutIntoDataSet()
{
    Renderable& anImage = *itsCall.GetResult().getRenderable();
    CheckDimensions(anImage);
    itsDataSet->RemoveVR(DICOMTags::PixelData);
    MVRFactory aFactory(itsDataSet->GetDataDictionary(), itsDataSet->GetEndian(),
                        VR::GetDefaultMemoryAllocater());
    // The element states the byte order that its bytes really have, so that no step turns them round:
    // writing converts.
    std::unique_ptr<BufferVR> aPixels = aFactory.CreatePixelData(
        anImage.getPixelData(), anImage.getPixelDataSize(), VR::TYPE_OW,
        anImage.isPixelDataLittleEndian() ? DLEndian::LITTLE_ENDIAN_ORDER : DLEndian::BIG_ENDIAN_ORDER);
    if (!DecompressionLibUtils::FixupDICOMObjectFromRenderable(itsDataSet, &anImage, aFactory, aPixels.get(),
                                                               GetCompression(), !itsLossless,
                                                               itsCall.GetReading()))
    {
        Fail(kDecodeToMemory + "the data set could not be brought in line with the decoded image");
        return;
    }
    DescribePixels(aFactory, anImage);
    static_cast<void>(anImage.takePixelData()); // the element owns the pixels now
    aPixels->TakeOwnership(anImage.getMemoryAllocator());
    if (!itsDataSet->AddVR(std::move(aPixels)))
    {
        itsCall.Fail(DLRC_DECODING_INTERRUPTED, kDecodeToMemory + "push pixel data into DDO failed");
        return;
    }
    RefuseMultiFrame();
}

/// The dimensions of codestreams have been looked at before they were decoded. Those of native pixels are the
/// data set's own, which may have taken more than 16 bits for them.
void OrthoDecode::CheckDimensions(const Renderable& theImage)
{
    constexpr int kMost = std::numeric_limits<std::uint16_t>::max();
    if (theImage.getRows() > kMost || theImage.getColumns() > kMost)
    {
        throw DLRuntimeException("the image does not fit a DICOM data set");
    }
}

/// What the fix-up leaves alone but a reader of the pixels needs: a conversion to 8-bit RGB changes the
/// width of samples, and a bare codestream may come with no description at all.
void OrthoDecode::DescribePixels(const MVRFactory& theFactory, const Renderable& theImage)
{
    const auto aSet = [&](DICOMTag theTag, int theValue)
    {
        std::uint16_t aPresent = 0;
        if (!itsDataSet->GetUnsignedShort(theTag, aPresent) || aPresent != theValue)
        {
            itsDataSet->ReplaceVR(
                theFactory.CreateUnsignedShort(theTag, static_cast<std::uint16_t>(theValue)));
        }
    };
    aSet(DICOMTags::SamplesPerPixel, theImage.getSamplesPerPixel());
    aSet(DICOMTags::Rows, theImage.getRows());
    aSet(DICOMTags::Columns, theImage.getColumns());
    aSet(DICOMTags::BitsAllocated, theImage.getBitsAllocated());
    aSet(DICOMTags::PixelRepresentation, theImage.isSigned() ? 1 : 0);
}

void OrthoDecode::RefuseMultiFrame()
{
    RWCString aFrameCount = "1";
    if (StreamDecode::IsPart10(itsArguments.itsImageType) &&
        itsDataSet->GetString(DICOMTags::NumberOfFrames, aFrameCount) &&
        std::strtol(aFrameCount.c_str(), nullptr, 10) > 1)
    {
        // Deliberately not before the first frame is in the data set.
        itsCall.Fail(DLRC_GENERAL_FAILURE, kDecodeBytes + "multiframe images not supported");
    }
}
} // namespace

extern "C" JNIEXPORT jboolean JNICALL Java_com_quorix_decompression_NDecompressor_decodeOrtho(
    JNIEnv* theEnv, jobject, jobject theStream, jint theImageType, jboolean theLossless, jlong theDataSet,
    jstring theDemoFile, jint theScaleFactor, jobject theResult)
{
    return NativeBoundary::Guard<jboolean>(
        JNI_FALSE,
        [&]
        {
            DecodeCall aCall(*theEnv, theResult, "decodeOrtho", "decodeToMemory");
            return aCall.Run(
                [&]
                {
                    const bool isLossless = theLossless != JNI_FALSE;
                    const EncodedString aPath(*theEnv, theDemoFile, EncodedString::CODE_PAGE_ISO_8859_1);
                    const StreamDecode::Arguments anArguments{
                        theImageType,
                        theImageType == IMAGE_TYPE_JPEG2000_LOSSLESS || isLossless,
                        NativeBoundary::FromHandle<DICOMDataObject>(theDataSet),
                        aPath.GetString(),
                        true,
                        theScaleFactor,
                        0,
                        aCall.GetReading()};
                    OrthoDecode(aCall, anArguments, isLossless).Run(theStream);
                });
        });
}
