// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "image/Renderable.h"
#include "jni/FakeJavaQueue.h"
#include "jni/FakeJavaStream.h"
#include "jni/streams/JavaSource.h"
#include "toolkit/dicom/DICOMDataObject.h"

extern "C"
{
    JNIEXPORT jobject JNICALL Java_com_quorix_decompression_NDecompressor_decodeInputBufferQueueToMemory(
        JNIEnv*, jobject, jobject, jlong, jint, jboolean, jint, jobject);
    JNIEXPORT jobject JNICALL Java_com_quorix_decompression_NDecompressor_decodeSeekableInputStreamToMemory(
        JNIEnv*, jobject, jobject, jlong, jint, jint, jint, jobject);
    JNIEXPORT jboolean JNICALL Java_com_quorix_decompression_NDecompressor_decodeMultiFrameImageToMemory(
        JNIEnv*, jobject, jobject, jlong, jint, jobject);
    JNIEXPORT jboolean JNICALL Java_com_quorix_decompression_NDecompressor_decodeOrtho(
        JNIEnv*, jobject, jobject, jint, jboolean, jlong, jstring, jint, jobject);
    JNIEXPORT jlong JNICALL Java_com_quorix_decompression_DecodeRun_decodeQueue(JNIEnv*, jobject, jobject,
                                                                                jlong, jint, jboolean, jint,
                                                                                jintArray, jboolean);
    JNIEXPORT jlong JNICALL Java_com_quorix_decompression_DecodeRun_decodeSource(JNIEnv*, jobject, jint,
                                                                                 jobject, jint, jint, jlong,
                                                                                 jint, jint, jint, jintArray,
                                                                                 jboolean);
    JNIEXPORT jboolean JNICALL Java_com_quorix_decompression_DecodeRun_decodeFrames(JNIEnv*, jobject, jint,
                                                                                    jobject, jint, jint,
                                                                                    jlong, jint, jint,
                                                                                    jintArray, jboolean);
}

/// What Java has when it calls the decoding methods: an image as a queue and as a stream, a result object
/// that listens to frames, and the class that takes the decoded image. For one call.
class FakeDecompressor
{
public:
    using Bytes = std::vector<std::uint8_t>;

    enum class Method
    {
        QUEUE,
        STREAM,
        FRAMES,
        ORTHO,
        RUN_QUEUE, ///< this and the next two: by meaning, with warnings
        RUN_STREAM,
        RUN_FRAMES
    };
    static constexpr const char* kImageClass = "com/quorix/decompression/Renderable";
    static constexpr const char* kConstructor = "<init>(JZ)V";
    static constexpr const char* kListener = "renderableAvailable(ILcom/quorix/decompression/Renderable;)Z";
    static constexpr const char* kWarning = "addWarning(Ljava/lang/String;Ljava/lang/String;I)V";

    explicit FakeDecompressor(const Bytes& theImage)
        : itsQueue(itsJava, Split(theImage)), itsStream(itsJava, 0), itsResult(itsJava.New("Result"))
    {
        itsStream.itsBytes.assign(theImage.begin(), theImage.end());
        itsJava.AddClass(kImageClass).itsMethods[kConstructor] = [this](const auto& theArguments)
        {
            itsImage.reset(reinterpret_cast<Renderable*>(theArguments[0].itsNumber));
            return FakeJava::Value();
        };
        itsResult.itsFields = {
            {"DLResultCodeI", jlong(-1)}, {"SystemErrorI", jlong(-1)}, {"MessageLjava/lang/String;", {}}};
        itsResult.itsClass->itsFields = itsResult.itsFields;
        itsResult.itsClass->itsMethods[kListener] = [this](const auto&)
        {
            TakePixels();
            return FakeJava::Value(jlong(JNI_TRUE));
        };
        itsResult.itsClass->itsMethods[kWarning] = [this](const auto& theArguments)
        {
            itsWarnings.push_back(theArguments[2].itsNumber);
            return FakeJava::Value();
        };
    }

