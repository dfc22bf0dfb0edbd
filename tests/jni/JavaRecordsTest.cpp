// SPDX-License-Identifier: Apache-2.0
#include "decompressors/DecompressionRequest.h"

#include "jni/FakeJavaStream.h"
#include "jni/streams/JavaStrings.h"
#include "toolkit/io/InputStream.h"

namespace
{
constexpr const char* kFields[] = {"itsInputStreamLcom/quorix/io/SeekableInputStream;",
                                   "itsCompressedSourceLcom/quorix/util/InputBufferQueue;",
                                   "itsDICOMDataObjectJ",
                                   "itsDemoFileLjava/lang/String;",
                                   "itsLoadDemoInfoFlagZ",
                                   "itsScaleFactorI",
                                   "itsFrameIndexI",
                                   "itsTransferSyntaxUIDLjava/lang/String;"};

class JavaRequestTest : public testing::Test
{
protected:
    JavaRequestTest()
    {
        const FakeJava::Value kValues[] = {&itsStream.itsObject,
                                           {},
                                           jlong{0x7000},
                                           &itsJava.NewText(u"/\u00e9\u20ac\U0001f600\xd800x"),
                                           jlong{1},
                                           jlong{0},
                                           jlong{-1},
                                           &itsJava.NewText(u"1.2.3")};
        for (std::size_t i = 0; i < std::size(kFields); ++i)
        {
            itsRequest.itsFields[kFields[i]] = kValues[i];
        }
        itsRequest.itsClass->itsFields = itsRequest.itsFields;
    }

    FakeJava itsJava;
    FakeJavaStream itsStream{itsJava, 77};
    FakeJava::Object& itsRequest = itsJava.New("Request");
    jobject itsLocal = itsJava.NewLocal(&itsRequest);
};

TEST_F(JavaRequestTest, TakesEveryField)
{
    {
        const DecompressionRequest aRequest(&itsJava, nullptr, itsLocal);
        ASSERT_NE(aRequest.getInputStream(), nullptr);
        EXPECT_EQ(aRequest.getInputStream()->Length(), 77);
        EXPECT_EQ(aRequest.getCompressedSource(), nullptr);
        EXPECT_EQ(aRequest.getDICOMDataObject(), reinterpret_cast<DICOMDataObject*>(0x7000));
        EXPECT_EQ(aRequest.getDemoFile(), "/\xc3\xa9\xe2\x82\xac\xf0\x9f\x98\x80?x");
        EXPECT_TRUE(aRequest.getLoadDemoInfoFlag());
        EXPECT_EQ(aRequest.getScaleFactor(), 0) << "0 is not replaced by the default";
        EXPECT_EQ(aRequest.getFrameIndex(), -1);
        EXPECT_EQ(aRequest.getTransferSyntaxUID(), "1.2.3");
    }
    EXPECT_EQ(itsJava.GetGlobalCount(), 0u);
    EXPECT_EQ(itsJava.GetLocalCount(), 1u);
    itsRequest.itsFields[kFields[0]] = {};
    itsRequest.itsFields[kFields[1]] = &itsJava.New("Queue");
    itsRequest.itsFields[kFields[4]] = jlong{2};
    testing::internal::CaptureStdout(); // the queue has no methods
    const DecompressionRequest aRequest(&itsJava, nullptr, itsLocal);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(aRequest.getInputStream(), nullptr);
    EXPECT_NE(aRequest.getCompressedSource(), nullptr);
    EXPECT_FALSE(aRequest.getLoadDemoInfoFlag()) << "only 1 is true";
}

TEST_F(JavaRequestTest, LeavesTheExceptionOfAMissingFieldToTheCaller)
{
    for (std::size_t i = 0; i < std::size(kFields); ++i)
    {
        itsJava.Remove("Request", kFields[i]);
        const DecompressionRequest aRequest(&itsJava, nullptr, itsLocal);
        EXPECT_NE(itsJava.GetPending(), nullptr) << kFields[i];
        EXPECT_EQ(aRequest.getTransferSyntaxUID(), "") << kFields[i];
        EXPECT_EQ(aRequest.getInputStream() != nullptr, i > 0) << kFields[i];
        EXPECT_EQ(aRequest.getFrameIndex(), i > 6 ? -1 : 0) << kFields[i];
        itsJava.ClearPending();
        itsRequest.itsClass->itsFields[kFields[i]];
    }
}

TEST(EncodedStringTest, KnowsTwoCodePages)
{
    struct Row
    {
        std::u16string itsText;
        const char* itsLatin1;
        const char* itsUTF8;
    };
    const Row kRows[] = {
        {u"", "", ""},
        {u"plain", "plain", "plain"},
        {u"\u007f\u0080\u00ff\u0100", "\x7f\x80\xff?", "\x7f\xc2\x80\xc3\xbf\xc4\x80"},
        {u"\u07ff\u0800\uffff", "???", "\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf"},
        {u"\U00010000\U0010ffff", "??", "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"},
        {u"\xdc00\xd800", "??", "??"},
        {u"\xd800\xd800\xdc00", "??", "?\xf0\x90\x80\x80"},
        {u"\xd800z", "?z", "?z"},
    };
    for (const Row& aRow : kRows)
    {
        EXPECT_EQ(EncodedString::Encode(aRow.itsText, EncodedString::CODE_PAGE_ISO_8859_1), aRow.itsLatin1);
        EXPECT_EQ(EncodedString::Encode(aRow.itsText, EncodedString::CODE_PAGE_UTF_8), aRow.itsUTF8);
    }
}
} // namespace
