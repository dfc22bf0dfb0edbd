// SPDX-License-Identifier: Apache-2.0
#include "image/Renderable.h"

#include <array>
#include <cstddef>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>

#include <gtest/gtest.h>

#include "image/VMMemoryAllocator.h"
#include "support/FailureOf.h"
#include "support/ImageMaker.h"
#include "support/TemporaryFile.h"
#include "toolkit/base/Exceptions.h"

namespace
{
TEST(Renderable, StartsEmptyWithUnitRatios)
{
    // Nothing of it is what its memory held before.
    alignas(Renderable) std::array<std::byte, sizeof(Renderable)> aMemory;
    aMemory.fill(std::byte{0xa5});
    const std::unique_ptr<Renderable, void (*)(Renderable*)> aPlaced(
        new (aMemory.data()) Renderable, [](Renderable* theImage) { theImage->~Renderable(); });
    const Renderable& anImage = *aPlaced;
    EXPECT_EQ(Describe(anImage), "INVALID 0 x 0 x 0, 0/0/0, scale 1, ratio 1");
    EXPECT_FALSE(anImage.isPixelDataAllocated());
    EXPECT_EQ(anImage.getPixelDataSize(), 0u);
    EXPECT_EQ(anImage.getPixelAspectRatioVertical(), 1);
    EXPECT_EQ(anImage.getPixelAspectRatioHorizontal(), 1);
    EXPECT_EQ(&anImage.getMemoryAllocator(), &VMMemoryAllocator::GetDefaultInstance());
}

TEST(Renderable, InterpretationsAndTheirTerms)
{
    const char* const kTerms[] = {"INVALID",  "MONOCHROME1",  "MONOCHROME2",     "PALETTE COLOR",   "RGB",
                                  "YBR_FULL", "YBR_FULL_422", "YBR_PARTIAL_422", "YBR_PARTIAL_420", "YBR_ICT",
                                  "YBR_RCT",  "INVALID"};
    constexpr int kLowest = std::numeric_limits<int>::min(), kHighest = std::numeric_limits<int>::max();
    for (const int i : {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, -1, kLowest, kHighest})
    {
        const char* const aTerm = i < 0 || i > 10 ? "INVALID" : kTerms[i];
        const auto aValue = static_cast<Renderable::PhotometricInterpretation>(i);
        EXPECT_EQ(Renderable::photometricInterpretationTypeToString(aValue), aTerm) << i;
        EXPECT_EQ(Renderable::photometricInterpretationFromString(aTerm), i < 0 || i > 10 ? 0 : i);
    }
    for (const char* const aText : {"", "monochrome2", "MONOCHROME2 ", " RGB", "PALETTE_COLOR",
                                    "YBR_FULL_4222", "YBR", "COLOR PALETTE"})
    {
        EXPECT_EQ(Renderable::photometricInterpretationFromString(aText), Renderable::INVALID) << aText;
    }
}

TEST(Renderable, RequiredBufferSize)
{
    constexpr std::uint64_t kWrapped = (std::uint64_t{0} - 0x80000000U + 7) / 8;
    constexpr std::tuple<int, int, int, int, const char*, std::uint64_t, const char*> kCases[] = {
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
    for (const auto& [aRows, aColumns, aBits, aSamples, anInterpretation, aSize, aFault] : kCases)
    {
        EXPECT_EQ(Renderable::calculateRequiredBufferSize(aRows, aColumns, aBits, aSamples,
                                                          RWCString(anInterpretation)),
                  aSize)
            << aFault;
    }
}

ImageSpec Grey(int theBits, int theRows, int theColumns)
{
    return {Renderable::MONOCHROME2, 1, theBits, theRows, theColumns};
}

TEST(Renderable, SwapDataEndianCopiesInsideTheBuffer)
{
    const std::tuple<const char*, ImageSpec, Bytes, Bytes, bool> kCases[] = {
        {"8 bits are left alone", Grey(8, 1, 2), {1, 2}, {1, 2}, false},
        {"12 allocated bits toggle only", Grey(12, 1, 1), {1, 2}, {1, 2}, true},
        {"32 allocated bits toggle only", Grey(32, 1, 1), {1, 2, 3, 4}, {1, 2, 3, 4}, true},
        {"the first byte is copied", Grey(16, 1, 1), {0x12, 0x34}, {0x12, 0x12}, true},
        {"the pair behind too", Grey(16, 1, 1), {1, 2, 3, 4, 5, 6}, {1, 1, 3, 3, 5, 6}, true},
        {"half a pair behind is not touched", Grey(16, 1, 1), {1, 2, 3}, {1, 1, 3}, true},
        {"a short buffer bounds the walk", Grey(16, 9, 9), {1, 2, 3, 4, 5}, {1, 1, 3, 3, 5}, true},
        {"no samples: not even the flag", Grey(16, 0, 5), {1, 2}, {1, 2}, false},
        {"negative sizes: not even the flag", Grey(16, -1, 5), {1, 2}, {1, 2}, false},
        {"a count that wraps to nothing", Grey(16, 65536, 32768), {1, 2}, {1, 2}, false},
    };
    CountingAllocator anAllocator;
    for (const auto& [aFault, aSpec, aBefore, anAfter, hasToggled] : kCases)
    {
        const auto anImage = MakeImage(anAllocator, aSpec, aBefore);
        anImage->swapDataEndian();
        EXPECT_EQ(GetPixels(*anImage), anAfter) << aFault;
        EXPECT_EQ(anImage->isPixelDataLittleEndian(), !hasToggled) << aFault;
    }
    const auto anEmpty = MakeImage(anAllocator, Grey(16, 4, 4), {});
    anEmpty->freePixelData();
    anEmpty->swapDataEndian();
    EXPECT_FALSE(anEmpty->isPixelDataLittleEndian()) << "without a buffer the flag still toggles";
}

TEST(Renderable, BufferGoesBackToItsAllocatorOnce)
{
    CountingAllocator anAllocator;
    auto anImage = MakeImage(anAllocator, Grey(16, 3, 4), {});
    anImage->freePixelData();
    anImage->allocatePixelData();
    ASSERT_EQ(anAllocator.GetSizes().back(), 24u);
    void* const aBuffer = anImage->getPixelData();
    EXPECT_EQ(FailureOf<DLRuntimeException>([&] { anImage->allocatePixelData(); }),
              "Renderable::allocatePixelData(): memory was already allocated");
    EXPECT_EQ(anImage->takePixelData(), aBuffer) << "the old buffer is kept";
    EXPECT_EQ(anImage->getPixelDataSize(), 0u);
    EXPECT_EQ(anAllocator.GetLiveBlocks(), 1u) << "taking frees nothing";
    anImage->setPixelData(aBuffer, 24);
    anImage->setPixelData(anAllocator.Allocate(5), 5);
    EXPECT_EQ(anAllocator.GetLiveBlocks(), 1u) << "the buffer that is replaced goes back";
    anImage->freePixelData();
    anImage->freePixelData();
    EXPECT_EQ(anImage->getPixelDataSize(), 0u);
    EXPECT_FALSE(anImage->isPixelDataAllocated());
    anImage->allocatePixelData();
    anImage.reset();
    EXPECT_EQ(anAllocator.GetLiveBlocks(), 0u) << "destruction frees";
    MakeImage(anAllocator, {}, {1}).release()->deleteSelf();
    EXPECT_EQ(anAllocator.GetLiveBlocks(), 0u) << "deleteSelf frees record and buffer";
}

/// An allocator all of whose allocations fail in one way.
struct FailingAllocator final : MemoryAllocater
{
    void* Allocate(std::uint64_t) override
    {
        itsFailure();
        return nullptr;
    }
    void Free(void*) override {}

    void (*itsFailure)() = nullptr;
};

/// The text and the cause's class of the exception that an allocation ends in.
std::string FailureAfter(void (*theFailure)())
{
    FailingAllocator anAllocator;
    anAllocator.itsFailure = theFailure;
    Renderable anImage(anAllocator);
    anImage.setRows(2);
    anImage.setColumns(5);
    anImage.setBitsAllocated(8);
    anImage.setSamplesPerPixel(1);
    try
    {
        anImage.allocatePixelData();
    }
    catch (const DLRuntimeException& anException)
    {
        const ExceptionBase* const aCause = anException.GetException();
        EXPECT_FALSE(anImage.isPixelDataAllocated());
        return anException.GetMessageText() + ", " + (aCause == nullptr ? "" : aCause->ClassName());
    }
    return "(nothing)";
}

TEST(Renderable, AllocationFailuresAreTold)
{
    const RWCString aPrefix = "Renderable::allocatePixelData(): Memory allocation of 10 bytes failed (";
    EXPECT_EQ(FailureAfter([] { throw DLRuntimeException("no more"); }), "no more, ");
    EXPECT_EQ(FailureAfter([] { throw BadAllocException(10); }),
              aPrefix + "Memory allocation of 10 bytes failed), BadAllocException");
    EXPECT_EQ(FailureAfter([] { throw StreamIOException("odd", DLRC_IO_ERROR, 5); }),
              aPrefix + "odd), StreamIOException");
    EXPECT_EQ(FailureAfter([] { throw std::runtime_error("x"); }), aPrefix + "caught unknown exception), ");
    EXPECT_EQ(FailureAfter([] { throw 42; }), aPrefix + "caught unknown exception), ");
}

TEST(Renderable, WritePixelsToFileWritesTheBareBytes)
{
    CountingAllocator anAllocator;
    const TemporaryFile aFile(Bytes(30000, 0xee));
    for (const std::size_t aSize : {20000u, 8193u, 8192u, 1u, 0u})
    {
        Bytes aPixels;
        for (std::size_t i = 0; i < aSize; ++i)
        {
            aPixels.push_back(static_cast<std::uint8_t>(i * 7 + i / 256));
        }
        MakeImage(anAllocator, {}, aPixels)->writePixelsToFile(aFile.GetName());
        EXPECT_EQ(aFile.GetContent(), aPixels);
    }
    EXPECT_NO_THROW(Renderable().writePixelsToFile("/nonexistent-folder/x"));
    EXPECT_NO_THROW(Renderable().writePixelsToFile(nullptr));
}
} // namespace
