// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <utility>

#include <gtest/gtest.h>

#include "decoding/Decoder.h"
#include "support/ByteSource.h"
#include "toolkit/base/Exceptions.h"
#include "toolkit/dicom/DICOMDataObject.h"
#include "toolkit/dicom/MVRFactory.h"

/// A codec that finds whatever layout the test wants in its header.
class FakeDecoder final : public Decoder
{
public:
    explicit FakeDecoder(ColorModel theModel = COLOR_MODEL_GREY, int theSamples = 1, int theBitsAllocated = 8,
                         bool theConvertsToRGB = false)
        : itsConvertsToRGB(theConvertsToRGB)
    {
        itsDecompressedColorspace = theModel;
        itsSamplesPerPixel = theSamples;
        itsBitsAllocatedPerSample = theBitsAllocated;
    }

    std::uint64_t itsWidth = 4;
    std::uint64_t itsHeight = 3;
    bool itsConvertsToRGB;
    int itsConvertsSign = 0;

    void SetReversible(CompressionReversible theValue) { itsCompressionReversible = theValue; }
    void SetScaleFactor(int theFactor) { itsScaleFactor = theFactor; }
    void ReadOne()
    {
        std::uint8_t aByte = 0;
        GetSource().read(&aByte, 1);
    }

    void Decode(unsigned int, void*, std::uint64_t) override {}
    ColorModel GetCompressedColorspace() const override { return itsDecompressedColorspace; }
    std::int16_t GetScanMode() const override { return 0; }
    std::uint64_t GetImageWidth() const override { return itsWidth; }
    std::uint64_t GetImageHeight() const override { return itsHeight; }
    int IsSupportsOutputPixelSignConversion() const override { return itsConvertsSign; }
    bool IsDecoderConvertsColorToRGB() override { return itsConvertsToRGB; }

    /// Reads a header and updates theDataSet, as the driver has it done.
    void Open(DICOMDataObject* theDataSet) { SetSource(theDataSet, itsBytes); }

protected:
    void SetSourceImpl() override { ReadOne(); }

private:
    ByteSource itsBytes{{1}};
};

inline MVRFactory FactoryFor(DICOMDataObject& theDataSet)
{
    return {theDataSet.GetDataDictionary(), theDataSet.GetEndian(), VR::GetDefaultMemoryAllocater()};
}

inline void Put(DICOMDataObject& theDataSet, DICOMTag theTag, const char* theValue)
{
    theDataSet.ReplaceVR(FactoryFor(theDataSet).CreateString(theTag, theValue));
}

inline void Put(DICOMDataObject& theDataSet, DICOMTag theTag, int theValue)
{
    theDataSet.ReplaceVR(
        FactoryFor(theDataSet).CreateUnsignedShort(theTag, static_cast<std::uint16_t>(theValue)));
}

inline RWCString TextOf(const DICOMDataObject& theDataSet, DICOMTag theTag)
{
    RWCString aText = "(absent)";
    theDataSet.GetString(theTag, aText);
    return aText;
}

/// -1 when absent.
inline int NumberOf(const DICOMDataObject& theDataSet, DICOMTag theTag)
{
    std::int32_t aNumber = -1;
    theDataSet.GetInteger(theTag, aNumber);
    return aNumber;
}

inline RWCString ScratchOf(const DICOMDataObject& theDataSet, const char* theName)
{
    RWCString aText = "(absent)";
    theDataSet.GetScratchpadValue(theName, aText);
    return aText;
}

/// Runs theOperation, which must end in a StreamIOException of this text and code without system error.
template <class Operation>
void ExpectStreamIOException(Operation theOperation, const RWCString& theText, int theCode)
{
    try
    {
        theOperation();
        ADD_FAILURE() << "nothing thrown, expected: " << theText;
    }
    catch (const StreamIOException& anException)
    {
        EXPECT_EQ(anException.GetMessageText(), theText);
        EXPECT_EQ(static_cast<int>(anException.GetResultCode()), theCode) << theText;
        EXPECT_EQ(anException.GetSystemErrorCode(), 0) << theText;
    }
}
