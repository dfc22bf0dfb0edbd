// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/DataSetReader.h"

#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include "support/CountingAllocator.h"
#include "support/DicomBuilder.h"
#include "support/RecordingInputStream.h"
#include "toolkit/base/StreamIOException.h"
#include "toolkit/dicom/DICOMObject.h"
#include "toolkit/dicom/Part10InputStreamInputStream.h"
#include "toolkit/dicom/PixelDataFragmentInputStreamVR.h"
#include "toolkit/dicom/PixelInputStreamVR.h"
#include "toolkit/dicom/TransferSyntaxManager.h"
#include "toolkit/io/MemoryInputStream.h"

namespace
{
using Bytes = DicomBuilder::Bytes;
using Syntax = DicomBuilder::Syntax;

constexpr DICOMTag kNestedTag{0x0008, 0x1150};
constexpr std::size_t kPart10Start = 132;

/// A file of every syntax with text, numbers, both kinds of sequences, private elements and pixel data.
DicomBuilder FullDataSet(Syntax theSyntax)
{
    DicomBuilder anInner(theSyntax);
    anInner.AddString(kNestedTag, "UI", "1.2.3.4");
    DicomBuilder anItem(theSyntax);
    anItem.AddString(kNestedTag, "UI", "1.2.3");
    anItem.AddSequence({0x0040, 0xa730}, {anInner, anInner}, true);
    DicomBuilder aBuilder(theSyntax);
    aBuilder.AddUL({0x0008, 0x0000}, {4});
    aBuilder.AddString(DICOMTags::ImageType, "CS", "ORIGINAL\\PRIMARY");
    aBuilder.AddSequence(DICOMTags::SourceImageSequence, {anItem, anItem});
    aBuilder.AddSequence({0x0008, 0x2218}, {anItem, anItem, anItem}, true);
    aBuilder.AddString({0x0021, 0x0010}, "LO", "SOMEBODY");
    aBuilder.AddBytes({0x0021, 0x1001}, "UN", {1, 2, 3, 4});
    aBuilder.AddImageAttributes(1, "MONOCHROME2", 3, 2, 16, 12, 1, 2);
    return aBuilder.AddUS(DICOMTags::SmallestImagePixelValue, {0xfffe}, "SS");
}

Bytes NativeFile(Syntax theSyntax)
{
    return FullDataSet(theSyntax)
        .AddNativePixelData(
            {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23})
        .AddString({0xfffc, 0xfffc}, "LO", "AFTER")
        .Build();
}

/// Reads everything there is, pixels included; what cannot be read is an exception.
struct Whole
{
    explicit Whole(InputStream& theStream, DICOMTag theStopTag = DICOMTags::None)
    {
        Part10InputStreamInputStream aPart10;
        aPart10.Open(&theStream, false, true);
        const auto* aType =
            TransferSyntaxManager::GetDefaultInstance().GetTransferSyntaxType(aPart10.GetTransferSyntaxUID());
        if (aType == nullptr)
        {
            return;
        }
        itsObject.SetEndian(aType->GetEndian());
        const auto aReader = aType->CreateDataSetReader(aPart10, VR::GetDefaultMemoryAllocater());
        aReader->SetStopTag(theStopTag);
        while (auto aVR = aReader->Next())
        {
            itsTags.push_back(aVR->GetTag());
            Take(std::move(aVR));
        }
    }

    void Take(std::unique_ptr<VR> theVR)
    {
        if (auto* aPixels = theVR->GetPixelInputStream())
        {
            itsTypeCode = theVR->GetTypeCode();
            itsEndian = theVR->GetEndian();
            itsPixels.resize(64);
            itsPixels.resize(aPixels->ReadFully(itsPixels.data(), itsPixels.size()));
        }
        else if (auto* aFragments = theVR->GetPixelDataFragmentInputStream())
        {
            unsigned char aByte = 0;
            while (aFragments->NextFragment())
            {
                while (aFragments->Read(&aByte, 1) == 1)
                {
                    itsPixels.push_back(aByte);
                }
            }
        }
        else
        {
            itsObject.ReplaceVR(std::move(theVR));
        }
    }

