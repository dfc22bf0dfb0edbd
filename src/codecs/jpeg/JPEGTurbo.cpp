// SPDX-License-Identifier: Apache-2.0
#include "codecs/jpeg/detail/JPEGTurbo.h"

// The library's header stands in a namespace of this file's own, apart from the IJG builds' types of the
// same names. What it includes itself comes first, outside of it.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <span>
#include <vector>

#include "codecs/jpeg/detail/JPEGScanBudget.h"
#include "codecs/jpeg/detail/JPEGTurboColour.h"

namespace quorix_turbo
{
extern "C"
{
#include <jpeglib.h>

#include <jerror.h>
}

static_assert(BITS_IN_JSAMPLE == 8, "another build than expected");
static_assert(JCS_YCbCr == static_cast<int>(JPEGColorSpace::YCBCR), "other colour spaces than expected");

/// Thrown through the C library, whose every function has unwind tables, when the image is not for us.
struct GivesUp
{
};

/// One image. The C library calls back through plain pointers; its client data is this object.
class Decompression
{
public:
    Decompression(JPEGLibrary::Client& theClient, int thePrecision);
    Decompression(const Decompression&) = delete;
    Decompression& operator=(const Decompression&) = delete;

    void Run(const JPEGFrameHeader& theHeader, std::uint8_t* theBuffer, std::uint32_t theRows);

private:
    /// The library object; destroyed even when its creation fails half-way.
    struct Decompressor
    {
        jpeg_decompress_struct itsInfo{};
        ~Decompressor() { jpeg_destroy_decompress(&itsInfo); }
    };

    static Decompression& OwnerOf(void* theClientData) { return *static_cast<Decompression*>(theClientData); }
    [[noreturn]] static void GiveUp(j_common_ptr) { throw GivesUp(); }
    static void OnMessage(j_common_ptr theInfo, int theLevel);
    static void WatchProgress(j_common_ptr theInfo);
    static void Ignore(j_decompress_ptr) {}
    static boolean FillInputBuffer(j_decompress_ptr theInfo);
    void ReadFill();
    static void SkipInputData(j_decompress_ptr theInfo, long theCount);

    bool IsAsTheHeaderSays(const JPEGFrameHeader& theHeader) const;
    bool AreTablesDefined() const;
    bool IsComplete() const;
    bool AreStepsUsual() const;
    void ReadShallow(const JPEGFrameHeader& theHeader, std::uint8_t* theBuffer, std::uint32_t theRows);
    void ReadDeep(const JPEGFrameHeader& theHeader, std::uint16_t* theBuffer, std::uint32_t theRows);
    const JBLOCK* GetBlocks(jvirt_barray_ptr thePlane, std::size_t theRow);
    void TransformRow(const JBLOCK* theBlocks, std::size_t theRow, std::uint16_t* theBuffer) const;
    JPEGTurboColour::Plane MakePlane(const jpeg_component_info& theComponent, jvirt_barray_ptr thePlane);

