// SPDX-License-Identifier: Apache-2.0
#include "decompressors/detail/Part10FrontEnd.h"

#include "decoding/CodecTable.h"
#include "decompressors/detail/WarningHandOver.h"
#include "pixels/DecompressionLibUtils.h"
#include "toolkit/base/CaughtException.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/ImageElements.h"
#include "toolkit/dicom/PixelDataFragmentInputStreamVR.h"
#include "toolkit/dicom/TransferSyntaxManager.h"
#include "toolkit/dicom/VR.h"

namespace
{
void SetOutcome(DecompressionResult& theResult, DLResultCode theCode, int theSystemErrorCode,
                const RWCString& theMessage)
{
    theResult.setDCMLibResultCode(theCode);
    theResult.setSystemErrorCode(theSystemErrorCode);
    theResult.setMessage(theMessage);
}

void SetBadHeader(DecompressionResult& theResult, const char* theText, int theSystemErrorCode)
{
    RWCString aMessage;
    DecompressionLibUtils::ErrMessage(aMessage, "Error reading Part10Header, possible corruption: %s",
                                      theText);
    SetOutcome(theResult, DLRC_PARSE_ERROR, theSystemErrorCode, aMessage);
}

[[noreturn]] void ThrowParseError(const char* theText, int theSystemErrorCode)
{
    RWCString aMessage;
    DecompressionLibUtils::ErrMessage(aMessage, "Parse error, possible corruption: %s", theText);
    throw StreamIOException(aMessage, DLRC_PARSE_ERROR, theSystemErrorCode);
}

/// By meaning a lack of memory and an interruption say nothing of the file. By contract they are whatever
/// they struck.
bool HasCodeOfItsOwn(const CaughtException& theCaught, Reading theReading)
{
    return theReading == Reading::BY_MEANING && (theCaught.itsKind == CaughtException::Kind::OUT_OF_MEMORY ||
                                                 theCaught.itsKind == CaughtException::Kind::INTERRUPTED);
}

/// The caller's data set, or a new one that thePrivate then owns.
DICOMDataObject& ChooseDataSet(DICOMDataObject* theCallers, std::unique_ptr<DICOMDataObject>& thePrivate)
{
    if (theCallers != nullptr)
    {
        return *theCallers;
    }
    thePrivate = std::make_unique<DICOMDataObject>();
    return *thePrivate;
}
} // namespace

Part10FrontEnd::Part10FrontEnd(DecompressionRequest& theRequest, MemoryAllocater& theAllocator)
    : itsRequest(theRequest), itsMemoryAllocator(theAllocator),
      itsReadingContext(theRequest.getReading(), theRequest.isSilent()),
      itsDataSet(ChooseDataSet(theRequest.getDICOMDataObject(), itsPrivateDataSet))
{
}

Part10FrontEnd::~Part10FrontEnd() = default;

void Part10FrontEnd::Serve(DecompressionRequest& theRequest, MemoryAllocater& theAllocator,
                           const char* theClassName, DecompressionResult& theResult,
                           const std::function<void(Part10FrontEnd&)>& theDecode)
{
    Guard(theRequest, theResult,
          [&]
          {
              Part10FrontEnd aFrontEnd(theRequest, theAllocator);
              const WarningHandOver aHandOver(aFrontEnd.GetReadingContext(), theResult);
              if (aFrontEnd.OpenAndParse(theClassName, theResult))
              {
                  theDecode(aFrontEnd);
              }
          });
}

bool Part10FrontEnd::OpenAndParse(const char* theClassName, DecompressionResult& theResult)
{
    if (!Open(theResult))
    {
        return false;
    }
    SetOutcome(theResult, DLRC_SUCCESS, 0, "Completed successfully");
    Parse();
    if (itsPixelData == nullptr)
    {
        SetOutcome(theResult, DLRC_GENERAL_FAILURE, 0,
                   RWCString(theClassName) +
                       "::Decode: (no Renderable at end - no Pixel data found in object being "
                       "decoded)");
    }
    return itsPixelData != nullptr;
}

