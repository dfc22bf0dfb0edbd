// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>

#include "jni/FakeJava.h"

/// A Java SeekableInputStream over bytes 0, 1, 2 … that notes its calls.
class FakeJavaStream
{
public:
    explicit FakeJavaStream(FakeJava& theJava, std::size_t theSize = 100000)
        : itsJava(theJava), itsClass(theJava.AddClass("Stream")), itsObject(theJava.New("Stream"))
    {
        for (std::size_t i = 0; i < theSize; ++i)
        {
            itsBytes.push_back(static_cast<jbyte>(i % 251));
        }
        Add("read([BII)I", [this](const auto& theArguments)
            { return Read(*theArguments[0].itsObject, theArguments[2].itsNumber); });
        Add("seek(J)V",
            [this](const auto& theArguments)
            {
                itsPosition = theArguments[0].itsNumber;
                return FakeJava::Value();
            });
        Add("close()V", [](const auto&) { return FakeJava::Value(); });
        Add("length()J", [this](const auto&) { return FakeJava::Value(jlong(itsBytes.size())); });
        Add("skip(I)I",
            [this](const auto& theArguments)
            {
                const jlong aCount =
                    std::min(theArguments[0].itsNumber, jlong(itsBytes.size()) - itsPosition);
                itsPosition += aCount;
                return FakeJava::Value(aCount);
            });
        Add("getFilePointer()J", [this](const auto&) { return FakeJava::Value(itsPosition); });
    }

    /// Puts another method in place; calls of it are noted, too.
    void Add(const std::string& theMethod, FakeJava::Method theBody)
    {
        itsClass.itsMethods[theMethod] =
            [this, theMethod, theBody](const std::vector<FakeJava::Value>& theArguments)
        {
            std::string aCall = theMethod.substr(0, theMethod.find('('));
            if (!theArguments.empty())
            {
                aCall += " " + std::to_string(theArguments.back().itsNumber);
            }
            itsCalls.push_back(aCall);
            return theBody(theArguments);
        };
    }

    std::vector<std::string> TakeCalls() { return std::exchange(itsCalls, {}); }

    FakeJava& itsJava;
    FakeJava::Object& itsClass;
    FakeJava::Object& itsObject;
    std::vector<jbyte> itsBytes;
    jlong itsPosition = 0;

private:
    FakeJava::Value Read(FakeJava::Object& theArray, jlong theLength)
    {
        EXPECT_LE(theLength, jlong(theArray.itsBytes.size()));
        const jlong aCount = std::min(theLength, jlong(itsBytes.size()) - itsPosition);
        if (aCount <= 0)
        {
            return jlong(-1);
        }
        std::copy_n(itsBytes.begin() + itsPosition, aCount, theArray.itsBytes.begin());
        itsPosition += aCount;
        return aCount;
    }

    std::vector<std::string> itsCalls;
};
