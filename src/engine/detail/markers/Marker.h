// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>

namespace j2k
{

/// Marker codes (T.800 table A.2), and CAP, which announces ISO/IEC 15444-15.
enum class Marker : std::uint16_t
{
    SOC = 0xFF4F,
    CAP = 0xFF50,
    SIZ = 0xFF51,
    COD = 0xFF52,
    COC = 0xFF53,
    TLM = 0xFF55,
    PRF = 0xFF56,
    PLM = 0xFF57,
    PLT = 0xFF58,
    QCD = 0xFF5C,
    QCC = 0xFF5D,
    RGN = 0xFF5E,
    POC = 0xFF5F,
    PPM = 0xFF60,
    PPT = 0xFF61,
    CRG = 0xFF63,
    COM = 0xFF64,
    SOT = 0xFF90,
    SOP = 0xFF91,
    EPH = 0xFF92,
    SOD = 0xFF93,
    EOC = 0xFFD9
};

/// Whether the code is one of those above.
bool IsKnownMarker(Marker theMarker);

/// "COD", or "Marker 0xFF6A" for one that is not known.
std::string GetMarkerName(Marker theMarker);

/// Whether the code lies in the range 0xFF30 to 0xFF3F: markers that stand alone and are skipped.
bool IsBareMarker(Marker theMarker);

/// Whether a header may hold the marker with a length and contents behind it. False for delimiters and for
/// codes that are no markers.
bool IsSegmentMarker(Marker theMarker);

/// The standard whose decoding the marker announces where this engine does not decode it, otherwise null.
const char* GetUnsupportedStandard(Marker theMarker);

} // namespace j2k
