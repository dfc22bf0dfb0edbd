// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "dicomfix/CompressionTerms.h"
#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/Reading.h"
#include "toolkit/dicom/DICOMTag.h"

class DICOMDataObject;
class MVRFactory;

/// Records in a data set that its pixels went through lossy compression (PS3.3 C.7.6.1.1.5).
///
/// Borrows the data set and the factory. Used once, for one decoded image; toolkit exceptions pass
/// through.
class LossyHistory
{
public:
    /// theCompression: "JPG" or "JP2" in any case; another kind is recorded without its name. theRatio:
    /// compression ratio to one; below 1 when it is not known.
    /// theReading: by meaning what stands at the end of a list already is not added to it once more.
    LossyHistory(DICOMDataObject& theDataSet, const MVRFactory& theFactory, const RWCString& theCompression,
                 int theRatio, Reading theReading);

    /// Writes everything. A data set that carries our Derivation Description has been through this
    /// before: it gets nothing but the flag, the cleared value ranges and its Image Type.
    void Write();

private:
    void RemoveValueRanges();
    RWCString MakeDerivedImageType() const;
    void WriteMethod();
    void WriteImageType(const RWCString& theDerivedType);
    void WriteDerivation();
    void WriteRatio();
    void WriteSourceImage();
    void EnsureSourceSequence();
    bool IsSourceTold(const RWCString& theInstanceUID) const;
    bool IsTold(const RWCString& theLast, const RWCString& theValue) const;

    RWCString GetText(DICOMTag theTag) const;
    void ReplaceText(DICOMTag theTag, const RWCString& theValue);

    DICOMDataObject& itsDataSet;
    const MVRFactory& itsFactory;
    int itsRatio;
    Reading itsReading;
    CompressionTerms itsTerms{"", "", "", ""};
};
