// SPDX-License-Identifier: Apache-2.0
// Java's streams, queues and listeners, and the virtual machine around them, that fail at any call while an
// image is decoded.
#include <climits>

#include "decompressors/Part10Files.h"
#include "faults/FaultFiles.h"
#include "image/VMMemoryAllocator.h"
#include "jni/FakeDecompressor.h"

namespace
{
using Method = FakeDecompressor::Method;

class CallFault : public FaultTest
{
protected:
    /// Decodes an image with each call of Java broken in turn. theBreaking does so with the call of a
    /// number and answers false when there were not so many.
    template <class Breaking>
    static void BreakEach(const std::string& theName, const Bytes& theImage, Method theMethod, jint theType,
                          const Breaking& theBreaking)
    {
        FakeDecompressor aSound(theImage);
        ASSERT_TRUE(aSound.Run(theMethod, theType)) << theName;
        const std::uint64_t aBlocks = VMMemoryAllocator::GetNumHeapBlocks();
        bool hasFailed = true;
        for (int i = 0; hasFailed && !HasFailure(); ++i)
        {
            SCOPED_TRACE(theName + ", call " + std::to_string(i));
            FakeDecompressor aCall(theImage);
            hasFailed = theBreaking(aCall, i, theType, aSound.itsPixels);
        }
        EXPECT_EQ(VMMemoryAllocator::GetNumHeapBlocks(), aBlocks) << theName;
        FakeDecompressor anAfter(theImage);
        EXPECT_TRUE(anAfter.Run(theMethod, theType)) << theName;
        EXPECT_EQ(anAfter.itsPixels, aSound.itsPixels) << theName;
    }

    /// JPEG of more than 8 bits, lossless JPEG and JPEG-LS come in DICOM files only.
    template <class Breaking>
    static void BreakEachQueue(const Breaking& theBreaking)
    {
        for (const FaultFile& aFile : FaultFiles::Get())
        {
            if (aFile.itsName.find("JPEG ") == 0 && aFile.itsName.find("bits") == std::string::npos)
            {
                const jint aType = aFile.itsName.find("2000") != std::string::npos ? 2 : 1;
                BreakEach(aFile.itsName, aFile.itsFrame, Method::QUEUE, aType, theBreaking);
            }
        }
    }

    /// However Java failed, and whatever it answered. theThrower: the Java method that threw, if any. A
    /// listener's exception is no failure of the decoder; that of a stream is referred to until the end.
    static void ExpectInOrder(const FakeDecompressor& theCall, bool theSuccess,
                              const std::string& theThrower = "")
    {
        EXPECT_TRUE(FaultFiles::IsListed(static_cast<int>(theCall.GetCode()))) << theCall.GetReport();
        EXPECT_EQ(theCall.GetCode() == 0, theSuccess || theThrower == FakeDecompressor::kListener);
        EXPECT_FALSE(theSuccess && theCall.itsJava.GetPending() != nullptr);
        const bool isFromStream = theCall.itsQueue.itsCalls.empty() && !theThrower.empty();
        EXPECT_EQ(theCall.itsJava.GetGlobalCount(), 0u);
        EXPECT_LE(theCall.GetLostReferences(), isFromStream ? 1u : 0u);
    }

    /// theCall with its call of a number thrown at. The name of that; empty when there were not so many.
    static std::string ExpectThrown(FakeDecompressor& theCall, Method theMethod, jint theType, int theNumber)
    {
        theCall.itsJava.itsCallsBeforeException = theNumber;
        const bool hasSucceeded = theCall.Run(theMethod, theType);
        const std::string& aName = theCall.itsJava.itsFailedCall;
        SCOPED_TRACE(aName);
        if (theCall.GetCode() == -1 && aName == "GetID")
        {
            // The result object's own class could not be asked.
            EXPECT_EQ(theCall.GetLostReferences(), 0u);
            return aName;
        }
        ExpectInOrder(theCall, hasSucceeded, aName);
        EXPECT_TRUE(theCall.GetReport().find("untouched") == std::string::npos || aName == "NewString" ||
                    aName == "GetID");
        return aName;
    }