    DICOMObject itsObject;
    std::vector<DICOMTag> itsTags;
    Bytes itsPixels;
    std::uint16_t itsTypeCode = 0;
    DLEndian::Endian itsEndian = DLEndian::LITTLE_ENDIAN_ORDER;
};

std::string TextOfFailure(const Bytes& theFile, int theCode = DLRC_PARSE_ERROR)
{
    MemoryInputStream aStream(theFile.data(), theFile.size());
    try
    {
        const Whole aWhole(aStream);
        return "(no exception)";
    }
    catch (const StreamIOException& anException)
    {
        EXPECT_EQ(theCode, anException.GetResultCode());
        EXPECT_EQ(0, anException.GetSystemErrorCode());
        return anException.GetMessageText();
    }
}

class DataSetReaderSyntax : public testing::TestWithParam<Syntax>
{
};

INSTANTIATE_TEST_SUITE_P(Syntaxes, DataSetReaderSyntax,
                         testing::Values(Syntax::IMPLICIT_LITTLE, Syntax::EXPLICIT_LITTLE,
                                         Syntax::EXPLICIT_BIG, Syntax::DEFLATED));

void CheckAttributes(const DICOMObject& theObject)
{
    RWCString aText;
    EXPECT_TRUE(theObject.GetString(DICOMTags::ImageType, aText));
    EXPECT_EQ("ORIGINAL\\PRIMARY", aText);
    std::int32_t anInteger = 0;
    EXPECT_TRUE(theObject.GetInteger(DICOMTags::Rows, anInteger));
    EXPECT_EQ(3, anInteger);
    EXPECT_TRUE(theObject.GetInteger(DICOMTags::NumberOfFrames, anInteger));
    EXPECT_EQ(2, anInteger);
    EXPECT_TRUE(theObject.GetInteger(DICOMTags::SmallestImagePixelValue, anInteger));
    EXPECT_EQ(-2, anInteger) << "US or SS is decided by Pixel Representation";
    EXPECT_EQ(2u, theObject.GetSequenceItemCount(DICOMTags::SourceImageSequence));
    EXPECT_EQ(3u, theObject.GetSequenceItemCount({0x0008, 0x2218}));
    EXPECT_TRUE(theObject.GetSequenceItemString({0x0008, 0x2218}, 2, kNestedTag, aText));
    EXPECT_EQ("1.2.3", aText);
    Bytes aBytes;
    EXPECT_TRUE(theObject.GetBytes({0x0021, 0x1001}, aBytes));
    EXPECT_EQ((Bytes{1, 2, 3, 4}), aBytes);
}

/// Whatever the stream can do and however small the portions are in which it delivers.
TEST_P(DataSetReaderSyntax, ReadsEverythingFromEveryKindOfStream)
{
    const Bytes aFile = NativeFile(GetParam());
    for (const std::size_t aLargestRead : {1, 7, 100000})
    {
        for (const bool aCanSeek : {false, true})
        {
            RecordingInputStream::Record aRecord;
            RecordingInputStream aStream(aFile, {aCanSeek, aCanSeek, aLargestRead}, aRecord);
            const Whole aWhole(aStream);
            CheckAttributes(aWhole.itsObject);
            ASSERT_EQ(24u, aWhole.itsPixels.size());
            EXPECT_EQ(0, aWhole.itsPixels.front());
            EXPECT_EQ(23, aWhole.itsPixels.back());
            EXPECT_EQ(VR::TYPE_OW, aWhole.itsTypeCode);
            EXPECT_EQ(GetParam() == Syntax::EXPLICIT_BIG ? DLEndian::BIG_ENDIAN_ORDER
                                                         : DLEndian::LITTLE_ENDIAN_ORDER,
                      aWhole.itsEndian);
            EXPECT_EQ((DICOMTag{0x0002, 0x0000}), aWhole.itsTags.front());
            EXPECT_EQ(DICOMTags::PixelData, aWhole.itsTags.back()) << "the reader ends at the pixels";
            EXPECT_TRUE(aWhole.itsObject.Contains(DICOMTags::TransferSyntaxUID));
        }
    }
}

TEST_P(DataSetReaderSyntax, StopsBeforeTheStopTag)
{
    const Bytes aFile = NativeFile(GetParam());
    MemoryInputStream aStream(aFile.data(), aFile.size());
    const Whole aWhole(aStream, DICOMTags::PixelData);
    CheckAttributes(aWhole.itsObject);
    EXPECT_EQ(DICOMTags::SmallestImagePixelValue, aWhole.itsTags.back());
    MemoryInputStream anAgain(aFile.data(), aFile.size());
    const Whole aMetaOnly(anAgain, {0x0003, 0x0000});
    EXPECT_EQ((DICOMTag{0x0002, 0x0012}), aMetaOnly.itsTags.back());
}

/// A file cut anywhere is an error with code 38, or a data set that ends early, or fewer pixels.
TEST_P(DataSetReaderSyntax, SurvivesTruncationAtEveryByte)
{
    const Bytes aFile = NativeFile(GetParam());
    for (std::size_t aLength = 0; aLength < aFile.size(); ++aLength)
    {
        const Bytes aCut(aFile.begin(), aFile.begin() + static_cast<std::ptrdiff_t>(aLength));
        MemoryInputStream aStream(aCut.data(), aCut.size());
        try
        {
            const Whole aWhole(aStream);
            EXPECT_LE(aWhole.itsPixels.size(), 24u);
            EXPECT_GE(aLength, kPart10Start);
        }
        catch (const StreamIOException& anException)
        {
            EXPECT_EQ(DLRC_PARSE_ERROR, anException.GetResultCode()) << aLength;
            EXPECT_FALSE(anException.GetMessageText().empty());
        }
    }
}

/// Every single byte turned over: wrong lengths, tags and letters of all kinds.
TEST_P(DataSetReaderSyntax, SurvivesAnyDamagedByte)
{
    const Bytes aFile = NativeFile(GetParam());
    for (std::size_t anIndex = 0; anIndex < aFile.size(); ++anIndex)
    {
        for (const std::uint8_t aMask : {0xff, 0x01, 0x80})
        {
            Bytes aDamaged = aFile;
            aDamaged[anIndex] ^= aMask;
            MemoryInputStream aStream(aDamaged.data(), aDamaged.size());
            try
            {
                const Whole aWhole(aStream);
            }
            catch (const StreamIOException& anException)
            {
                EXPECT_EQ(DLRC_PARSE_ERROR, anException.GetResultCode()) << anIndex;
            }
        }
    }
}

class OwnException : public StreamIOException
{
public:
    using StreamIOException::StreamIOException;
};

/// Delivers a number of bytes and throws then.
class FailingStream final : public InputStream
{
public:
    FailingStream(const Bytes& theBytes, std::size_t theLimit) : itsBytes(theBytes), itsLimit(theLimit) {}

