// SPDX-License-Identifier: Apache-2.0
#include "decoding/DecoderFactory.h"

#include <limits>
#include <memory>

#include <gtest/gtest.h>

#include "codecs/jpeg/JPEG12BitDecoder.h"
#include "codecs/jpeg/JPEG16BitDecoder.h"
#include "codecs/jpeg/JPEG8BitDecoder.h"
#include "codecs/jpeg2000/JPEG2000FileStreamDecoder.h"
#include "codecs/rle/RLEDecoder.h"
#include "decoding/FakeDecoder.h"

namespace
{
const char* KindOf(const Decoder* theDecoder)
{
    if (theDecoder == nullptr)
    {
        return "none";
    }
    if (dynamic_cast<const JPEG8BitDecoder*>(theDecoder) != nullptr)
    {
        return "JPEG8";
    }
    if (dynamic_cast<const JPEG12BitDecoder*>(theDecoder) != nullptr)
    {
        return "JPEG12";
    }
    if (dynamic_cast<const JPEG16BitDecoder*>(theDecoder) != nullptr)
    {
        return "JPEG16";
    }
    return dynamic_cast<const RLEDecoder*>(theDecoder) != nullptr ? "RLE" : "unknown";
}

std::unique_ptr<Decoder> Create(const RWCString& theUID, int theBitsStored)
{
    return std::unique_ptr<Decoder>(
        DecoderFactory::Create(theUID, 1, Decoder::PET_FAST, false, theBitsStored));
}

struct Case
{
    const char* itsUID;
    int itsBitsStored;
    const char* itsKind;    ///< or the text behind "DecoderFactory::Create() "
    int itsCodecBitsStored; ///< -1: not asked
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
    constexpr Case kCases[] = {
        {"1.2.840.10008.1.2.4.50", 8, "JPEG8", 8},
        {"1.2.840.10008.1.2.4.50", 1, "JPEG8", 8},
        {"1.2.840.10008.1.2.4.50", -1, "JPEG8", 8},
        {"1.2.840.10008.1.2.4.50", 9, kOver8, -1},
        {"1.2.840.10008.1.2.4.50", kLargest, kOver8, -1},
        {"1.2.840.10008.1.2.4.50", 0, kNoBits, -1},
        {"1.2.840.10008.1.2.4.51", kSmallest, "JPEG8", 8},
        {"1.2.840.10008.1.2.4.51", 8, "JPEG8", 8},
        {"1.2.840.10008.1.2.4.51", 9, "JPEG12", 12},
        {"1.2.840.10008.1.2.4.51", 12, "JPEG12", 12},
        {"1.2.840.10008.1.2.4.51", 13, kOver12, -1},
        {"1.2.840.10008.1.2.4.51", 0, kNoBits, -1},
        {"1.2.840.10008.1.2.4.57", -1, kUnder2Of57, -1},
        {"1.2.840.10008.1.2.4.57", 1, kUnder2Of57, -1},
        {"1.2.840.10008.1.2.4.57", 2, "JPEG8", 8},
        {"1.2.840.10008.1.2.4.57", 8, "JPEG8", 8},
        {"1.2.840.10008.1.2.4.57", 9, "JPEG16", 9},
        {"1.2.840.10008.1.2.4.57", 12, "JPEG16", 12},
        {"1.2.840.10008.1.2.4.57", 13, "JPEG16", 16},
        {"1.2.840.10008.1.2.4.57", 0, kNoBits, -1},
        {"1.2.840.10008.1.2.4.70", 1, kUnder2Of70, -1},
        {"1.2.840.10008.1.2.4.70", 8, "JPEG8", 8},
        {"1.2.840.10008.1.2.4.70", 10, "JPEG16", 10},
        {"1.2.840.10008.1.2.4.70", 16, "JPEG16", 16},
        {"1.2.840.10008.1.2.4.70", 40, "JPEG16", 16},
        {"1.2.840.10008.1.2.4.70", 0, kNoBits, -1},
        {"1.2.840.10008.1.2.5", -3, "RLE", -1},
        {"1.2.840.10008.1.2.5", 64, "RLE", -1},
        {"1.2.840.10008.1.2.5", 0, kNoBits, -1},
        {"1.2.840.10008.1.2.1", 8, "none", -1},
        {"1.2.840.10008.1.2.1", 0, kNoBits, -1},
        {"1.2.840.10008.1.2.4.5", 8, "none", -1},
        {"1.2.840.10008.1.2.4.50 ", 8, "none", -1},
        {"1.2.840.10008.1.2.4.80", 8, "none", -1},
        {"", 8, "none", -1},
        {"", 0, kNoBits, -1},
    };
    for (const Case& aCase : kCases)
    {
        SCOPED_TRACE(testing::Message() << aCase.itsUID << " with " << aCase.itsBitsStored);
        if (RWCString(aCase.itsKind).find(' ') != RWCString::npos)
        {
            ExpectStreamIOException([&] { Create(aCase.itsUID, aCase.itsBitsStored); },
                                    RWCString("DecoderFactory::Create() ") + aCase.itsKind, 7);
            continue;
        }
        const std::unique_ptr<Decoder> aDecoder = Create(aCase.itsUID, aCase.itsBitsStored);
        EXPECT_STREQ(KindOf(aDecoder.get()), aCase.itsKind);
        if (aDecoder != nullptr && aCase.itsCodecBitsStored >= 0)
        {
            EXPECT_EQ(aDecoder->GetBitsStoredPerSample(), aCase.itsCodecBitsStored);
        }
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
                ASSERT_NE(dynamic_cast<JPEG2000Decoder*>(aDecoder.get()), nullptr);
                EXPECT_EQ(dynamic_cast<JPEG2000FileStreamDecoder*>(aDecoder.get()) != nullptr, isFileStream);
                EXPECT_EQ(aDecoder->GetCompressionReversible(),
                          isLossless ? Decoder::CR_REVERSIBLE : Decoder::CR_UNSPECIFIED);
                EXPECT_EQ(aDecoder->GetScaleFactor(), 3);
            }
        }
    }
}
} // namespace
