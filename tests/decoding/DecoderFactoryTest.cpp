// SPDX-License-Identifier: Apache-2.0
#include "decoding/DecoderFactory.h"

#include <limits>
#include <memory>
#include <typeinfo>

#include <gtest/gtest.h>

#include "codecs/jpeg/JPEGDecoders.h"
#include "codecs/jpeg2000/JPEG2000Decoder.h"
#include "codecs/rle/RLEDecoder.h"
#include "decoding/FakeDecoder.h"

namespace
{
struct Case
{
    const char* itsUID;
    int itsBitsStored;
    const std::type_info* itsKind; ///< null: none
    int itsCodecBitsStored;        ///< -1: not asked
    const char* itsText = "";      ///< of the refusal, behind "DecoderFactory::Create() "
};

constexpr const char* kNoBits = "bits stored == 0 is invalid for JPEG or RLE decompression";
constexpr const char* kOver8 = "bits stored > 8 invalid for TSJPEG50UID transfer syntax";
constexpr const char* kOver12 = "bits stored > 12 invalid for TSJPEG51UID transfer syntax";
constexpr const char* kUnder2Of57 = "bits stored < 2 invalid for TSJPEG57UID transfer syntax";
constexpr const char* kUnder2Of70 = "bits stored < 2 invalid for TSJPEG70UID transfer syntax";
constexpr int kLargest = std::numeric_limits<int>::max();
constexpr int kSmallest = std::numeric_limits<int>::min();

TEST(DecoderFactory, ChoosesByTransferSyntaxAndBitsStored)
{
    const Case kCases[] = {
        {"1.2.840.10008.1.2.4.50", 8, &typeid(JPEG8BitDecoder), 8},
        {"1.2.840.10008.1.2.4.50", 1, &typeid(JPEG8BitDecoder), 8},
        {"1.2.840.10008.1.2.4.50", -1, &typeid(JPEG8BitDecoder), 8},
        {"1.2.840.10008.1.2.4.50", 9, nullptr, 0, kOver8},
        {"1.2.840.10008.1.2.4.50", kLargest, nullptr, 0, kOver8},
        {"1.2.840.10008.1.2.4.50", 0, nullptr, 0, kNoBits},
        {"1.2.840.10008.1.2.4.51", kSmallest, &typeid(JPEG8BitDecoder), 8},
        {"1.2.840.10008.1.2.4.51", 8, &typeid(JPEG8BitDecoder), 8},
        {"1.2.840.10008.1.2.4.51", 9, &typeid(JPEG12BitDecoder), 12},
        {"1.2.840.10008.1.2.4.51", 12, &typeid(JPEG12BitDecoder), 12},
        {"1.2.840.10008.1.2.4.51", 13, nullptr, 0, kOver12},
        {"1.2.840.10008.1.2.4.51", 0, nullptr, 0, kNoBits},
        {"1.2.840.10008.1.2.4.57", -1, nullptr, 0, kUnder2Of57},
        {"1.2.840.10008.1.2.4.57", 1, nullptr, 0, kUnder2Of57},
        {"1.2.840.10008.1.2.4.57", 2, &typeid(JPEG8BitDecoder), 8},
        {"1.2.840.10008.1.2.4.57", 8, &typeid(JPEG8BitDecoder), 8},
        {"1.2.840.10008.1.2.4.57", 9, &typeid(JPEG16BitDecoder), 9},
        {"1.2.840.10008.1.2.4.57", 12, &typeid(JPEG16BitDecoder), 12},
        {"1.2.840.10008.1.2.4.57", 13, &typeid(JPEG16BitDecoder), 16},
        {"1.2.840.10008.1.2.4.57", 0, nullptr, 0, kNoBits},
        {"1.2.840.10008.1.2.4.70", 1, nullptr, 0, kUnder2Of70},
        {"1.2.840.10008.1.2.4.70", 8, &typeid(JPEG8BitDecoder), 8},
        {"1.2.840.10008.1.2.4.70", 10, &typeid(JPEG16BitDecoder), 10},
        {"1.2.840.10008.1.2.4.70", 16, &typeid(JPEG16BitDecoder), 16},
        {"1.2.840.10008.1.2.4.70", 40, &typeid(JPEG16BitDecoder), 16},
        {"1.2.840.10008.1.2.4.70", 0, nullptr, 0, kNoBits},
        {"1.2.840.10008.1.2.5", -3, &typeid(RLEDecoder), -1},
        {"1.2.840.10008.1.2.5", 64, &typeid(RLEDecoder), -1},
        {"1.2.840.10008.1.2.5", 0, nullptr, 0, kNoBits},
        {"1.2.840.10008.1.2.1", 8, nullptr, -1},
        {"1.2.840.10008.1.2.1", 0, nullptr, 0, kNoBits},
        {"1.2.840.10008.1.2.4.5", 8, nullptr, -1},
        {"1.2.840.10008.1.2.4.50 ", 8, nullptr, -1},
        {"1.2.840.10008.1.2.4.80", 8, nullptr, -1},
        {"", 8, nullptr, -1},
        {"", 0, nullptr, 0, kNoBits},
    };
    for (const Case& aCase : kCases)
    {
        SCOPED_TRACE(testing::Message() << aCase.itsUID << " with " << aCase.itsBitsStored);
        std::unique_ptr<Decoder> aDecoder;
        const auto aCreate = [&] {
            aDecoder.reset(
                DecoderFactory::Create(aCase.itsUID, 1, Decoder::PET_FAST, false, aCase.itsBitsStored));
        };
        if (aCase.itsText[0] != 0)
        {
            ExpectStreamIOException(aCreate, RWCString("DecoderFactory::Create() ") + aCase.itsText, 7);
            continue;
        }
        aCreate();
        const Decoder* const aCodec = aDecoder.get();
        ASSERT_EQ(aCodec == nullptr, aCase.itsKind == nullptr);
        EXPECT_TRUE(aCodec == nullptr || typeid(*aCodec) == *aCase.itsKind);
        EXPECT_TRUE(aCase.itsCodecBitsStored < 0 ||
                    aCodec->GetBitsStoredPerSample() == aCase.itsCodecBitsStored);
    }
}

TEST(DecoderFactory, CreatesJPEG2000CodecsWhateverTheBitsStored)
{
    for (const bool isFileStream : {false, true})
    {
        for (const bool isLossless : {false, true})
        {
            for (const int aBitsStored : {0, 8, 16, kSmallest})
            {
                const std::unique_ptr<Decoder> aDecoder(
                    DecoderFactory::Create(isLossless ? "1.2.840.10008.1.2.4.90" : "1.2.840.10008.1.2.4.91",
                                           3, Decoder::PET_FUSSY, isFileStream, aBitsStored));
                const Decoder& aCodec = *aDecoder;
                EXPECT_TRUE(typeid(aCodec) ==
                            (isFileStream ? typeid(JPEG2000FileStreamDecoder) : typeid(JPEG2000Decoder)));
                EXPECT_EQ(aDecoder->GetCompressionReversible(),
                          isLossless ? Decoder::CR_REVERSIBLE : Decoder::CR_UNSPECIFIED);
                EXPECT_EQ(aDecoder->GetScaleFactor(), 3);
            }
        }
    }
}
} // namespace
