// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "inputs/InputClassifier.h"
#include "inputs/InputSource.h"
#include "toolkit/dicom/DICOMDataObject.h"

/// What --info tells about one input: how its pixels are described and coded, and the boxes of JP2 files. No
/// pixel is decoded.
class InfoReport
{
public:
    /// Reads the header of theSource, which has been loaded. Throws what the library throws.
    InfoReport(const InputSource& theSource, JImageType theKind);

    /// False for a DICOM object that has no image.
    bool HasImage() const { return itsHasImage; }

    /// The JSON line or the block of text, with its line feed. theInput: what the input is called.
    std::string ToText(const std::string& theInput, bool isJSON) const;

private:
    void ReadDICOM(const InputSource& theSource);
    void ReadJPEG(const InputSource& theSource);
    void ReadJPEG2000(const InputSource& theSource, JImageType theKind);

    /// What the headers of all bare codestreams tell.
    template <class Header>
    void DescribeSamples(const Header& theHeader);
    void DescribeDataSet(const DICOMDataObject& theDataSet);
    void DescribeCodec(const std::string& theUID, int theBitsStored);

    std::string itsType;
    std::string itsSOPClassUID; ///< empty where there is none, as the next one is
    std::string itsSOPInstanceUID;
    std::string itsTransferSyntax;
    std::string itsCodec;
    bool itsCodecAvailable = false;
    int itsFrames = 1;
    bool itsHasPixelData = true;
    bool itsHasImage = true;

    // -1 and the empty string: the header does not say.
    int itsRows = -1;
    int itsColumns = -1;
    int itsSamplesPerPixel = -1;
    int itsBitsAllocated = -1;
    int itsBitsStored = -1;
    int itsHighBit = -1;
    int itsSigned = -1;
    std::string itsPhotometric;
    std::vector<std::string> itsBoxes; ///< of a JP2 file, a line each
    int itsPlanar = -1;
    int itsLossy = -1;
};
