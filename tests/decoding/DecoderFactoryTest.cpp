// SPDX-License-Identifier: Apache-2.0
#include "decoding/DecoderFactory.h"

#include <array>
#include <limits>
#include <memory>
#include <string>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include "codecs/jpeg/JPEGDecoders.h"
#include "codecs/jpeg2000/JPEG2000Decoder.h"
#include "codecs/rle/RLEDecoder.h"
#include "decoding/FakeDecoder.h"

namespace
{
struct Case
{
    std::string itsUID;
    std::vector<int> itsBitsStored;
    const std::type_info* itsKind; ///< null: none
    int itsCodecBitsStored = 0;    ///< 0: not looked at
    std::string itsText = "";      ///< of the refusal
};

constexpr int kAsAsked = -1; ///< the codec has the bits that were asked for
const std::string kPrefix = "DecoderFactory::Create() ", kCode = " [7, 0]";
const std::string kNoBits = "bits stored == 0 is invalid for JPEG or RLE decompression";
constexpr const char* kOver8 = "bits stored > 8 invalid for TSJPEG50UID transfer syntax";
constexpr const char* kOver12 = "bits stored > 12 invalid for TSJPEG51UID transfer syntax";
constexpr const char* kUnder2Of57 = "bits stored < 2 invalid for TSJPEG57UID transfer syntax";
constexpr const char* kUnder2Of70 = "bits stored < 2 invalid for TSJPEG70UID transfer syntax";
constexpr int kLargest = std::numeric_limits<int>::max();
constexpr int kSmallest = std::numeric_limits<int>::min();

TEST(DecoderFactory, ChoosesByTransferSyntaxAndBitsStored)
{
    const std::string kJpeg = "1.2.840.10008.1.2.4.", kRle = "1.2.840.10008.1.2.5";
    const Case kCases[] = {
        {kJpeg + "50", {8, 1, -1}, &typeid(JPEG8BitDecoder), 8},
        {kJpeg + "50", {9, kLargest}, nullptr, 0, kOver8},
        {kJpeg + "51", {kSmallest, 8}, &typeid(JPEG8BitDecoder), 8},
        {kJpeg + "51", {9, 12}, &typeid(JPEG12BitDecoder), 12},
        {kJpeg + "51", {13}, nullptr, 0, kOver12},
        {kJpeg + "57", {-1, 1}, nullptr, 0, kUnder2Of57},
        {kJpeg + "57", {2, 8}, &typeid(JPEG8BitDecoder), 8},
        {kJpeg + "57", {9, 12}, &typeid(JPEG16BitDecoder), kAsAsked},
        {kJpeg + "57", {13}, &typeid(JPEG16BitDecoder), 16},
        {kJpeg + "70", {1}, nullptr, 0, kUnder2Of70},
        {kJpeg + "70", {8}, &typeid(JPEG8BitDecoder), 8},
        {kJpeg + "70", {10, 16}, &typeid(JPEG16BitDecoder), kAsAsked},
        {kJpeg + "70", {40}, &typeid(JPEG16BitDecoder), 16},
        {kRle, {-3, 64}, &typeid(RLEDecoder)},
        {"1.2.840.10008.1.2.1", {8}, nullptr},
        {kJpeg + "5", {8}, nullptr},
        {kJpeg + "50 ", {8}, nullptr},
        {kJpeg + "80", {8}, nullptr},
        {"", {8}, nullptr},
    };
    for (const Case& aCase : kCases)
    {
        const auto aCreate = [&aCase](int theBitsStored)
        {
            return std::unique_ptr<Decoder>(
                DecoderFactory::Create(aCase.itsUID, 1, Decoder::PET_FAST, false, theBitsStored));
        };
        const auto aRefusal = [&](int theBitsStored) { return FailureOf([&] { aCreate(theBitsStored); }); };
        EXPECT_EQ(aRefusal(0), kPrefix + kNoBits + kCode);
        for (const int aBitsStored : aCase.itsBitsStored)
        {
            SCOPED_TRACE(testing::Message() << aCase.itsUID << " with " << aBitsStored);
            if (!aCase.itsText.empty())
            {
                EXPECT_EQ(aRefusal(aBitsStored), kPrefix + aCase.itsText + kCode);
                continue;
            }
            const auto aDecoder = aCreate(aBitsStored);
            const Decoder* const aCodec = aDecoder.get();
            ASSERT_EQ(aCodec == nullptr, aCase.itsKind == nullptr);
            EXPECT_TRUE(aCodec == nullptr || typeid(*aCodec) == *aCase.itsKind);
            EXPECT_TRUE(aCase.itsCodecBitsStored == 0 ||
                        aCodec->GetBitsStoredPerSample() ==
                            (aCase.itsCodecBitsStored == kAsAsked ? aBitsStored : aCase.itsCodecBitsStored));
        }
    }
}

TEST(DecoderFactory, CreatesJPEG2000CodecsWhateverTheBitsStored)
{
    for (int i = 0; i < 16; ++i)
    {
        const bool isFileStream = i % 2 != 0, isLossless = i / 2 % 2 != 0;
        const int aBitsStored = std::array{0, 8, 16, kSmallest}[static_cast<std::size_t>(i / 4)];
        const std::unique_ptr<Decoder> aDecoder(
            DecoderFactory::Create(isLossless ? "1.2.840.10008.1.2.4.90" : "1.2.840.10008.1.2.4.91", 3,
                                   Decoder::PET_FUSSY, isFileStream, aBitsStored));
        const Decoder& aCodec = *aDecoder;
        EXPECT_TRUE(typeid(aCodec) ==
                    (isFileStream ? typeid(JPEG2000FileStreamDecoder) : typeid(JPEG2000Decoder)));
        EXPECT_EQ(aCodec.GetCompressionReversible(),
                  isLossless ? Decoder::CR_REVERSIBLE : Decoder::CR_UNSPECIFIED);
        EXPECT_EQ(aCodec.GetScaleFactor(), 3);
    }
}
} // namespace