    static bool IsMethod(const std::string& theName) { return theName.find(')') != std::string::npos; }
};

TEST_F(CallFault, AnyCallOfAQueueThatThrows)
{
    for (const std::string anException : {"java/io/IOException", "java/io/InterruptedIOException"})
    {
        SCOPED_TRACE(anException);
        BreakEachQueue(
            [&](FakeDecompressor& theCall, int theNumber, jint theType, const Bytes& thePixels)
            {
                theCall.itsJava.itsExceptionClass = anException;
                const std::string aName = ExpectThrown(theCall, Method::QUEUE, theType, theNumber);
                EXPECT_TRUE(theCall.itsPixels.empty() || theCall.itsPixels == thePixels);
                // Of the queue's methods and the bytes of its buffers nothing may be hidden.
                EXPECT_EQ(aName == "GetByteArrayRegion" || (IsMethod(aName) && aName[0] != '<'),
                          theCall.itsJava.GetPending() != nullptr || theCall.GetCode() == 63)
                    << aName;
                EXPECT_TRUE(theCall.itsQueue.HasAllBack() || aName == "GetID" ||
                            aName.find("completed") == 0);
                return !aName.empty();
            });
    }
}

TEST_F(CallFault, AnyCallOfAStreamOrListenerThatThrows)
{
    for (const FaultFile& aFile : FaultFiles::Get())
    {
        for (const Method aMethod : {Method::STREAM, Method::FRAMES, Method::ORTHO})
        {
            const bool isMovie = aMethod == Method::FRAMES && !aFile.itsMovie.empty();
            BreakEach(aFile.itsName, isMovie ? aFile.itsMovie : aFile.itsFile, aMethod, 3,
                      [&](FakeDecompressor& theCall, int theNumber, jint theType, const Bytes& thePixels)
                      {
                          const std::string aName = ExpectThrown(theCall, aMethod, theType, theNumber);
                          // Of an exception of the stream there is a report; that of the listener is left.
                          const bool isListener = aName == FakeDecompressor::kListener;
                          EXPECT_EQ(theCall.itsJava.GetPending() != nullptr, isListener) << aName;
                          const bool isStream = aName == "GetByteArrayRegion" || IsMethod(aName);
                          EXPECT_TRUE(!isStream || isListener || theCall.GetCode() != 0) << aName;
                          EXPECT_TRUE(std::equal(theCall.itsPixels.begin(), theCall.itsPixels.end(),
                                                 thePixels.begin()) ||
                                      aMethod == Method::FRAMES)
                              << aName;
                          return !aName.empty();
                      });
        }
    }
}

TEST_F(CallFault, AnyCallAroundAWarningThatThrows)
{
    const JpegSpec aSpec{32, 32};
    Bytes aJpeg = MakeJpeg(aSpec, MakeSamples(aSpec));
    aJpeg.insert(aJpeg.end() - 20, {0xff, 0xd3}); // a restart that nothing announced
    const Bytes aFile =
        Part10Files::Encapsulated(TransferSyntaxType::TSJPEG50UID, aSpec, "MONOCHROME2", {aJpeg, aJpeg});
    using Row = std::tuple<Method, const Bytes&, jint, std::vector<jlong>>;
    const Row kRows[] = {{Method::RUN_QUEUE, aJpeg, 1, {0}},
                         {Method::RUN_STREAM, aJpeg, 1, {0}},
                         {Method::RUN_STREAM, aFile, 3, {0}},
                         {Method::RUN_FRAMES, aFile, 3, {0, 1}}};
    for (const auto& [aMethod, anImage, aType, aFrames] : kRows)
    {
        FakeDecompressor aSound(anImage);
        EXPECT_TRUE(aSound.Run(aMethod, aType)) << aSound.GetReport();
        EXPECT_EQ(aSound.itsWarnings, aFrames);
        BreakEach("warnings", anImage, aMethod, aType,
                  [method = aMethod](FakeDecompressor& theCall, int theNumber, jint theType, const Bytes&)
                  {
                      theCall.itsJava.itsCallsBeforeException = theNumber;
                      const bool hasSucceeded = theCall.Run(method, theType);
                      const std::string& aName = theCall.itsJava.itsFailedCall;
                      EXPECT_FALSE(hasSucceeded && theCall.itsJava.GetPending() != nullptr) << aName;
                      EXPECT_TRUE(aName != FakeDecompressor::kWarning ||
                                  theCall.itsJava.GetPending() != nullptr);
                      EXPECT_EQ(theCall.itsJava.GetGlobalCount(), 0u) << aName;
                      EXPECT_LE(theCall.GetLostReferences(), 1u) << aName;
                      return !aName.empty();
                  });
    }
}

/// What Java answers instead of what it should.
struct WrongAnswer
{
    const char* itsName;
    jlong itsNumber;           ///< with null where it is an object
    bool itsHasObject = false; ///< an array without bytes, a buffer of a class that is not the buffers'
};

/// Makes the theNumber-th call of a method of the queue or its buffers answer wrongly. theHasAnswered is set
/// when it does.
void Break(FakeDecompressor& theCall, int theNumber, const WrongAnswer& theAnswer, bool& theHasAnswered)
{
    const auto aCallsLeft = std::make_shared<int>(theNumber);
    for (const char* const aClass : {"Queue", "com/quorix/util/ByteArrayInputBuffer"})
    {
        for (auto& [aName, aBody] : theCall.itsJava.AddClass(aClass).itsMethods)
        {
            aBody = [&, aCallsLeft, theAnswer, isGet = aName[3] == '(',
                     aMethod = aBody](const std::vector<FakeJava::Value>& theArguments)
            {
                if ((*aCallsLeft)-- != 0)
                {
                    return aMethod(theArguments);
                }
                theHasAnswered = true;
                FakeJava::Value aValue = theAnswer.itsNumber;
                if (theAnswer.itsHasObject)
                {
                    aValue = isGet ? &theCall.itsJava.New("Foreign") : &theCall.itsJava.NewBytes({});
                }
                if (isGet)
                {
                    theCall.itsQueue.itsOut = aValue.itsObject;
                    return aValue;
                }
                aMethod(theArguments);
                return aValue;
            };
        }
    }
}

TEST_F(CallFault, AnyAnswerOfAQueueThatIsWrong)
{
    const WrongAnswer kAnswers[] = {{"null or 0", 0},   {"one less than none", -1},
                                    {"least", INT_MIN}, {"greatest", INT_MAX},
                                    {"fewer", 1},       {"another object", 0, true}};
    for (const WrongAnswer& anAnswer : kAnswers)
    {
        SCOPED_TRACE(anAnswer.itsName);
        BreakEachQueue(
            [&](FakeDecompressor& theCall, int theNumber, jint theType, const Bytes&)
            {
                bool hasAnswered = false;
                Break(theCall, theNumber, anAnswer, hasAnswered);
                ExpectInOrder(theCall, theCall.Run(Method::QUEUE, theType));
                EXPECT_EQ(theCall.GetReport().find("untouched"), std::string::npos);
                EXPECT_TRUE(theCall.itsQueue.HasAllBack());
                return hasAnswered;
            });
    }
}
} // namespace
