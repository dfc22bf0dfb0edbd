// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg2000/JPEG2000FileStreamDecoder.h"

#include <memory>

#include <gtest/gtest.h>

#include "codecs/jpeg/JPEGDecoderException.h"
#include "support/ByteSource.h"
#include "support/Jpeg2000Streams.h"

using namespace Jpeg2000Streams;

namespace
{
std::unique_ptr<JPEG2000Decoder> MakeCodec(bool theFileStream)
{
    if (theFileStream)
    {
        return std::make_unique<JPEG2000FileStreamDecoder>(1, Decoder::PET_FAST);
    }
    return std::make_unique<JPEG2000Decoder>(1, Decoder::PET_FAST);
}

Bytes Decode(Decoder& theCodec)
{
    Bytes aBuffer(static_cast<std::size_t>(theCodec.GetDecompressedBufferSize()));
    theCodec.Decode(0, aBuffer.data(), aBuffer.size());
    return aBuffer;
}

Bytes Append(Bytes theBytes, const Bytes& theMore)
{
    theBytes.insert(theBytes.end(), theMore.begin(), theMore.end());
    return theBytes;
}
} // namespace

TEST(JPEG2000FileStreamDecoder, FilesAndBareStreamsDecodeAlikeByBothCodecs)
{
    const Bytes aStream = Grey12();
    const Bytes aFile = MakeJp2(aStream);
    Bytes anExpected;
    {
        ByteSource aSource(aStream);
        const auto aCodec = MakeCodec(false);
        aCodec->SetSource(nullptr, aSource);
        anExpected = Decode(*aCodec);
    }
    for (const bool isFileStream : {false, true})
    {
        for (const Bytes& anInput :
             {aStream, aFile, Append(aFile, Box("xml ", Bytes(300, ' '))), Append(aStream, Bytes(2, 0))})
        {
            for (const int aLargestRead : {1, 7, 1 << 20})
            {
                ByteSource aSource(anInput, aLargestRead);
                const auto aCodec = MakeCodec(isFileStream);
                aCodec->SetSource(nullptr, aSource);
                EXPECT_EQ(Decode(*aCodec), anExpected);
                // The first bytes are looked at, and count once.
                EXPECT_EQ(aCodec->GetTotalBytesRead(), aSource.GetPosition());
                EXPECT_EQ(aSource.GetPosition(), anInput[0] == 0 ? aFile.size() : aStream.size());
                EXPECT_EQ(aSource.GetCloses(), 0);
            }
        }
    }
}

TEST(JPEG2000FileStreamDecoder, ReadsNothingBehindTheCodestreamBox)
{
    // What the box cuts off is missing, and decodes as such; the box behind it is not taken for it.
    const Bytes aStream = Grey12();
    const Bytes aFile = MakeJp2(Bytes(aStream.begin(), aStream.end() - 60));
    for (const bool isFileStream : {false, true})
    {
        Bytes anImage[2];
        std::size_t aPositions[2] = {};
        for (const int i : {0, 1})
        {
            ByteSource aSource(i == 0 ? aFile : Append(aFile, Box("xml ", Bytes(500, 0x31))));
            const auto aCodec = MakeCodec(isFileStream);
            aCodec->SetSource(nullptr, aSource);
            anImage[i] = Decode(*aCodec);
            aPositions[i] = aSource.GetPosition();
        }
        EXPECT_EQ(anImage[0], anImage[1]);
        EXPECT_EQ(aPositions[0], aPositions[1]);
    }
}

TEST(JPEG2000FileStreamDecoder, ErrorsOfTheBoxesAreTheDecodersExceptions)
{
    const RWCString kPrefix =
        "JPEG2000Decoder::JPEG2000Decoder()[start]: Error in Kakadu File Format Support: ";
    const Bytes aFile = MakeJp2(Grey12());
    for (const Bytes& aBrokenFile : {Patch(aFile, 4, {'j', 'p', '2', 'x'}),
                                     Bytes(aFile.begin(), aFile.begin() + 40), Patch(aFile, 15, {3})})
    {
        for (const bool isFileStream : {false, true})
        {
            ByteSource aSource(aBrokenFile);
            const auto aCodec = MakeCodec(isFileStream);
            try
            {
                aCodec->SetSource(nullptr, aSource);
                ADD_FAILURE();
            }
            catch (const JPEGDecoderException& anException)
            {
                EXPECT_EQ(anException.GetMessageText().substr(0, kPrefix.size()), kPrefix);
                EXPECT_EQ(anException.GetCode(), 0);
            }
        }
    }
}
