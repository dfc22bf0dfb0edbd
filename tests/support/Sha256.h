// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <openssl/sha.h>

/// The SHA-256 of some bytes, 64 lower-case hexadecimal digits.
inline std::string Sha256(const std::uint8_t* theBytes, std::size_t theCount)
{
    std::string aText;
    unsigned char aDigest[SHA256_DIGEST_LENGTH];
    SHA256(theBytes, theCount, aDigest);
    for (const unsigned char aByte : aDigest)
    {
        aText += "0123456789abcdef"[aByte >> 4];
        aText += "0123456789abcdef"[aByte & 15];
    }
    return aText;
}