    std::size_t Read(unsigned char* theBuffer, std::size_t theLength) override
    {
        const std::size_t aCount = std::min(theLength, itsLimit - itsPosition);
        if (aCount == 0)
        {
            throw OwnException("no more paper", DLRC_IO_ERROR, 42);
        }
        std::copy_n(itsBytes.begin() + static_cast<std::ptrdiff_t>(itsPosition), aCount, theBuffer);
        itsPosition += aCount;
        return aCount;
    }

    std::size_t GetStreamPosition() const override { return itsPosition; }

private:
    const Bytes& itsBytes;
    std::size_t itsLimit;
    std::size_t itsPosition = 0;
};

TEST_P(DataSetReaderSyntax, ExceptionsOfTheStreamArriveUnchanged)
{
    const Bytes aFile = NativeFile(GetParam());
    for (std::size_t aLimit = 0; aLimit < aFile.size(); ++aLimit)
    {
        FailingStream aStream(aFile, aLimit);
        try
        {
            const Whole aWhole(aStream);
            ADD_FAILURE_AT(__FILE__, __LINE__) << "nothing was thrown at " << aLimit;
        }
        catch (const OwnException& anException)
        {
            EXPECT_EQ("no more paper", anException.GetMessageText());
            EXPECT_EQ(DLRC_IO_ERROR, anException.GetResultCode());
            EXPECT_EQ(42, anException.GetSystemErrorCode());
        }
        if (aFile.size() - aLimit < 40)
        {
            break; // the element after the pixels is never asked for
        }
    }
}

TEST(DataSetReaderTest, ADataSetMayEndAtAnyElement)
{
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE);
    aBuilder.AddUS(DICOMTags::Rows, {1});
    const Bytes aFile = aBuilder.Build();
    MemoryInputStream aStream(aFile.data(), aFile.size());
    const Whole aWhole(aStream);
    EXPECT_EQ(DICOMTags::Rows, aWhole.itsTags.back());
    EXPECT_TRUE(aWhole.itsPixels.empty());
}

struct NonsenseCase
{
    const char* itsName;
    Bytes itsDataSet;
    const char* itsText;
};

