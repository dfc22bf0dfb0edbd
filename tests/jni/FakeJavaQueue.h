// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "jni/FakeJava.h"

/// A Java InputBufferQueue over given buffers that notes its calls.
class FakeJavaQueue
{
public:
    using Buffers = std::vector<std::vector<jbyte>>;

    FakeJavaQueue(FakeJava& theJava, Buffers theBuffers)
        : itsJava(theJava), itsBuffers(std::move(theBuffers)), itsObject(theJava.New("Queue"))
    {
        auto& aQueue = itsJava.AddClass("Queue").itsMethods;
        aQueue["get()Lcom/quorix/util/InputBuffer;"] = [this](const auto&) { return Get(); };
        aQueue["completed(Lcom/quorix/util/InputBuffer;)V"] = [this](const auto& theArguments)
        { return Complete(theArguments[0].itsObject); };
        aQueue["setAutoFlush(Z)V"] = [this](const auto& theArguments)
        {
            itsCalls.push_back("autoFlush " + std::to_string(theArguments[0].itsNumber));
            return FakeJava::Value();
        };
        auto& aBuffer = itsJava.AddClass("com/quorix/util/ByteArrayInputBuffer").itsMethods;
        aBuffer["getArray()[B"] = [this](const auto&) { return FakeJava::Value(itsArray); };
        aBuffer["getBytesAvailable()I"] = [this](const auto&)
        { return FakeJava::Value(jlong(itsArray->itsBytes.size())); };
    }

    FakeJava& itsJava;
    Buffers itsBuffers;
    FakeJava::Object& itsObject;
    std::size_t itsNext = 0;
    FakeJava::Object* itsOut = nullptr; ///< the buffer that has not come back yet
    std::vector<std::string> itsCalls;

    /// Each buffer came back before the next was asked for, and so did the last.
    bool HasAllBack() const { return itsHasAllBack && itsOut == nullptr; }

private:
    FakeJava::Value Get()
    {
        itsHasAllBack = itsHasAllBack && itsOut == nullptr;
        itsCalls.push_back("get");
        if (itsNext >= itsBuffers.size())
        {
            return {};
        }
        itsArray = &itsJava.NewBytes(itsBuffers[itsNext++]);
        itsOut = &itsJava.New("com/quorix/util/ByteArrayInputBuffer");
        return itsOut;
    }

    FakeJava::Value Complete(FakeJava::Object* theBuffer)
    {
        EXPECT_EQ(theBuffer, itsOut) << "not the buffer that is out";
        itsCalls.push_back(theBuffer != nullptr ? "completed" : "completed null");
        itsOut = nullptr;
        return {};
    }

    FakeJava::Object* itsArray = nullptr;
    bool itsHasAllBack = true;
};
