// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/DataSetReader.h"

#include <numeric>

#include <gtest/gtest.h>

#include "support/CountingAllocator.h"
#include "support/DataSet.h"
#include "support/DicomBuilder.h"
#include "support/FailureOf.h"
#include "support/RecordingInputStream.h"
#include "toolkit/dicom/Part10InputStream.h"
#include "toolkit/dicom/PixelDataFragmentInputStreamVR.h"
#include "toolkit/dicom/TransferSyntaxManager.h"
#include "toolkit/dicom/VR.h"

namespace
{
using Bytes = DicomBuilder::Bytes;
using Syntax = DicomBuilder::Syntax;
using Manner = RecordingInputStream::Manner;

constexpr Syntax kSyntaxes[] = {Syntax::IMPLICIT_LITTLE, Syntax::EXPLICIT_LITTLE, Syntax::EXPLICIT_BIG,
                                Syntax::DEFLATED};
constexpr DICOMTag kNestedTag{0x0008, 0x1150};
constexpr DICOMTag kSequence = DICOMTags::SourceImageSequence;
constexpr DICOMTag kOtherSequence{0x0008, 0x2218};
constexpr DICOMTag kPrivate{0x0009, 0x1001};
constexpr DICOMTag kItem{0xfffe, 0xe000}, kItemEnd{0xfffe, 0xe00d}, kSequenceEnd{0xfffe, 0xe0dd};
constexpr std::uint32_t UNDEFINED = DicomBuilder::UNDEFINED_LENGTH;

/// A file being read, up to the pixel data's value.
class Reading
{
public:
    explicit Reading(const Bytes& theFile, Manner theManner = {}, DICOMTag theStopTag = DICOMTags::None,
                     std::size_t theStart = 0,
                     MemoryAllocater& theAllocator = VR::GetDefaultMemoryAllocater())
        : itsStream(theFile, theManner, itsRecord)
    {
        itsStream.SkipFully(theStart);
        itsPart10.Open(&itsStream, false, true);
        const auto* aType = TransferSyntaxManager::GetDefaultInstance().GetTransferSyntaxType(
            itsPart10.GetTransferSyntaxUID());
        if (aType == nullptr)
        {
            return;
        }
        itsSet.SetEndian(aType->GetEndian());
        itsReader = aType->CreateDataSetReader(itsPart10, theAllocator);
        itsReader->SetStopTag(theStopTag);
        while (auto aVR = itsReader->Next())
        {
            itsTags.push_back(aVR->GetTag());
            if (aVR->GetTag() == DICOMTags::PixelData)
            {
                itsPixelData = std::move(aVR);
                return;
            }
            itsSet.ReplaceVR(std::move(aVR));
        }
    }

    RecordingInputStream::Record itsRecord;
    DataSet itsSet;
    std::vector<DICOMTag> itsTags;
    std::unique_ptr<VR> itsPixelData;

protected:
    RecordingInputStream itsStream;
    Part10InputStreamInputStream itsPart10;
    std::unique_ptr<DataSetReader> itsReader;
};

/// All there is; what cannot be read is an exception.
struct Whole : Reading
{
    explicit Whole(const Bytes& theFile, Manner theManner = {}) : Reading(theFile, theManner), itsPixels(64)
    {
        std::size_t aCount = 0;
        if (itsPixelData != nullptr && itsPixelData->GetPixelInputStream() != nullptr)
        {
            aCount = itsPixelData->GetPixelInputStream()->ReadFully(itsPixels.data(), 64);
        }
        else if (itsPixelData != nullptr && itsPixelData->GetPixelDataFragmentInputStream() != nullptr)
        {
            auto& aFragments = *itsPixelData->GetPixelDataFragmentInputStream();
            while (aFragments.NextFragment())
            {
                while (const std::size_t aStep = aFragments.Read(itsPixels.data() + aCount, 64 - aCount))
                {
                    aCount += aStep;
                }
            }
        }
        itsPixels.resize(aCount);
        EXPECT_TRUE(itsReader == nullptr || itsReader->Next() == nullptr) << "the reader ends at the pixels";
    }