Bytes Header(DICOMTag theTag, const char* theVR, std::uint32_t theLength, const Bytes& theRest = {})
{
    return DicomBuilder(Syntax::EXPLICIT_LITTLE)
        .AddHeader(theTag, theVR, theLength)
        .AddRaw(theRest)
        .DataSet();
}

Bytes Then(Bytes theFirst, const Bytes& theSecond)
{
    theFirst.insert(theFirst.end(), theSecond.begin(), theSecond.end());
    return theFirst;
}

constexpr std::uint32_t UNDEFINED = DicomBuilder::UNDEFINED_LENGTH;
constexpr DICOMTag kItem{0xfffe, 0xe000};

const NonsenseCase kNonsense[] = {
    {"huge value", Header({0x0009, 0x1001}, "OB", 0xfffffffe),
     "DataSetReader::Next: 4294967294 bytes of attribute values, more than the limit of 1073741824, with "
     "element (0009,1001)"},
    {"large value", Header({0x0009, 0x1001}, "OB", 0x3ffffffe),
     "DataSetReader::Next: the stream ends inside element (0009,1001)"},
    {"small value", Header({0x0028, 0x0010}, "US", 2, {1}),
     "DataSetReader::Next: the stream ends inside element (0028,0010)"},
    {"half a header", Header({0x0028, 0x0010}, "O", 2),
     "DataSetReader::Next: the stream ends inside the header of element (0028,0010)"},
    {"half a tag", {0x08, 0x00, 0x08}, "DataSetReader::Next: the stream ends inside a tag"},
    {"item outside", Header(kItem, "", 0), "DataSetReader::Next: no element can have the tag (fffe,e000)"},
    {"command group", Header({0x0000, 0x0010}, "US", 2, {0, 0}),
     "DataSetReader::Next: no element can have the tag (0000,0010)"},
    {"no item in a sequence", Header({0x0008, 0x2112}, "SQ", UNDEFINED, Header({0x0008, 0x0008}, "CS", 0)),
     "DataSetReader::Next: no item where one must be in sequence (0008,2112)"},
    {"item in an item",
     Then(Header({0x0008, 0x2112}, "SQ", UNDEFINED, Header(kItem, "", UNDEFINED)), Header(kItem, "", 0)),
     "DataSetReader::Next: an item inside an item of sequence (0008,2112)"},
    {"item longer than its sequence", Header({0x0008, 0x2112}, "SQ", 16, Header(kItem, "", 100)),
     "DataSetReader::Next: an element runs past the end of the sequence around it: (fffe,e000)"},
    {"element longer than its item",
     Then(Header({0x0008, 0x2112}, "SQ", 100, Header(kItem, "", 12)), Header({0x0008, 0x0008}, "CS", 40)),
     "DataSetReader::Next: an element runs past the end of the sequence around it: (0008,0008)"},
    {"open sequence", Header({0x0008, 0x2112}, "SQ", UNDEFINED),
     "DataSetReader::Next: the stream ends inside sequence (0008,2112)"},
    {"bad fragments of a private element",
     Header({0x0009, 0x1001}, "OB", UNDEFINED, Header({0x0008, 0x0008}, "CS", 0)),
     "DataSetReader::Next: no fragment where one must be in element (0009,1001)"},
};

class DataSetReaderNonsense : public testing::TestWithParam<NonsenseCase>
{
};

TEST_P(DataSetReaderNonsense, NamesTheTag)
{
    const Bytes aFile = DicomBuilder(Syntax::EXPLICIT_LITTLE).AddRaw(GetParam().itsDataSet).Build();
    EXPECT_EQ(GetParam().itsText, TextOfFailure(aFile)) << GetParam().itsName;
}

INSTANTIATE_TEST_SUITE_P(Cases, DataSetReaderNonsense, testing::ValuesIn(kNonsense));

/// A stream that cannot tell its length must not make us believe a declared one either.
TEST(DataSetReaderTest, LyingLengthsTakeNoMemoryFromUnseekableStreams)
{
    const Bytes aFile = DicomBuilder(Syntax::EXPLICIT_LITTLE)
                            .AddHeader({0x0009, 0x1001}, "OB", 0x3ffffffe)
                            .AddRaw(Bytes(3u << 20, 7))
                            .Build();
    RecordingInputStream::Record aRecord;
    RecordingInputStream aStream(aFile, {false, false}, aRecord);
    EXPECT_THROW(const Whole aWhole(aStream), StreamIOException);
    // The same bytes with an honest length arrive whole.
    const Bytes aHonest =
        DicomBuilder(Syntax::EXPLICIT_LITTLE).AddBytes({0x0009, 0x1001}, "OB", Bytes(3u << 20, 7)).Build();
    RecordingInputStream aSecond(aHonest, {false, false}, aRecord);
    const Whole aWhole(aSecond);
    Bytes aValue;
    EXPECT_TRUE(aWhole.itsObject.GetBytes({0x0009, 0x1001}, aValue));
    EXPECT_EQ(Bytes(3u << 20, 7), aValue);
}

