// SPDX-License-Identifier: Apache-2.0
#include "engine/detail/Reports.h"

#include "engine/kdu_message.h"

#include <stdexcept>
#include <utility>

namespace j2k
{

namespace
{

std::string AtOffset(const std::string& theText, std::uint64_t theOffset)
{
    return theText + " (at byte " + std::to_string(theOffset) + " of the codestream)";
}

void Send(kdu_message* theHandler, const std::string& theText)
{
    if (theHandler != nullptr)
    {
        theHandler->start_message();
        theHandler->put_text(theText.c_str());
        theHandler->flush(true);
    }
}

} // namespace

void Reports::SetTolerance(Tolerance theTolerance)
{
    itsTolerance = theTolerance;
    if (theTolerance == Tolerance::Fussy && !itsFirstNonConformance.empty())
    {
        Send(GetWarningHandler(), std::exchange(itsFirstNonConformance, std::string()));
    }
}

void Reports::Error(const std::string& theText) const
{
    Send(GetErrorHandler(), theText);
    throw std::runtime_error(theText);
}

void Reports::Error(const std::string& theText, std::uint64_t theOffset) const
{
    Error(AtOffset(theText, theOffset));
}

void Reports::NoteTruncatedTile(std::optional<double> theShare)
{
    ++itsTruncatedTiles;
    itsMissingTiles =
        itsMissingTiles && theShare ? std::optional(*itsMissingTiles + *theShare) : std::nullopt;
}

void Reports::NonConformance(const std::string& theText, std::uint64_t theOffset, Effect theEffect)
{
    if (theEffect == Effect::Damage && itsFirstDamage.empty())
    {
        itsFirstDamage = AtOffset(theText, theOffset);
    }
    if (itsTolerance == Tolerance::Fussy)
    {
        Send(GetWarningHandler(), AtOffset(theText, theOffset));
    }
    else if (itsFirstNonConformance.empty())
    {
        itsFirstNonConformance = AtOffset(theText, theOffset);
    }
}

} // namespace j2k
