// SPDX-License-Identifier: Apache-2.0
#include "WildBlocks.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <stdexcept>

#include <jpeglib.h>

namespace
{
/// The sample at a place of a block of dequantised coefficients, before it is limited.
double Transform(const std::array<double, 64>& theCoefficients, std::size_t thePlace)
{
    static const auto kBasis = []
    {
        std::array<double, 64> aTable{};
        for (std::size_t i = 0; i < 64; ++i)
        {
            const std::size_t aFrequency = i / 8;
            aTable[i] =
                (aFrequency == 0 ? std::sqrt(0.125) : 0.5) *
                std::cos(static_cast<double>((2 * (i % 8) + 1) * aFrequency) * std::acos(-1.0) / 16.0);
        }
        return aTable;
    }();
    double aSum = 0.0;
    for (std::size_t i = 0; i < 64; ++i)
    {
        aSum += theCoefficients[i] * kBasis[i % 8 * 8 + thePlace % 8] * kBasis[i / 8 * 8 + thePlace / 8];
    }
    return aSum;
}

bool IsWild(const JCOEF* theBlock, const JQUANT_TBL& theSteps)
{
    std::array<double, 64> aCoefficients{};
    bool isWild = false;
    for (std::size_t i = 0; i < 64; ++i)
    {
        aCoefficients[i] = static_cast<double>(theBlock[i]) * theSteps.quantval[i];
        isWild = isWild || std::abs(aCoefficients[i]) > 32767.0;
    }
    for (std::size_t i = 0; !isWild && i < 64; ++i)
    {
        // Samples are centred on zero here; the IJG library wraps around at 1024.
        isWild = std::abs(Transform(aCoefficients, i)) > 510.0;
    }
    return isWild;
}

/// The coefficients of an image, as libjpeg-turbo reads them.
class Coefficients
{
public:
    explicit Coefficients(const std::vector<std::uint8_t>& theJpeg)
    {
        itsInfo.err = jpeg_std_error(&itsErrorManager);
        itsErrorManager.error_exit = [](j_common_ptr) { throw std::logic_error("no image"); };
        itsErrorManager.emit_message = [](j_common_ptr, int) {};
        jpeg_create_decompress(&itsInfo);
        try
        {
            jpeg_mem_src(&itsInfo, theJpeg.data(), theJpeg.size());
            jpeg_read_header(&itsInfo, TRUE);
            itsPlanes = jpeg_read_coefficients(&itsInfo);
        }
        catch (const std::logic_error&)
        {
            itsInfo.num_components = 0;
        }
    }
    ~Coefficients() { jpeg_destroy_decompress(&itsInfo); }
    Coefficients(const Coefficients&) = delete;
    Coefficients& operator=(const Coefficients&) = delete;

    bool HasWildBlock()
    {
        for (int i = 0; i < itsInfo.num_components; ++i)
        {
            for (JDIMENSION y = 0; y < itsInfo.comp_info[i].height_in_blocks; ++y)
            {
                if (HasWildBlock(i, y))
                {
                    return true;
                }
            }
        }
        return false;
    }

private:
    bool HasWildBlock(int theComponent, JDIMENSION theRow)
    {
        const jpeg_component_info& aComponent = itsInfo.comp_info[theComponent];
        const JBLOCKROW aRow = itsInfo.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&itsInfo),
                                                               itsPlanes[theComponent], theRow, 1, FALSE)[0];
        return std::any_of(aRow, aRow + aComponent.width_in_blocks,
                           [&](const JBLOCK& theBlock) { return IsWild(theBlock, *aComponent.quant_table); });
    }

    jpeg_decompress_struct itsInfo{};
    jpeg_error_mgr itsErrorManager{};
    jvirt_barray_ptr* itsPlanes = nullptr;
};
} // namespace

bool HasWildBlock(const std::vector<std::uint8_t>& theJpeg)
{
    return Coefficients(theJpeg).HasWildBlock();
}