/// Nesting is limited, so that neither reading nor destruction can run out of stack.
TEST(DataSetReaderTest, DeepNestingIsRefused)
{
    const auto Nested = [](int theDepth)
    {
        DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE);
        for (int aLevel = 0; aLevel < theDepth; ++aLevel)
        {
            aBuilder.AddHeader({0x0008, 0x2112}, "SQ", UNDEFINED).AddHeader(kItem, "", UNDEFINED);
        }
        for (int aLevel = 0; aLevel < theDepth; ++aLevel)
        {
            aBuilder.AddHeader({0xfffe, 0xe00d}, "", 0).AddHeader({0xfffe, 0xe0dd}, "", 0);
        }
        return aBuilder.Build();
    };
    EXPECT_EQ("(no exception)", TextOfFailure(Nested(64)));
    EXPECT_EQ("DataSetReader::Next: 65 nested sequences, more than the limit of 64, at element (0008,2112)",
              TextOfFailure(Nested(65)));
    EXPECT_EQ("DataSetReader::Next: 65 nested sequences, more than the limit of 64, at element (0008,2112)",
              TextOfFailure(Nested(200000)));
}

/// NonConformances from the standard that exist in the wild and do no harm.
TEST(DataSetReaderTest, SmallNonConformancesAreSurvived)
{
    DicomBuilder anItem(Syntax::IMPLICIT_LITTLE);
    anItem.AddString(kNestedTag, "UI", "1.2");
    const Bytes anImplicitElement = anItem.DataSet();
    const auto anItemLength = static_cast<std::uint32_t>(anImplicitElement.size());

    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE);
    aBuilder.AddHeader(DICOMTags::SourceImageSequence, "UN", UNDEFINED); // items are implicit then
    aBuilder.AddHeader(kItem, "", anItemLength).AddRaw(anImplicitElement);
    aBuilder.AddHeader({0xfffe, 0xe0dd}, "", 0);
    aBuilder.AddHeader({0xfffe, 0xe0dd}, "", 0); // closes nothing
    aBuilder.AddHeader({0x0008, 0x2218}, "SQ", UNDEFINED).AddHeader(kItem, "", UNDEFINED);
    aBuilder.AddString(kNestedTag, "UI", "3.4");
    aBuilder.AddHeader({0xfffe, 0xe0dd}, "", 0);           // the item's own delimiter is missing
    aBuilder.AddHeader({0x0009, 0x1001}, "OB", UNDEFINED); // fragments of somebody's private pixels
    aBuilder.AddHeader(kItem, "", 2).AddRaw({1, 2}).AddHeader({0xfffe, 0xe0dd}, "", 0);
    aBuilder.AddBytes({0x0009, 0x1002}, "ZZ", {}); // no such letters, short form
    aBuilder.AddRaw({0, 0, 0, 0});                 // letters of the future have the long form
    aBuilder.AddHeader({0x0028, 0x0010}, "??", 2).AddRaw({9, 0});
    aBuilder.AddRaw({0x28, 0x00, 0x11, 0x00, 2, 0, 0, 0, 8, 0}); // implicit among explicit
    aBuilder.AddRaw(Bytes(64, 0));                               // padding up to a block
    const Bytes aFile = aBuilder.Build();
    MemoryInputStream aStream(aFile.data(), aFile.size());
    const Whole aWhole(aStream);
    RWCString aText;
    EXPECT_TRUE(aWhole.itsObject.GetSequenceItemString(DICOMTags::SourceImageSequence, 0, kNestedTag, aText));
    EXPECT_EQ("1.2", aText);
    EXPECT_TRUE(aWhole.itsObject.GetSequenceItemString({0x0008, 0x2218}, 0, kNestedTag, aText));
    EXPECT_EQ("3.4", aText);
    std::uint16_t aNumber = 0;
    EXPECT_TRUE(aWhole.itsObject.GetUnsignedShort(DICOMTags::Rows, aNumber));
    EXPECT_EQ(9, aNumber);
    EXPECT_TRUE(aWhole.itsObject.GetUnsignedShort(DICOMTags::Columns, aNumber));
    EXPECT_EQ(8, aNumber);
    EXPECT_FALSE(aWhole.itsObject.Contains({0x0009, 0x1001}));
}

