// SPDX-License-Identifier: Apache-2.0
// A queue of buffers, and the virtual machine around it, that fail at any call while an image is decoded.
#include <climits>

#include "faults/FaultFiles.h"
#include "image/VMMemoryAllocator.h"
#include "jni/FakeDecompressor.h"

namespace
{
class QueueFault : public FaultTest
{
protected:
    /// Decodes each file with each call of Java broken in turn. theBreaking does so with the call of a
    /// number and answers false when there were not so many.
    template <class Breaking>
    static void ForEachFile(const Breaking& theBreaking)
    {
        for (const FaultFile& aFile : FaultFiles::Get())
        {
            // JPEG of more than 8 bits, and lossless JPEG, come in DICOM files only.
            if (aFile.itsName.find("JPEG") != 0 || aFile.itsName.find("bits") != std::string::npos)
            {
                continue;
            }
            const jint aType = aFile.itsName.find("2000") != std::string::npos ? 2 : 1;
            const Bytes aPixels = FakeDecompressor(aFile.itsFrame).DecodeQueue(aType);
            ASSERT_FALSE(aPixels.empty()) << aFile.itsName;
            const std::uint64_t aBlocks = VMMemoryAllocator::GetNumHeapBlocks();
            bool hasFailed = true;
            for (int i = 0; hasFailed && !HasFailure(); ++i)
            {
                SCOPED_TRACE(aFile.itsName + ", call " + std::to_string(i));
                FakeDecompressor aCall(aFile.itsFrame);
                hasFailed = theBreaking(aCall, i, aType, aPixels);
            }
            EXPECT_EQ(VMMemoryAllocator::GetNumHeapBlocks(), aBlocks) << aFile.itsName;
            EXPECT_EQ(FakeDecompressor(aFile.itsFrame).DecodeQueue(aType), aPixels) << aFile.itsName;
        }
    }

    /// However Java failed, and whatever it answered.
    static void ExpectInOrder(const FakeDecompressor& theCall, bool theHasImage)
    {
        EXPECT_TRUE(FaultFiles::IsListed(static_cast<int>(theCall.GetCode()))) << theCall.GetCode();
        EXPECT_EQ(theCall.GetCode() == 0, theHasImage);
        EXPECT_FALSE(theHasImage && theCall.itsJava.GetPending() != nullptr);
        EXPECT_EQ(theCall.GetLostReferences(), 0u);
    }
};

TEST_F(QueueFault, AnyCallThatThrows)
{
    for (const std::string anException : {"java/io/IOException", "java/io/InterruptedIOException"})
    {
        SCOPED_TRACE(anException);
        ForEachFile(
            [&](FakeDecompressor& theCall, int theNumber, jint theType, const Bytes& thePixels)
            {
                FakeJava& aJava = theCall.itsJava;
                aJava.itsExceptionClass = anException;
                aJava.itsCallsBeforeException = theNumber;
                const Bytes aPixels = theCall.DecodeQueue(theType);
                const std::string& aName = aJava.itsFailedCall;
                SCOPED_TRACE(aName);
                EXPECT_TRUE(aPixels.empty() || aPixels == thePixels);
                if (theCall.GetCode() == -1 && aName == "GetID")
                {
                    // The result object's own class could not be asked.
                    EXPECT_EQ(theCall.GetLostReferences(), 0u);
                    return true;
                }
                ExpectInOrder(theCall, !aPixels.empty());
                EXPECT_TRUE(!theCall.GetMessage().empty() || aName == "NewString" || aName == "GetID");
                // Of the queue's methods and the bytes of its buffers nothing may be hidden.
                EXPECT_EQ(aName == "GetByteArrayRegion" ||
                              (aName.find(')') != std::string::npos && aName[0] != '<'),
                          aJava.GetPending() != nullptr || theCall.GetCode() == 63);
                EXPECT_TRUE(theCall.itsQueue.HasAllBack() || aName == "GetID" ||
                            aName.find("completed") == 0);
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

TEST_F(QueueFault, AnyAnswerThatIsWrong)
{
    const WrongAnswer kAnswers[] = {{"null or 0", 0},   {"one less than none", -1},
                                    {"least", INT_MIN}, {"greatest", INT_MAX},
                                    {"fewer", 1},       {"another object", 0, true}};
    for (const WrongAnswer& anAnswer : kAnswers)
    {
        SCOPED_TRACE(anAnswer.itsName);
        ForEachFile(
            [&](FakeDecompressor& theCall, int theNumber, jint theType, const Bytes&)
            {
                bool hasAnswered = false;
                Break(theCall, theNumber, anAnswer, hasAnswered);
                const bool hasImage = !theCall.DecodeQueue(theType).empty();
                ExpectInOrder(theCall, hasImage);
                EXPECT_FALSE(theCall.GetMessage().empty());
                EXPECT_TRUE(theCall.itsQueue.HasAllBack());
                return hasAnswered;
            });
    }
}
} // namespace