    JPEGLibrary::Client& itsClient;
    const int itsPrecision;
    Decompressor itsDecompressor;
    jpeg_decompress_struct& itsInfo = itsDecompressor.itsInfo;
    jpeg_error_mgr itsErrorManager{};
    jpeg_progress_mgr itsProgress{};
    jpeg_source_mgr itsSource{};
    JPEGScanBudget itsScanBudget;
    std::span<const std::uint8_t> itsFill; ///< of the latest fill, what the library has yet to get
};

Decompression::Decompression(JPEGLibrary::Client& theClient, int thePrecision)
    : itsClient(theClient), itsPrecision(thePrecision)
{
    itsInfo.err = jpeg_std_error(&itsErrorManager);
    itsErrorManager.error_exit = &GiveUp;
    itsErrorManager.emit_message = &OnMessage;
    jpeg_create_decompress(&itsInfo);
    itsInfo.client_data = this;
    itsProgress.progress_monitor = &WatchProgress;
    itsInfo.progress = &itsProgress;
    itsSource.init_source = &Ignore;
    itsSource.fill_input_buffer = &FillInputBuffer;
    itsSource.skip_input_data = &SkipInputData;
    itsSource.resync_to_restart = &jpeg_resync_to_restart;
    itsSource.term_source = &Ignore;
    itsInfo.src = &itsSource;
}

/// A negative level is a warning: the data are damaged, and what comes out of damaged data is for the IJG
/// library to say. The message about the frame header comes before its precision is looked at. The library
/// refuses all but 8 bits, but nothing up to the coefficients depends on it.
void Decompression::OnMessage(j_common_ptr theInfo, int theLevel)
{
    if (theLevel < 0)
    {
        GiveUp(theInfo);
    }
    if (theInfo->err->msg_code == JTRC_SOF)
    {
        int& aPrecision = reinterpret_cast<j_decompress_ptr>(theInfo)->data_precision;
        if (aPrecision != OwnerOf(theInfo->client_data).itsPrecision)
        {
            GiveUp(theInfo);
        }
        aPrecision = BITS_IN_JSAMPLE;
    }
}

/// More scans than are usual. Where they really become too many is the IJG library's matter, which begins
/// anew: what was spent here must not double the price of an image.
void Decompression::WatchProgress(j_common_ptr theInfo)
{
    constexpr std::uint64_t kShare = 4;
    const auto* const anInfo = reinterpret_cast<j_decompress_ptr>(theInfo);
    const std::uint64_t aBlocks = std::uint64_t{anInfo->MCUs_per_row} * anInfo->MCU_rows_in_scan *
                                  static_cast<std::uint64_t>(anInfo->blocks_in_MCU);
    if (!OwnerOf(theInfo->client_data).itsScanBudget.Allows(anInfo->input_scan_number, aBlocks, kShare))
    {
        GiveUp(theInfo);
    }
}

/// With no more bytes than this at hand, the library decodes a block by the loop that warns of a code that
/// no table has. Its other loop, a twentieth of an image's time quicker, takes such a code for a zero without
/// a word, which is let pass in images of 8 bits alone.
boolean Decompression::FillInputBuffer(j_decompress_ptr theInfo)
{
    constexpr std::size_t kFewBytes = std::size_t{8} * DCTSIZE2 - 1;
    Decompression& anOwner = OwnerOf(theInfo->client_data);
    if (anOwner.itsFill.empty())
    {
        anOwner.ReadFill();
    }
    const std::size_t aMost = anOwner.itsPrecision == BITS_IN_JSAMPLE ? anOwner.itsFill.size() : kFewBytes;
    const auto aPiece = anOwner.itsFill.first(std::min(anOwner.itsFill.size(), aMost));
    anOwner.itsFill = anOwner.itsFill.subspan(aPiece.size());
    theInfo->src->next_input_byte = aPiece.data();
    theInfo->src->bytes_in_buffer = aPiece.size();
    return TRUE;
}

void Decompression::ReadFill()
{
    const std::uint8_t* aData = nullptr;
    const int aCount = itsClient.FillInput(aData);
    if (aCount <= 0 || aCount > JPEGLibrary::kInputCapacity || aData == nullptr)
    {
        throw GivesUp();
    }
    itsFill = {aData, static_cast<std::size_t>(aCount)};
    itsScanBudget.AddBytes(aCount);
    itsClient.InputAccepted(aCount);
}

void Decompression::SkipInputData(j_decompress_ptr theInfo, long theCount)
{
    jpeg_source_mgr& aSource = *theInfo->src;
    auto aRest = static_cast<std::size_t>(std::max(theCount, 0L));
    while (aRest > aSource.bytes_in_buffer)
    {
        aRest -= aSource.bytes_in_buffer;
        FillInputBuffer(theInfo);
    }
    aSource.next_input_byte += aRest;
    aSource.bytes_in_buffer -= aRest;
}

bool Decompression::IsAsTheHeaderSays(const JPEGFrameHeader& theHeader) const
{
    bool isSame = itsInfo.image_width == theHeader.itsWidth && itsInfo.image_height == theHeader.itsHeight &&
                  itsInfo.num_components == theHeader.itsComponents &&
                  (itsInfo.progressive_mode != 0) == (theHeader.itsProcess == JPEGProcess::PROGRESSIVE);
    for (int i = 0; isSame && i < itsInfo.num_components; ++i)
    {
        const auto anIndex = static_cast<std::size_t>(i);
        isSame = itsInfo.comp_info[i].h_samp_factor == theHeader.itsHSampling.at(anIndex) &&
                 itsInfo.comp_info[i].v_samp_factor == theHeader.itsVSampling.at(anIndex);
    }
    return isSame;
}

/// The first two Huffman tables of each kind, where a sequential image defines none, are an error to the IJG
/// library and the standard's examples to this one.
bool Decompression::AreTablesDefined() const
{
    const auto& aDC = itsInfo.dc_huff_tbl_ptrs;
    const auto& anAC = itsInfo.ac_huff_tbl_ptrs;
    bool isDefined = itsInfo.comps_in_scan == itsInfo.num_components ||
                     (aDC[0] != nullptr && aDC[1] != nullptr && anAC[0] != nullptr && anAC[1] != nullptr);
    for (int i = 0; isDefined && i < itsInfo.comps_in_scan; ++i)
    {
        const int aDCTable = itsInfo.cur_comp_info[i]->dc_tbl_no;
        const int anACTable = itsInfo.cur_comp_info[i]->ac_tbl_no;
        isDefined = aDCTable >= 0 && aDCTable < NUM_HUFF_TBLS && aDC[aDCTable] != nullptr && anACTable >= 0 &&
                    anACTable < NUM_HUFF_TBLS && anAC[anACTable] != nullptr;
    }
    return isDefined || itsInfo.progressive_mode != 0;
}

/// A progressive image of which bits are missing is smoothed, by each library in its own way.
bool Decompression::IsComplete() const
{
    if (itsInfo.coef_bits == nullptr)
    {
        return true;
    }
    const int* const aBegin = itsInfo.coef_bits[0];
    return std::all_of(aBegin, aBegin + itsInfo.num_components * DCTSIZE2,
                       [](int theMissingBits) { return theMissingBits == 0; });
}

/// Samples that leave the range by more than 384 wrap around in the IJG library and are limited in vector
/// code. Rounding moves a sample by the root mean square of the quantisation steps times 0.29 on average,
/// so steps of up to 128 keep ten such deviations away from it; they mean a quality of about 25.
bool Decompression::AreStepsUsual() const
{
    return std::all_of(itsInfo.comp_info, itsInfo.comp_info + itsInfo.num_components,
                       [](const jpeg_component_info& theComponent)
                       {
                           constexpr std::uint64_t kMost = std::uint64_t{DCTSIZE2} * 128 * 128;
                           const JQUANT_TBL* const aTable = theComponent.quant_table;
                           std::uint64_t aSum = 0;
                           for (int i = 0; aTable != nullptr && i < DCTSIZE2; ++i)
                           {
                               aSum += std::uint64_t{aTable->quantval[i]} * aTable->quantval[i];
                           }
                           return aSum != 0 && aSum <= kMost;
                       });
}

void Decompression::Run(const JPEGFrameHeader& theHeader, std::uint8_t* theBuffer, std::uint32_t theRows)
{
    jpeg_read_header(&itsInfo, TRUE);
    if (!IsAsTheHeaderSays(theHeader) || !AreTablesDefined())
    {
        throw GivesUp();
    }
    if (itsPrecision == BITS_IN_JSAMPLE)
    {
        ReadShallow(theHeader, theBuffer, theRows);
    }
    else
    {
        ReadDeep(theHeader, reinterpret_cast<std::uint16_t*>(theBuffer), theRows);
    }
    if (theRows == theHeader.itsHeight)
    {
        jpeg_finish_decompress(&itsInfo);
    }
    itsClient.CloseInput();
}

void Decompression::ReadShallow(const JPEGFrameHeader& theHeader, std::uint8_t* theBuffer,
                                std::uint32_t theRows)
{
    itsInfo.jpeg_color_space = static_cast<J_COLOR_SPACE>(theHeader.itsColorSpace);
    itsInfo.out_color_space = static_cast<J_COLOR_SPACE>(theHeader.itsOutputColorSpace);
    // All scans of an image of several are read in here.
    jpeg_start_decompress(&itsInfo);
    if (!IsComplete() || !AreStepsUsual() || itsInfo.output_width != theHeader.itsWidth ||
        itsInfo.output_height != theHeader.itsHeight || itsInfo.output_components != theHeader.itsComponents)
    {
        throw GivesUp();
    }
    const std::size_t aRowBytes =
        std::size_t{itsInfo.output_width} * static_cast<std::size_t>(itsInfo.output_components);
    std::vector<JSAMPROW> aRows(static_cast<std::size_t>(itsInfo.rec_outbuf_height));
    while (itsInfo.output_scanline < theRows)
    {
        const std::size_t aRow = itsInfo.output_scanline;
        const std::size_t aBatch = std::min(aRows.size(), theRows - aRow);
        for (std::size_t k = 0; k < aBatch; ++k)
        {
            aRows[k] = theBuffer + aRowBytes * (aRow + k);
        }
        if (jpeg_read_scanlines(&itsInfo, aRows.data(), static_cast<JDIMENSION>(aBatch)) == 0)
        {
            throw GivesUp();
        }
    }
}

/// Grey straight into the buffer, colour by way of its planes.
void Decompression::ReadDeep(const JPEGFrameHeader& theHeader, std::uint16_t* theBuffer,
                             std::uint32_t theRows)
{
    const jvirt_barray_ptr* const aPlanes = jpeg_read_coefficients(&itsInfo);
    const bool hasSteps = std::all_of(itsInfo.comp_info, itsInfo.comp_info + itsInfo.num_components,
                                      [](const jpeg_component_info& theComponent)
                                      { return theComponent.quant_table != nullptr; });
    if (!IsComplete() || !hasSteps)
    {
        throw GivesUp();
    }
    if (itsInfo.num_components == 1)
    {
        for (std::size_t y = 0; y * DCTSIZE < theRows; ++y)
        {
            TransformRow(GetBlocks(aPlanes[0], y), y, theBuffer);
        }
        return;
    }
    JPEGTurboColour aColour({MakePlane(itsInfo.comp_info[0], aPlanes[0]),
                             MakePlane(itsInfo.comp_info[1], aPlanes[1]),
                             MakePlane(itsInfo.comp_info[2], aPlanes[2])},
                            theHeader.itsWidth, theHeader.itsColorSpace != theHeader.itsOutputColorSpace);
    for (std::size_t y = 0; y < theRows; ++y)
    {
        aColour.MakeRow(y, theBuffer + y * theHeader.itsWidth * 3);
    }
}

const JBLOCK* Decompression::GetBlocks(jvirt_barray_ptr thePlane, std::size_t theRow)
{
    return itsInfo.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&itsInfo), thePlane,
                                           static_cast<JDIMENSION>(theRow), 1, FALSE)[0];
}