/// "1.2.840.10008.1.2" over explicit elements.
TEST(DataSetReaderTest, ExplicitElementsUnderTheImplicitUIDAreSeen)
{
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE, DicomBuilder::UIDOf(Syntax::IMPLICIT_LITTLE));
    aBuilder.AddString(DICOMTags::ImageType, "CS", "X").AddUS(DICOMTags::Rows, {5});
    const Bytes aFile = aBuilder.Build();
    MemoryInputStream aStream(aFile.data(), aFile.size());
    const Whole aWhole(aStream);
    std::int32_t aRows = 0;
    EXPECT_TRUE(aWhole.itsObject.GetInteger(DICOMTags::Rows, aRows));
    EXPECT_EQ(5, aRows);
}

/// Sorting is quadratic, so what comes in the wrong order is limited: in the data set and in its items.
TEST(DataSetReaderTest, ManyElementsOutOfOrderAreRefused)
{
    const auto Descending = [](std::uint16_t theCount)
    {
        DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE);
        for (std::uint16_t aLeft = theCount; aLeft > 0; --aLeft)
        {
            aBuilder.AddUS({0x0029, static_cast<std::uint16_t>(0x1000 + aLeft)}, {1});
        }
        return aBuilder;
    };
    const auto Nested = [&](std::uint16_t theCount)
    {
        return DicomBuilder(Syntax::EXPLICIT_LITTLE)
            .AddSequence(DICOMTags::SourceImageSequence, {Descending(500), Descending(theCount)})
            .Build();
    };
    EXPECT_EQ("(no exception)", TextOfFailure(Descending(1000).Build()));
    EXPECT_EQ("DataSetReader::Next: too many elements out of order up to (0029,1001)",
              TextOfFailure(Descending(1026).Build()));
    EXPECT_EQ("(no exception)", TextOfFailure(Nested(500)));
    EXPECT_EQ("DataSetReader::Next: too many elements out of order up to (0029,1001)",
              TextOfFailure(Nested(527)));
}

/// A value under a sequence's tag that is no sequence is kept as bytes, not read as items.
TEST(DataSetReaderTest, ImplicitSequencesWithoutItemsAreOpaque)
{
    DicomBuilder aBuilder(Syntax::IMPLICIT_LITTLE);
    aBuilder.AddBytes(DICOMTags::SourceImageSequence, "", {'T', 'E', 'X', 'T'});
    const Bytes aFile = aBuilder.AddUS(DICOMTags::Rows, {5}).Build();
    MemoryInputStream aStream(aFile.data(), aFile.size());
    const Whole aWhole(aStream);
    Bytes aBytes;
    EXPECT_TRUE(aWhole.itsObject.GetBytes(DICOMTags::SourceImageSequence, aBytes));
    EXPECT_EQ((Bytes{'T', 'E', 'X', 'T'}), aBytes);
    EXPECT_FALSE(aWhole.itsObject.IsSequence(DICOMTags::SourceImageSequence));
    EXPECT_TRUE(aWhole.itsObject.Contains(DICOMTags::Rows));
}

struct PixelTypeCase
{
    Syntax itsSyntax;
    const char* itsVR;
    std::uint16_t itsTypeCode;
    DLEndian::Endian itsEndian;
};

class DataSetReaderPixelType : public testing::TestWithParam<PixelTypeCase>
{
};

TEST_P(DataSetReaderPixelType, IsTheFilesOrWhatImplicitMeans)
{
    const Bytes aFile =
        DicomBuilder(GetParam().itsSyntax).AddNativePixelData({1, 2, 3}, GetParam().itsVR).Build();
    MemoryInputStream aStream(aFile.data(), aFile.size());
    const Whole aWhole(aStream);
    EXPECT_EQ(GetParam().itsTypeCode, aWhole.itsTypeCode);
    EXPECT_EQ(GetParam().itsEndian, aWhole.itsEndian);
    EXPECT_EQ((Bytes{1, 2, 3}), aWhole.itsPixels);
}

