// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/detail/StreamFilters.h"

#include <algorithm>
#include <cstring>
#include <exception>
#include <utility>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcerror.h>
#include <dcmtk/dcmdata/dcistrma.h>
#include <dcmtk/dcmdata/dcistrmz.h>

#include "toolkit/base/Exceptions.h"

PeekableInputStream::PeekableInputStream(std::shared_ptr<InputStream> theStream)
    : itsStream(std::move(theStream))
{
}

PeekableInputStream::~PeekableInputStream() = default;

std::size_t PeekableInputStream::Peek(const unsigned char*& theData, std::size_t theWanted)
{
    theWanted = std::min(theWanted, CAPACITY);
    if (Buffered() < theWanted && itsBegin > 0)
    {
        std::memmove(itsBuffer.data(), itsBuffer.data() + itsBegin, Buffered());
        itsEnd -= itsBegin;
        itsBegin = 0;
    }
    while (Buffered() < theWanted)
    {
        const std::size_t aCount = itsStream->Read(itsBuffer.data() + itsEnd, CAPACITY - itsEnd);
        if (aCount == 0)
        {
            break;
        }
        itsEnd += aCount;
    }
    theData = itsBuffer.data() + itsBegin;
    return std::min(Buffered(), theWanted);
}

std::size_t PeekableInputStream::TakeBuffered(unsigned char* theBuffer, std::size_t theLength)
{
    const std::size_t aCount = std::min(theLength, Buffered());
    std::memcpy(theBuffer, itsBuffer.data() + itsBegin, aCount);
    itsBegin += aCount;
    itsConsumed += aCount;
    return aCount;
}

std::size_t PeekableInputStream::Read(unsigned char* theBuffer, std::size_t theLength)
{
    if (theLength == 0)
    {
        return 0;
    }
    if (Buffered() == 0 && theLength >= CAPACITY)
    {
        const std::size_t aCount = itsStream->Read(theBuffer, theLength);
        itsConsumed += aCount;
        return aCount;
    }
    if (Buffered() == 0)
    {
        const unsigned char* aData = nullptr;
        Peek(aData, 1);
    }
    return TakeBuffered(theBuffer, theLength);
}

std::size_t PeekableInputStream::Skip(std::size_t theLength)
{
    const std::size_t aBuffered = std::min(theLength, Buffered());
    itsBegin += aBuffered;
    itsConsumed += aBuffered;
    if (aBuffered == theLength)
    {
        return aBuffered;
    }
    const std::size_t aCount = itsStream->Skip(theLength - aBuffered);
    itsConsumed += aCount;
    return aBuffered + aCount;
}

void PeekableInputStream::Seek(std::size_t thePosition)
{
    const std::size_t aPosition = GetStreamPosition();
    if (thePosition >= aPosition && thePosition - aPosition <= Buffered())
    {
        itsBegin += thePosition - aPosition;
        return;
    }
    itsStream->Seek(thePosition);
    itsBegin = itsEnd = 0;
}

long long PeekableInputStream::GetRemaining() const
{
    const long long aLength = Length();
    if (aLength < 0)
    {
        return -1;
    }
    const auto aPosition = static_cast<unsigned long long>(GetStreamPosition());
    const auto anEnd = static_cast<unsigned long long>(aLength);
    return anEnd > aPosition ? static_cast<long long>(anEnd - aPosition) : 0;
}

namespace
{
/// Gives DCMTK's inflater the bytes of an InputStream. An exception is kept instead of thrown, so that
/// nothing ever unwinds through DCMTK; the stream then looks as if it had ended.
class StreamProducer final : public DcmProducer
{
public:
    explicit StreamProducer(std::shared_ptr<InputStream> theStream) : itsStream(std::move(theStream)) {}

    OFBool good() const override { return OFTrue; }
    OFCondition status() const override { return EC_Normal; }
    OFBool eos() override { return itsEnded; }
    offile_off_t avail() override { return itsEnded ? 0 : 1; }
    void putback(offile_off_t) override {}
    offile_off_t skip(offile_off_t) override { return 0; }

    offile_off_t read(void* theBuffer, offile_off_t theLength) override
    {
        if (itsEnded || theLength <= 0)
        {
            return 0;
        }
        try
        {
            const std::size_t aCount =
                itsStream->Read(static_cast<unsigned char*>(theBuffer), static_cast<std::size_t>(theLength));
            itsEnded = aCount == 0;
            return static_cast<offile_off_t>(aCount);
        }
        catch (...)
        {
            itsException = std::current_exception();
            itsEnded = true;
            return 0;
        }
    }

    void Rethrow() const
    {
        if (itsException)
        {
            std::rethrow_exception(itsException);
        }
    }

private:
    std::shared_ptr<InputStream> itsStream;
    std::exception_ptr itsException;
    bool itsEnded = false;
};
} // namespace

class InflatingInputStream::Implementation
{
public:
    explicit Implementation(std::shared_ptr<InputStream> theCompressed)
        : itsProducer(std::move(theCompressed))
    {
        itsFilter.append(itsProducer);
    }

    std::size_t Read(unsigned char* theBuffer, std::size_t theLength)
    {
        const offile_off_t aCount = itsFilter.read(theBuffer, static_cast<offile_off_t>(theLength));
        // First of all: DCMTK pads a stream that ended too early, so what came last may be made up.
        itsProducer.Rethrow();
        if (aCount > 0)
        {
            return static_cast<std::size_t>(aCount);
        }
        if (!itsFilter.good() && !itsFilter.eos())
        {
            throw StreamIOException("InflatingInputStream::Read: the deflated data set is damaged",
                                    DLRC_PARSE_ERROR, 0);
        }
        return 0;
    }

private:
    StreamProducer itsProducer;
    DcmZLibInputFilter itsFilter;
};

InflatingInputStream::InflatingInputStream(std::shared_ptr<InputStream> theCompressed)
    : itsImplementation(std::make_unique<Implementation>(std::move(theCompressed)))
{
}

InflatingInputStream::~InflatingInputStream() = default;

std::size_t InflatingInputStream::Read(unsigned char* theBuffer, std::size_t theLength)
{
    if (theLength == 0)
    {
        return 0;
    }
    const std::size_t aCount = itsImplementation->Read(theBuffer, theLength);
    itsPosition += aCount;
    return aCount;
}

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