    Bytes itsPixels;
};

std::string FailureOfReading(const Bytes& theFile, Manner theManner = {})
{
    return FailureOf([&] { const Whole aWhole(theFile, theManner); });
}

Bytes Pixels(std::size_t theCount)
{
    Bytes aPixels(theCount);
    std::iota(aPixels.begin(), aPixels.end(), std::uint8_t{0});
    return aPixels;
}

/// A file of every syntax with text, numbers, both kinds of sequences, private elements and pixel data.
Bytes NativeFile(Syntax theSyntax)
{
    DicomBuilder anInner(theSyntax);
    anInner.AddString(kNestedTag, "UI", "1.2.3.4");
    DicomBuilder anItem(theSyntax);
    anItem.AddString(kNestedTag, "UI", "1.2.3").AddSequence({0x0040, 0xa730}, {anInner, anInner}, true);
    DicomBuilder aBuilder(theSyntax);
    aBuilder.AddUL({0x0008, 0x0000}, {4}).AddString(DICOMTags::ImageType, "CS", "ORIGINAL\\PRIMARY");
    aBuilder.AddSequence(kSequence, {anItem, anItem});
    aBuilder.AddSequence(kOtherSequence, {anItem, anItem, anItem}, true);
    aBuilder.AddString({0x0021, 0x0010}, "LO", "SOMEBODY");
    aBuilder.AddBytes({0x0021, 0x1001}, "UN", {1, 2, 3, 4});
    aBuilder.AddImageAttributes(1, "MONOCHROME2", 3, 2, 16, 12, 1, 2);
    aBuilder.AddUS(DICOMTags::SmallestImagePixelValue, {0xfffe}, "SS").AddNativePixelData(Pixels(24));
    return aBuilder.AddString({0xfffc, 0xfffc}, "LO", "AFTER").Build();
}

void CheckAttributes(const DataSet& theSet)
{
    EXPECT_EQ("ORIGINAL\\PRIMARY", theSet.Text(DICOMTags::ImageType));
    EXPECT_EQ(3, theSet.Number(DICOMTags::Rows));
    EXPECT_EQ(2, theSet.Number(DICOMTags::NumberOfFrames));
    EXPECT_EQ(-2, theSet.Number(DICOMTags::SmallestImagePixelValue))
        << "US or SS is decided by Pixel Representation";
    EXPECT_EQ(2u, theSet.GetSequenceItemCount(kSequence));
    EXPECT_EQ(3u, theSet.GetSequenceItemCount(kOtherSequence));
    EXPECT_EQ("1.2.3", theSet.ItemText(kOtherSequence, 2, kNestedTag));
    EXPECT_EQ((Bytes{1, 2, 3, 4}), theSet.Value({0x0021, 0x1001}));
    EXPECT_TRUE(theSet.Contains(DICOMTags::TransferSyntaxUID));
}

/// Whatever the stream can do and however small the portions are in which it delivers.
TEST(DataSetReader, ReadsEverySyntaxFromEveryKindOfStreamOrUpToAStopTag)
{
    for (const Syntax aSyntax : kSyntaxes)
    {
        const Bytes aFile = NativeFile(aSyntax);
        const bool isBig = aSyntax == Syntax::EXPLICIT_BIG;
        for (const Manner aManner : {Manner{}, {true, true, 7}, {true, true, 1}, {false, false, 7}})
        {
            const Whole aWhole(aFile, aManner);
            CheckAttributes(aWhole.itsSet);
            EXPECT_EQ(Pixels(24), aWhole.itsPixels);
            EXPECT_EQ(VR::TYPE_OW, aWhole.itsPixelData->GetTypeCode());
            EXPECT_EQ(isBig, aWhole.itsPixelData->GetEndian() == DLEndian::BIG_ENDIAN_ORDER);
            EXPECT_EQ((DICOMTag{0x0002, 0x0000}), aWhole.itsTags.front());
        }
        const Reading aHeader(aFile, {}, DICOMTags::PixelData);
        CheckAttributes(aHeader.itsSet);
        EXPECT_EQ(DICOMTags::SmallestImagePixelValue, aHeader.itsTags.back());
        EXPECT_EQ((DICOMTag{0x0002, 0x0012}), Reading(aFile, {}, {0x0003, 0x0000}).itsTags.back());
    }
}

/// What the stream throws arrives unchanged; the element after the pixels is never asked for.
TEST(DataSetReader, PassesOnWhatTheStreamThrows)
{
    for (const Syntax aSyntax : kSyntaxes)
    {
        const Bytes aFile = NativeFile(aSyntax);
        for (std::size_t i = 0; i + 40 <= aFile.size(); ++i)
        {
            EXPECT_EQ("no more paper [67, 42]",
                      FailureOfReading(Bytes(aFile.data(), aFile.data() + i), {false, false, 100, true}));
        }
    }
}

Bytes Header(DICOMTag theTag, const char* theVR, std::uint32_t theLength, const Bytes& theRest = {})
{
    return DicomBuilder(Syntax::EXPLICIT_LITTLE)
        .AddHeader(theTag, theVR, theLength)
        .AddRaw(theRest)
        .DataSet();
}

const Bytes kCode = Header({0x0008, 0x0008}, "CS", 0);

/// Behind "DataSetReader::Next: ".
const std::pair<Bytes, const char*> kNonsense[] = {
    {Header(kPrivate, "OB", 0xfffffffe),
     "4294967294 bytes of attribute values, more than the limit of 1073741824, with element (0009,1001)"},
    {Header(kPrivate, "OB", 0x3ffffffe), "the stream ends inside element (0009,1001)"},
    {Header({0x0028, 0x0010}, "US", 2, {1}), "the stream ends inside element (0028,0010)"},
    {Header({0x0028, 0x0010}, "O", 2), "the stream ends inside the header of element (0028,0010)"},
    {{0x08, 0x00, 0x08}, "the stream ends inside a tag"},
    {Header(kItem, "", 0), "no element can have the tag (fffe,e000)"},
    {Header({0x0000, 0x0010}, "US", 2, {0, 0}), "no element can have the tag (0000,0010)"},
    {Header(kSequence, "SQ", UNDEFINED, kCode), "no item where one must be in sequence (0008,2112)"},
    {Header(kSequence, "SQ", UNDEFINED, Header(kItem, "", UNDEFINED, Header(kItem, "", 0))),
     "an item inside an item of sequence (0008,2112)"},
    {Header(kSequence, "SQ", 16, Header(kItem, "", 100)),
     "an element runs past the end of the sequence around it: (fffe,e000)"},
    {Header(kSequence, "SQ", 100, Header(kItem, "", 12, Header({0x0008, 0x0008}, "CS", 40))),
     "an element runs past the end of the sequence around it: (0008,0008)"},
    {Header(kSequence, "SQ", UNDEFINED), "the stream ends inside sequence (0008,2112)"},
    {Header(kPrivate, "OB", UNDEFINED, kCode), "no fragment where one must be in element (0009,1001)"},
};

TEST(DataSetReader, NamesTheTagWhereNonsenseIs)
{
    for (const auto& [aDataSet, aText] : kNonsense)
    {
        EXPECT_EQ(std::string("DataSetReader::Next: ") + aText + " [38, 0]",
                  FailureOfReading(DicomBuilder(Syntax::EXPLICIT_LITTLE).AddRaw(aDataSet).Build()));
    }
}

/// A stream that cannot tell its length must not make us believe a declared one either.
TEST(DataSetReader, LyingLengthsTakeNoMemoryFromUnseekableStreams)
{
    const Bytes aValue(3u << 20, 7);
    DicomBuilder aLiar(Syntax::EXPLICIT_LITTLE);
    aLiar.AddHeader(kPrivate, "OB", 0x3ffffffe).AddRaw(aValue);
    EXPECT_NE("(nothing)", FailureOfReading(aLiar.Build(), {false, false}));
    DicomBuilder anHonest(Syntax::EXPLICIT_LITTLE);
    EXPECT_EQ(
        aValue,
        Whole(anHonest.AddBytes(kPrivate, "OB", aValue).Build(), {false, false}).itsSet.Value(kPrivate));
}

/// Nesting is limited, so that neither reading nor destruction can run out of stack; and so is what comes in
/// the wrong order, in the data set and in its items, because sorting is quadratic.
TEST(DataSetReader, DeepNestingAndManyElementsOutOfOrderAreRefused)
{
    const auto aNest = [](std::size_t theDepth)
    {
        DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE);
        for (std::size_t aLevel = 0; aLevel < 2 * theDepth; ++aLevel)
        {
            const bool isEnd = aLevel >= theDepth;
            aBuilder.AddHeader(isEnd ? kItemEnd : kSequence, isEnd ? "" : "SQ", isEnd ? 0 : UNDEFINED);
            aBuilder.AddHeader(isEnd ? kSequenceEnd : kItem, "", isEnd ? 0 : UNDEFINED);
        }
        return aBuilder;
    };
    const auto aDescend = [](int theCount)
    {
        DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE);
        for (int aLeft = theCount; aLeft > 0; --aLeft)
        {
            aBuilder.AddUS({0x0029, static_cast<std::uint16_t>(0x1000 + aLeft)}, {1});
        }
        return aBuilder;
    };
    const auto aDescendInItems = [&](int theCount) {
        return DicomBuilder(Syntax::EXPLICIT_LITTLE)
            .AddSequence(kSequence, {aDescend(500), aDescend(theCount)});
    };
    const std::string aPlace = "DataSetReader::Next: ", aNothing = "(nothing)";
    const std::string aTooDeep =
        aPlace + "65 nested sequences, more than the limit of 64, at element (0008,2112) [38, 0]";
    const std::string aTooMany = aPlace + "too many elements out of order up to (0029,1001) [38, 0]";
    const std::pair<DicomBuilder, std::string> kCases[] = {
        {aNest(64), aNothing},           {aNest(65), aTooDeep},      {aNest(200000), aTooDeep},
        {aDescend(1000), aNothing},      {aDescend(1026), aTooMany}, {aDescendInItems(500), aNothing},
        {aDescendInItems(527), aTooMany}};
    for (const auto& [aBuilder, aText] : kCases)
    {
        EXPECT_EQ(aText, FailureOfReading(aBuilder.Build()));
    }
}

