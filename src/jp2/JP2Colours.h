// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "toolkit/base/BaseTypes.h"

/// One colour of a JP2 file: the samples of a component, by themselves or through a column of a palette.
struct JP2Channel
{
    std::size_t itsComponent = 0;            ///< counted from 0
    std::vector<std::uint16_t> itsEntries{}; ///< the column: what samples 0, 1, ... become; empty without one
    int itsBits = 0;                         ///< of the entries: 1 to 16
};

/// What the boxes in the header of a JP2 or JPH file say of its colours (ISO/IEC 15444-1 I.5.3, ISO/IEC
/// 15444-15 Annex D): the colour space that is enumerated or given by parameters, the palette with the
/// mapping of components, and the definition of channels.
///
/// Boxes are taken as they come and trusted in nothing: where they contradict themselves, each other or the
/// codestream, that is told, and nothing is to be applied. Thread-safe as far as it is not changed.
class QUORIX_API JP2Colours
{
public:
    /// The contents of a box of the header; boxes of other types, and all but the first of a type, are put
    /// aside. Contents are kept as they are.
    void Add(std::uint32_t theType, std::vector<std::uint8_t> theContents);

    /// Whether Add would keep a box of this type.
    static bool IsOfInterest(std::uint32_t theType);

    /// Whether the colours are luminance and two colour differences of the usual kind: enumerated as sYCC, or
    /// with the parameters of ITU-R BT.601 over the full range.
    bool IsSYCC() const;

    /// Whether their parameters say that they are something else than RGB and IsSYCC.
    bool IsOtherYCC() const;

    /// The colours of a codestream of theComponents components, in the order of colours: one or three. None
    /// where the boxes change nothing. theProblem: why they cannot be applied, and then there are none
    /// either; else empty. With three colours, entries are of eight bits: the highest ones of longer entries,
    /// shorter ones spread over the range.
    std::vector<JP2Channel> GetChannels(std::size_t theComponents, RWCString& theProblem) const;

private:
    struct Column;
    struct Resolver;

    using Contents = std::optional<std::vector<std::uint8_t>>;

    std::uint32_t GetMatrix() const;

    Contents itsColour;
    Contents itsPalette;
    Contents itsMapping;
    Contents itsDefinition;
};
