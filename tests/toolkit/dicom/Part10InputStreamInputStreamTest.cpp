// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/Part10InputStream.h"

#include <gtest/gtest.h>

#include "support/DicomBuilder.h"
#include "support/FailureOf.h"
#include "toolkit/dicom/DataSetReader.h"
#include "toolkit/dicom/TransferSyntaxManager.h"
#include "toolkit/io/InputStream.h"

namespace
{
using Bytes = DicomBuilder::Bytes;
using Syntax = DicomBuilder::Syntax;

/// What follows the preamble: file meta information with such a UID and group length, if any is given.
DicomBuilder Meta(const std::string& theUID = "", std::uint32_t theGroupLength = 0)
{
    DicomBuilder aBuilder(Syntax::EXPLICIT_LITTLE);
    aBuilder.AddRaw(Bytes(128, 'p')).AddRaw({'D', 'I', 'C', 'M'});
    if (!theUID.empty())
    {
        aBuilder.AddUL({0x0002, 0x0000}, {theGroupLength});
        aBuilder.AddBytes(DICOMTags::TransferSyntaxUID, "UI", Bytes(theUID.begin(), theUID.end()));
    }
    return aBuilder;
}

Bytes Modality(Syntax theSyntax)
{
    return DicomBuilder(theSyntax).AddString({0x0008, 0x0060}, "CS", "OT").DataSet();
}

TEST(Part10InputStreamInputStream, FindsTheTransferSyntax)
{
    const Bytes anImplicitMeta = DicomBuilder(Syntax::IMPLICIT_LITTLE)
                                     .AddString(DICOMTags::TransferSyntaxUID, "UI", "1.2.840.10008.1.2")
                                     .DataSet();
    const Bytes aRows = DicomBuilder(Syntax::EXPLICIT_LITTLE).AddUS(DICOMTags::Rows, {3}).DataSet();
    const std::pair<DicomBuilder, const char*> kCases[] = {
        {Meta(std::string("1.2.3 \0 \0", 9)), "1.2.3"},
        {Meta("1.2.840.10008.1.2.4.70", 2), "1.2.840.10008.1.2.4.70"},
        {Meta("1.2.840.10008.1.2.1", 90000).AddRaw(aRows), "1.2.840.10008.1.2.1"},
        {Meta().AddRaw(Modality(Syntax::EXPLICIT_LITTLE)), "1.2.840.10008.1.2.1"},
        {Meta().AddRaw(Modality(Syntax::IMPLICIT_LITTLE)), "1.2.840.10008.1.2"},
        {Meta().AddRaw(Modality(Syntax::EXPLICIT_BIG)), "1.2.840.10008.1.2.2"},
        {Meta(), ""},
        {Meta().AddRaw(anImplicitMeta).AddRaw(Modality(Syntax::IMPLICIT_LITTLE)), "1.2.840.10008.1.2"}};
    for (const auto& [aFile, aUID] : kCases)
    {
        MemoryInputStream aStream(aFile.DataSet().data(), aFile.DataSet().size());
        Part10InputStreamInputStream aPart10;
        aPart10.Open(&aStream, false, Part10InputStream::DefaultsToLenientParsing());
        EXPECT_EQ(aUID, aPart10.GetTransferSyntaxUID());
        aPart10.Close();
        aPart10.Close();
        EXPECT_EQ("", aPart10.GetTransferSyntaxUID());
    }
}

TEST(Part10InputStreamInputStream, NeedsAStreamWithPreambleAndMagic)
{
    Bytes aNoMagic = Meta().AddRaw(Modality(Syntax::EXPLICIT_LITTLE)).DataSet();
    aNoMagic[131] = 'm';
    Part10InputStreamInputStream aPart10;
    for (const Bytes& aFile : {Bytes{}, Bytes(131, 'D'), aNoMagic, Modality(Syntax::EXPLICIT_LITTLE)})
    {
        MemoryInputStream aStream(aFile.data(), aFile.size());
        EXPECT_EQ(FailureOf([&] { aPart10.Open(&aStream, false, true); }),
                  "Part10InputStreamInputStream::Open: not a DICOM Part 10 stream (no preamble with "
                  "\"DICM\") [38, 0]");
        EXPECT_EQ("", aPart10.GetTransferSyntaxUID());
    }
    const auto* aType =
        TransferSyntaxManager::GetDefaultInstance().GetTransferSyntaxType("1.2.840.10008.1.2");
    EXPECT_NE(FailureOf([&] { aType->CreateDataSetReader(aPart10, VR::GetDefaultMemoryAllocater()); }),
              "(nothing)");
    EXPECT_NE(FailureOf([&] { aPart10.Open(nullptr, true, true); }), "(nothing)");
}

TEST(TransferSyntaxManager, KnowsHowADataSetIsEncoded)
{
    // Explicit, encapsulated, deflated, big endian.
    const std::pair<const char*, const char*> kCases[] = {
        {"1.2.840.10008.1.2", ""},           {"1.2.840.10008.1.2.1", "x"},
        {"1.2.840.10008.1.2.1.99", "xd"},    {"1.2.840.10008.1.2.2", "xb"},
        {"1.2.840.10008.1.2.5", "xe"},       {"1.2.840.10008.1.2.4.90", "xe"},
        {"1.2.840.10008.1.2.4.80", "xe"},    {"1.2.840.10008.1.2.4.201", "xe"},
        {"1.2.840.10008.1.2.4.106.1", "xe"}, {"1.2.840.10008.1.2.1.98", "xe"},
        {"1.2.840.10008.1.2.8.1", "xe"},     {"1.2.840.10008.1.2.4.95", "xed"},
        {"1.2.840.10008.1.2.4.205", "xed"}};
    const TransferSyntaxManager& aManager = TransferSyntaxManager::GetDefaultInstance();
    for (const auto& [aUID, aProperties] : kCases)
    {
        const auto* aType = aManager.GetTransferSyntaxType(aUID);
        ASSERT_NE(nullptr, aType) << aUID;
        const bool isBig = aType->GetEndian() == DLEndian::BIG_ENDIAN_ORDER;
        EXPECT_EQ(std::string(aType->IsExplicitVR() ? "x" : "") + (aType->IsEncapsulated() ? "e" : "") +
                      (aType->IsDeflated() ? "d" : "") + (isBig ? "b" : ""),
                  aProperties)
            << aUID;
    }
    for (const char* aUID : {"", "1.2.840.10008.1.2 ", "1.2.840.10008.1.2.4.49", "1.2.840.113619.5.2"})
    {
        EXPECT_EQ(nullptr, aManager.GetTransferSyntaxType(aUID));
    }
}
} // namespace