/// Non-conformances that exist in the wild and do no harm.
TEST(DataSetReader, SmallNonConformancesAreSurvived)
{
    const Bytes anImplicit =
        DicomBuilder(Syntax::IMPLICIT_LITTLE).AddString(kNestedTag, "UI", "1.2").DataSet();
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE);
    aBuilder.AddHeader(kSequence, "UN", UNDEFINED); // items are implicit then
    aBuilder.AddHeader(kItem, "", static_cast<std::uint32_t>(anImplicit.size())).AddRaw(anImplicit);
    aBuilder.AddHeader(kSequenceEnd, "", 0).AddHeader(kSequenceEnd, "", 0); // the second closes nothing
    aBuilder.AddHeader(kOtherSequence, "SQ", UNDEFINED).AddHeader(kItem, "", UNDEFINED);
    aBuilder.AddString(kNestedTag, "UI", "3.4")
        .AddHeader(kSequenceEnd, "", 0);           // without the item's own delimiter
    aBuilder.AddHeader(kPrivate, "OB", UNDEFINED); // fragments of somebody's private pixels
    aBuilder.AddHeader(kItem, "", 2).AddRaw({1, 2}).AddHeader(kSequenceEnd, "", 0);
    aBuilder.AddBytes({0x0009, 0x1002}, "ZZ", {}); // no such letters, short form
    aBuilder.AddRaw({0, 0, 0, 0});                 // letters of the future have the long form
    aBuilder.AddHeader({0x0028, 0x0010}, "??", 2).AddRaw({9, 0});
    aBuilder.AddRaw({0x28, 0x00, 0x11, 0x00, 2, 0, 0, 0, 8, 0}); // implicit among explicit
    const Whole aWhole(aBuilder.AddRaw(Bytes(64, 0)).Build());   // padding up to a block
    EXPECT_EQ("1.2", aWhole.itsSet.ItemText(kSequence, 0, kNestedTag));
    EXPECT_EQ("3.4", aWhole.itsSet.ItemText(kOtherSequence, 0, kNestedTag));
    EXPECT_EQ(9, aWhole.itsSet.Number(DICOMTags::Rows));
    EXPECT_EQ(8, aWhole.itsSet.Number(DICOMTags::Columns));
    EXPECT_FALSE(aWhole.itsSet.Contains(kPrivate));
}

