// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/Part10InputStreamInputStream.h"

#include <gtest/gtest.h>

#include "support/DicomBuilder.h"
#include "toolkit/base/StreamIOException.h"
#include "toolkit/dicom/DataSetReader.h"
#include "toolkit/dicom/TransferSyntaxManager.h"
#include "toolkit/io/MemoryInputStream.h"

namespace
{
using Bytes = DicomBuilder::Bytes;
using Syntax = DicomBuilder::Syntax;

Bytes Part10(const Bytes& theRest)
{
    Bytes aFile(128, 'p');
    for (const char aLetter : {'D', 'I', 'C', 'M'})
    {
        aFile.push_back(static_cast<std::uint8_t>(aLetter));
    }
    aFile.insert(aFile.end(), theRest.begin(), theRest.end());
    return aFile;
}

Bytes MetaWith(const std::string& theUID, std::uint32_t theGroupLength)
{
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE);
    aBuilder.AddUL({0x0002, 0x0000}, {theGroupLength});
    aBuilder.AddBytes(DICOMTags::TransferSyntaxUID, "UI", Bytes(theUID.begin(), theUID.end()));
    return aBuilder.DataSet();
}

const Bytes kRows = DicomBuilder(Syntax::EXPLICIT_LITTLE).AddUS(DICOMTags::Rows, {3}).DataSet();
const Bytes kExplicitSet =
    DicomBuilder(Syntax::EXPLICIT_LITTLE).AddString({0x0008, 0x0060}, "CS", "OT").DataSet();
const Bytes kImplicitSet =
    DicomBuilder(Syntax::IMPLICIT_LITTLE).AddString({0x0008, 0x0060}, "CS", "OT").DataSet();
const Bytes kBigSet = DicomBuilder(Syntax::EXPLICIT_BIG).AddString({0x0008, 0x0060}, "CS", "OT").DataSet();

Bytes operator+(Bytes theFirst, const Bytes& theSecond)
{
    theFirst.insert(theFirst.end(), theSecond.begin(), theSecond.end());
    return theFirst;
}

struct OpenCase
{
    const char* itsName;
    Bytes itsFile;
    const char* itsUID;
};

class Part10Open : public testing::TestWithParam<OpenCase>
{
};

TEST_P(Part10Open, FindsTheTransferSyntax)
{
    const Bytes& aFile = GetParam().itsFile;
    MemoryInputStream aStream(aFile.data(), aFile.size());
    Part10InputStreamInputStream aPart10;
    aPart10.Open(&aStream, false, Part10InputStream::DefaultsToLenientParsing());
    EXPECT_EQ(GetParam().itsUID, aPart10.GetTransferSyntaxUID()) << GetParam().itsName;
    aPart10.Close();
    aPart10.Close();
    EXPECT_EQ("", aPart10.GetTransferSyntaxUID());
}

INSTANTIATE_TEST_SUITE_P(
    Files, Part10Open,
    testing::Values(OpenCase{"trailing blanks and NULs", Part10(MetaWith(std::string("1.2.3 \0 \0", 9), 0)),
                             "1.2.3"},
                    OpenCase{"group length too small", Part10(MetaWith("1.2.840.10008.1.2.4.70", 2)),
                             "1.2.840.10008.1.2.4.70"},
                    OpenCase{"group length too large", Part10(MetaWith("1.2.840.10008.1.2.1", 90000) + kRows),
                             "1.2.840.10008.1.2.1"},
                    OpenCase{"no file meta, explicit", Part10(kExplicitSet), "1.2.840.10008.1.2.1"},
                    OpenCase{"no file meta, implicit", Part10(kImplicitSet), "1.2.840.10008.1.2"},
                    OpenCase{"no file meta, big-endian", Part10(kBigSet), "1.2.840.10008.1.2.2"},
                    OpenCase{"nothing at all", Part10({}), ""},
                    OpenCase{"implicit file meta",
                             Part10(DicomBuilder(Syntax::IMPLICIT_LITTLE)
                                        .AddString(DICOMTags::TransferSyntaxUID, "UI", "1.2.840.10008.1.2")
                                        .DataSet() +
                                    kImplicitSet),
                             "1.2.840.10008.1.2"}));

