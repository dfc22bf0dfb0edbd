// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "toolkit/base/BaseTypes.h"

class DICOMDataObject;

/// One channel's Palette Color Lookup Table (PS3.3 C.7.6.3.1.5 and .6), expanded in memory.
///
/// Entries of 16 bits are given as they are. Entries of 8 bits packed in bytes are widened to 16 bits
/// (value × 257), so that their high byte is the value; entries of 8 bits held in 16-bit words are
/// given as they are and isBitsEncodedBitsDiffers says so. Whether 8-bit entries are packed is told by
/// the length of the data, because writers differ; so is whether a table is packed that says 16 bits.
/// Words of "8 bits" that use their high bytes only are taken as 16-bit entries. Immutable after Init,
/// and then safe to read from several threads.
class QUORIX_API ColorPalette
{
public:
    /// theChannel: 'R', 'G' or 'B'. The other arguments describe an empty table: number of entries,
    /// first mapped value, bits an entry.
    ColorPalette(char theChannel, int theNumberOfEntries, int theFirstMappedValue, int theBitsPerEntry);

    /// Reads the channel's descriptor and its data, plain or else segmented (PS3.3 C.7.9.2), from
    /// theDataSet. The palette is valid afterwards when both were there and made sense: 8 or 16 bits, and
    /// data for every entry that the descriptor declares (0 declares 65536). Data beyond the last entry is
    /// ignored. The first mapped value is signed when Pixel Representation is 1.
    void Init(const DICOMDataObject& theDataSet);

    /// Whether Init has found a palette that makes sense.
    bool IsValid() const { return itsValid; }

    /// Entries of 8 bits are held in 16-bit words.
    bool isBitsEncodedBitsDiffers() const { return itsBitsEncodedBitsDiffers; }

    /// The entry of a stored pixel value. Values below the first mapped one give the first entry, values
    /// past the end the last. 0 for a palette that is not valid.
    /// @{
    std::uint16_t MapUnsignedPixel(std::uint16_t thePixel) const { return Map(thePixel); }
    std::uint16_t MapSignedPixel(std::int16_t thePixel) const { return Map(thePixel); }
    /// @}

private:
    std::uint16_t Map(std::int32_t thePixel) const
    {
        if (itsEntries.empty())
        {
            return 0;
        }
        const std::int32_t aLast = static_cast<std::int32_t>(itsEntries.size()) - 1;
        return itsEntries[static_cast<std::size_t>(std::clamp(thePixel - itsFirstMappedValue, 0, aLast))];
    }

    bool ReadDescriptor(const DICOMDataObject& theDataSet, std::uint16_t theChannelIndex);
    bool TakeTable(const std::vector<std::uint8_t>& theData);
    void JudgeWords();

    char itsChannel;
    std::uint32_t itsNumberOfEntries;
    std::int32_t itsFirstMappedValue;
    int itsBitsPerEntry;
    bool itsBitsEncodedBitsDiffers = false;
    bool itsValid = false;
    std::vector<std::uint16_t> itsEntries; ///< empty unless valid
};