/// A value under a sequence's tag that is no sequence is kept as bytes, not read as items.
TEST(DataSetReader, ImplicitSequencesWithoutItemsAreOpaque)
{
    DicomBuilder aBuilder(Syntax::IMPLICIT_LITTLE);
    aBuilder.AddBytes(kSequence, "", {'T', 'E', 'X', 'T'}).AddUS(DICOMTags::Rows, {5});
    const Whole aWhole(aBuilder.Build());
    EXPECT_EQ((Bytes{'T', 'E', 'X', 'T'}), aWhole.itsSet.Value(kSequence));
    EXPECT_EQ(5, aWhole.itsSet.Number(DICOMTags::Rows));
    // Elements that are explicit under the UID of the implicit syntax are seen.
    DicomBuilder anExplicit(Syntax::EXPLICIT_LITTLE, DicomBuilder::UIDOf(Syntax::IMPLICIT_LITTLE));
    anExplicit.AddString(DICOMTags::ImageType, "CS", "X").AddUS(DICOMTags::Rows, {5});
    EXPECT_EQ(5, Whole(anExplicit.Build()).itsSet.Number(DICOMTags::Rows));
}

TEST(DataSetReader, PixelTypeIsTheFilesOrWhatImplicitMeans)
{
    using Row = std::tuple<Syntax, const char*, std::uint16_t, bool>;
    for (const auto& [aSyntax, aVR, aTypeCode, isBig] :
         {Row{Syntax::EXPLICIT_LITTLE, "OB", VR::TYPE_OB, false},
          Row{Syntax::EXPLICIT_BIG, "OB", VR::TYPE_OB, true},
          Row{Syntax::EXPLICIT_BIG, "OW", VR::TYPE_OW, true},
          Row{Syntax::EXPLICIT_BIG, "UN", VR::TYPE_OW, false},
          Row{Syntax::IMPLICIT_LITTLE, "", VR::TYPE_OW, false}})
    {
        DicomBuilder aBuilder(aSyntax);
        const Whole aWhole(aBuilder.AddNativePixelData({1, 2, 3}, aVR).Build());
        EXPECT_EQ(aTypeCode, aWhole.itsPixelData->GetTypeCode());
        EXPECT_EQ(isBig, aWhole.itsPixelData->GetEndian() == DLEndian::BIG_ENDIAN_ORDER);
        EXPECT_EQ((Bytes{1, 2, 3}), aWhole.itsPixels);
    }
}

