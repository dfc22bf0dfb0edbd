// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/MarkerReader.h"

#include <array>
#include <utility>

namespace j2k
{

namespace
{

constexpr std::array<std::pair<Marker, const char*>, 23> kNames{
    {{Marker::SOC, "SOC"}, {Marker::CAP, "CAP"}, {Marker::SIZ, "SIZ"}, {Marker::COD, "COD"},
     {Marker::COC, "COC"}, {Marker::TLM, "TLM"}, {Marker::PRF, "PRF"}, {Marker::PLM, "PLM"},
     {Marker::PLT, "PLT"}, {Marker::QCD, "QCD"}, {Marker::QCC, "QCC"}, {Marker::RGN, "RGN"},
     {Marker::POC, "POC"}, {Marker::PPM, "PPM"}, {Marker::PPT, "PPT"}, {Marker::CRG, "CRG"},
     {Marker::COM, "COM"}, {Marker::SOT, "SOT"}, {Marker::SOP, "SOP"}, {Marker::EPH, "EPH"},
     {Marker::SOD, "SOD"}, {Marker::EOC, "EOC"}, {Marker::CPF, "CPF"}}};

const char* FindName(Marker theMarker)
{
    for (const auto& [aMarker, aName] : kNames)
    {
        if (aMarker == theMarker)
        {
            return aName;
        }
    }
    return nullptr;
}

} // namespace

bool IsKnownMarker(Marker theMarker)
{
    return FindName(theMarker) != nullptr;
}

std::string GetMarkerName(Marker theMarker)
{
    if (const char* aName = FindName(theMarker))
    {
        return aName;
    }
    constexpr const char* kDigits = "0123456789ABCDEF";
    std::string aResult = "Marker 0x";
    for (int aShift = 12; aShift >= 0; aShift -= 4)
    {
        aResult += kDigits[(static_cast<unsigned int>(theMarker) >> aShift) & 15];
    }
    return aResult;
}

bool IsBareMarker(Marker theMarker)
{
    return (static_cast<unsigned int>(theMarker) & 0xFFF0) == 0xFF30;
}

bool IsSegmentMarker(Marker theMarker)
{
    switch (theMarker)
    {
    case Marker::SOC:
    case Marker::SOT:
    case Marker::SOP:
    case Marker::EPH:
    case Marker::SOD:
    case Marker::EOC:
        return false;
    default:
        break;
    }
    const auto aCode = static_cast<unsigned int>(theMarker);
    return aCode > 0xFF00 && aCode < 0xFFFF && !IsBareMarker(theMarker);
}

const char* GetUnsupportedStandard(Marker theMarker)
{
    switch (static_cast<unsigned int>(theMarker))
    {
    case 0xFF65:
        return "ISO/IEC 15444-8 (secured codestreams)";
    case 0xFF5A: // QPD, QPC
    case 0xFF5B:
    case 0xFF70: // DCO, VMS, DFS, ADS, MCT, MCC, NLT, MCO, CBD, ATK
    case 0xFF71:
    case 0xFF72:
    case 0xFF73:
    case 0xFF74:
    case 0xFF75:
    case 0xFF76:
    case 0xFF77:
    case 0xFF78:
    case 0xFF79:
        return "ISO/IEC 15444-2 (extensions)";
    default:
        return nullptr;
    }
}

namespace
{
constexpr std::size_t kMarkerBytes = 2;
constexpr std::size_t kLengthBytes = 2;

unsigned int GetWord(std::span<const std::uint8_t> theBytes)
{
    return (static_cast<unsigned int>(theBytes[0]) << 8) | theBytes[1];
}

} // namespace

bool MarkerReader::ReadMarker(Marker& theMarker)
{
    if (!itsBytes.Fetch(kMarkerBytes))
    {
        return false;
    }
    theMarker = static_cast<Marker>(GetWord(itsBytes.GetAvailable()));
    itsBytes.Skip(kMarkerBytes);
    return true;
}

bool MarkerReader::ReadSegment(Marker theMarker, MarkerSegment& theSegment)
{
    theSegment.itsMarker = theMarker;
    theSegment.itsOffset = itsBytes.GetOffset() - kMarkerBytes;
    if (!itsBytes.Fetch(kLengthBytes))
    {
        return false;
    }
    const std::size_t aLength = GetWord(itsBytes.GetAvailable());
    if (aLength < kLengthBytes)
    {
        itsReports.Error(GetMarkerName(theMarker) + ": the length is below 2", theSegment.itsOffset);
    }
    itsBytes.Skip(kLengthBytes);
    const std::size_t aBodyLength = aLength - kLengthBytes;
    // Another marker follows every segment, at least EOC: it is fetched together with the body.
    itsBytes.Fetch(aBodyLength + kMarkerBytes);
    if (itsBytes.GetAvailable().size() < aBodyLength)
    {
        return false;
    }
    theSegment.itsBody = itsBytes.GetAvailable().first(aBodyLength);
    itsBytes.Skip(aBodyLength);
    return true;
}

std::uint32_t SegmentCursor::Take(std::size_t theBytes)
{
    if (itsRest.size() < theBytes)
    {
        Error("the marker segment is too short");
    }
    std::uint32_t aResult = 0;
    for (const std::uint8_t aByte : itsRest.first(theBytes))
    {
        aResult = (aResult << 8) | aByte;
    }
    itsRest = itsRest.subspan(theBytes);
    return aResult;
}

void SegmentCursor::Error(const std::string& theText) const
{
    itsReports.Error(GetMarkerName(itsSegment.itsMarker) + ": " + theText, itsSegment.itsOffset);
}

void SegmentCursor::NonConformance(const std::string& theText) const
{
    itsReports.NonConformance(GetMarkerName(itsSegment.itsMarker) + ": " + theText, itsSegment.itsOffset);
}

void SegmentCursor::ExpectEnd() const
{
    if (!itsRest.empty())
    {
        NonConformance("the marker segment is longer than its contents");
    }
}

} // namespace j2k
