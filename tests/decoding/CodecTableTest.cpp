// SPDX-License-Identifier: Apache-2.0
#include "decoding/CodecTable.h"

#include <fstream>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "codecs/jpegls/JPEGLSDecoder.h"
#include "support/Jpeg2000Streams.h"
#include "toolkit/dicom/TransferSyntaxManager.h"

namespace
{
std::string ReadJava(const std::string& theClass)
{
    std::ifstream aFile(QUORIX_SOURCE_DIR "/java/src/main/java/com/quorix/decompression/" + theClass +
                        ".java");
    return {std::istreambuf_iterator<char>(aFile), {}};
}

/// Image type code and first bytes.
using Types = std::map<int, std::vector<std::string>>;

Types TypesOfJava()
{
    using Matches = std::sregex_iterator;
    const std::string aConstants = ReadJava("NDecompressor"), anEnum = ReadJava("ImageType");
    const std::regex aConstant(" int (TYPE_\\w+) = (\\d+)"), aQuoted("\"([^\"]*)\"");
    const std::regex aUse("\\(NDecompressor\\.(TYPE_\\w+)([^)]*)");
    std::map<std::string, int> aCodes;
    for (Matches i(aConstants.begin(), aConstants.end(), aConstant); i != Matches(); ++i)
    {
        aCodes[i->str(1)] = std::stoi(i->str(2));
    }
    Types aTypes;
    for (Matches i(anEnum.begin(), anEnum.end(), aUse); i != Matches(); ++i)
    {
        std::vector<std::string>& aType = aTypes[aCodes.at(i->str(1))];
        const std::string aStarts = i->str(2);
        for (Matches k(aStarts.begin(), aStarts.end(), aQuoted); k != Matches(); ++k)
        {
            const auto aStart = Jpeg2000Streams::FromHex(k->str(1));
            aType.emplace_back(aStart.begin(), aStart.end());
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
                aSignature.empty() ? void() : static_cast<void>(aStarts.emplace_back(aSignature));
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
