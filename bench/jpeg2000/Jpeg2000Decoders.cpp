// SPDX-License-Identifier: Apache-2.0
#include "jpeg2000/Jpeg2000Decoders.h"

#include <exception>

#include "codecs/jpeg2000/JPEG2000Decoder.h"
#include "codecs/sources/CompressedSources.h"
#include "toolkit/io/InputStream.h"

namespace
{
std::size_t GetNumber(const Bytes& theBytes, std::size_t thePosition, std::size_t theCount)
{
    std::size_t aValue = 0;
    for (std::size_t i = 0; i < theCount; ++i)
    {
        aValue = aValue << 8 | theBytes.at(thePosition + i);
    }
    return aValue;
}
} // namespace

std::vector<Jpeg2000Case> GetJpeg2000Cases()
{
    std::vector<std::string> aNames = {"ct_512",
                                       "ct_1024",
                                       "mr_512",
                                       "cr_2048_tiled",
                                       "rgb_2048",
                                       "rgb_2048_tiled",
                                       "rgb_2048_lossy",
                                       "cr_2048_lossy_tiled",
                                       "rgb_2048_lossy_tiled"};
    for (const std::string& aSide : GetSides())
    {
        aNames.push_back("cr_" + aSide);
        aNames.push_back("cr_" + aSide + "_lossy");
    }
    std::vector<Jpeg2000Case> aCases;
    for (const std::string& aName : aNames)
    {
        aCases.push_back({aName, aName, 1});
        if (aName.find("2048") != std::string::npos)
        {
            aCases.push_back({aName + "_scale3", aName, 3});
        }
    }
    return aCases;
}

std::vector<Jpeg2000Case> GetHighThroughputCases()
{
    std::vector<Jpeg2000Case> aCases;
    for (const char* aName : {"cr_512", "cr_2048", "cr_2048_lossy", "rgb_2048", "rgb_2048_lossy"})
    {
        aCases.push_back({aName, std::string("ht_") + aName, 1});
    }
    aCases.push_back({"cr_2048_scale3", "ht_cr_2048", 3});
    return aCases;
}

std::size_t DecodeWithOurs(const Bytes& theStream, int theScale, Bytes& theOutput)
{
    try
    {
        MemoryInputStream aStream(theStream.data(), theStream.size());
        InputStreamAdapter aSource(aStream);
        JPEG2000Decoder aDecoder(theScale, Decoder::PET_FAST);
        aDecoder.SetSource(nullptr, aSource);
        aDecoder.Decode(static_cast<unsigned int>(theStream.size()), theOutput.data(), theOutput.size());
        return static_cast<std::size_t>(aDecoder.GetDecompressedBufferSize());
    }
    catch (const std::exception&)
    {
        return 0;
    }
}

std::size_t GetOutputSize(const Bytes& theStream)
{
    // SOC, then SIZ with the image's corners, the tiles, and an entry for each component.
    const std::size_t aWidth = GetNumber(theStream, 8, 4) - GetNumber(theStream, 16, 4);
    const std::size_t aHeight = GetNumber(theStream, 12, 4) - GetNumber(theStream, 20, 4);
    const std::size_t aComponents = GetNumber(theStream, 40, 2);
    const std::size_t aDepth = (GetNumber(theStream, 42, 1) & 127) + 1;
    return aWidth * aHeight * aComponents * (aDepth > 8 ? 2 : 1);
}
