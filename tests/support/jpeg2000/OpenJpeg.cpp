// SPDX-License-Identifier: Apache-2.0
#include "support/jpeg2000/OpenJpeg.h"

#include <algorithm>
#include <memory>
#include <stdexcept>

#include <openjpeg.h>

#include "support/TemporaryFile.h"

namespace
{
using OpenJpeg::Bytes;
using OpenJpeg::Options;

template <auto Free>
struct Deleter
{
    void operator()(auto* theObject) const { Free(theObject); }
};
using Codec = std::unique_ptr<opj_codec_t, Deleter<opj_destroy_codec>>;
using Stream = std::unique_ptr<opj_stream_t, Deleter<opj_stream_destroy>>;
using Image = std::unique_ptr<opj_image_t, Deleter<opj_image_destroy>>;

void KeepText(const char* theText, void* theCollected)
{
    static_cast<std::string*>(theCollected)->append(theText);
}

OPJ_PROG_ORDER ToOrder(const std::string& theName)
{
    const std::vector<std::string> aNames{"LRCP", "RLCP", "RPCL", "PCRL", "CPRL"};
    const auto aPlace = std::find(aNames.begin(), aNames.end(), theName);
    return aPlace == aNames.end() ? OPJ_PROG_UNKNOWN : static_cast<OPJ_PROG_ORDER>(aPlace - aNames.begin());
}

Image MakeImage(const PlanarImage& theImage)
{
    std::vector<opj_image_cmptparm_t> aParameters;
    for (const PlanarComponent& aComponent : theImage.itsComponents)
    {
        opj_image_cmptparm_t aParameter{};
        aParameter.dx = aComponent.itsXRsiz;
        aParameter.dy = aComponent.itsYRsiz;
        aParameter.w = aComponent.itsWidth;
        aParameter.h = aComponent.itsHeight;
        aParameter.x0 = theImage.itsX0;
        aParameter.y0 = theImage.itsY0;
        aParameter.prec = static_cast<OPJ_UINT32>(aComponent.itsDepth);
        aParameter.sgnd = aComponent.itsSigned ? 1 : 0;
        aParameters.push_back(aParameter);
    }
    const bool isColour = theImage.itsComponents.size() == 3;
    Image anImage(opj_image_create(static_cast<OPJ_UINT32>(aParameters.size()), aParameters.data(),
                                   isColour ? OPJ_CLRSPC_SRGB : OPJ_CLRSPC_GRAY));
    if (!anImage)
    {
        throw std::runtime_error("OpenJPEG makes no image of that kind");
    }
    anImage->x0 = theImage.itsX0;
    anImage->y0 = theImage.itsY0;
    anImage->x1 = theImage.itsX1;
    anImage->y1 = theImage.itsY1;
    for (std::size_t i = 0; i < theImage.itsComponents.size(); ++i)
    {
        const auto& aSamples = theImage.itsComponents[i].itsSamples;
        std::copy(aSamples.begin(), aSamples.end(), anImage->comps[i].data);
    }
    return anImage;
}

/// As many tiles as there is room for have the progressions; a change of a tile that there is not is ignored.
void SetProgressions(const Options& theOptions, opj_cparameters_t& theParameters)
{
    theParameters.prog_order = ToOrder(theOptions.itsOrder);
    const std::size_t aCount = theOptions.itsProgressionChanges.size();
    for (std::size_t i = 0; aCount > 0 && i < std::size(theParameters.POC) / aCount * aCount; ++i)
    {
        const OpenJpeg::ProgressionChange& aChange = theOptions.itsProgressionChanges[i % aCount];
        opj_poc_t& aPoc = theParameters.POC[theParameters.numpocs++];
        aPoc.tile = static_cast<OPJ_UINT32>(1 + i / aCount);
        aPoc.resno0 = aChange.itsFirstResolution;
        aPoc.compno0 = aChange.itsFirstComponent;
        aPoc.layno1 = aChange.itsEndLayer;
        aPoc.resno1 = aChange.itsEndResolution;
        aPoc.compno1 = aChange.itsEndComponent;
        aPoc.prg1 = ToOrder(aChange.itsOrder);
    }
}

void SetStructure(const Options& theOptions, opj_cparameters_t& theParameters)
{
    theParameters.tile_size_on = theOptions.itsTileWidth > 0 ? OPJ_TRUE : OPJ_FALSE;
    theParameters.cp_tdx = theOptions.itsTileWidth;
    theParameters.cp_tdy = theOptions.itsTileHeight;
    theParameters.cp_tx0 = theOptions.itsTileX;
    theParameters.cp_ty0 = theOptions.itsTileY;
    theParameters.csty = (theOptions.itsSOP ? 2 : 0) + (theOptions.itsEPH ? 4 : 0);
    if (!theOptions.itsPrecincts.empty())
    {
        theParameters.csty |= 1;
        theParameters.res_spec = static_cast<int>(theOptions.itsPrecincts.size());
        for (std::size_t i = 0; i < theOptions.itsPrecincts.size(); ++i)
        {
            theParameters.prcw_init[i] = theOptions.itsPrecincts[i].first;
            theParameters.prch_init[i] = theOptions.itsPrecincts[i].second;
        }
    }
}

void SetParameters(const PlanarImage& theImage, const Options& theOptions, opj_cparameters_t& theParameters)
{
    opj_set_default_encoder_parameters(&theParameters);
    SetStructure(theOptions, theParameters);
    SetProgressions(theOptions, theParameters);
    theParameters.image_offset_x0 = static_cast<int>(theImage.itsX0);
    theParameters.image_offset_y0 = static_cast<int>(theImage.itsY0);
    theParameters.numresolution = theOptions.itsResolutions;
    theParameters.cblockw_init = theOptions.itsBlockWidth;
    theParameters.cblockh_init = theOptions.itsBlockHeight;
    theParameters.mode = theOptions.itsBlockStyle;
    theParameters.irreversible = theOptions.itsIrreversible ? 1 : 0;
    theParameters.tcp_mct = theOptions.itsComponentTransform ? 1 : 0;
    theParameters.roi_compno = theOptions.itsRoiComponent;
    theParameters.roi_shift = theOptions.itsRoiShift;
    theParameters.cp_disto_alloc = 1;
    theParameters.tcp_numlayers = static_cast<int>(theOptions.itsRates.size());
    for (std::size_t i = 0; i < theOptions.itsRates.size(); ++i)
    {
        theParameters.tcp_rates[i] = theOptions.itsRates[i] <= 1 ? 0 : theOptions.itsRates[i];
    }
}

PlanarImage ToPlanar(const opj_image_t& theImage)
{
    PlanarImage aResult{theImage.x0, theImage.y0, theImage.x1, theImage.y1, {}};
    for (OPJ_UINT32 i = 0; i < theImage.numcomps; ++i)
    {
        const opj_image_comp_t& aSource = theImage.comps[i];
        PlanarComponent aComponent{
            aSource.w,  aSource.h, static_cast<int>(aSource.prec), aSource.sgnd != 0, aSource.dx,
            aSource.dy, {}};
        if (aSource.data != nullptr)
        {
            aComponent.itsSamples.assign(aSource.data, aSource.data + std::size_t{aSource.w} * aSource.h);
        }
        aResult.itsComponents.push_back(std::move(aComponent));
    }
    return aResult;
}

std::uint32_t GetLength(std::uint32_t theStart, std::uint32_t theEnd, std::uint32_t theStep,
                        unsigned int theDiscardLevels)
{
    const auto aPlace = [=](std::uint64_t theBorder)
    {
        const std::uint64_t aSample = (theBorder + theStep - 1) / theStep;
        return (aSample + (std::uint64_t{1} << theDiscardLevels) - 1) >> theDiscardLevels;
    };
    return static_cast<std::uint32_t>(aPlace(theEnd) - aPlace(theStart));
}

void CutToExtent(PlanarImage& theImage, unsigned int theDiscardLevels)
{
    for (PlanarComponent& aComponent : theImage.itsComponents)
    {
        const std::uint32_t aWidth =
            GetLength(theImage.itsX0, theImage.itsX1, aComponent.itsXRsiz, theDiscardLevels);
        const std::uint32_t aHeight =
            GetLength(theImage.itsY0, theImage.itsY1, aComponent.itsYRsiz, theDiscardLevels);
        PlanarComponent aCut = aComponent;
        aCut.itsWidth = std::min(aWidth, aComponent.itsWidth);
        aCut.itsHeight = std::min(aHeight, aComponent.itsHeight);
        aCut.itsSamples.clear();
        for (std::uint32_t aRow = 0; aRow < aCut.itsHeight; ++aRow)
        {
            const auto aStart = aComponent.itsSamples.begin() +
                                static_cast<std::ptrdiff_t>(std::size_t{aRow} * aComponent.itsWidth);
            aCut.itsSamples.insert(aCut.itsSamples.end(), aStart, aStart + aCut.itsWidth);
        }
        aComponent = std::move(aCut);
    }
}
} // namespace

