// SPDX-License-Identifier: Apache-2.0
#include "decoding/CodecTable.h"

#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "codecs/jpegls/JPEGLSDecoder.h"
#include "toolkit/dicom/TransferSyntaxManager.h"

namespace
{
std::string ReadJava(const std::string& theClass)
{
    std::ifstream aFile(QUORIX_SOURCE_DIR "/java/src/main/java/com/quorix/decompression/" + theClass +
                        ".java");
    return {std::istreambuf_iterator<char>(aFile), {}};
}

/// The codes of the image types that Java's enumeration has.
std::set<int> TypesOfJava()
{
    using Matches = std::sregex_iterator;
    const std::string aConstants = ReadJava("NDecompressor"), anEnum = ReadJava("ImageType");
    const std::regex aConstant(" int (TYPE_\\w+) = (\\d+)");
    std::set<int> aTypes;
    for (Matches i(aConstants.begin(), aConstants.end(), aConstant); i != Matches(); ++i)
    {
        EXPECT_NE(anEnum.find("(NDecompressor." + i->str(1) + ")"), std::string::npos) << i->str(1);
        aTypes.insert(std::stoi(i->str(2)));
    }
    return aTypes;
}

TEST(CodecTable, AgreesWithJava)
{
    std::set<int> aTypes{0, 3}; // no bare streams: rows without a type of their own, and DICOM files
    for (const CodecRow& aRow : CodecTable::GetRows())
    {
        aTypes.insert(aRow.itsImageType);
    }
    aTypes.erase(0);
    EXPECT_EQ(TypesOfJava(), aTypes);
}

TEST(CodecTable, RowsAreWhole)
{
    std::set<std::string> aUIDs;
    for (const CodecRow& aRow : CodecTable::GetRows())
    {
        SCOPED_TRACE(aRow.itsUID);
        EXPECT_TRUE(aUIDs.insert(aRow.itsUID).second);
        EXPECT_EQ(CodecTable::Find(aRow.itsUID, Reading::BY_MEANING), &aRow);
        EXPECT_EQ(CodecTable::Find(aRow.itsUID), aRow.itsIsExtension ? nullptr : &aRow);
        EXPECT_TRUE(!aRow.itsIsExtension || aRow.itsFirstBytes[0].empty()); // by contract they are told apart
        const auto* const aType =
            TransferSyntaxManager::GetDefaultInstance().GetTransferSyntaxType(aRow.itsUID);
        EXPECT_TRUE(aType != nullptr && aType->IsEncapsulated());
        EXPECT_TRUE(aRow.itsTerms != nullptr || !aRow.itsIsAlwaysLossy);
        EXPECT_EQ(aRow.itsLeastSize == nullptr, aRow.itsFail == nullptr);
        const bool isMissing = !JPEGLSDecoder::IsThere() && std::string(aRow.itsName).starts_with("JPEG-LS");
        EXPECT_EQ(aRow.itsCreate({1, Decoder::PET_FAST, false, 8}) == nullptr, isMissing);
    }
}

TEST(CodecTable, ChoosesTheRowOfABareStream)
{
    constexpr std::tuple<int, bool, const char*> kCases[] = {
        {1, false, "50"}, {1, true, "50"}, {2, false, "91"}, {2, true, "90"}, {7, false, "91"},
        {7, true, "90"},  {3, true, ""},   {0, false, ""},   {-1, true, ""}};
    for (const auto& [aType, isLossless, anEnd] : kCases)
    {
        const CodecRow* const aRow = CodecTable::FindBareStream(aType, isLossless);
        const std::string aUID = aRow != nullptr ? aRow->itsUID : "1.2.840.10008.1.2.4.";
        EXPECT_EQ(aUID, std::string("1.2.840.10008.1.2.4.") + anEnd) << aType;
    }
}
} // namespace
