// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/detail/InflatingInputStream.h"

#include <exception>
#include <utility>

#include <dcmtk/config/osconfig.h>

#include <dcmtk/dcmdata/dcerror.h>
#include <dcmtk/dcmdata/dcistrma.h>
#include <dcmtk/dcmdata/dcistrmz.h>

#include "toolkit/base/Exceptions.h"

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
