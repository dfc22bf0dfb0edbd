// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/detail/packets/CodePieces.h"
#include "engine/detail/packets/Subband.h"
#include "engine/detail/packets/TileBody.h"

namespace j2k
{

/// Copies the pieces of theSource, which has at least one, into theBlock's bytes, segment by segment with the
/// margins of CodedSegment, and lists the segments. Memory of earlier blocks is used again.
void CollectSegments(const CodeBlock& theSource, const CodePieces& thePieces, const TileBody& theBody,
                     CollectedBlock& theBlock);

} // namespace j2k
