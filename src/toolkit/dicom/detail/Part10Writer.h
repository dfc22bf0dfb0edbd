// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "toolkit/dicom/DICOMObject.h"

class DcmElement;
class DcmItem;
class DcmOutputStream;
class FileConsumer;

/// Writes a data set as a Part 10 file in a native transfer syntax: the work behind
/// DICOMObject::SaveToFile. Internal to this room.
class Part10Writer
{
public:
    /// theSource is borrowed. Throws StreamIOException (code 6) for a transfer syntax that is not native.
    Part10Writer(const DICOMObject& theSource, const RWCString& theTransferSyntaxUID);

    /// As DICOMObject::SaveToFile.
    void Write(const RWCString& thePath) const;

private:
    void CheckPixelData() const;
    void WriteFileMeta(FileConsumer& theFile, DcmOutputStream& theStream) const;
    void WriteElement(DcmElement& theElement, int theTransferSyntax, DcmOutputStream& theStream) const;
    void WritePixelData(FileConsumer& theFile) const;
    void WritePixelDataHeader(FileConsumer& theFile, std::uint16_t theTypeCode,
                              std::uint32_t theLength) const;
    std::uint16_t PixelTypeCode() const;
    std::size_t SwapWidth(std::uint16_t theTypeCode) const;

    const DICOMObject& itsSource;
    RWCString itsTransferSyntaxUID;
    bool itsExplicitVR;
    DLEndian::Endian itsEndian;
};
