// SPDX-License-Identifier: Apache-2.0
#include "decompressors/DecompressionRequest.h"

DecompressionRequest::DecompressionRequest() = default;

DecompressionRequest::DecompressionRequest(InputStream* theStream, DICOMDataObject* theDataSet,
                                           const RWCString& theDemoFile, bool isDemoInfoLoaded,
                                           int theScaleFactor, int theFrameIndex,
                                           const RWCString& theTransferSyntaxUID,
                                           bool isV5ConvertedToUnsigned)
    : itsInputStream(theStream), itsDICOMDataObject(theDataSet), itsDemoFile(theDemoFile),
      itsLoadDemoInfoFlag(isDemoInfoLoaded), itsScaleFactor(theScaleFactor), itsFrameIndex(theFrameIndex),
      itsTransferSyntaxUID(theTransferSyntaxUID), itsV5ConvertPixelsToUnsigned(isV5ConvertedToUnsigned)
{
}

DecompressionRequest::DecompressionRequest(kdu_compressed_source* theSource, DICOMDataObject* theDataSet,
                                           const RWCString& theDemoFile, bool isDemoInfoLoaded,
                                           int theScaleFactor, int theFrameIndex,
                                           const RWCString& theTransferSyntaxUID,
                                           bool isV5ConvertedToUnsigned)
    : itsCompressedSource(theSource), itsDICOMDataObject(theDataSet), itsDemoFile(theDemoFile),
      itsLoadDemoInfoFlag(isDemoInfoLoaded), itsScaleFactor(theScaleFactor), itsFrameIndex(theFrameIndex),
      itsTransferSyntaxUID(theTransferSyntaxUID), itsV5ConvertPixelsToUnsigned(isV5ConvertedToUnsigned)
{
}

DecompressionRequest::~DecompressionRequest() = default;