bool Part10FrontEnd::Open(DecompressionResult& theResult)
{
    if (itsRequest.getInputStream() == nullptr)
    {
        SetOutcome(theResult, DLRC_GENERAL_FAILURE, 0, "Invalid compressed buffer");
        return false;
    }
    try
    {
        if (itsReadingContext.IsByMeaning())
        {
            itsStream.AcceptWithoutPreamble();
        }
        itsStream.Open(itsRequest.getInputStream(), false, Part10InputStream::DefaultsToLenientParsing());
        itsTransferSyntaxType = TransferSyntaxManager::GetDefaultInstance().GetTransferSyntaxType(
            itsStream.GetTransferSyntaxUID());
        if (itsTransferSyntaxType == nullptr)
        {
            itsStream.Close();
            SetOutcome(theResult, DLRC_PARSE_ERROR, 0, "Unable to get transfer syntax UID");
            return false;
        }
        ChooseCodec();
        itsTimeToOpen = itsTimer.Lap() * 1000.0;
        return true;
    }
    catch (...)
    {
        const CaughtException aCaught = CaughtException::Current();
        if (HasCodeOfItsOwn(aCaught, itsReadingContext.GetReading()))
        {
            throw;
        }
        SetBadHeader(theResult, aCaught.itsText.c_str(), aCaught.itsSystemErrorCode);
    }
    itsStream.Close();
    return false;
}

/// Called once the stream is open. The request names the transfer syntax whose codec decodes the frames.
void Part10FrontEnd::ChooseCodec()
{
    if (!itsStream.HasPreamble())
    {
        itsReadingContext.Warn(WarningIdentifier::kNonconformant,
                               "the file has no preamble with \"DICM\" behind it");
    }
    const RWCString& aUID = itsStream.GetTransferSyntaxUID();
    itsCodec = CodecTable::Find(aUID, itsReadingContext.GetReading());
    if (itsCodec == nullptr || itsCodec->itsUID == aUID)
    {
        itsRequest.setTransferSyntaxUID(aUID);
        return;
    }
    itsReadingContext.Warn(WarningIdentifier::kNonconformant,
                           RWCString(CodecTable::GetName(aUID)) + " is decoded as " + itsCodec->itsName);
    itsRequest.setTransferSyntaxUID(itsCodec->itsUID);
}

void Part10FrontEnd::Parse()
{
    try
    {
        ReadElements();
    }
    catch (const StreamIOException& anException)
    {
        // The reader's own verdict has code 38; any other code is what the stream below it reported.
        if (anException.GetResultCode() != DLRC_PARSE_ERROR)
        {
            throw;
        }
        ThrowParseError(anException.what(), anException.GetSystemErrorCode());
    }
    catch (const std::exception& anException)
    {
        if (HasCodeOfItsOwn(CaughtException::Current(), itsReadingContext.GetReading()))
        {
            throw;
        }
        ThrowParseError(anException.what(), 0);
    }
    if (itsReader->HasPassedItems())
    {
        itsReadingContext.Warn(WarningIdentifier::kNonconformant, "items stand outside of a sequence");
    }
    itsTimeToParse = itsTimer.Lap() * 1000.0;
    if (itsPixelData)
    {
        itsAttributes.Read(itsDataSet);
    }
}

void Part10FrontEnd::ReadElements()
{
    itsDataSet.SetEndian(itsTransferSyntaxType->GetEndian());
    itsReader = itsTransferSyntaxType->CreateDataSetReader(itsStream, itsMemoryAllocator);
    if (itsReadingContext.IsByMeaning())
    {
        itsReader->PassStrayItems();
    }
    ImageElements anImage(itsDataSet);
    while (std::unique_ptr<VR> anElement = itsReader->Next())
    {
        if (anElement->GetTag() == DICOMTags::PixelData)
        {
            if (anElement->GetPixelInputStream() != nullptr ||
                anElement->GetPixelDataFragmentInputStream() != nullptr)
            {
                itsPixelData = std::move(anElement);
            }
            return;
        }
        anImage.Put(std::move(anElement));
    }
}

void Part10FrontEnd::ReportCurrentException(DecompressionResult& theResult, Reading theReading)
{
    theResult.setRenderable(nullptr);
    try
    {
        DescribeCurrentException(theResult, theReading);
    }
    catch (...)
    {
        theResult.setOutOfMemory(DLRC_PARSE_ERROR, theReading);
    }
}

void Part10FrontEnd::DescribeCurrentException(DecompressionResult& theResult, Reading theReading)
{
    const CaughtException aCaught = CaughtException::Current();
    if (HasCodeOfItsOwn(aCaught, theReading))
    {
        if (aCaught.itsKind == CaughtException::Kind::OUT_OF_MEMORY)
        {
            throw; // for the caller, who says so
        }
        SetOutcome(theResult, DLRC_DECODING_INTERRUPTED, 0, aCaught.itsText);
        return;
    }
    if (aCaught.itsResultCode != DLRC_SUCCESS)
    {
        SetOutcome(theResult, aCaught.itsResultCode, aCaught.itsSystemErrorCode, aCaught.itsText);
        return;
    }
    SetOutcome(theResult, DLRC_PARSE_ERROR, aCaught.itsSystemErrorCode,
               "A logic error occurred in the Decompressor: " + aCaught.itsText);
}
