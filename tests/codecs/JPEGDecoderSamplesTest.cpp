// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

#include "codecs/JPEGTestHelpers.h"
#include "support/Sha256.h"

namespace
{

const std::string kFolder = QUORIX_SAMPLES_DIR;

Bytes ReadFile(const std::string& theName)
{
    std::ifstream aFile(kFolder + "/" + theName, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(aFile), std::istreambuf_iterator<char>());
}

/// Hashes of expected.tsv for bare JPEG files, by file and then by reading ("stored" or "RGB").
std::map<std::string, std::map<std::string, std::string>> ReadExpected()
{
    std::map<std::string, std::map<std::string, std::string>> aTable;
    std::ifstream aFile(kFolder + "/expected.tsv");
    for (std::string aLine; std::getline(aFile, aLine);)
    {
        std::vector<std::string> aFields;
        std::istringstream aStream(aLine);
        for (std::string aField; std::getline(aStream, aField, '\t');)
        {
            aFields.push_back(aField);
        }
        if (aFields.size() < 12 || aFields[0].rfind("jpeg/", 0) != 0 || aFields[11] != "yes")
        {
            continue;
        }
        const std::string& aReading = aFields[4];
        if (aReading.rfind("RGB", 0) == 0)
        {
            aTable[aFields[0]]["RGB"] = aFields[10];
        }
        else if (aReading.rfind("stored", 0) == 0 && aReading.find("REPLICATED") == std::string::npos)
        {
            // The first row is the one that this library's ancestors agree on.
            aTable[aFields[0]].emplace("stored", aFields[10]);
        }
    }
    return aTable;
}

/// The build that a frame header calls for: lossless by bits, DCT by its one precision.
int BuildFor(const Bytes& theJpeg)
{
    for (std::size_t i = 2; i + 9 < theJpeg.size();)
    {
        const int aMarker = theJpeg[i + 1];
        if (aMarker >= 0xc0 && aMarker <= 0xc3)
        {
            return theJpeg[i + 4] <= 8 ? 8 : theJpeg[i + 4] <= 12 ? 12 : 16;
        }
        i += 2 + (std::size_t{theJpeg[i + 2]} << 8 | theJpeg[i + 3]);
    }
    return 8;
}

/// Four components have no way to RGB and are refused.
const std::map<std::string, std::string> kRefused = {
    {"jpeg/A1.JPG", "Unsupported color conversion request"},
    {"jpeg/C1.JPG", "Unsupported color conversion request"},
    {"jpeg/C2.JPG", "Unsupported color conversion request"},
    {"jpeg/jpg-cmyk-1.jpg", "Unsupported color conversion request"},
};

TEST(JPEGDecoderSamples, BareFilesHaveTheExpectedHashes)
{
    const auto anExpected = ReadExpected();
    if (anExpected.empty())
    {
        GTEST_SKIP() << "no sample files in " << kFolder;
    }
    for (const auto& [aName, aHashes] : anExpected)
    {
        const Bytes aJpeg = ReadFile(aName);
        // Where only stored samples are on record, the data set says that they are RGB.
        const bool aPlain = aHashes.count("RGB") == 0;
        const auto aDecoder =
            MakeDecoder(BuildFor(aJpeg), aPlain ? Decoder::COLOR_MODEL_RGB : Decoder::COLOR_MODEL_UNKNOWN);
        ByteSource aSource(aJpeg);
        const auto aRefusal = kRefused.find(aName);
        if (aRefusal != kRefused.end())
        {
            EXPECT_NE(DecodeError(*aDecoder, aSource).find(aRefusal->second), std::string::npos) << aName;
            continue;
        }
        Bytes aPixels;
        ASSERT_NO_THROW(aPixels = DecodeBytes(*aDecoder, aSource)) << aName;
        const bool aConverted = aDecoder->GetCompressedColorspace() == Decoder::COLOR_MODEL_YBR_FULL_422;
        const auto aHash = aHashes.find(aConverted ? "RGB" : "stored");
        ASSERT_TRUE(aHash != aHashes.end()) << aName;
        EXPECT_EQ(Sha256(aPixels.data(), aPixels.size()), aHash->second) << aName;
    }
}

// Files that crashed decoders elsewhere.
TEST(JPEGDecoderSamples, DamagedFilesEndInPixelsOrAnError)
{
    if (!std::filesystem::is_directory(kFolder + "/damaged"))
    {
        GTEST_SKIP() << "no sample files in " << kFolder;
    }
    for (const char* aName : {"broken-no-sof-ascii-transfer-mode", "broken-sos-before-sof",
                              "dc-predictor-overflow", "derive-huffman-codes-overflow", "empty"})
    {
        const Bytes aJpeg = ReadFile(std::string("damaged/") + aName + ".jpg");
        for (const int aBuild : {8, 12, 16})
        {
            ByteSource aSource(aJpeg);
            const std::string anError = DecodeError(*MakeDecoder(aBuild), aSource);
            EXPECT_TRUE(anError.empty() || anError.rfind("JPEGDecoder: error (read ", 0) == 0)
                << aName << ": " << anError;
        }
    }
}

} // namespace
