// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "image/Renderable.h"
#include "jni/FakeJavaQueue.h"
#include "jni/FakeJavaStream.h"
#include "toolkit/dicom/DICOMDataObject.h"

extern "C"
{
    JNIEXPORT jobject JNICALL Java_com_quorix_decompression_NDecompressor_decodeInputBufferQueueToMemory(
        JNIEnv*, jobject, jobject, jlong, jint, jboolean, jint, jobject);
    JNIEXPORT jobject JNICALL Java_com_quorix_decompression_NDecompressor_decodeSeekableInputStreamToMemory(
        JNIEnv*, jobject, jobject, jlong, jint, jint, jint, jobject);
}

/// What Java has when it calls the decoding methods: an image as a queue and as a stream, a result object,
/// and the class that takes the decoded image. For one call.
class FakeDecompressor
{
public:
    using Bytes = std::vector<std::uint8_t>;

    explicit FakeDecompressor(const Bytes& theImage)
        : itsQueue(itsJava, Split(theImage)), itsStream(itsJava, 0), itsResult(itsJava.New("Result"))
    {
        itsStream.itsBytes.assign(theImage.begin(), theImage.end());
        itsJava.AddClass("com/quorix/decompression/Renderable").itsMethods["<init>(JZ)V"] =
            [this](const auto& theArguments)
        {
            itsImage.reset(reinterpret_cast<Renderable*>(theArguments[0].itsNumber));
            return FakeJava::Value();
        };
        itsResult.itsFields = {
            {"DLResultCodeI", jlong(-1)}, {"SystemErrorI", jlong(-1)}, {"MessageLjava/lang/String;", {}}};
        itsResult.itsClass->itsFields = itsResult.itsFields;
    }

    /// The pixels; none without an image. theImageType as in Java.
    Bytes DecodeQueue(jint theImageType)
    {
        return Take(Java_com_quorix_decompression_NDecompressor_decodeInputBufferQueueToMemory(
            &itsJava, nullptr, itsQueueArgument, GetDataSet(), theImageType, JNI_TRUE, 1, itsResultArgument));
    }
    Bytes DecodeStream(jint theImageType)
    {
        return Take(Java_com_quorix_decompression_NDecompressor_decodeSeekableInputStreamToMemory(
            &itsJava, nullptr, itsStreamArgument, GetDataSet(), theImageType, 0, 1, itsResultArgument));
    }

    jlong GetCode() const { return itsResult.itsFields.at("DLResultCodeI").itsNumber; }
    std::u16string GetMessage() const
    {
        const FakeJava::Object* const aText = itsResult.itsFields.at("MessageLjava/lang/String;").itsObject;
        return aText != nullptr ? aText->itsText : u"";
    }
    /// References that are out, besides those to the arguments.
    std::size_t GetLostReferences() const
    {
        return itsJava.GetGlobalCount() + itsJava.GetLocalCount() - kArgumentCount;
    }

    FakeJava itsJava;
    FakeJavaQueue itsQueue;
    FakeJavaStream itsStream;

private:
    static constexpr std::size_t kArgumentCount = 3;

    /// Buffers of no round size, so that what is read ends in the middle of some.
    static FakeJavaQueue::Buffers Split(const Bytes& theImage)
    {
        FakeJavaQueue::Buffers aBuffers(1);
        for (const std::uint8_t aByte : theImage)
        {
            if (aBuffers.back().size() == 67)
            {
                aBuffers.emplace_back();
            }
            aBuffers.back().push_back(static_cast<jbyte>(aByte));
        }
        return aBuffers;
    }

    jlong GetDataSet() { return static_cast<jlong>(reinterpret_cast<std::intptr_t>(&itsDataSet)); }

    Bytes Take(jobject theImage)
    {
        if (theImage == nullptr)
        {
            EXPECT_EQ(itsImage, nullptr) << "an image that nobody owns";
            return {};
        }
        static_cast<JNIEnv&>(itsJava).DeleteLocalRef(theImage);
        const auto* const aData = static_cast<const std::uint8_t*>(itsImage->getPixelData());
        return Bytes(aData, aData + itsImage->getPixelDataSize());
    }

    FakeJava::Object& itsResult;
    DICOMDataObject itsDataSet;
    std::unique_ptr<Renderable> itsImage; ///< what Java owns
    jobject itsQueueArgument = itsJava.NewLocal(&itsQueue.itsObject);
    jobject itsStreamArgument = itsJava.NewLocal(&itsStream.itsObject);
    jobject itsResultArgument = itsJava.NewLocal(&itsResult);
};
