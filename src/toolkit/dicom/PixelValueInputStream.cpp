// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/detail/PixelValueInputStream.h"

#include <utility>

#include "toolkit/base/Exceptions.h"

PixelValueInputStream::PixelValueInputStream(std::shared_ptr<PeekableInputStream> theStream,
                                             std::uint64_t theLength)
    : itsStream(std::move(theStream)), itsStart(itsStream->GetStreamPosition()), itsLimit(theLength)
{
}

PixelValueInputStream::~PixelValueInputStream() = default;

std::size_t PixelValueInputStream::Clamp(std::size_t theLength) const
{
    const std::uint64_t aLeft = itsLimit > itsOffset ? itsLimit - itsOffset : 0;
    return theLength < aLeft ? theLength : static_cast<std::size_t>(aLeft);
}

std::size_t PixelValueInputStream::Read(unsigned char* theBuffer, std::size_t theLength)
{
    const std::size_t aCount = itsStream->Read(theBuffer, Clamp(theLength));
    itsOffset += aCount;
    return aCount;
}

std::size_t PixelValueInputStream::Skip(std::size_t theLength)
{
    const std::size_t aCount = itsStream->Skip(Clamp(theLength));
    itsOffset += aCount;
    return aCount;
}

void PixelValueInputStream::Seek(std::size_t thePosition)
{
    if (thePosition < itsStart || thePosition - itsStart > itsLimit)
    {
        throw StreamIOException("PixelValueInputStream::Seek: position " + std::to_string(thePosition) +
                                    " is outside the pixel data",
                                DLRC_IO_ERROR, 0);
    }
    itsStream->Seek(thePosition);
    itsOffset = thePosition - itsStart;
}
