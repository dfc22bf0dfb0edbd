// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/System.h"
#include "toolkit/dicom/DataDictionary.h"

class DataSetReader;
class Part10InputStream;

/// What a transfer syntax UID says about a data set's encoding. Immutable; instances belong to the
/// TransferSyntaxManager.
class QUORIX_API TransferSyntaxType
{
public:
    /// UIDs, to be used from the first static initialiser on.
    /// @{
    static constexpr const char* TSImplicitLittleEndianUID = "1.2.840.10008.1.2";
    static constexpr const char* TSExplicitLittleEndianUID = "1.2.840.10008.1.2.1";
    static constexpr const char* TSDeflatedUID = "1.2.840.10008.1.2.1.99";
    static constexpr const char* TSExplicitBigEndianUID = "1.2.840.10008.1.2.2";
    static constexpr const char* TSJPEG50UID = "1.2.840.10008.1.2.4.50";
    static constexpr const char* TSJPEG51UID = "1.2.840.10008.1.2.4.51";
    static constexpr const char* TSJPEG57UID = "1.2.840.10008.1.2.4.57";
    static constexpr const char* TSJPEG70UID = "1.2.840.10008.1.2.4.70";
    static constexpr const char* TSJPEGLSLosslessUID = "1.2.840.10008.1.2.4.80";
    static constexpr const char* TSJPEGLSUID = "1.2.840.10008.1.2.4.81";
    static constexpr const char* TSJPEG2KLosslessUID = "1.2.840.10008.1.2.4.90";
    static constexpr const char* TSJPEG2KUID = "1.2.840.10008.1.2.4.91";
    static constexpr const char* TSHTJ2KLosslessUID = "1.2.840.10008.1.2.4.201";
    static constexpr const char* TSHTJ2KLosslessRPCLUID = "1.2.840.10008.1.2.4.202";
    static constexpr const char* TSHTJ2KUID = "1.2.840.10008.1.2.4.203";
    static constexpr const char* TSRLEUID = "1.2.840.10008.1.2.5";
    static constexpr const char* TSEncapsulatedUncompressedUID = "1.2.840.10008.1.2.1.98";
    static constexpr const char* TSDeflatedImageFrameUID = "1.2.840.10008.1.2.8.1";
    /// @}

    /// For TransferSyntaxManager; what the arguments mean the accessors tell.
    TransferSyntaxType(RWCString theUID, DLEndian::Endian theEndian, bool isExplicitVR, bool isEncapsulated,
                       bool isDeflated);

    /// Without the padding that the element may have.
    const RWCString& GetUID() const { return itsUID; }

    /// Byte order of the data set and of native pixels.
    DLEndian::Endian GetEndian() const { return itsEndian; }

    /// Whether elements name their value representation.
    bool IsExplicitVR() const { return itsExplicitVR; }

    /// Whether pixels are compressed frames in fragments (PS3.5 Annex A.4).
    bool IsEncapsulated() const { return itsEncapsulated; }

    /// Whether what follows the file meta information is deflated as a whole (RFC 1951).
    bool IsDeflated() const { return itsDeflated; }

    /// A reader over what follows the file meta information of theStream, which is borrowed.
    /// thePixelAllocator: where pixel values read into memory come from.
    std::unique_ptr<DataSetReader> CreateDataSetReader(Part10InputStream& theStream,
                                                       MemoryAllocater& thePixelAllocator) const;

private:
    RWCString itsUID;
    DLEndian::Endian itsEndian;
    bool itsExplicitVR;
    bool itsEncapsulated;
    bool itsDeflated;
};
