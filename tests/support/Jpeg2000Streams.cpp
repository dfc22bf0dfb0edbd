// SPDX-License-Identifier: Apache-2.0
#include "support/Jpeg2000Streams.h"

#include <algorithm>

#include "support/Words.h"

namespace Jpeg2000Streams
{
Bytes Join(std::initializer_list<Bytes> theParts)
{
    Bytes aWhole;
    for (const Bytes& aPart : theParts)
    {
        aWhole.insert(aWhole.end(), aPart.begin(), aPart.end());
    }
    return aWhole;
}

Bytes FromHex(const std::string& theText)
{
    Bytes aBytes;
    for (std::size_t i = 0; i + 1 < theText.size(); i += 2)
    {
        aBytes.push_back(static_cast<std::uint8_t>(std::stoi(theText.substr(i, 2), nullptr, 16)));
    }
    return aBytes;
}

Bytes Grey12()
{
    return FromHex(
        "ff4fff5100290000000000100000000c00000003000000010000000800000008000000000000000000018b0101ff5200"
        "0c00000001000304040001ff5c000d4060686870686870686870ff90000a0000000000530001ff93c01f5010031bc00f"
        "900c03ea0381f9818004096f3f0625f7c7f21b0fd8263fc07006ed73ca88377cf5c9e197a92f14b5dfcf56ce8a662812"
        "79dec162dc1d61303a10aabf1fff90000a0001000000690001ff93c00f900c07e00404097bc07da0707e60f03f307006"
        "e6df0b9eb93a4cff7f02e14532d36b7fc0fc0360fcc5207e61600b7c867f1e23d003fe92bd6a2f16a3645d25078c292f"
        "eb8c0c463807f6576e748f0788b433869cf85af2628fff90000a0002000000420001ff93c07da04006c7c0fc00a00f9c"
        "0c0fcc0805d7060076c1f98440fc01a0fd81c00e485105204808bd04bf82eed67f0c605b164d02efff90000a00030000"
        "00530001ff93c03e702002c07da04005dfc01f38381f80240fcc100ac50f0bbd6d7f0a18823fc0fc0220fcc2a0fd8240"
        "0e33b2251d44da2c128284432dbc39ff2c550c42c28997b8c5f4a3ffd9");
}

Bytes HighThroughput()
{
    return FromHex(
        "ff4fff51002940000000000d0000000b00000000000000000000000d0000000b000000000000000000018b0101ff5000"
        "08000200000008ff52000c00020001000304044001ff5c000d2070787880787878707078ff64001600014f70656e4a50"
        "482056657220302e392e302eff90000a0000000001820001ff93c00158b9a5d08ca32fff7d0241b400c000ab80015100"
        "0150c49292f0371b7001219400297901f301223400f78303dd01423400c000b660005bd0002da07a853fcb57daf54e09"
        "faaf2c506f5404fe0605b908037b38000da9049350d2ddebfa253b4a4bcecf4adb2d6b24b69ba736cd0801a9b70073f0"
        "89f5a7c85769c1b366ff4ff8c5fd34fe0a05b90800feb800c0017a540017a6c000bd10776d3af7ff7fff7f80ff3fbfef"
        "efff73f9fb7ebf0ff0f3f7f7ff7cbebfdff703f201ff3e3ee09ff7e7ff797d80ff7f0ff8e7ff7bfe7c3ff0ff7fff7ff3"
        "0296af18b420a42c7380733d00d3e0ff23e7feff7fff01ff7fd77d80dffec7f301fcf9ff7fefff79ff797fbe0fe0fbff"
        "00ff7fbffdefefebff6bff40bfff67ff03fcf7fefc3fe09f024176fae20a70e09739c07fd8a601aeb201a4f3ff7fff7f"
        "ff3f7fbfff5f7fff5fdfbfdfbfefff7ff7ff73ff7bfdfdff7ffe7f7fff7fff7ffebfff5fff1fff7fefefff67f7ff7f0f"
        "f8016fdceef91750ce8400733d00ffd9");
}

Bytes HighThroughputBlock()
{
    return FromHex(
        "ff4fff510029400000000004000000040000000000000000000000040000000400000000000000000001070101ff5000"
        "08000200000001ff52000c00020001000004044001ff5c00042048ff64001600014f70656e4a50482056657220302e39"
        "2e302eff90000a0000000000280001ff93c02d707f530dbed685de25c02d65e46babfc006097000010b800ffd9");
}

int GreyValue(int theX, int theY)
{
    if (theY == 0 && theX < 2)
    {
        return theX == 0 ? -2048 : 2047;
    }
    return (theX * 37 + theY * 53 + theX * theY * 5) % 512 - 256;
}

Bytes GreyWords(const std::function<int(int)>& theCode)
{
    std::vector<int> aWords;
    for (int i = 0; i < kGreyWidth * kGreyHeight; ++i)
    {
        aWords.push_back(theCode(GreyValue(i % kGreyWidth, i / kGreyWidth)));
    }
    return Words(aWords);
}

Bytes Colour()
{
    return FromHex(
        "ff4fff51002f00000000000b0000000900000000000000000000000b0000000900000000000000000003070101070101"
        "070101ff52000c00000001010204040001ff5c000a4040484850484850ff90000a0000000000c80001ff93cfb42806b5"
        "f477f6f4696d9c9fff18581b1b8ac55b0fce867f4287c7d40e08ec8ab9840183c3ea0887d40b07d40c1597374ffc8a03"
        "510fc81d63880f725453efdfc7da153f0078fc01c00cc65e042572fe4f3b5f0fc81d63eaa8d90f725453ef10f780c1f3"
        "8b87d41b07d4102482dece812bc94d275a1f24d1bbf942275c0906c09fff7f1f62987446c9afefc7da1b3f00d8fc0280"
        "2482dece812bc94d275a33ff7f24d1bbf942275c0906c09ffcbb1f62987446c9afefff7f80ffd9");
}

Bytes PlainColour()
{
    return FromHex(
        "ff4fff51002f00000000000b0000000900000000000000000000000b0000000900000000000000000003070101070101"
        "070101ff52000c00000001000204040001ff5c000a4040484850484850ff90000a0000000000950001ff93df805006a0"
        "15a56dd6b8b71fc1cfb42806536d9e02a2725c4c7fdf80600cc8dcb74360f65dde8377bfc1f38300159158c1f3830015"
        "9158c7da153f0078fc01c00cc43bc2092c32c0321b0fc81d63eaa8d90f725453ef10f78080c7da1b3f00d8fc02802482"
        "dece812bc94d275a33ff7f24d1bbf942275c0906c09ffcbb1f62987446c9afefff7fffd9");
}

Bytes ColourPixels()
{
    Bytes anImage;
    for (int i = 0; i < kColourWidth * kColourHeight * 3; ++i)
    {
        const int aPixel = i / 3;
        const int aValue = aPixel % kColourWidth * 9 + aPixel / kColourWidth * 13 + i % 3 * 60;
        anImage.push_back(static_cast<std::uint8_t>(aValue));
    }
    return anImage;
}

Bytes Indices()
{
    return FromHex(
        "ff4fff510029000000000004000000040000000000000000000000040000000400000000000000000001070101ff5200"
        "0c00000001000104040001ff5c00074040484850ff90000a0000000000200001ff93df80300781575a4227c010c07c21"
        "000c0b3dffd9");
}

Bytes Pair()
{
    return FromHex(
        "ff4fff51002c000000000004000000040000000000000000000000040000000400000000000000000002070101070101"
        "ff52000c00000001000004040001ff5c00044040ff90000a0000000000340001ff93df8088120bd33fb29a956c155de8"
        "7b7a59cbfdcfcfb43c120a4aae73379e6640b25e9e3fe94fffd9");
}

Bytes DeepColour()
{
    return FromHex(
        "ff4fff51002f0000000000040000000400000000000000000000000400000004000000000000000000030b01010b0101"
        "0b0101ff52000c00000001000004040001ff5c00044060ff90000a0000000000550001ff93dfe054120bd35f4b933436"
        "616a881623bc37dede9672ff39cfe450115054994d00180df5db7a30967420cfabdb17dbcfe4541150548af320c0b476"
        "f5e2fb308732a6da457983b9ffd9");
}

Bytes Lossy()
{
    return FromHex(
        "ff4fff51002f000000000010000000100000000000000000000000100000001000000000000000000003070101070101"
        "070101ff52000c00000001010304040000ff5c001742673867506750676850055005504757d357d35762ff90000a0000"
        "000000610001ff93c7ec0e08f9ae9fd2ab9fc1f8020001c97ac7c1f802800885ca427fc0fb41603ea0300cff61047f0b"
        "3a0e8080c0f9c4c07c8140221a05071765daff7f037f6690cb8080c03e11600e8636a19963bf3da6338080ffd9");
}

int LossyValue(int theComponent, int theX, int theY)
{
    return (theX * 5 + theY * 3 + theComponent * 40) % 256;
}

Bytes Patch(Bytes theStream, std::size_t thePosition, const Bytes& theBytes)
{
    std::copy(theBytes.begin(), theBytes.end(), theStream.begin() + static_cast<std::ptrdiff_t>(thePosition));
    return theStream;
}

Bytes Box(const char* theType, const Bytes& theContents)
{
    Bytes aBox;
    PutBigEndian(aBox, theContents.size() + 8, 4);
    aBox.insert(aBox.end(), theType, theType + 4);
    return Join({aBox, theContents});
}

Bytes ColourBox(std::uint8_t theSpace)
{
    return Box("colr", {1, 0, 0, 0, 0, 0, theSpace});
}

Bytes MakeJp2(const Bytes& theStream, const Bytes& theBoxes)
{
    const Bytes anImageHeader = Box("ihdr", {0, 0, 0, kGreyHeight, 0, 0, 0, kGreyWidth, 0, 1, 0x8b, 7, 0, 0});
    return Join({Box("jP  ", {0x0d, 0x0a, 0x87, 0x0a}),
                 Box("ftyp", {'j', 'p', '2', ' ', 0, 0, 0, 0, 'j', 'p', '2', ' '}),
                 Box("jp2h", Join({anImageHeader, theBoxes})), Box("jp2c", theStream)});
}
} // namespace Jpeg2000Streams
