// SPDX-License-Identifier: Apache-2.0
#include "image/Renderable.h"

#include <cstring>
#include <limits>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "image/VMMemoryAllocator.h"
#include "support/CountingAllocator.h"
#include "support/TemporaryFile.h"
#include "toolkit/base/BadAllocException.h"
#include "toolkit/base/DLRuntimeException.h"
#include "toolkit/base/StreamIOException.h"

namespace
{
using Bytes = std::vector<std::uint8_t>;

TEST(Renderable, StartsEmptyWithUnitRatios)
{
    const Renderable anImage;
    EXPECT_TRUE(anImage.isPixelDataLittleEndian());
    EXPECT_FALSE(anImage.isSigned());
    EXPECT_FALSE(anImage.isPlanarConfiguration());
    EXPECT_FALSE(anImage.isLossyImageCompression());
    EXPECT_FALSE(anImage.isPixelDataAllocated());
    EXPECT_EQ(anImage.getPixelDataSize(), 0u);
    EXPECT_EQ(anImage.getPhotometricInterpretation(), Renderable::INVALID);
    EXPECT_EQ(anImage.getPixelAspectRatioVertical(), 1);
    EXPECT_EQ(anImage.getPixelAspectRatioHorizontal(), 1);
    EXPECT_EQ(anImage.getCompressionRatio(), 1);
    EXPECT_EQ(&anImage.getMemoryAllocator(), &VMMemoryAllocator::GetDefaultInstance());
}

struct InterpretationCase
{
    int itsValue;
    const char* itsText;
};

TEST(Renderable, InterpretationsAndTheirTerms)
{
    constexpr InterpretationCase kCases[] = {
        {1, "MONOCHROME1"},  {2, "MONOCHROME2"},     {3, "PALETTE COLOR"},   {4, "RGB"},     {5, "YBR_FULL"},
        {6, "YBR_FULL_422"}, {7, "YBR_PARTIAL_422"}, {8, "YBR_PARTIAL_420"}, {9, "YBR_ICT"}, {10, "YBR_RCT"}};
    for (const InterpretationCase& aCase : kCases)
    {
        const auto aValue = static_cast<Renderable::PhotometricInterpretation>(aCase.itsValue);
        EXPECT_EQ(Renderable::photometricInterpretationFromString(aCase.itsText), aValue) << aCase.itsText;
        EXPECT_EQ(Renderable::photometricInterpretationTypeToString(aValue), aCase.itsText);
    }
    for (const char* const aText : {"", "INVALID", "monochrome2", "MONOCHROME2 ", " RGB", "PALETTE_COLOR",
                                    "YBR_FULL_4222", "YBR", "COLOR PALETTE"})
    {
        EXPECT_EQ(Renderable::photometricInterpretationFromString(aText), Renderable::INVALID) << aText;
    }
    for (const int aValue : {0, -1, 11, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()})
    {
        EXPECT_EQ(Renderable::photometricInterpretationTypeToString(
                      static_cast<Renderable::PhotometricInterpretation>(aValue)),
                  "INVALID")
            << aValue;
    }
}

struct SizeCase
{
    int itsRows;
    int itsColumns;
    int itsBits;
    int itsSamples;
    const char* itsInterpretation;
    std::uint64_t itsSize;
    const char* itsFault;
};

TEST(Renderable, RequiredBufferSize)
{
    constexpr std::uint64_t kWrapped = (std::uint64_t{0} - 0x80000000U + 7) / 8;
    constexpr SizeCase kCases[] = {
        {512, 512, 16, 1, "MONOCHROME2", 524288, "plain grey"},
        {512, 512, 16, 1, "YBR_FULL_422", 524288, "one sample takes no notice of the interpretation"},
        {3, 3, 1, 1, "MONOCHROME2", 2, "bits are rounded up to bytes"},
        {3, 3, 8, 3, "RGB", 27, "three samples"},
        {3, 3, 8, 4, "RGB", 36, "four samples"},
        {3, 3, 8, 0, "RGB", 0, "no samples"},
        {3, 3, 8, 3, "YBR_FULL_422", 20, "odd pixel counts are raised by one"},
        {3, 3, 8, 3, "YBR_PARTIAL_422", 20, "both 4:2:2 forms"},
        {2, 3, 8, 3, "YBR_FULL_422", 12, "even pixel counts stay"},
        {3, 3, 8, 2, "YBR_FULL_422", 18, "the factor without the rounding when there are not three samples"},
        {1, 5, 8, 3, "YBR_PARTIAL_420", 9, "5 becomes 6"},
        {1, 6, 8, 3, "YBR_PARTIAL_420", 12, "6 becomes 8"},
        {1, 7, 8, 3, "YBR_PARTIAL_420", 15, "7 becomes 10 and not 8"},
        {1, 8, 8, 3, "YBR_PARTIAL_420", 12, "multiples of four stay"},
        {1, 3, 1, 2, "YBR_PARTIAL_420", 1, "4.5 bits are cut to 4"},
        {1, 17, 1, 2, "YBR_PARTIAL_420", 4, "25.5 bits are cut to 25, not to 24"},
        {10000, 10000, 16, 3, "RGB", 600000000, "samples multiply in 64 bits"},
        {65536, 65536, 8, 3, "RGB", 0, "pixel counts wrap in 32 bits"},
        {65536, 32768, 1, 1, "RGB", kWrapped, "a negative count is no size"},
        {-1, 1, 8, 1, "RGB", (std::uint64_t{1} << 61) - 1, "negative rows are no size"},
        {32768, 16384, 2, 3, "YBR_FULL_422", kWrapped, "doubling wraps too"},
    };
    for (const SizeCase& aCase : kCases)
    {
        EXPECT_EQ(Renderable::calculateRequiredBufferSize(aCase.itsRows, aCase.itsColumns, aCase.itsBits,
                                                          aCase.itsSamples,
                                                          RWCString(aCase.itsInterpretation)),
                  aCase.itsSize)
            << aCase.itsFault;
    }
}

void SetGeometry(Renderable& theImage, int theRows, int theColumns, std::int16_t theBits, int theSamples)
{
    theImage.setRows(theRows);
    theImage.setColumns(theColumns);
    theImage.setBitsAllocated(theBits);
    theImage.setSamplesPerPixel(theSamples);
    theImage.setPhotometricInterpretation(Renderable::MONOCHROME2);
}

struct SwapCase
{
    const char* itsFault;
    std::int16_t itsBits;
    int itsRows;
    int itsColumns;
    Bytes itsBefore;
    Bytes itsAfter;
    bool itsToggles;
};

TEST(Renderable, SwapDataEndianCopiesInsideTheBuffer)
{
    const SwapCase kCases[] = {
        {"8 bits are left alone", 8, 1, 2, {1, 2}, {1, 2}, false},
        {"12 allocated bits toggle only", 12, 1, 1, {1, 2}, {1, 2}, true},
        {"32 allocated bits toggle only", 32, 1, 1, {1, 2, 3, 4}, {1, 2, 3, 4}, true},
        {"the first byte is copied", 16, 1, 1, {0x12, 0x34}, {0x12, 0x12}, true},
        {"the pair behind the samples too", 16, 1, 1, {1, 2, 3, 4, 5, 6}, {1, 1, 3, 3, 5, 6}, true},
        {"half a pair behind them is not touched", 16, 1, 1, {1, 2, 3}, {1, 1, 3}, true},
        {"a short buffer bounds the walk", 16, 9, 9, {1, 2, 3, 4, 5}, {1, 1, 3, 3, 5}, true},
        {"no samples: not even the flag", 16, 0, 5, {1, 2}, {1, 2}, false},
        {"negative sizes: not even the flag", 16, -1, 5, {1, 2}, {1, 2}, false},
        {"a count that wraps to nothing", 16, 65536, 32768, {1, 2}, {1, 2}, false},
    };
    for (const SwapCase& aCase : kCases)
    {
        SCOPED_TRACE(aCase.itsFault);
        CountingAllocator anAllocator;
        Renderable anImage(anAllocator);
        SetGeometry(anImage, aCase.itsRows, aCase.itsColumns, aCase.itsBits, 1);
        const std::size_t aSize = aCase.itsBefore.size();
        auto* const aBuffer = static_cast<std::uint8_t*>(anAllocator.Allocate(aSize));
        std::memcpy(aBuffer, aCase.itsBefore.data(), aSize);
        anImage.setPixelData(aBuffer, aSize);
        anImage.swapDataEndian();
        EXPECT_EQ(Bytes(aBuffer, aBuffer + aSize), aCase.itsAfter);
        EXPECT_EQ(anImage.isPixelDataLittleEndian(), !aCase.itsToggles);
    }
    Renderable anEmpty;
    SetGeometry(anEmpty, 4, 4, 16, 1);
    anEmpty.swapDataEndian();
    EXPECT_FALSE(anEmpty.isPixelDataLittleEndian()) << "without a buffer the flag still toggles";
}

TEST(Renderable, BufferGoesBackToItsAllocatorOnce)
{
    CountingAllocator anAllocator;
    {
        Renderable anImage(anAllocator);
        SetGeometry(anImage, 3, 4, 16, 1);
        anImage.allocatePixelData();
        ASSERT_EQ(anAllocator.GetSizes().back(), 24u);
        void* const aBuffer = anImage.getPixelData();
        try
        {
            anImage.allocatePixelData();
            ADD_FAILURE() << "a second allocation must be refused";
        }
        catch (const DLRuntimeException& anException)
        {
            EXPECT_EQ(anException.GetMessageText(),
                      "Renderable::allocatePixelData(): memory was already allocated");
        }
        EXPECT_EQ(anImage.getPixelData(), aBuffer) << "the old buffer is kept";

        EXPECT_EQ(anImage.takePixelData(), aBuffer);
        EXPECT_EQ(anImage.getPixelDataSize(), 0u);
        EXPECT_EQ(anAllocator.GetLiveBlocks(), 1u) << "taking frees nothing";

        anImage.setPixelData(aBuffer, 24);
        anImage.setPixelData(anAllocator.Allocate(5), 5);
        EXPECT_EQ(anAllocator.GetLiveBlocks(), 1u) << "the buffer that is replaced goes back";
        anImage.freePixelData();
        anImage.freePixelData();
        EXPECT_EQ(anImage.getPixelDataSize(), 0u);
        EXPECT_FALSE(anImage.isPixelDataAllocated());
        anImage.allocatePixelData();
    }
    EXPECT_EQ(anAllocator.GetLiveBlocks(), 0u) << "destruction frees";

    auto* const anImage = new Renderable(anAllocator);
    SetGeometry(*anImage, 1, 1, 8, 1);
    anImage->allocatePixelData();
    anImage->deleteSelf();
    EXPECT_EQ(anAllocator.GetLiveBlocks(), 0u) << "deleteSelf frees record and buffer";
}

/// Fails every allocation with the exception it was made with.
template <class Exception>
class ThrowingAllocator final : public MemoryAllocater
{
public:
    explicit ThrowingAllocator(Exception theException) : itsException(std::move(theException)) {}
    void* Allocate(std::uint64_t) override { throw itsException; }
    void Free(void*) override {}

private:
    Exception itsException;
};

template <class Exception>
void ExpectAllocationFailure(Exception theException, const RWCString& theText, const RWCString& theCause)
{
    ThrowingAllocator<Exception> anAllocator(std::move(theException));
    Renderable anImage(anAllocator);
    SetGeometry(anImage, 2, 5, 8, 1);
    try
    {
        anImage.allocatePixelData();
        ADD_FAILURE() << "nothing thrown";
    }
    catch (const DLRuntimeException& anException)
    {
        EXPECT_EQ(anException.GetMessageText(), theText);
        const ExceptionBase* const aCause = anException.GetException();
        EXPECT_EQ(aCause == nullptr ? "" : aCause->ClassName(), theCause);
    }
    EXPECT_FALSE(anImage.isPixelDataAllocated());
}

TEST(Renderable, AllocationFailuresAreTold)
{
    const RWCString aPrefix = "Renderable::allocatePixelData(): Memory allocation of 10 bytes failed (";
    ExpectAllocationFailure(DLRuntimeException("no more"), "no more", "");
    const BadAllocException aBadAlloc(10);
    ExpectAllocationFailure(aBadAlloc, aPrefix + aBadAlloc.GetMessageText() + ")", "BadAllocException");
    ExpectAllocationFailure(StreamIOException("odd", DLRC_IO_ERROR, 5), aPrefix + "odd)",
                            "StreamIOException");
    ExpectAllocationFailure(std::runtime_error("x"), aPrefix + "caught unknown exception)", "");
    ExpectAllocationFailure(42, aPrefix + "caught unknown exception)", "");
}

TEST(Renderable, WritePixelsToFileWritesTheBareBytes)
{
    for (const std::size_t aSize : {std::size_t{1}, std::size_t{8192}, std::size_t{8193}, std::size_t{20000}})
    {
        CountingAllocator anAllocator;
        Renderable anImage(anAllocator);
        auto* const aBuffer = static_cast<std::uint8_t*>(anAllocator.Allocate(aSize));
        for (std::size_t anIndex = 0; anIndex < aSize; ++anIndex)
        {
            aBuffer[anIndex] = static_cast<std::uint8_t>(anIndex * 7 + anIndex / 256);
        }
        anImage.setPixelData(aBuffer, aSize);
        const TemporaryFile aFile(Bytes(30000, 0xee));
        anImage.writePixelsToFile(aFile.GetName());
        EXPECT_EQ(aFile.GetContent(), Bytes(aBuffer, aBuffer + aSize)) << aSize;
    }
    const TemporaryFile aFile(Bytes(5, 1));
    Renderable anEmpty;
    anEmpty.writePixelsToFile(aFile.GetName());
    EXPECT_TRUE(aFile.GetContent().empty()) << "no pixels leave an empty file";
    EXPECT_NO_THROW(anEmpty.writePixelsToFile("/nonexistent-folder/x"));
    EXPECT_NO_THROW(anEmpty.writePixelsToFile(nullptr));
}
} // namespace
