// SPDX-License-Identifier: Apache-2.0
#include "decompressors/DecompressionRequest.h"

#include "jni/FakeJavaStream.h"
#include "jni/streams/JavaStrings.h"
#include "toolkit/io/InputStream.h"

namespace
{
class JavaRequestTest : public testing::Test
{
protected:
    JavaRequestTest()
    {
        itsRequest.itsFields.insert(itsFields.begin(), itsFields.end());
        itsRequest.itsClass->itsFields = itsRequest.itsFields;
    }

    FakeJava itsJava;
    FakeJavaStream itsStream{itsJava, 77};
    const std::vector<std::pair<std::string, FakeJava::Value>> itsFields = {
        {"itsInputStreamLcom/quorix/io/SeekableInputStream;", &itsStream.itsObject},
        {"itsCompressedSourceLcom/quorix/util/InputBufferQueue;", {}},
        {"itsDICOMDataObjectJ", jlong{0x7000}},
        {"itsDemoFileLjava/lang/String;", &itsJava.NewText(u"/\u00e9\u20ac\U0001f600\xd800x")},
        {"itsLoadDemoInfoFlagZ", jlong{1}},
        {"itsScaleFactorI", jlong{0}},
        {"itsFrameIndexI", jlong{-1}},
        {"itsTransferSyntaxUIDLjava/lang/String;", &itsJava.NewText(u"1.2.3")}};
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
    itsRequest.itsFields[itsFields[0].first] = {};
    itsRequest.itsFields[itsFields[1].first] = &itsJava.New("Queue");
    itsRequest.itsFields[itsFields[4].first] = jlong{2};
    testing::internal::CaptureStdout(); // the queue has no methods
    const DecompressionRequest aRequest(&itsJava, nullptr, itsLocal);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(aRequest.getInputStream(), nullptr);
    EXPECT_NE(aRequest.getCompressedSource(), nullptr);
    EXPECT_FALSE(aRequest.getLoadDemoInfoFlag()) << "only 1 is true";
}

TEST_F(JavaRequestTest, LeavesTheExceptionOfAMissingFieldToTheCaller)
{
    for (std::size_t i = 0; i < itsFields.size(); ++i)
    {
        const std::string& aName = itsFields[i].first;
        itsJava.Remove("Request", aName);
        const DecompressionRequest aRequest(&itsJava, nullptr, itsLocal);
        EXPECT_NE(itsJava.GetPending(), nullptr) << aName;
        EXPECT_EQ(aRequest.getTransferSyntaxUID(), "") << aName;
        EXPECT_EQ(aRequest.getInputStream() != nullptr, i > 0) << aName;
        EXPECT_EQ(aRequest.getFrameIndex(), i > 6 ? -1 : 0) << aName;
        itsJava.ClearPending();
        itsRequest.itsClass->itsFields[aName];
    }
}

TEST(EncodedStringTest, KnowsTwoCodePages)
{
    const std::tuple<std::u16string, const char*, const char*> kRows[] = {
        {u"", "", ""},
        {u"plain", "plain", "plain"},
        {u"\u007f\u0080\u00ff\u0100", "\x7f\x80\xff?", "\x7f\xc2\x80\xc3\xbf\xc4\x80"},
        {u"\u07ff\u0800\uffff", "???", "\xdf\xbf\xe0\xa0\x80\xef\xbf\xbf"},
        {u"\U00010000\U0010ffff", "??", "\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"},
        {u"\xdc00\xd800", "??", "??"},
        {u"\xd800\xd800\xdc00", "??", "?\xf0\x90\x80\x80"},
        {u"\xd800z", "?z", "?z"},
    };
    for (const auto& [aText, aLatin1, aUTF8] : kRows)
    {
        EXPECT_EQ(EncodedString::Encode(aText, EncodedString::CODE_PAGE_ISO_8859_1), aLatin1);
        EXPECT_EQ(EncodedString::Encode(aText, EncodedString::CODE_PAGE_UTF_8), aUTF8);
    }
}
} // namespace
