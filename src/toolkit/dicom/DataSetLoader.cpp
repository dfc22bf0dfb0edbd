// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/detail/DataSetLoader.h"

#include <cerrno>
#include <new>

#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/DataSetReader.h"
#include "toolkit/dicom/TransferSyntaxManager.h"
#include "toolkit/dicom/VR.h"
#include "toolkit/dicom/detail/Part10InputStreamState.h"
#include "toolkit/io/LFStream.h"

namespace
{
constexpr std::size_t kBufferSize = 64u << 10;

/// A Part 10 stream, or a data set without preamble, with or without file meta information.
class AnyDataSetStream final : public Part10InputStream
{
public:
    explicit AnyDataSetStream(InputStream& theStream)
    {
        itsState->Attach(theStream);
        itsState->ReadPreamble();
        itsState->ReadFileMeta();
        itsState->GuessTransferSyntax();
    }
};
} // namespace

DataSetLoader::DataSetLoader(DICOMObject& theTarget, DICOMTag theStopTag)
    : itsTarget(theTarget), itsElements(theTarget), itsStopTag(theStopTag)
{
}

bool DataSetLoader::Load(const RWCString& thePath, DLResultCode& theResultCode,
                         int& theSystemErrorCode) noexcept
{
    theResultCode = DLRC_SUCCESS;
    theSystemErrorCode = 0;
    try
    {
        return LoadFile(thePath, theResultCode, theSystemErrorCode);
    }
    catch (const DICOMLibException& anException)
    {
        theResultCode = anException.GetResultCode();
        theSystemErrorCode = anException.GetSystemErrorCode();
    }
    catch (const BadAllocException&)
    {
        theResultCode = DLRC_ALLOCATION_FAILED;
    }
    catch (const std::bad_alloc&)
    {
        theResultCode = DLRC_ALLOCATION_FAILED;
    }
    catch (...)
    {
        theResultCode = DLRC_GENERAL_FAILURE;
    }
    return false;
}

bool DataSetLoader::LoadFile(const RWCString& thePath, DLResultCode& theResultCode, int& theSystemErrorCode)
{
    LFInputStream aStream(thePath, LFStream::MODE_READ_BINARY, LFStream::SHARE_DENY_NONE, kBufferSize);
    if (!aStream.IsOpen())
    {
        theSystemErrorCode = errno;
        theResultCode = DLRC_FILE_NOT_FOUND;
        return false;
    }
    LoadStream(aStream);
    return true;
}

void DataSetLoader::LoadStream(InputStream& theStream)
{
    AnyDataSetStream aPart10Stream(theStream);
    const RWCString& aUID = aPart10Stream.GetTransferSyntaxUID();
    const auto* aType = TransferSyntaxManager::GetDefaultInstance().GetTransferSyntaxType(aUID);
    if (aType == nullptr)
    {
        throw StreamIOException(aUID.empty() ? RWCString("DICOMObject::LoadFromFile: not a DICOM file")
                                             : "DICOMObject::LoadFromFile: unknown transfer syntax " + aUID,
                                DLRC_PARSE_ERROR, 0);
    }
    itsTarget.SetEndian(aType->GetEndian());
    auto aReader = aType->CreateDataSetReader(aPart10Stream, VR::GetDefaultMemoryAllocater());
    aReader->SetStopTag(itsStopTag);
    while (auto aVR = aReader->Next())
    {
        Keep(std::move(aVR));
    }
}

void DataSetLoader::Keep(std::unique_ptr<VR> theVR)
{
    if (theVR->GetPixelDataFragmentInputStream() != nullptr)
    {
        return; // fragments cannot be held; the reader ends here
    }
    if (PixelInputStreamVR* aStream = theVR->GetPixelInputStream())
    {
        theVR = aStream->GetVR();
    }
    itsElements.Put(std::move(theVR));
}
