// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "codecs/jpeg/detail/JPEGLosslessDifferences.h"

/// Turns the differences of lossless JPEG back into samples, a row at a time (T.81, H.1.2.1 and Table H.1).
///
/// A row is theWidth pixels of theComponents samples each, interleaved; each component is predicted from
/// itself. All arithmetic is modulo 65536. Stateless and thread-safe.
namespace JPEGLosslessPredictor
{
/// Adds the prediction of theSelection, 1 … 7, to theDifferences. theAbove is the row above; the two rows
/// must not overlap.
void UndoRow(int theSelection, const std::uint16_t* theDifferences, const std::uint16_t* theAbove,
             std::uint16_t* theRow, std::size_t theWidth, std::size_t theComponents);

/// The same for the first row of an image or restart interval, which is predicted from the left, its first
/// pixel from theInitial.
void UndoFirstRow(std::uint16_t theInitial, const std::uint16_t* theDifferences, std::uint16_t* theRow,
                  std::size_t theWidth, std::size_t theComponents);

/// The lower 8 bits of theCount samples that are shifted to the left by theShift, 0 … 15.
void StoreBytes(const std::uint16_t* theSamples, std::size_t theCount, int theShift, std::uint8_t* theBytes);
} // namespace JPEGLosslessPredictor

/// Decodes the entropy-coded data of one scan of a lossless JPEG image (T.81, Annex H) without subsampling.
///
/// Begins at the first byte behind the scan header and ends at the next marker that is not a restart marker.
/// Any bytes end in samples or in an exception of the source, and what damage makes of the samples is what
/// the IJG library makes of them. One object decodes one scan. Not thread-safe.
class JPEGLosslessScan
{
public:
    static constexpr std::size_t kMaxComponents = JPEGLosslessDifferences::kMaxComponents;

    /// The scan, and where its samples go.
    struct Parameters
    {
        std::size_t itsWidth = 0;       ///< pixels
        std::size_t itsHeight = 0;      ///< rows
        int itsPrecision = 0;           ///< bits of a sample, before the point transform
        int itsPredictor = 1;           ///< 1 … 7
        int itsPointTransform = 0;      ///< 0 … 15
        std::size_t itsRestartRows = 0; ///< rows in a restart interval; 0: no restart markers

        std::size_t itsComponents = 1;             ///< of the scan, 1 … 4
        JPEGLosslessDifferences::Tables itsTables; ///< of the components of the scan
        /// Its place in a pixel of the image.
        std::array<std::size_t, kMaxComponents> itsPlaces{};

        std::uint8_t* itsImage = nullptr;   ///< itsHeight rows without gaps
        std::size_t itsImageComponents = 1; ///< samples of a pixel
        std::size_t itsSampleBytes = 1;     ///< 1 or 2; a longer sample loses its upper bits
    };

    JPEGLosslessScan(Parameters theParameters, JPEGLosslessSource& theSource);

    /// Decodes the scan. Returns the whole bytes behind the last difference and before the next marker, as
    /// far as they were taken from the source.
    std::size_t Decode();

    /// After Decode: rows up to the last one that the data reached to the end of.
    std::size_t GetWholeRows() const { return itsWholeRows; }

private:
    bool IsInOrder() const;
    void DecodeRow(std::size_t theRow);
    template <typename Sample>
    void Deliver(const std::uint16_t* theSamples, std::size_t theRow) const;

    const Parameters itsParameters;
    JPEGLosslessDifferences itsDecoder;
    const std::size_t itsRowSamples; ///< of the scan
    const std::uint16_t itsInitial;  ///< the prediction of a first sample
    const bool itsInOrder;           ///< the samples of a pixel follow each other as in the image
    const bool itsInPlace;           ///< the rows of the image are the rows to predict from
    std::size_t itsWholeRows = 0;
    bool itsFirstRow = true; ///< the next row has none above it
    std::vector<std::uint16_t> itsDifferences;
    std::array<std::vector<std::uint16_t>, 2> itsRows; ///< samples, where the image cannot hold them
};
