// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <memory>

#include "decompressors/DecompressionRequest.h"
#include "decompressors/DecompressionResult.h"
#include "decompressors/detail/Part10ImageAttributes.h"
#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/Reading.h"
#include "toolkit/base/System.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/DataSetReader.h"
#include "toolkit/dicom/Part10InputStream.h"

struct CodecRow;

/// The way from a request to a parsed Part 10 stream that stands at its Pixel Data: what every
/// decompressor of such streams does before the first frame.
///
/// Open, then Parse, once each. The request (its stream and data set with it) and the allocator are
/// borrowed; without a data set in the request the stream is parsed into a private one. Not thread-safe:
/// one request, one front end.
class Part10FrontEnd
{
public:
    Part10FrontEnd(DecompressionRequest& theRequest, MemoryAllocater& theAllocator);
    ~Part10FrontEnd();
    Part10FrontEnd(const Part10FrontEnd&) = delete;
    Part10FrontEnd& operator=(const Part10FrontEnd&) = delete;

    /// The frame of every decompressor's work: opens and parses, and where there is pixel data calls
    /// theDecode. Every outcome, an exception's too, is in theResult; theClassName begins what is said of
    /// missing pixel data. Never throws.
    static void Serve(DecompressionRequest& theRequest, MemoryAllocater& theAllocator,
                      const char* theClassName, DecompressionResult& theResult,
                      const std::function<void(Part10FrontEnd&)>& theDecode);

    /// Executes theWork and puts what it throws into theResult, which holds no image and no warnings when it
    /// begins. Never throws.
    template <class Work>
    static void Guard(const DecompressionRequest& theRequest, DecompressionResult& theResult,
                      const Work& theWork)
    {
        try
        {
            theResult.forgetRenderable();
            theResult.clearWarnings();
            theWork();
        }
        catch (...)
        {
            ReportCurrentException(theResult, theRequest.getReading());
        }
    }

    /// Open and Parse. False, with code and message in theResult, where the former fails or there is no pixel
    /// data, of which theClassName begins the message; otherwise theResult says success. Throws as they do.
    bool OpenAndParse(const char* theClassName, DecompressionResult& theResult);

    /// Reads the file meta information and puts the transfer syntax into the request. False, with code
    /// and message in theResult, when that fails. By meaning throws what
    /// is no fault of the file: std::bad_alloc and DecodingInterruptedException.
    bool Open(DecompressionResult& theResult);

    /// Reads the data set up to Pixel Data and, where there is Pixel Data, the image's attributes. Throws
    /// StreamIOException with the code and text of the failure.
    void Parse();

    DecompressionRequest& GetRequest() { return itsRequest; }
    MemoryAllocater& GetMemoryAllocator() { return itsMemoryAllocator; }

    /// The request's reading, and its warnings so far.
    ReadingContext& GetReadingContext() { return itsReadingContext; }

    /// The request's data set, or the private one.
    DICOMDataObject& GetDataSet() { return itsDataSet; }
    bool IsDataSetPrivate() const { return itsPrivateDataSet != nullptr; }

    // After Open.
    const TransferSyntaxType& GetTransferSyntaxType() const { return *itsTransferSyntaxType; }

    /// The row of the codec that decodes compressed frames; null where the transfer syntax has none.
    const CodecRow* GetCodec() const { return itsCodec; }

    // After Parse.
    /// The Pixel Data element, native or encapsulated, or null. Owned by this object.
    VR* GetPixelData() { return itsPixelData.get(); }
    const Part10ImageAttributes& GetAttributes() const { return itsAttributes; }

    /// How long Open and Parse took, and the time since construction, in milliseconds.
    double GetTimeToOpen() const { return itsTimeToOpen; }
    double GetTimeToParse() const { return itsTimeToParse; }
    double GetTotalTime() const { return itsTimer.Total() * 1000.0; }

private:
    /// Makes theResult describe the exception that is being handled and hold no image: a
    /// StreamIOException's (or other coded exception's) own text and codes, else a logic error, code 38; by
    /// meaning a lack of memory has code 11 and an interruption code 63. To be called in a catch block. Never
    /// throws.
    static void ReportCurrentException(DecompressionResult& theResult, Reading theReading);
    static void DescribeCurrentException(DecompressionResult& theResult, Reading theReading);

    void ChooseCodec();
    void ReadElements();

    DMTickCounter itsTimer;
    DecompressionRequest& itsRequest;
    MemoryAllocater& itsMemoryAllocator;
    ReadingContext itsReadingContext;
    std::unique_ptr<DICOMDataObject> itsPrivateDataSet;
    DICOMDataObject& itsDataSet;
    Part10InputStreamInputStream itsStream;
    const TransferSyntaxType* itsTransferSyntaxType = nullptr;
    const CodecRow* itsCodec = nullptr;
    std::unique_ptr<DataSetReader> itsReader;
    std::unique_ptr<VR> itsPixelData;
    Part10ImageAttributes itsAttributes;
    double itsTimeToOpen = 0.0;
    double itsTimeToParse = 0.0;
};