namespace OpenJpeg
{

Bytes Encode(const PlanarImage& theImage, const Options& theOptions)
{
    const auto aParameters = std::make_unique<opj_cparameters_t>();
    SetParameters(theImage, theOptions, *aParameters);
    const Image anImage = MakeImage(theImage);
    const TemporaryFile aFile;
    std::string aComplaint;
    const Codec aCodec(opj_create_compress(OPJ_CODEC_J2K));
    opj_set_error_handler(aCodec.get(), KeepText, &aComplaint);
    if (opj_setup_encoder(aCodec.get(), aParameters.get(), anImage.get()) == OPJ_FALSE)
    {
        throw std::runtime_error("OpenJPEG's encoder refuses: " + aComplaint);
    }
    const char* const anExtra[] = {theOptions.itsPLT ? "PLT=YES" : "PLT=NO",
                                   theOptions.itsTLM ? "TLM=YES" : "TLM=NO", nullptr};
    opj_encoder_set_extra_options(aCodec.get(), anExtra);
    Stream aStream(opj_stream_create_default_file_stream(aFile.GetName(), OPJ_FALSE));
    if (opj_start_compress(aCodec.get(), anImage.get(), aStream.get()) == OPJ_FALSE ||
        opj_encode(aCodec.get(), aStream.get()) == OPJ_FALSE ||
        opj_end_compress(aCodec.get(), aStream.get()) == OPJ_FALSE)
    {
        throw std::runtime_error("OpenJPEG's encoder fails: " + aComplaint);
    }
    aStream.reset();
    return aFile.GetContent();
}

std::optional<PlanarImage> Decode(const Bytes& theStream, const DecodeOptions& theOptions)
{
    const TemporaryFile aFile(theStream);
    const Stream aStream(opj_stream_create_default_file_stream(aFile.GetName(), OPJ_TRUE));
    const Codec aCodec(opj_create_decompress(OPJ_CODEC_J2K));
    const auto aParameters = std::make_unique<opj_dparameters_t>();
    opj_set_default_decoder_parameters(aParameters.get());
    aParameters->cp_reduce = theOptions.itsDiscardLevels;
    aParameters->cp_layer = theOptions.itsMaxLayers;
    if (opj_setup_decoder(aCodec.get(), aParameters.get()) == OPJ_FALSE)
    {
        return std::nullopt;
    }
    opj_image_t* aRawImage = nullptr;
    const bool hasHeader = opj_read_header(aStream.get(), aCodec.get(), &aRawImage) != OPJ_FALSE;
    const Image anImage(aRawImage);
    if (!hasHeader || opj_decode(aCodec.get(), aStream.get(), anImage.get()) == OPJ_FALSE ||
        opj_end_decompress(aCodec.get(), aStream.get()) == OPJ_FALSE)
    {
        return std::nullopt;
    }
    PlanarImage aResult = ToPlanar(*anImage);
    if (theOptions.itsDiscardLevels > 0)
    {
        CutToExtent(aResult, theOptions.itsDiscardLevels);
    }
    return aResult;
}
} // namespace OpenJpeg
