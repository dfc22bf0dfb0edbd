// SPDX-License-Identifier: Apache-2.0
#include "DcmtkPeer.h"

#include <algorithm>

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wshadow"
#include <dcmtk/config/osconfig.h>

#include <dcmtk/dcmdata/dcistrmb.h>
#include <dcmtk/dcmdata/dcpixseq.h>
#include <dcmtk/dcmdata/dcpxitem.h>
#include <dcmtk/dcmdata/dcrledrg.h>
#include <dcmtk/dcmdata/dctk.h>
#include <dcmtk/dcmimage/diregist.h>
#include <dcmtk/dcmimgle/dcmimage.h>
#include <dcmtk/dcmjpeg/djdecode.h>
#pragma GCC diagnostic pop

namespace
{
void RegisterOnce()
{
    static const bool isRegistered = []
    {
        OFLog::configure(OFLogger::ERROR_LOG_LEVEL);
        DcmRLEDecoderRegistration::registerCodecs();
        DJDecoderRegistration::registerCodecs(EDC_photometricInterpretation);
        return true;
    }();
    static_cast<void>(isRegistered);
}

void Load(DcmFileFormat& theFormat, const Bytes& theFile)
{
    DcmInputBufferStream aStream;
    aStream.setBuffer(theFile.data(), static_cast<offile_off_t>(theFile.size()));
    aStream.setEos();
    theFormat.transferInit();
    theFormat.read(aStream);
    theFormat.transferEnd();
}
} // namespace

struct DcmtkPeer::State
{
    DcmFileFormat itsFormat;
    DcmPixelData* itsPixelData = nullptr;
};

DcmtkPeer::DcmtkPeer(const Bytes& theFile) : itsState(std::make_unique<State>())
{
    RegisterOnce();
    Load(itsState->itsFormat, theFile);
    DcmElement* anElement = nullptr;
    itsState->itsFormat.getDataset()->findAndGetElement(DCM_PixelData, anElement);
    itsState->itsPixelData = dynamic_cast<DcmPixelData*>(anElement);
}

DcmtkPeer::~DcmtkPeer() = default;

unsigned int DcmtkPeer::CountFrames() const
{
    Sint32 aCount = 0; // and left at it where there is no such element
    itsState->itsFormat.getDataset()->findAndGetSint32(DCM_NumberOfFrames, aCount);
    return static_cast<unsigned int>(std::max(aCount, Sint32{1}));
}

Bytes DcmtkPeer::GetFrame(unsigned int theFrame) const
{
    DcmPixelSequence* aSequence = nullptr;
    itsState->itsPixelData->getEncapsulatedRepresentation(itsState->itsFormat.getDataset()->getOriginalXfer(),
                                                          nullptr, aSequence);
    DcmPixelItem* anItem = nullptr;
    aSequence->getItem(anItem, theFrame + 1);
    Uint8* aData = nullptr;
    anItem->getUint8Array(aData);
    return Bytes(aData, aData + anItem->getLength());
}

bool DcmtkPeer::DecodeFrame(unsigned int theFrame, void* theOutput, std::size_t theSize) const
{
    Uint32 aFragment = theFrame + 1;
    OFString aColourModel;
    return itsState->itsPixelData
        ->getUncompressedFrame(itsState->itsFormat.getDataset(), theFrame, aFragment, theOutput,
                               static_cast<Uint32>(theSize), aColourModel, nullptr)
        .good();
}

std::size_t DcmtkPeer::LoadNative(const Bytes& theFile)
{
    RegisterOnce();
    DcmFileFormat aFormat;
    Load(aFormat, theFile);
    const Uint16* aPixels = nullptr;
    unsigned long aCount = 0;
    aFormat.getDataset()->findAndGetUint16Array(DCM_PixelData, aPixels, &aCount);
    return aCount * 2;
}

bool DcmtkPeer::RenderColour(void* theOutput, std::size_t theSize) const
{
    DicomImage anImage(&itsState->itsFormat, itsState->itsFormat.getDataset()->getOriginalXfer());
    return anImage.getStatus() == EIS_Normal && anImage.getOutputData(theOutput, theSize, 8) != 0;
}