INSTANTIATE_TEST_SUITE_P(
    Types, DataSetReaderPixelType,
    testing::Values(PixelTypeCase{Syntax::EXPLICIT_LITTLE, "OB", VR::TYPE_OB, DLEndian::LITTLE_ENDIAN_ORDER},
                    PixelTypeCase{Syntax::EXPLICIT_BIG, "OB", VR::TYPE_OB, DLEndian::BIG_ENDIAN_ORDER},
                    PixelTypeCase{Syntax::EXPLICIT_BIG, "OW", VR::TYPE_OW, DLEndian::BIG_ENDIAN_ORDER},
                    PixelTypeCase{Syntax::EXPLICIT_BIG, "UN", VR::TYPE_OW, DLEndian::LITTLE_ENDIAN_ORDER},
                    PixelTypeCase{Syntax::IMPLICIT_LITTLE, "", VR::TYPE_OW, DLEndian::LITTLE_ENDIAN_ORDER}));

/// Opens a file and hands out its pixel element.
class PixelElement
{
public:
    PixelElement(InputStream& theStream, MemoryAllocater& theAllocator)
    {
        itsPart10.Open(&theStream, false, true);
        const auto* aType = TransferSyntaxManager::GetDefaultInstance().GetTransferSyntaxType(
            itsPart10.GetTransferSyntaxUID());
        itsReader = aType->CreateDataSetReader(itsPart10, theAllocator);
        do
        {
            itsVR = itsReader->Next();
        } while (itsVR && itsVR->GetTag() != DICOMTags::PixelData);
    }

    VR& Get() { return *itsVR; }
    DataSetReader& Reader() { return *itsReader; }

private:
    Part10InputStreamInputStream itsPart10;
    std::unique_ptr<DataSetReader> itsReader;
    std::unique_ptr<VR> itsVR;
};

TEST(DataSetReaderTest, FramesOfNativePixelsAreReachedWithoutReading)
{
    Bytes aPixels(1u << 20);
    for (std::size_t anIndex = 0; anIndex < aPixels.size(); ++anIndex)
    {
        aPixels[anIndex] = static_cast<std::uint8_t>(anIndex * 7 / 256);
    }
    const Bytes aFile = DicomBuilder(Syntax::EXPLICIT_LITTLE).AddNativePixelData(aPixels).Build();
    for (const std::size_t aStart : {0u, 1000u})
    {
        Bytes aShifted(aStart, 0xee); // a file that begins somewhere inside its stream
        aShifted.insert(aShifted.end(), aFile.begin(), aFile.end());
        RecordingInputStream::Record aRecord;
        RecordingInputStream aStream(aShifted, {}, aRecord);
        aStream.Skip(aStart);
        PixelElement anElement(aStream, VR::GetDefaultMemoryAllocater());
        auto* aPixelStream = anElement.Get().GetPixelInputStream();
        ASSERT_NE(nullptr, aPixelStream);
        EXPECT_EQ(aPixels.size(), anElement.Get().GetLength());
        ASSERT_EQ(1, aPixelStream->CanSeek());
        EXPECT_EQ(0u, aPixelStream->GetStreamPosition());
        EXPECT_EQ(700000u, aPixelStream->SkipFully(700000));
        unsigned char aByte = 0;
        EXPECT_EQ(1u, aPixelStream->Read(&aByte, 1));
        EXPECT_EQ(aPixels[700000], aByte);
        aPixelStream->Seek(5);
        EXPECT_EQ(1u, aPixelStream->Read(&aByte, 1));
        EXPECT_EQ(aPixels[5], aByte);
        EXPECT_EQ(6u, aPixelStream->GetStreamPosition());
        EXPECT_LT(aRecord.itsBytesRead, 4096u);
        EXPECT_THROW(aPixelStream->Seek(aPixels.size() + 1), StreamIOException);
        aPixelStream->Seek(aPixels.size() - 1);
        EXPECT_EQ(1u, aPixelStream->Skip(50)) << "the value ends here, though the stream may not";
        EXPECT_EQ(0u, aPixelStream->Skip(50));
        EXPECT_EQ(0u, aPixelStream->Read(&aByte, 1));
    }
}