TEST(DataSetReader, NativePixelsAreReachedWithoutReading)
{
    Bytes aPixels(1u << 20);
    aPixels[700000] = 7;
    aPixels[5] = 5;
    for (const std::size_t aStart : {0u, 1000u})
    {
        DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE);
        Bytes aFile = aBuilder.AddNativePixelData(aPixels).Build();
        aFile.insert(aFile.begin(), aStart, 0xee); // a file that begins somewhere inside its stream
        aFile.insert(aFile.end(), 100, 0xee);
        Reading aReading(aFile, {}, DICOMTags::None, aStart);
        auto& aStream = *aReading.itsPixelData->GetPixelInputStream();
        EXPECT_EQ(aPixels.size(), aReading.itsPixelData->GetLength());
        ASSERT_EQ(1, aStream.CanSeek());
        EXPECT_EQ(700000u, aStream.SkipFully(700000));
        unsigned char aByte[2] = {};
        EXPECT_EQ(1u, aStream.Read(aByte, 1));
        aStream.Seek(5);
        EXPECT_EQ(1u, aStream.Read(aByte + 1, 1));
        EXPECT_EQ(75, aByte[0] * 10 + aByte[1]);
        EXPECT_EQ(6u, aStream.GetStreamPosition());
        EXPECT_LT(aReading.itsRecord.itsBytesRead, 4096u);
        EXPECT_NE("(nothing)", FailureOf([&] { aStream.Seek(aPixels.size() + 1); }));
        aStream.Seek(aPixels.size() - 1);
        EXPECT_EQ(1u, aStream.Skip(50)) << "the value ends here, though the stream does not";
        EXPECT_EQ(0u, aStream.Read(aByte, 1));
        DataSet aSet;
        const auto aText =
            FailureOf<DICOMLibException>([&] { aSet.ReplaceVR(std::move(aReading.itsPixelData)); });
        EXPECT_TRUE(aText.ends_with("[6, 0]")) << "a data set that holds a stream: " << aText;
        EXPECT_FALSE(aSet.Contains(DICOMTags::PixelData));
    }
}

