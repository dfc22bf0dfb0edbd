// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/markers/MainHeader.h"

#include "engine/detail/markers/CodingSegmentReader.h"
#include "engine/detail/markers/OptionalSegments.h"
#include "engine/detail/markers/SizReader.h"

namespace j2k
{

namespace
{

class MainHeaderReader
{
public:
    MainHeaderReader(MarkerReader& theReader, Reports& theReports)
        : itsReader(theReader), itsReports(theReports)
    {
    }

    MainHeader Read()
    {
        ExpectStart();
        CodingSegmentReader aCodingReader(itsHeader.itsImage.itsComponents.size(), itsReports);
        for (Marker aMarker = TakeMarker(); aMarker != Marker::SOT; aMarker = TakeMarker())
        {
            if (IsBareMarker(aMarker))
            {
                continue;
            }
            const MarkerSegment aSegment = TakeSegment(aMarker);
            if (CodingSegmentReader::IsCodingMarker(aMarker))
            {
                aCodingReader.Read(aSegment, itsHeader.itsCoding);
            }
            else if (aMarker == Marker::PPM)
            {
                itsPackedHeaders.Add(aSegment, itsReports);
            }
            else
            {
                CheckOptionalSegment(aSegment, HeaderKind::Main, itsHeader.itsImage.itsComponents.size(),
                                     itsReports);
            }
        }
        Finish();
        return std::move(itsHeader);
    }

private:
    std::uint64_t GetOffset() const { return itsReader.GetBytes().GetOffset(); }

    /// SOC and SIZ stand at the beginning, and nowhere else.
    void ExpectStart()
    {
        constexpr std::size_t kStartBytes = 6; // SOC, SIZ and its length
        itsReader.GetBytes().Fetch(kStartBytes);
        if (TakeMarker() != Marker::SOC)
        {
            itsReports.Error("SOC: the codestream does not begin with it", 0);
        }
        const Marker aMarker = TakeMarker();
        if (aMarker != Marker::SIZ)
        {
            itsReports.Error("SIZ: the marker does not follow SOC", GetOffset() - 2);
        }
        itsHeader.itsImage = ReadSiz(TakeSegment(aMarker), itsReports);
    }

    Marker TakeMarker()
    {
        Marker aMarker = Marker::EOC;
        if (!itsReader.ReadMarker(aMarker))
        {
            itsReports.Error("The codestream ends inside the main header", GetOffset());
        }
        return aMarker;
    }

    MarkerSegment TakeSegment(Marker theMarker)
    {
        const std::uint64_t anOffset = GetOffset() - 2;
        if (theMarker == Marker::EOC)
        {
            itsReports.Error("EOC: the codestream has no tile-part", anOffset);
        }
        if (!IsSegmentMarker(theMarker))
        {
            itsReports.Error(GetMarkerName(theMarker) + ": cannot stand in the main header", anOffset);
        }
        MarkerSegment aSegment;
        if (!itsReader.ReadSegment(theMarker, aSegment))
        {
            itsReports.Error(GetMarkerName(theMarker) + ": the codestream ends inside the marker segment",
                             anOffset);
        }
        return aSegment;
    }

    void Finish()
    {
        const std::uint64_t anOffset = GetOffset() - 2;
        if (!itsHeader.itsCoding.itsStyle)
        {
            itsReports.Error("COD: missing in the main header", anOffset);
        }
        if (!itsHeader.itsCoding.itsQuantization)
        {
            itsReports.Error("QCD: missing in the main header", anOffset);
        }
        if (!itsPackedHeaders.IsEmpty())
        {
            itsHeader.itsPackedHeaders = MainPackedHeaders(itsPackedHeaders.Join(itsReports));
        }
    }

    MarkerReader& itsReader;
    Reports& itsReports;
    MainHeader itsHeader;
    PackedHeaders itsPackedHeaders;
};

} // namespace

MainHeader ReadMainHeader(MarkerReader& theReader, Reports& theReports)
{
    return MainHeaderReader(theReader, theReports).Read();
}

} // namespace j2k
