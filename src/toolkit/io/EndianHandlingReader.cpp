// SPDX-License-Identifier: Apache-2.0
#include "toolkit/io/EndianHandlingReader.h"

#include <array>

EndianHandlingReader::EndianHandlingReader(InputStream& theStream, DLEndian::Endian theEndian)
    : itsStream(theStream), itsEndian(theEndian)
{
}

template <class Integer>
bool EndianHandlingReader::ReadInteger(Integer& theValue)
{
    std::array<unsigned char, sizeof(Integer)> aBytes;
    if (itsStream.ReadFully(aBytes.data(), aBytes.size()) != aBytes.size())
    {
        return false;
    }
    Integer aValue = 0;
    for (std::size_t aByteIndex = 0; aByteIndex < aBytes.size(); ++aByteIndex)
    {
        const std::size_t aSource =
            itsEndian == DLEndian::LITTLE_ENDIAN_ORDER ? aBytes.size() - 1 - aByteIndex : aByteIndex;
        aValue = static_cast<Integer>((static_cast<std::uint64_t>(aValue) << 8) | aBytes[aSource]);
    }
    theValue = aValue;
    return true;
}

bool EndianHandlingReader::Read(std::uint16_t& theValue)
{
    return ReadInteger(theValue);
}

bool EndianHandlingReader::Read(std::uint32_t& theValue)
{
    return ReadInteger(theValue);
}

bool EndianHandlingReader::Read(std::uint64_t& theValue)
{
    return ReadInteger(theValue);
}