TEST(DataSetReader, FragmentsComeWithTheirOffsetTables)
{
    const std::vector<std::uint64_t> anOffsets = {0, 12, 0x123456789abcdef0}, aLengths = {4, 4, 7};
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE, "1.2.840.10008.1.2.4.50");
    aBuilder.AddOV(DICOMTags::ExtendedOffsetTable, anOffsets);
    aBuilder.AddOV(DICOMTags::ExtendedOffsetTableLengths, aLengths);
    aBuilder.AddEncapsulatedPixelData({{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 9}}, {0, 12, 24});
    const Reading aReading(aBuilder.Build());
    auto& aFragments = *aReading.itsPixelData->GetPixelDataFragmentInputStream();
    EXPECT_EQ(anOffsets, aFragments.GetExtendedOffsetTable());
    EXPECT_EQ(aLengths, aFragments.GetExtendedOffsetTableLengths());
    EXPECT_EQ((std::vector<std::uint32_t>{0, 12, 24}), aFragments.GetBasicOffsetTable());
}

TEST(DataSetReader, EncapsulatedPixelsOfDefinedLengthEndWithIt)
{
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE, "1.2.840.10008.1.2.5");
    aBuilder.AddNativePixelData(Header(kItem, "", 0, Header(kItem, "", 2, {7, 8})), "OB");
    EXPECT_EQ((Bytes{7, 8}), Whole(aBuilder.AddHeader(kItem, "", 2).AddRaw({9, 9}).Build()).itsPixels);
}

/// The whole value in memory: once, at its size, and no more than there is.
TEST(DataSetReader, PixelValuesComeFromTheAllocator)
{
    for (const bool aKnowsLength : {true, false})
    {
        CountingAllocator anAllocator;
        DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE);
        aBuilder.AddHeader(DICOMTags::PixelData, "OW", 0xfffffff0).AddRaw({1, 2, 3, 4});
        Reading aReading(aBuilder.Build(), {true, aKnowsLength}, DICOMTags::None, 0, anAllocator);
        const auto aVR = aReading.itsPixelData->GetPixelInputStream()->GetVR();
        EXPECT_EQ(4u, aVR->GetLength());
        EXPECT_EQ(VR::TYPE_OW, aVR->GetTypeCode());
        ASSERT_EQ(1u, anAllocator.GetAllocations());
        EXPECT_LE(anAllocator.GetSizes()[0], aKnowsLength ? 4u : 64u << 20);
    }
}
} // namespace