    /// True when Java is told of a success. theImageType as in Java.
    bool Run(Method theMethod, jint theImageType)
    {
        const auto aDataSet = static_cast<jlong>(reinterpret_cast<std::intptr_t>(&itsDataSet));
        switch (theMethod)
        {
        case Method::QUEUE:
            return Take(Java_com_quorix_decompression_NDecompressor_decodeInputBufferQueueToMemory(
                &itsJava, nullptr, itsQueueArgument, aDataSet, theImageType, JNI_TRUE, 1, itsResultArgument));
        case Method::STREAM:
            return Take(Java_com_quorix_decompression_NDecompressor_decodeSeekableInputStreamToMemory(
                &itsJava, nullptr, itsStreamArgument, aDataSet, theImageType, 0, 1, itsResultArgument));
        case Method::FRAMES:
            return Java_com_quorix_decompression_NDecompressor_decodeMultiFrameImageToMemory(
                &itsJava, nullptr, itsStreamArgument, aDataSet, 0, itsResultArgument);
        case Method::RUN_QUEUE:
            return Take(Java_com_quorix_decompression_DecodeRun_decodeQueue(
                &itsJava, itsResultArgument, itsQueueArgument, aDataSet, theImageType, JNI_TRUE, 1, nullptr,
                JNI_FALSE));
        case Method::RUN_STREAM:
            return Take(Java_com_quorix_decompression_DecodeRun_decodeSource(
                &itsJava, itsResultArgument, JavaSource::STREAM, itsStreamArgument, 0, 0, aDataSet,
                theImageType, 0, 1, nullptr, JNI_FALSE));
        case Method::RUN_FRAMES:
            return Java_com_quorix_decompression_DecodeRun_decodeFrames(
                &itsJava, itsResultArgument, JavaSource::STREAM, itsStreamArgument, 0, 0, aDataSet, 0, 1,
                nullptr, JNI_FALSE);
        default:
            return Java_com_quorix_decompression_NDecompressor_decodeOrtho(
                &itsJava, nullptr, itsStreamArgument, theImageType, JNI_TRUE, aDataSet, nullptr, 1,
                itsResultArgument);
        }
    }

    jlong GetCode() const { return itsResult.itsFields.at("DLResultCodeI").itsNumber; }

    /// Code, system error and text, which is ASCII.
    std::string GetReport() const
    {
        const FakeJava::Object* const aText = itsResult.itsFields.at("MessageLjava/lang/String;").itsObject;
        return std::to_string(GetCode()) + " " +
               std::to_string(itsResult.itsFields.at("SystemErrorI").itsNumber) + " " +
               (aText != nullptr ? std::string(aText->itsText.begin(), aText->itsText.end()) : "untouched");
    }

    /// References that are out, besides those to the arguments.
    std::size_t GetLostReferences() const
    {
        return itsJava.GetGlobalCount() + itsJava.GetLocalCount() - kArgumentCount;
    }

    FakeJava itsJava;
    FakeJavaQueue itsQueue;
    FakeJavaStream itsStream;
    Bytes itsPixels;                ///< of all images that Java got
    std::vector<jlong> itsWarnings; ///< frames of the warnings that Java got

private:
    static constexpr std::size_t kArgumentCount = 3;

    /// Buffers of no round size, so that what is read ends in the middle of some.
    static FakeJavaQueue::Buffers Split(const Bytes& theImage)
    {
        FakeJavaQueue::Buffers aBuffers;
        for (auto aStart = theImage.begin(); aStart != theImage.end();)
        {
            const auto anEnd = aStart + std::min<std::ptrdiff_t>(67, theImage.end() - aStart);
            aBuffers.emplace_back(aStart, anEnd);
            aStart = anEnd;
        }
        return aBuffers;
    }

    void TakePixels()
    {
        const auto* const aData = static_cast<const std::uint8_t*>(itsImage->getPixelData());
        itsPixels.insert(itsPixels.end(), aData, aData + itsImage->getPixelDataSize());
    }

    bool Take(jobject theImage)
    {
        EXPECT_EQ(theImage != nullptr, itsImage != nullptr) << "an image that nobody owns";
        if (theImage != nullptr && itsImage != nullptr)
        {
            static_cast<JNIEnv&>(itsJava).DeleteLocalRef(theImage);
            TakePixels();
        }
        return theImage != nullptr;
    }

    bool Take(jlong theAddress)
    {
        itsImage.reset(reinterpret_cast<Renderable*>(theAddress));
        itsImage ? TakePixels() : void();
        return theAddress != 0;
    }

    FakeJava::Object& itsResult;
    DICOMDataObject itsDataSet;
    std::unique_ptr<Renderable> itsImage; ///< what Java owns
    jobject itsQueueArgument = itsJava.NewLocal(&itsQueue.itsObject);
    jobject itsStreamArgument = itsJava.NewLocal(&itsStream.itsObject);
    jobject itsResultArgument = itsJava.NewLocal(&itsResult);
};
