// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include <dcmtk/config/osconfig.h>
#include <dcmtk/dcmdata/dcostrma.h>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/dicom/DICOMObject.h"
#include "toolkit/io/LFStream.h"

/// Where a data set is written to: a file behind a buffer, which DCMTK's elements write to as well.
///
/// The first failure sticks, later writes are ignored, and Close throws it as a StreamIOException (code
/// 67 with the errno of the failure). Internal to this room.
class FileConsumer final : public DcmConsumer
{
public:
    explicit FileConsumer(const RWCString& thePath);
    ~FileConsumer() override;

    void Put(const void* theBytes, std::size_t theCount);
    void Close();

    // DCMTK's side: takes everything, so that no element ever has to be written in two goes.
    OFBool good() const override { return OFTrue; }
    OFCondition status() const override;
    OFBool isFlushed() const override { return OFTrue; }
    offile_off_t avail() const override;
    offile_off_t write(const void* theBuffer, offile_off_t theLength) override;
    void flush() override {}

private:
    void WriteThrough(const void* theBytes, std::size_t theCount);
    void FlushBuffer();
    void Fail(const char* theWhat, int theError);

    LFStream itsFile;
    std::vector<std::uint8_t> itsBuffer;
    RWCString itsPath;
    RWCString itsFailure;
    int itsError = 0;
};

class DcmElement;
class DcmItem;
class DcmOutputStream;

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
