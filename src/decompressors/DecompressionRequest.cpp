// SPDX-License-Identifier: Apache-2.0
#include "decompressors/DecompressionRequest.h"

DecompressionRequest::DecompressionRequest() = default;

DecompressionRequest::DecompressionRequest(InputStream* theStream, DICOMDataObject* theDataSet,
                                           const RWCString& theDemoFile, bool theLoadDemoInfoFlag,
                                           int theScaleFactor, int theFrameIndex,
                                           const RWCString& theTransferSyntaxUID,
                                           bool theV5ConvertPixelsToUnsigned)
    : itsInputStream(theStream), itsDICOMDataObject(theDataSet), itsDemoFile(theDemoFile),
      itsLoadDemoInfoFlag(theLoadDemoInfoFlag), itsScaleFactor(theScaleFactor), itsFrameIndex(theFrameIndex),
      itsTransferSyntaxUID(theTransferSyntaxUID), itsV5ConvertPixelsToUnsigned(theV5ConvertPixelsToUnsigned)
{
}

DecompressionRequest::DecompressionRequest(kdu_compressed_source* theSource, DICOMDataObject* theDataSet,
                                           const RWCString& theDemoFile, bool theLoadDemoInfoFlag,
                                           int theScaleFactor, int theFrameIndex,
                                           const RWCString& theTransferSyntaxUID,
                                           bool theV5ConvertPixelsToUnsigned)
    : itsCompressedSource(theSource), itsDICOMDataObject(theDataSet), itsDemoFile(theDemoFile),
      itsLoadDemoInfoFlag(theLoadDemoInfoFlag), itsScaleFactor(theScaleFactor), itsFrameIndex(theFrameIndex),
      itsTransferSyntaxUID(theTransferSyntaxUID), itsV5ConvertPixelsToUnsigned(theV5ConvertPixelsToUnsigned)
{
}

DecompressionRequest::~DecompressionRequest() = default;
