// SPDX-License-Identifier: Apache-2.0
// A Java stream that throws at any call, under the decompressor of Part 10 streams.
#include "faults/FaultFiles.h"
#include "jni/FakeJavaStream.h"
#include "jni/streams/JavaSeekableInputStream.h"

namespace
{
class JavaStreamFault : public FaultTest
{
};

/// A Java stream over a file whose theNumber-th call of any method throws.
class ThrowingJavaStream
{
public:
    ThrowingJavaStream(const Bytes& theFile, int theNumber) : itsStream(itsJava, 0), itsCallsLeft(theNumber)
    {
        for (const std::uint8_t aByte : theFile)
        {
            itsStream.itsBytes.push_back(static_cast<jbyte>(aByte));
        }
        for (auto& [aName, aBody] : itsStream.itsClass.itsMethods)
        {
            aBody = [this, aMethod = aBody](const std::vector<FakeJava::Value>& theArguments)
            { return itsCallsLeft-- == 0 ? itsJava.Throw("java/io/IOException") : aMethod(theArguments); };
        }
    }

    /// True when there were so many calls.
    bool HasThrown() const { return itsCallsLeft < 0; }

    FakeJava itsJava;
    FakeJavaStream itsStream;

private:
    int itsCallsLeft;
};

TEST_F(JavaStreamFault, AnyCallOfAJavaStream)
{
    for (const FaultFile& aFile : FaultFiles::Get())
    {
        const Bytes aPixels = RunPart10(aFile.itsFile, nullptr).Pixels();
        bool hasThrown = true;
        for (int i = 0; hasThrown && !HasFailure(); ++i)
        {
            ThrowingJavaStream aJava(aFile.itsFile, i);
            const std::string anInput = aFile.itsName + ", call " + std::to_string(i);
            {
                JavaSeekableInputStream aStream(aJava.itsJava,
                                                aJava.itsJava.NewLocal(&aJava.itsStream.itsObject));
                const Outcome anOutcome = FaultFiles::RunStream(aStream);
                FaultFiles::ExpectListed(anOutcome, anInput);
                hasThrown = aJava.HasThrown();
                EXPECT_EQ(anOutcome.Code() == 0, !hasThrown) << anInput << ": " << anOutcome.Message();
            }
            EXPECT_EQ(aJava.itsJava.GetGlobalCount(), 0u) << anInput;
            EXPECT_EQ(aJava.itsJava.GetPending(), nullptr) << anInput;
        }
        FaultFiles::ExpectUsable(aFile, aPixels);
    }
}
} // namespace
