// SPDX-License-Identifier: Apache-2.0
#include "support/jpeg2000/OpenJph.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include <openjph/ojph_arch.h>
#include <openjph/ojph_codestream.h>
#include <openjph/ojph_file.h>
#include <openjph/ojph_mem.h>
#include <openjph/ojph_message.h>
#include <openjph/ojph_params.h>

namespace
{
template <class Pair, class Number>
Pair MakePair(Number theFirst, Number theSecond)
{
    return Pair(static_cast<ojph::ui32>(theFirst), static_cast<ojph::ui32>(theSecond));
}

void SetSize(ojph::param_siz theTarget, const PlanarImage& theImage, const OpenJpeg::Options& theOptions)
{
    theTarget.set_image_extent(MakePair<ojph::point>(theImage.itsX1, theImage.itsY1));
    theTarget.set_image_offset(MakePair<ojph::point>(theImage.itsX0, theImage.itsY0));
    if (theOptions.itsTileWidth > 0)
    {
        theTarget.set_tile_size(MakePair<ojph::size>(theOptions.itsTileWidth, theOptions.itsTileHeight));
        theTarget.set_tile_offset(MakePair<ojph::point>(theOptions.itsTileX, theOptions.itsTileY));
    }
    theTarget.set_num_components(static_cast<ojph::ui32>(theImage.itsComponents.size()));
    ojph::ui32 aNumber = 0;
    for (const PlanarComponent& aComponent : theImage.itsComponents)
    {
        theTarget.set_component(aNumber++, MakePair<ojph::point>(aComponent.itsXRsiz, aComponent.itsYRsiz),
                                static_cast<ojph::ui32>(aComponent.itsDepth), aComponent.itsSigned);
    }
}

void SetCoding(ojph::param_cod theTarget, const OpenJpeg::Options& theOptions)
{
    theTarget.set_num_decomposition(static_cast<ojph::ui32>(theOptions.itsResolutions - 1));
    theTarget.set_block_dims(static_cast<ojph::ui32>(theOptions.itsBlockWidth),
                             static_cast<ojph::ui32>(theOptions.itsBlockHeight));
    std::vector<ojph::size> aPrecincts; // from the lowest resolution up
    for (const auto& [aWidth, aHeight] : theOptions.itsPrecincts)
    {
        aPrecincts.insert(aPrecincts.begin(), MakePair<ojph::size>(aWidth, aHeight));
    }
    if (!aPrecincts.empty())
    {
        theTarget.set_precinct_size(static_cast<int>(aPrecincts.size()), aPrecincts.data());
    }
    theTarget.set_progression_order(theOptions.itsOrder.c_str());
    theTarget.set_color_transform(theOptions.itsComponentTransform);
    theTarget.set_reversible(!theOptions.itsIrreversible);
}

/// Line after line, as the encoder asks for components.
void WriteSamples(ojph::codestream& theTarget, const PlanarImage& theImage)
{
    std::vector<std::size_t> aNext(theImage.itsComponents.size());
    ojph::ui32 aNumber = 0;
    std::size_t aLines = 0;
    for (const PlanarComponent& aComponent : theImage.itsComponents)
    {
        aLines += aComponent.itsHeight;
    }
    ojph::line_buf* aLine = theTarget.exchange(nullptr, aNumber);
    for (std::size_t i = 0; i < aLines; ++i)
    {
        const PlanarComponent& aComponent = theImage.itsComponents.at(aNumber);
        if (aLine == nullptr || aNext.at(aNumber) == aComponent.itsHeight)
        {
            throw std::runtime_error("OpenJPH wants " + std::to_string(i) + " of " + std::to_string(aLines));
        }
        const auto aFirst = aComponent.itsSamples.begin() +
                            static_cast<std::ptrdiff_t>(aComponent.itsWidth * aNext.at(aNumber)++);
        std::copy_n(aFirst, aComponent.itsWidth, aLine->i32);
        aLine = theTarget.exchange(aLine, aNumber);
    }
}
} // namespace

namespace OpenJph
{
OpenJpeg::Bytes Encode(const PlanarImage& theImage, const OpenJpeg::Options& theOptions)
{
    static std::FILE* const aSink = std::fopen("/dev/null", "w");
    ojph::set_error_stream(aSink); // it is told twice, here and by the exception
    ojph::codestream aStream;
    SetSize(aStream.access_siz(), theImage, theOptions);
    SetCoding(aStream.access_cod(), theOptions);
    if (theOptions.itsIrreversible)
    {
        aStream.access_qcd().set_irrev_quant(theOptions.itsStep);
    }
    // Component after component only where it has to be.
    aStream.set_planar(!theOptions.itsComponentTransform);
    ojph::mem_outfile aFile;
    aFile.open();
    aStream.write_headers(&aFile);
    WriteSamples(aStream, theImage);
    aStream.flush();
    OpenJpeg::Bytes aBytes(aFile.get_data(), aFile.get_data() + aFile.tell());
    aStream.close();
    return aBytes;
}
} // namespace OpenJph
