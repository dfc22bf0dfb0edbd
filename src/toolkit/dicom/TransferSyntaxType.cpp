// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/TransferSyntaxType.h"

#include <utility>

#include "toolkit/dicom/DataSetReader.h"

const RWCString TransferSyntaxType::TSImplicitLittleEndianUID = "1.2.840.10008.1.2";
const RWCString TransferSyntaxType::TSExplicitLittleEndianUID = "1.2.840.10008.1.2.1";
const RWCString TransferSyntaxType::TSDeflatedUID = "1.2.840.10008.1.2.1.99";
const RWCString TransferSyntaxType::TSExplicitBigEndianUID = "1.2.840.10008.1.2.2";
const RWCString TransferSyntaxType::TSJPEG50UID = "1.2.840.10008.1.2.4.50";
const RWCString TransferSyntaxType::TSJPEG51UID = "1.2.840.10008.1.2.4.51";
const RWCString TransferSyntaxType::TSJPEG57UID = "1.2.840.10008.1.2.4.57";
const RWCString TransferSyntaxType::TSJPEG70UID = "1.2.840.10008.1.2.4.70";
const RWCString TransferSyntaxType::TSJPEG2KLosslessUID = "1.2.840.10008.1.2.4.90";
const RWCString TransferSyntaxType::TSJPEG2KUID = "1.2.840.10008.1.2.4.91";
const RWCString TransferSyntaxType::TSRLEUID = "1.2.840.10008.1.2.5";

TransferSyntaxType::TransferSyntaxType(RWCString theUID, DLEndian::Endian theEndian, bool theExplicitVR,
                                       bool theEncapsulated, bool theDeflated)
    : itsUID(std::move(theUID)), itsEndian(theEndian), itsExplicitVR(theExplicitVR),
      itsEncapsulated(theEncapsulated), itsDeflated(theDeflated)
{
}

std::unique_ptr<DataSetReader>
TransferSyntaxType::CreateDataSetReader(Part10InputStream& theStream,
                                        MemoryAllocater& thePixelAllocator) const
{
    return std::make_unique<DataSetReader>(theStream, *this, thePixelAllocator);
}
