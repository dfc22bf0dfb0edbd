// SPDX-License-Identifier: Apache-2.0
// OpenJPH doing the same work: the codestream out of memory, its lines of 32-bit integers made into pixels.

#include <algorithm>
#include <exception>

#include <openjph/ojph_arch.h>
#include <openjph/ojph_codestream.h>
#include <openjph/ojph_file.h>
#include <openjph/ojph_mem.h>
#include <openjph/ojph_params.h>

#include "jpeg2000/Jpeg2000Decoders.h"

namespace
{
/// The components have one size and no sign. Rounding may have left the samples' range.
template <typename Sample>
std::size_t PullLines(ojph::codestream& theStream, Bytes& theOutput)
{
    const ojph::param_siz aSize = theStream.access_siz();
    const ojph::ui32 aComponents = aSize.get_num_components();
    const std::size_t aWidth = aSize.get_recon_width(0);
    const std::size_t aHeight = aSize.get_recon_height(0);
    const ojph::si32 aMost = (1 << aSize.get_bit_depth(0)) - 1;
    auto* const anOutput = reinterpret_cast<Sample*>(theOutput.data());
    for (std::size_t i = 0; i < aHeight * aComponents; ++i)
    {
        ojph::ui32 aComponent = 0;
        const ojph::si32* const aLine = theStream.pull(aComponent)->i32;
        Sample* const aRow = anOutput + i / aComponents * aWidth * aComponents + aComponent;
        for (std::size_t x = 0; x < aWidth; ++x)
        {
            aRow[x * aComponents] = static_cast<Sample>(std::clamp(aLine[x], 0, aMost));
        }
    }
    return aWidth * aHeight * aComponents * sizeof(Sample);
}
} // namespace

std::size_t DecodeWithOpenJph(const Bytes& theStream, int theScale, Bytes& theOutput)
{
    try
    {
        ojph::mem_infile aFile;
        aFile.open(theStream.data(), theStream.size());
        ojph::codestream aStream;
        aStream.read_headers(&aFile);
        const auto aLevels = static_cast<ojph::ui32>(theScale - 1);
        aStream.restrict_input_resolution(aLevels, aLevels);
        aStream.set_planar(false);
        aStream.create();
        const std::size_t aSize = aStream.access_siz().get_bit_depth(0) > 8
                                      ? PullLines<std::uint16_t>(aStream, theOutput)
                                      : PullLines<std::uint8_t>(aStream, theOutput);
        aStream.close();
        return aSize;
    }
    catch (const std::exception&)
    {
        return 0;
    }
}
