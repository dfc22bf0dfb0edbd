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
ojph::point MakePoint(std::uint32_t theX, std::uint32_t theY)
{
    ojph::point aPoint;
    aPoint.x = theX;
    aPoint.y = theY;
    return aPoint;
}

void SetSize(ojph::param_siz theTarget, const PlanarImage& theImage, const OpenJpeg::Options& theOptions)
{
    theTarget.set_image_extent(MakePoint(theImage.itsX1, theImage.itsY1));
    theTarget.set_image_offset(MakePoint(theImage.itsX0, theImage.itsY0));
    if (theOptions.itsTileWidth > 0)
    {
        theTarget.set_tile_size(ojph::size(static_cast<ojph::ui32>(theOptions.itsTileWidth),
                                           static_cast<ojph::ui32>(theOptions.itsTileHeight)));
        theTarget.set_tile_offset(MakePoint(static_cast<ojph::ui32>(theOptions.itsTileX),
                                            static_cast<ojph::ui32>(theOptions.itsTileY)));
    }
    theTarget.set_num_components(static_cast<ojph::ui32>(theImage.itsComponents.size()));
    ojph::ui32 aNumber = 0;
    for (const PlanarComponent& aComponent : theImage.itsComponents)
    {
        theTarget.set_component(aNumber++, MakePoint(aComponent.itsXRsiz, aComponent.itsYRsiz),
                                static_cast<ojph::ui32>(aComponent.itsDepth), aComponent.itsSigned);
    }
}

void SetCoding(ojph::param_cod theTarget, const OpenJpeg::Options& theOptions)
{
    theTarget.set_num_decomposition(static_cast<ojph::ui32>(theOptions.itsResolutions - 1));
    theTarget.set_block_dims(static_cast<ojph::ui32>(theOptions.itsBlockWidth),
                             static_cast<ojph::ui32>(theOptions.itsBlockHeight));
    std::vector<ojph::size> aPrecincts;
    for (const auto& [aWidth, aHeight] : theOptions.itsPrecincts)
    {
        aPrecincts.emplace_back(static_cast<ojph::ui32>(aWidth), static_cast<ojph::ui32>(aHeight));
    }
    std::reverse(aPrecincts.begin(), aPrecincts.end()); // from the lowest resolution up
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
