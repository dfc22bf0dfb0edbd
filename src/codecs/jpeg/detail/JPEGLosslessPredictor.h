// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

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
} // namespace JPEGLosslessPredictor
