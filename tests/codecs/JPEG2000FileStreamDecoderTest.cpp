// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg2000/JPEG2000Decoder.h"

#include <memory>

#include <gtest/gtest.h>

#include "support/ByteSource.h"
#include "support/Jpeg2000Streams.h"

using namespace Jpeg2000Streams;

namespace
{
/// Decodes by either codec, and tells where the source stands then.
std::pair<Bytes, std::size_t> Decode(bool theFileStream, const Bytes& theInput, int theLargestRead = 1 << 20)
{
    const std::unique_ptr<JPEG2000Decoder> aCodec(theFileStream
                                                      ? new JPEG2000FileStreamDecoder(1, Decoder::PET_FAST)
                                                      : new JPEG2000Decoder(1, Decoder::PET_FAST));
    ByteSource aSource(theInput, theLargestRead);
    aCodec->SetSource(nullptr, aSource);
    Bytes aBuffer(static_cast<std::size_t>(aCodec->GetDecompressedBufferSize()));
    aCodec->Decode(0, aBuffer.data(), aBuffer.size());
    // The first bytes are looked at, and count once.
    EXPECT_EQ(aCodec->GetTotalBytesRead(), aSource.GetPosition());
    EXPECT_EQ(aSource.GetCloses(), 0);
    return {aBuffer, aSource.GetPosition()};
}
} // namespace

TEST(JPEG2000FileStreamDecoder, FilesAndBareStreamsDecodeAlikeByBothCodecs)
{
    const Bytes aStream = Grey12();
    const Bytes aFile = MakeJp2(aStream);
    const Bytes anExpected = Decode(false, aStream).first;
    // What the box cuts off is missing, and decodes as such; the box behind it is not taken for it.
    const Bytes aCutFile = MakeJp2(Bytes(aStream.begin(), aStream.end() - 60));
    for (const bool isFileStream : {false, true})
    {
        for (const int aLargestRead : {1, 7, 1 << 20})
        {
            for (const Bytes& anInput : {aStream, Join({aStream, Bytes(2, 0)})})
            {
                EXPECT_EQ(Decode(isFileStream, anInput, aLargestRead), std::pair(anExpected, aStream.size()));
            }
            for (const Bytes& anInput : {aFile, Join({aFile, Box("xml ", Bytes(300, ' '))})})
            {
                EXPECT_EQ(Decode(isFileStream, anInput, aLargestRead), std::pair(anExpected, aFile.size()));
            }
        }
        EXPECT_EQ(Decode(isFileStream, aCutFile),
                  Decode(isFileStream, Join({aCutFile, Box("xml ", Bytes(500, 0x31))})));
    }
}
