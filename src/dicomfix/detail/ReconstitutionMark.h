// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "toolkit/base/BaseTypes.h"

class DICOMDataObject;
class MVRFactory;

/// The private elements that say where the pixels of a data set come from.
class ReconstitutionMark
{
public:
    ReconstitutionMark() = delete;

    /// Writes "ReconstImageFlag" with the value 1, in place of an earlier one.
    static void Write(DICOMDataObject& theDataSet, const MVRFactory& theFactory);

    /// Removes every "ReconstImageFlag": a data set and the file that was read into it may each have a block
    /// for it.
    static void Remove(DICOMDataObject& theDataSet);

    /// Removes "LosslessCmpFlag", which is about the compressed pixels, when it is present.
    static void RemoveLosslessFlag(DICOMDataObject& theDataSet);

    /// "OrigSOPInstUID", or "" when absent.
    static RWCString GetOriginalInstanceUID(const DICOMDataObject& theDataSet);
};
