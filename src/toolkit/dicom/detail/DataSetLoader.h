// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "toolkit/dicom/DICOMObject.h"
#include "toolkit/dicom/ImageElements.h"
#include "toolkit/io/InputStream.h"

/// Loads a file into a data set: the work behind DICOMObject::LoadFromFile. Internal to this room.
class DataSetLoader
{
public:
    /// theTarget is borrowed.
    DataSetLoader(DICOMObject& theTarget, DICOMTag theStopTag);

    /// As DICOMObject::LoadFromFile; never throws.
    bool Load(const RWCString& thePath, DLResultCode& theResultCode, int& theSystemErrorCode) noexcept;

private:
    bool LoadFile(const RWCString& thePath, DLResultCode& theResultCode, int& theSystemErrorCode);
    void LoadStream(InputStream& theStream);
    void Keep(std::unique_ptr<VR> theVR);

    DICOMObject& itsTarget;
    ImageElements itsElements;
    DICOMTag itsStopTag;
};
