// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

/// The plain YBR_FULL formula (PS3.3 C.7.6.3.1.2, inverted), the measure of every faster form.
///
/// Single precision, evaluated from left to right without fused operations, truncated toward zero and
/// clamped. Sample is std::uint8_t (chroma centred on 128) or std::uint16_t (on 32768).
template <class Sample>
struct YBRFormula
{
    static constexpr std::int32_t kMaximum = std::numeric_limits<Sample>::max();
    static constexpr std::int32_t kCentre = (kMaximum + 1) / 2;

    static Sample Clamp(float theValue)
    {
        return static_cast<Sample>(std::clamp(static_cast<std::int32_t>(theValue), 0, kMaximum));
    }

    static void Convert(Sample theY, Sample theCb, Sample theCr, Sample* theRGB)
    {
        const float aY = static_cast<float>(theY);
        const float aCb = static_cast<float>(theCb - kCentre);
        const float aCr = static_cast<float>(theCr - kCentre);
        theRGB[0] = Clamp(aY + 1.402f * aCr);
        theRGB[1] = Clamp((aY - 0.344136f * aCb) - 0.714136f * aCr);
        theRGB[2] = Clamp(aY + 1.772f * aCb);
    }
};

/// Colour samples of 16 bits as they stand in a buffer, at any address.
struct WordSamples
{
    bool itsIsSwapped = false;    ///< words are in the other byte order than this machine's
    std::uint16_t itsBias = 0;    ///< exclusive-ored onto every sample in and out: 0x8000 for signed ones
    std::size_t itsPixelStep = 3; ///< samples from one pixel to the next
    std::size_t itsPlaneStep = 1; ///< and from one component to the next

    std::uint16_t Read(const std::uint8_t* theInput, std::size_t theIndex) const
    {
        std::uint16_t aWord = 0;
        std::memcpy(&aWord, theInput + 2 * theIndex, sizeof(aWord));
        return static_cast<std::uint16_t>((itsIsSwapped ? __builtin_bswap16(aWord) : aWord) ^ itsBias);
    }

    /// What Read gives of a pixel's Y, Cb and Cr as R, G and B.
    void ToRGB(std::uint16_t theY, std::uint16_t theCb, std::uint16_t theCr, std::uint16_t* theRGB) const
    {
        YBRFormula<std::uint16_t>::Convert(theY, theCb, theCr, theRGB);
        for (int s = 0; s < 3; ++s)
        {
            theRGB[s] = static_cast<std::uint16_t>(theRGB[s] ^ itsBias);
        }
    }

    /// Pixel number thePixel as R, G and B.
    void PixelToRGB(const std::uint8_t* theInput, std::size_t thePixel, std::uint16_t* theRGB) const
    {
        const std::size_t aFirst = thePixel * itsPixelStep;
        ToRGB(Read(theInput, aFirst), Read(theInput, aFirst + itsPlaneStep),
              Read(theInput, aFirst + 2 * itsPlaneStep), theRGB);
    }
};

/// How a word of 16 bits becomes a byte: shifted down, brought into the range of the bits that are left, and
/// shifted up to where those are a byte's highest.
struct WordReduction
{
    bool itsIsSwapped = false; ///< words are in the other byte order than this machine's
    bool itsIsMasked = false;  ///< what lies above the bits that are left is dropped; else it gives the most
    int itsShiftDown = 8;      ///< 0 to 15
    std::uint16_t itsMost = 255; ///< all bits that are left, at most eight
    int itsShiftUp = 0;          ///< 0 to 7

    std::uint8_t operator()(std::uint16_t theWord) const
    {
        const int aWord = (itsIsSwapped ? __builtin_bswap16(theWord) : theWord) >> itsShiftDown;
        return static_cast<std::uint8_t>((itsIsMasked ? aWord & itsMost : std::min<int>(aWord, itsMost))
                                         << itsShiftUp);
    }
};

/// The inner loops of colour conversion, in the best vector form that the running processor has.
///
/// Every form gives the same bits as YBRFormula. Inputs and outputs never overlap and need no alignment;
/// nothing outside the stated counts is read or written. theBias is exclusive-ored onto every sample read
/// and every byte written: 0x80 turns signed samples into unsigned ones and back, 0 leaves unsigned ones
/// alone. Thread-safe.
class ColourKernels
{
public:
    ColourKernels() = delete;

    /// Y, Cb, Cr triplets to R, G, B triplets.
    static void ConvertYBRFull(const std::uint8_t* theInput, std::uint8_t* theOutput, std::size_t thePixels,
                               std::uint8_t theBias);

    /// Three planes of thePixels bytes each to R, G, B triplets.
    static void ConvertYBRFullPlanes(const std::uint8_t* theY, const std::uint8_t* theCb,
                                     const std::uint8_t* theCr, std::uint8_t* theOutput,
                                     std::size_t thePixels, std::uint8_t theBias);

    /// Groups of Y0, Y1, Cb, Cr to two R, G, B triplets each.
    static void ConvertYBRFull422(const std::uint8_t* theInput, std::uint8_t* theOutput,
                                  std::size_t theGroups, std::uint8_t theBias);

    /// thePixels pixels of 16-bit samples to the highest bytes of R, G, B triplets. theLayout: triplets
    /// (itsPixelStep is 3) or planes.
    static void ConvertYBRFullWords(const std::uint8_t* theInput, std::uint8_t* theOutput,
                                    std::size_t thePixels, const WordSamples& theLayout);

    /// Three planes of bytes to triplets.
    static void InterleavePlanes(const std::uint8_t* theFirst, const std::uint8_t* theSecond,
                                 const std::uint8_t* theThird, std::uint8_t* theOutput,
                                 std::size_t thePixels);

    /// theWords words to bytes.
    static void ReduceWords(const std::uint8_t* theInput, std::uint8_t* theOutput, std::size_t theWords,
                            const WordReduction& theReduction);
};