TEST(DataSetReaderTest, FragmentsAreReachedWithoutReading)
{
    const Bytes aFragment(100000, 0x55);
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE, "1.2.840.10008.1.2.4.50");
    aBuilder.AddOV(DICOMTags::ExtendedOffsetTable, {0, 100008, 0x123456789abcdef0});
    aBuilder.AddOV(DICOMTags::ExtendedOffsetTableLengths, {100000, 100000, 7});
    aBuilder.AddEncapsulatedPixelData({aFragment, aFragment, {1, 2}}, {0, 100008, 200016});
    const Bytes aFile = aBuilder.Build();
    RecordingInputStream::Record aRecord;
    RecordingInputStream aStream(aFile, {}, aRecord);
    PixelElement anElement(aStream, VR::GetDefaultMemoryAllocater());
    auto* aFragments = anElement.Get().GetPixelDataFragmentInputStream();
    ASSERT_NE(nullptr, aFragments);
    EXPECT_EQ((std::vector<std::uint64_t>{0, 100008, 0x123456789abcdef0}),
              aFragments->GetExtendedOffsetTable());
    EXPECT_EQ((std::vector<std::uint64_t>{100000, 100000, 7}), aFragments->GetExtendedOffsetTableLengths());
    EXPECT_EQ((std::vector<std::uint32_t>{0, 100008, 200016}), aFragments->GetBasicOffsetTable());
    ASSERT_TRUE(aFragments->CanSeek());
    ASSERT_TRUE(aFragments->SeekToFragment(200016));
    ASSERT_TRUE(aFragments->NextFragment());
    Bytes aBytes(2);
    EXPECT_EQ(2u, aFragments->Read(aBytes.data(), 2));
    EXPECT_EQ((Bytes{1, 2}), aBytes);
    EXPECT_LT(aRecord.itsBytesRead, 4096u);
    EXPECT_EQ(nullptr, anElement.Reader().Next());
}

TEST(DataSetReaderTest, EncapsulatedPixelsOfDefinedLengthEndWithIt)
{
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE, "1.2.840.10008.1.2.5");
    DicomBuilder anItems(Syntax::EXPLICIT_LITTLE);
    anItems.AddHeader(kItem, "", 0).AddHeader(kItem, "", 2).AddRaw({7, 8});
    aBuilder.AddNativePixelData(anItems.DataSet(), "OB").AddHeader(kItem, "", 2).AddRaw({9, 9});
    const Bytes aFile = aBuilder.Build();
    MemoryInputStream aStream(aFile.data(), aFile.size());
    const Whole aWhole(aStream);
    EXPECT_EQ((Bytes{7, 8}), aWhole.itsPixels);
}

/// The whole value in memory: once, at its size, and no more than there is.
TEST(DataSetReaderTest, PixelValuesComeFromTheAllocator)
{
    for (const bool aKnowsLength : {true, false})
    {
        CountingAllocator anAllocator;
        const Bytes aFile = DicomBuilder(Syntax::EXPLICIT_LITTLE)
                                .AddHeader(DICOMTags::PixelData, "OW", 0xfffffff0)
                                .AddRaw({1, 2, 3, 4})
                                .Build();
        RecordingInputStream::Record aRecord;
        RecordingInputStream aStream(aFile, {true, aKnowsLength}, aRecord);
        PixelElement anElement(aStream, anAllocator);
        const auto aVR = anElement.Get().GetPixelInputStream()->GetVR();
        EXPECT_EQ(4u, aVR->GetLength());
        EXPECT_EQ(VR::TYPE_OW, aVR->GetTypeCode());
        ASSERT_EQ(1u, anAllocator.GetAllocations());
        EXPECT_LE(anAllocator.GetSizes()[0], aKnowsLength ? 4u : 64u << 20);
    }
}

/// Data sets of their own on threads of their own share nothing but DCMTK's dictionary.
TEST(DataSetReaderTest, SeparateStreamsOnSeparateThreads)
{
    std::atomic<int> aGood = 0;
    std::vector<std::thread> aThreads;
    for (const auto aSyntax :
         {Syntax::IMPLICIT_LITTLE, Syntax::EXPLICIT_LITTLE, Syntax::EXPLICIT_BIG, Syntax::DEFLATED})
    {
        aThreads.emplace_back(
            [&aGood, aSyntax]
            {
                const Bytes aFile = NativeFile(aSyntax);
                for (int aRound = 0; aRound < 20; ++aRound)
                {
                    MemoryInputStream aStream(aFile.data(), aFile.size());
                    const Whole aWhole(aStream);
                    std::int32_t aRows = 0;
                    aGood += aWhole.itsObject.GetInteger(DICOMTags::Rows, aRows) && aRows == 3;
                }
            });
    }
    for (std::thread& aThread : aThreads)
    {
        aThread.join();
    }
    EXPECT_EQ(80, aGood);
}
} // namespace
