// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>

#include "decompressors/detail/TotalPixelMatrix.h"
#include "toolkit/base/PixelRegion.h"
#include "toolkit/base/System.h"

class Part10FrameLoader;
class Part10FrontEnd;
class Renderable;

/// Puts a region of a whole-slide image together from the frames that show it, of each of which no more is
/// decoded than the region's part.
///
/// The region of the front end's request counts in the total pixel matrix, and its frame names focal plane
/// and optical path. Images are halved only as often as keeps tiles on whole pixels. Front end and loader are
/// borrowed. Serves one request, once.
class SlideDecode
{
public:
    SlideDecode(Part10FrontEnd& theFrontEnd, Part10FrameLoader& theLoader, TotalPixelMatrix theMatrix);
    ~SlideDecode();

    /// The image, and its size in the data set. Throws StreamIOException: code 6 for a region that is not
    /// inside the matrix, code 62 for tiles that differ; what the loader throws passes through.
    std::unique_ptr<Renderable> Run();

private:
    bool CanReduce() const;
    void Place(const TotalPixelMatrix::Tile& theTile);
    std::unique_ptr<Renderable> Load(int theFrame, const PixelRegion& theRegion);
    void Begin(const Renderable& theTile);
    void CheckLike(const Renderable& theTile, int theFrame);
    void Copy(const Renderable& theTile, std::uint64_t theX, std::uint64_t theY);
    void WarnOfAbsent(std::uint64_t thePixels);

    Part10FrontEnd& itsFrontEnd;
    Part10FrameLoader& itsLoader;
    const TotalPixelMatrix itsMatrix;
    const PixelRegion itsRegion; ///< at full size
    const int itsFrame;
    int itsLevels = 0;     ///< how often the tiles are halved
    PixelRegion itsTarget; ///< the region in the halved matrix, once the image is there
    std::unique_ptr<Renderable> itsImage;
    DMTickCounter itsTimer;
};