TEST(Part10InputStreamInputStreamTest, PreambleAndMagicAreNeeded)
{
    Bytes aNoMagic = Part10(kExplicitSet);
    aNoMagic[131] = 'm';
    for (const Bytes& aFile : {Bytes{}, Bytes(131, 'D'), aNoMagic, kExplicitSet})
    {
        MemoryInputStream aStream(aFile.data(), aFile.size());
        Part10InputStreamInputStream aPart10;
        try
        {
            aPart10.Open(&aStream, false, true);
            FAIL() << "that is no Part 10 stream";
        }
        catch (const StreamIOException& anException)
        {
            EXPECT_EQ(DLRC_PARSE_ERROR, anException.GetResultCode());
            EXPECT_EQ(
                "Part10InputStreamInputStream::Open: not a DICOM Part 10 stream (no preamble with \"DICM\")",
                anException.GetMessageText());
        }
        EXPECT_EQ("", aPart10.GetTransferSyntaxUID());
    }
}

TEST(Part10InputStreamInputStreamTest, AReaderNeedsAnOpenStream)
{
    Part10InputStreamInputStream aPart10;
    const auto* aType =
        TransferSyntaxManager::GetDefaultInstance().GetTransferSyntaxType("1.2.840.10008.1.2");
    EXPECT_THROW(aType->CreateDataSetReader(aPart10, VR::GetDefaultMemoryAllocater()), StreamIOException);
    EXPECT_THROW(aPart10.Open(nullptr, true, true), StreamIOException);
}

struct SyntaxCase
{
    const char* itsUID;
    bool itsExplicit;
    bool itsEncapsulated;
    bool itsDeflated;
};

class TransferSyntaxes : public testing::TestWithParam<SyntaxCase>
{
};

TEST_P(TransferSyntaxes, SayHowADataSetIsEncoded)
{
    const auto* aType = TransferSyntaxManager::GetDefaultInstance().GetTransferSyntaxType(GetParam().itsUID);
    ASSERT_NE(nullptr, aType);
    EXPECT_EQ(GetParam().itsExplicit, aType->IsExplicitVR());
    EXPECT_EQ(GetParam().itsEncapsulated, aType->IsEncapsulated());
    EXPECT_EQ(GetParam().itsDeflated, aType->IsDeflated());
    const bool aBig = RWCString("1.2.840.10008.1.2.2") == GetParam().itsUID;
    EXPECT_EQ(aBig ? DLEndian::BIG_ENDIAN_ORDER : DLEndian::LITTLE_ENDIAN_ORDER, aType->GetEndian());
}

INSTANTIATE_TEST_SUITE_P(UIDs, TransferSyntaxes,
                         testing::Values(SyntaxCase{"1.2.840.10008.1.2", false, false, false},
                                         SyntaxCase{"1.2.840.10008.1.2.1", true, false, false},
                                         SyntaxCase{"1.2.840.10008.1.2.1.99", true, false, true},
                                         SyntaxCase{"1.2.840.10008.1.2.2", true, false, false},
                                         SyntaxCase{"1.2.840.10008.1.2.5", true, true, false},
                                         SyntaxCase{"1.2.840.10008.1.2.4.90", true, true, false},
                                         SyntaxCase{"1.2.840.10008.1.2.4.80", true, true, false},
                                         SyntaxCase{"1.2.840.10008.1.2.4.201", true, true, false},
                                         SyntaxCase{"1.2.840.10008.1.2.4.106.1", true, true, false},
                                         SyntaxCase{"1.2.840.10008.1.2.1.98", true, true, false},
                                         SyntaxCase{"1.2.840.10008.1.2.8.1", true, true, false},
                                         SyntaxCase{"1.2.840.10008.1.2.4.95", true, true, true},
                                         SyntaxCase{"1.2.840.10008.1.2.4.205", true, true, true}));

TEST(TransferSyntaxManagerTest, UnknownUIDsAreUnknown)
{
    for (const char* aUID : {"", "1.2.840.10008.1.2 ", "1.2.840.10008.1.2.4.49", "1.2.840.113619.5.2"})
    {
        EXPECT_EQ(nullptr, TransferSyntaxManager::GetDefaultInstance().GetTransferSyntaxType(aUID));
    }
}
} // namespace
