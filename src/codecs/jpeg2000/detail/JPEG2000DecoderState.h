// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <memory>
#include <vector>

#include "codecs/jpeg2000/JPEG2000Decoder.h"
#include "codecs/jpeg2000/detail/JPEG2000CodestreamSource.h"
#include "codecs/jpeg2000/detail/JPEG2000TileDecode.h"
#include "engine/kdu_codestream.h"
#include "jp2/JP2Colours.h"

/// What a codec and its copies share.
struct JPEG2000Decoder::State
{
    ~State() { Finish(); }

    void Finish()
    {
        if (itsCurrentlyOpenTile.exists())
        {
            itsCurrentlyOpenTile.close();
            itsCurrentlyOpenTile = kdu_tile();
        }
        itsCodestream.destroy();
        itsSource.reset();
    }

    std::unique_ptr<JPEG2000CodestreamSource> itsSource; ///< outlives the codestream
    kdu_codestream itsCodestream;
    kdu_tile itsCurrentlyOpenTile;
    kdu_dims itsValidTiles;
    kdu_dims itsDims;                   ///< of what is decoded,
    PixelRegion itsPart;                ///< and where that lies in the whole image
    std::vector<JP2Channel> itsColours; ///< of a JP2 file, where they are applied; else empty
    std::array<JPEG2000Channel, 3> itsChannels{};
    bool itsYCC = false;
    bool itsReversible = false;
    bool itsIsBeyondPalette = false; ///< samples that no entry belongs to were met
    bool itsIsMisdeclared = false;   ///< unsigned codes that are to be read as two's complement
    const char* itsPhase = "start";
};
