// SPDX-License-Identifier: Apache-2.0
#include "decoding/CodecTable.h"

#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "toolkit/dicom/TransferSyntaxManager.h"

namespace
{
std::string ReadJava(const std::string& theClass)
{
    std::ifstream aFile(QUORIX_SOURCE_DIR "/java/src/main/java/com/quorix/decompression/" + theClass +
                        ".java");
    return {std::istreambuf_iterator<char>(aFile), {}};
}

std::string ToHex(std::string_view theBytes)
{
    std::string aText;
    for (const char aByte : theBytes)
    {
        constexpr char kDigits[] = "0123456789ABCDEF";
        const auto aValue = static_cast<unsigned char>(aByte);
        aText += {kDigits[aValue / 16], kDigits[aValue % 16]};
    }
    return aText;
}

/// Image type code and first bytes.
using Types = std::map<int, std::vector<std::string>>;

Types TypesOfJava()
{
    std::map<std::string, int> aCodes;
    std::istringstream aConstants(ReadJava("NDecompressor"));
    for (std::string aLine; std::getline(aConstants, aLine);)
    {
        const std::size_t aName = aLine.find(" int TYPE_");
        const std::size_t aValue = aLine.find(" = ");
        if (aName != std::string::npos && aValue != std::string::npos)
        {
            aCodes[aLine.substr(aName + 5, aValue - aName - 5)] = std::stoi(aLine.substr(aValue + 3));
        }
    }
    Types aTypes;
    const std::string kUse = "(NDecompressor.";
    std::istringstream anEnum(ReadJava("ImageType"));
    for (std::string aLine; std::getline(anEnum, aLine);)
    {
        const std::size_t aUse = aLine.find(kUse + "TYPE_");
        if (aUse == std::string::npos)
        {
            continue;
        }
        const std::size_t aName = aUse + kUse.size();
        const std::size_t anEnd = aLine.find_first_of(",)", aName);
        std::vector<std::string>& aType = aTypes[aCodes.at(aLine.substr(aName, anEnd - aName))];
        std::istringstream aQuoted(aLine.substr(anEnd));
        for (std::string aStart; std::getline(aQuoted, aStart, '"') && std::getline(aQuoted, aStart, '"');)
        {
            aType.push_back(aStart);
        }
    }
    return aTypes;
}

TEST(CodecTable, AgreesWithJava)
{
    Types aTypes{{3, {}}}; // DICOM files are no bare streams
    for (const CodecRow& aRow : CodecTable::GetRows())
    {
        for (const std::string_view aSignature : aRow.itsFirstBytes)
        {
            if (aRow.itsImageType != 0)
            {
                auto& aStarts = aTypes[aRow.itsImageType];
                aSignature.empty() ? void() : aStarts.push_back(ToHex(aSignature));
            }
        }
    }
    EXPECT_EQ(TypesOfJava(), aTypes);
}

TEST(CodecTable, RowsAreWhole)
{
    std::set<std::string> aUIDs;
    for (const CodecRow& aRow : CodecTable::GetRows())
    {
        SCOPED_TRACE(aRow.itsUID);
        EXPECT_TRUE(aUIDs.insert(aRow.itsUID).second);
        EXPECT_EQ(CodecTable::Find(aRow.itsUID), &aRow);
        const auto* const aType =
            TransferSyntaxManager::GetDefaultInstance().GetTransferSyntaxType(aRow.itsUID);
        EXPECT_TRUE(aType != nullptr && aType->IsEncapsulated());
        EXPECT_TRUE(aRow.itsTerms != nullptr || !aRow.itsIsAlwaysLossy);
        EXPECT_EQ(aRow.itsLeastSize == nullptr, aRow.itsFail == nullptr);
        EXPECT_NE(aRow.itsCreate({1, Decoder::PET_FAST, false, 8}), nullptr);
    }
}

TEST(CodecTable, ChoosesTheRowOfABareStream)
{
    constexpr std::tuple<int, bool, const char*> kCases[] = {
        {1, false, "1.2.840.10008.1.2.4.50"},
        {1, true, "1.2.840.10008.1.2.4.50"},
        {2, false, "1.2.840.10008.1.2.4.91"},
        {2, true, "1.2.840.10008.1.2.4.90"},
        {7, false, "1.2.840.10008.1.2.4.91"},
        {7, true, "1.2.840.10008.1.2.4.90"},
        {3, true, nullptr},
        {0, false, nullptr},
        {-1, true, nullptr},
    };
    for (const auto& [aType, isLossless, aUID] : kCases)
    {
        const CodecRow* const aRow = CodecTable::FindBareStream(aType, isLossless);
        EXPECT_STREQ(aRow != nullptr ? aRow->itsUID : nullptr, aUID) << aType;
    }
}
} // namespace
