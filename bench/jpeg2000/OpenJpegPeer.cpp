// SPDX-License-Identifier: Apache-2.0
// OpenJPEG doing the same work: the codestream out of memory, its planes of 32-bit integers made into pixels.

#include <algorithm>
#include <cstring>
#include <memory>

#include <openjpeg.h>

#include "jpeg2000/Jpeg2000Decoders.h"

namespace
{
struct MemoryFile
{
    const Bytes& itsBytes;
    std::size_t itsPosition = 0;
};

OPJ_SIZE_T Read(void* theBuffer, OPJ_SIZE_T theCount, void* theFile)
{
    auto& aFile = *static_cast<MemoryFile*>(theFile);
    const std::size_t aCount = std::min(theCount, aFile.itsBytes.size() - aFile.itsPosition);
    if (aCount == 0)
    {
        return static_cast<OPJ_SIZE_T>(-1);
    }
    std::memcpy(theBuffer, aFile.itsBytes.data() + aFile.itsPosition, aCount);
    aFile.itsPosition += aCount;
    return aCount;
}

OPJ_OFF_T Skip(OPJ_OFF_T theCount, void* theFile)
{
    auto& aFile = *static_cast<MemoryFile*>(theFile);
    const auto aCount =
        std::min(static_cast<std::size_t>(theCount), aFile.itsBytes.size() - aFile.itsPosition);
    aFile.itsPosition += aCount;
    return static_cast<OPJ_OFF_T>(aCount);
}

OPJ_BOOL Seek(OPJ_OFF_T thePosition, void* theFile)
{
    static_cast<MemoryFile*>(theFile)->itsPosition = static_cast<std::size_t>(thePosition);
    return OPJ_TRUE;
}

/// The planes have one size; the library has brought the samples into their range.
template <typename Sample>
std::size_t Interleave(const opj_image_t& theImage, Bytes& theOutput)
{
    const std::size_t aCount = std::size_t{theImage.comps[0].w} * theImage.comps[0].h;
    const std::size_t aComponents = theImage.numcomps;
    auto* const anOutput = reinterpret_cast<Sample*>(theOutput.data());
    if (aComponents == 1)
    {
        const OPJ_INT32* const aPlane = theImage.comps[0].data;
        for (std::size_t i = 0; i < aCount; ++i)
        {
            anOutput[i] = static_cast<Sample>(aPlane[i]);
        }
    }
    else
    {
        for (std::size_t i = 0; i < aCount; ++i)
        {
            anOutput[3 * i] = static_cast<Sample>(theImage.comps[0].data[i]);
            anOutput[3 * i + 1] = static_cast<Sample>(theImage.comps[1].data[i]);
            anOutput[3 * i + 2] = static_cast<Sample>(theImage.comps[2].data[i]);
        }
    }
    return aCount * aComponents * sizeof(Sample);
}
} // namespace

std::size_t DecodeWithOpenJpeg(const Bytes& theStream, int theScale, Bytes& theOutput)
{
    MemoryFile aFile{theStream};
    const std::unique_ptr<opj_stream_t, void (*)(opj_stream_t*)> aStream(
        opj_stream_create(OPJ_J2K_STREAM_CHUNK_SIZE, OPJ_TRUE), opj_stream_destroy);
    opj_stream_set_user_data(aStream.get(), &aFile, nullptr);
    opj_stream_set_user_data_length(aStream.get(), theStream.size());
    opj_stream_set_read_function(aStream.get(), Read);
    opj_stream_set_skip_function(aStream.get(), Skip);
    opj_stream_set_seek_function(aStream.get(), Seek);
    const std::unique_ptr<opj_codec_t, void (*)(opj_codec_t*)> aCodec(opj_create_decompress(OPJ_CODEC_J2K),
                                                                      opj_destroy_codec);
    const auto aParameters = std::make_unique<opj_dparameters_t>();
    opj_set_default_decoder_parameters(aParameters.get());
    aParameters->cp_reduce = static_cast<OPJ_UINT32>(theScale - 1);
    opj_setup_decoder(aCodec.get(), aParameters.get());
    opj_codec_set_threads(aCodec.get(), 0); // this thread; 1 would be one more
    opj_image_t* aRawImage = nullptr;
    const bool hasHeader = opj_read_header(aStream.get(), aCodec.get(), &aRawImage) != OPJ_FALSE;
    const std::unique_ptr<opj_image_t, void (*)(opj_image_t*)> anImage(aRawImage, opj_image_destroy);
    if (!hasHeader || opj_decode(aCodec.get(), aStream.get(), anImage.get()) == OPJ_FALSE)
    {
        return 0;
    }
    return anImage->comps[0].prec > 8 ? Interleave<std::uint16_t>(*anImage, theOutput)
                                      : Interleave<std::uint8_t>(*anImage, theOutput);
}