JPEGTurboColour::Plane Decompression::MakePlane(const jpeg_component_info& theComponent,
                                                jvirt_barray_ptr thePlane)
{
    const std::size_t aBlocks = theComponent.width_in_blocks;
    const auto aTransform = [this, aBlocks, thePlane, aSteps = theComponent.quant_table->quantval](
                                std::size_t theRow, std::uint16_t* theOutput)
    { JPEGTurboTransform::Run(GetBlocks(thePlane, theRow)[0], aBlocks, aSteps, theOutput, aBlocks * 8); };
    return {aBlocks,
            theComponent.downsampled_width,
            theComponent.downsampled_height,
            theComponent.h_samp_factor < itsInfo.max_h_samp_factor,
            theComponent.v_samp_factor < itsInfo.max_v_samp_factor,
            aTransform};
}

void Decompression::TransformRow(const JBLOCK* theBlocks, std::size_t theRow, std::uint16_t* theBuffer) const
{
    const std::size_t aWidth = itsInfo.image_width;
    const std::size_t aHeight = std::min<std::size_t>(8, itsInfo.image_height - theRow * 8);
    const UINT16* const aSteps = itsInfo.comp_info[0].quant_table->quantval;
    std::uint16_t* const anOutput = theBuffer + theRow * 8 * aWidth;
    const std::size_t aWhole = aHeight == 8 ? aWidth / 8 : 0;
    JPEGTurboTransform::Run(theBlocks[0], aWhole, aSteps, anOutput, aWidth);
    // What hangs over the edges of the image.
    for (std::size_t x = aWhole * 8; x < aWidth; x += 8)
    {
        std::array<std::uint16_t, 64> aBlock;
        JPEGTurboTransform::Run(theBlocks[x / 8], 1, aSteps, aBlock.data(), 8);
        for (std::size_t y = 0; y < aHeight; ++y)
        {
            std::copy_n(aBlock.begin() + static_cast<std::ptrdiff_t>(y * 8),
                        std::min<std::size_t>(8, aWidth - x), anOutput + y * aWidth + x);
        }
    }
}

} // namespace quorix_turbo

bool JPEGTurbo::Decode(JPEGLibrary::Client& theClient, const JPEGFrameHeader& theHeader,
                       std::uint8_t* theBuffer, std::uint32_t theRows)
{
    try
    {
        quorix_turbo::Decompression(theClient, theHeader.itsPrecision).Run(theHeader, theBuffer, theRows);
        return true;
    }
    catch (const quorix_turbo::GivesUp&)
    {
        return false;
    }
}
