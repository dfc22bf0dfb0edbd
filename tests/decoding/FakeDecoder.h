// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include <gtest/gtest.h>

#include "decoding/Decoder.h"
#include "support/ByteSource.h"
#include "support/DataSet.h"
#include "support/FailureOf.h"

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

/// Runs theOperation, which must end in a StreamIOException of this text and code without system error.
template <class Operation>
void ExpectStreamIOException(Operation theOperation, const RWCString& theText, int theCode)
{
    EXPECT_EQ(FailureOf(theOperation), theText + " [" + std::to_string(theCode) + ", 0]");
}
