// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/base/PixelRegion.h"

class DICOMDataObject;
struct Part10ImageAttributes;

/// How the frames of a whole-slide image lie in its total pixel matrix (PS3.3 C.7.6.17.3, C.8.12.14): side by
/// side in an order that is known (TILED_FULL), or where each of them says (TILED_SPARSE). Immutable.
class TotalPixelMatrix
{
public:
    /// What theDataSet, whose frames are as theImage says, tells of such a matrix; nothing where it does not.
    static std::optional<TotalPixelMatrix> Read(const DICOMDataObject& theDataSet,
                                                const Part10ImageAttributes& theImage);

    /// All of the matrix.
    PixelRegion GetArea() const { return {0, 0, itsColumns, itsRows}; }

    /// A frame, and what of the matrix it shows. At the edges that may be more than there is of it.
    struct Tile
    {
        int itsFrame = 0; ///< from 0
        PixelRegion itsArea;
    };

    /// Hands out the tiles that touch theRegion, which is inside the matrix, in ascending order of their
    /// frames: those of the focal plane and optical path (or segment) of theFrame. Of tiles at one place only
    /// the last.
    using Receiver = std::function<void(const Tile&)>;
    void ForEachTile(int theFrame, const PixelRegion& theRegion, const Receiver& theReceiver) const;

    /// How often, theMost times (0 to 62) at most, these tiles can be halved, each by itself, so that where
    /// two meet a pixel ends.
    int FindLevels(int theFrame, const PixelRegion& theRegion, int theMost) const;

private:
    /// Where a frame is that says so itself, and which of several it belongs to.
    struct Position
    {
        std::uint64_t itsX = 0;
        std::uint64_t itsY = 0;
        RWCString itsOpticalPath;
        RWCString itsSegment;
        double itsZ = 0.0;
        bool itsIsKnown = false;
    };

    void ReadPositions(const DICOMDataObject& theDataSet);
    void PassInOrder(int theFrame, const PixelRegion& theRegion, const Receiver& theReceiver) const;
    std::vector<Tile> FindByPosition(int theFrame, const PixelRegion& theRegion) const;

    std::uint64_t itsColumns = 0;
    std::uint64_t itsRows = 0;
    std::uint64_t itsTileColumns = 0;
    std::uint64_t itsTileRows = 0;
    std::uint64_t itsFrames = 0;
    std::uint64_t itsFirstFrame = 0; ///< in the order of all frames, of which other files may have some
    bool itsIsFull = false;
    std::vector<Position> itsPositions; ///< of the frames, where they are not in order
};
