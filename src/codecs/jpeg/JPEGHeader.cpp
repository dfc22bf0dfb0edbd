// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/JPEGHeader.h"

#include <algorithm>
#include <cstring>

#include "toolkit/dicom/TransferSyntaxType.h"

namespace
{
constexpr int kEndOfStream = -1;
constexpr int kFirstFrame = 0xc0, kStartOfScan = 0xda;

int ReadByte(InputStream& theStream)
{
    unsigned char aByte = 0;
    return theStream.ReadFully(&aByte, 1) == 1 ? aByte : kEndOfStream;
}

/// The next marker's second byte, bytes before it passed over.
int ReadMarker(InputStream& theStream)
{
    int aByte = ReadByte(theStream);
    while (aByte != kEndOfStream)
    {
        if (aByte != 0xff)
        {
            aByte = ReadByte(theStream);
            continue;
        }
        aByte = ReadByte(theStream); // 0xff may be repeated as a fill byte
        if (aByte != 0x00 && aByte != 0xff)
        {
            return aByte;
        }
    }
    return kEndOfStream;
}

bool IsFrameHeader(int theMarker)
{
    return theMarker == kFirstFrame + JPEGHeader::kJPEGLS ||
           (theMarker >= 0xc0 && theMarker <= 0xcf && theMarker != 0xc4 && theMarker != 0xc8 &&
            theMarker != 0xcc);
}

bool HasNoLength(int theMarker)
{
    return theMarker == 0x01 || (theMarker >= 0xd0 && theMarker <= 0xd8);
}

int Word(const unsigned char* theBytes)
{
    return theBytes[0] * 256 + theBytes[1];
}

bool IsColourMarker(int theMarker, const unsigned char* theBody, std::size_t theLength)
{
    return theLength >= 5 && ((theMarker == 0xe0 && std::memcmp(theBody, "JFIF", 5) == 0) ||
                              (theMarker == 0xee && std::memcmp(theBody, "Adobe", 5) == 0));
}
} // namespace

const char* JPEGHeader::GetTransferSyntaxUID() const
{
    if (IsJPEGLS())
    {
        return IsLossless() ? TransferSyntaxType::TSJPEGLSLosslessUID : TransferSyntaxType::TSJPEGLSUID;
    }
    if (IsLossless())
    {
        return TransferSyntaxType::TSJPEG57UID;
    }
    return itsPrecision > 8 ? TransferSyntaxType::TSJPEG51UID : TransferSyntaxType::TSJPEG50UID;
}

const char* JPEGHeader::GetProcessName() const
{
    switch (itsProcess)
    {
    case 0:
        return "JPEG baseline";
    case 1:
        return "JPEG extended sequential";
    case 2:
        return "JPEG progressive";
    case 3:
        return "JPEG lossless";
    case kJPEGLS:
        return "JPEG-LS";
    default:
        return "JPEG (hierarchical or arithmetic coding)";
    }
}

std::optional<JPEGHeader> JPEGHeader::Read(InputStream& theStream)
{
    JPEGHeader aHeader;
    for (int aMarker = ReadMarker(theStream); aMarker != kEndOfStream && aMarker != 0xd9;
         aMarker = ReadMarker(theStream))
    {
        if (HasNoLength(aMarker))
        {
            continue;
        }
        unsigned char aBody[8] = {};
        if (theStream.ReadFully(aBody, 2) != 2 || Word(aBody) < 2)
        {
            break;
        }
        const std::size_t aLength = static_cast<std::size_t>(Word(aBody)) - 2;
        const std::size_t aWanted = std::min(aLength, sizeof(aBody));
        if (theStream.ReadFully(aBody, aWanted) != aWanted)
        {
            break;
        }
        if (aMarker == kStartOfScan)
        {
            aHeader.ReadNear(aBody);
            break;
        }
        if (IsFrameHeader(aMarker) && aWanted >= 6)
        {
            aHeader.itsProcess = static_cast<std::uint8_t>(aMarker - kFirstFrame);
            aHeader.itsPrecision = aBody[0];
            aHeader.itsRows = Word(aBody + 1);
            aHeader.itsColumns = Word(aBody + 3);
            aHeader.itsComponents = aBody[5];
            if (!aHeader.IsJPEGLS())
            {
                return aHeader;
            }
        }
        aHeader.itsColourMarked = aHeader.itsColourMarked || IsColourMarker(aMarker, aBody, aWanted);
        theStream.SkipFully(aLength - aWanted);
    }
    return aHeader.IsJPEGLS() ? std::optional(aHeader) : std::nullopt;
}

void JPEGHeader::ReadNear(const unsigned char (&theScanHeader)[8])
{
    const std::size_t aPosition = std::size_t{theScanHeader[0]} * 2 + 1; // behind the components
    itsNear = aPosition < sizeof(theScanHeader) ? theScanHeader[aPosition] : 0;
}
