// SPDX-License-Identifier: Apache-2.0
#include "engine/kdu_resolution.h"

#include "engine/detail/packets/Resolution.h"
#include "engine/detail/packets/Subband.h"

namespace
{
void ToDims(const j2k::Rect& theRect, kdu_dims& theDims)
{
    theDims.pos.x = static_cast<int>(theRect.itsX0);
    theDims.pos.y = static_cast<int>(theRect.itsY0);
    theDims.size.x = static_cast<int>(theRect.GetWidth());
    theDims.size.y = static_cast<int>(theRect.GetHeight());
}
} // namespace

void kdu_subband::get_dims(kdu_dims& theDims) const
{
    ToDims(itsSubband->GetRect(), theDims);
}

int kdu_resolution::which() const
{
    return static_cast<int>(itsResolution->GetLevel());
}

void kdu_resolution::get_dims(kdu_dims& theDims) const
{
    ToDims(itsResolution->GetRect(), theDims);
}

kdu_subband kdu_resolution::access_subband(int theBand) const
{
    const bool anExists = which() == 0 ? theBand == 0 : theBand >= 1 && theBand <= 3;
    const int anIndex = theBand == 0 ? 0 : theBand - 1;
    return anExists ? kdu_subband(&itsResolution->GetSubband(static_cast<unsigned int>(anIndex)))
                    : kdu_subband();
}

kdu_resolution kdu_resolution::access_next() const
{
    return kdu_resolution(itsResolution->GetNext());
}
