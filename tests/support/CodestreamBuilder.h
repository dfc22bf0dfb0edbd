// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

/// What the marker segments of a codestream say, with the values of a small image that is right.
struct CodestreamParts
{
    using Bytes = std::vector<std::uint8_t>;

    struct Component
    {
        int itsDepth = 8;
        bool itsSigned = false;
        int itsXRsiz = 1;
        int itsYRsiz = 1;
    };

    struct Image
    {
        unsigned int itsCapabilities = 0;
        std::uint32_t itsX1 = 16; ///< Xsiz
        std::uint32_t itsY1 = 16;
        std::uint32_t itsX0 = 0; ///< XOsiz
        std::uint32_t itsY0 = 0;
        std::uint32_t itsTileWidth = 16;
        std::uint32_t itsTileHeight = 16;
        std::uint32_t itsTileOriginX = 0;
        std::uint32_t itsTileOriginY = 0;
        std::vector<Component> itsComponents = {Component()};
        std::optional<std::size_t> itsCount = std::nullopt; ///< Csiz, where it is not the truth
    };

    /// What COD and COC say of a component, as it is stored.
    struct Style
    {
        int itsLevels = 1;
        int itsBlockWidth = 4; ///< exponent minus 2
        int itsBlockHeight = 4;
        int itsBlockStyle = 0;
        int itsTransform = 1; ///< 1 is 5/3
        Bytes itsPrecincts = {};
    };

    struct Coding
    {
        int itsScod = 0; ///< the bit for precincts is set where the style has some
        int itsOrder = 0;
        int itsLayers = 1;
        int itsTransform = 0;
        Style itsStyle = {};
    };

    /// What QCD and QCC say. Steps are bytes for style 0, words for the others.
    struct Steps
    {
        int itsStyle = 0;
        int itsGuardBits = 2;
        std::vector<int> itsSteps = {8 << 3, 9 << 3, 9 << 3, 10 << 3};
    };

    struct Progression
    {
        int itsFirstResolution = 0;
        int itsFirstComponent = 0;
        int itsEndLayer = 1;
        int itsEndResolution = 33;
        int itsEndComponent = 255;
        int itsOrder = 0;
    };

    struct TilePart
    {
        int itsTile = 0;
        int itsPart = 0;
        int itsParts = 1;
        Bytes itsHeader = {}; ///< marker segments
        Bytes itsBody = {};
        std::optional<std::uint32_t> itsLength = std::nullopt; ///< Psot, where it is not the truth
        bool itsHasSOD = true;
    };
};

/// Writes JPEG 2000 codestreams marker by marker, right or wrong: every call appends one marker segment, so
/// a test leaves out, repeats, misplaces or bends what it is about. Tile-part headers are built by a builder
/// of their own.
class CodestreamBuilder : public CodestreamParts
{
public:
    /// How component indices are written: from 257 components on they take two bytes.
    explicit CodestreamBuilder(std::size_t theComponents = 1) : itsIsWide(theComponents >= 257) {}

    /// SOC, SIZ, COD and QCD of a small image, the start of most tests.
    static CodestreamBuilder Begin(const Image& theImage = {}, const Coding& theCoding = {},
                                   const Steps& kSteps = {});

    CodestreamBuilder& Marker(unsigned int theCode);
    CodestreamBuilder& Segment(unsigned int theCode, const Bytes& theBody,
                               std::optional<int> theLength = std::nullopt);
    CodestreamBuilder& Raw(const Bytes& theBytes);

    CodestreamBuilder& Siz(const Image& theImage);
    CodestreamBuilder& Cod(const Coding& theCoding);
    CodestreamBuilder& Coc(int theComponent, const Style& theStyle);
    CodestreamBuilder& Qcd(const Steps& kSteps);
    CodestreamBuilder& Qcc(int theComponent, const Steps& kSteps);
    CodestreamBuilder& Rgn(int theComponent, int theShift, int theStyle = 0);
    CodestreamBuilder& Poc(const std::vector<Progression>& theProgressions);
    CodestreamBuilder& Add(const TilePart& theTilePart);
    CodestreamBuilder& Eoc();

    /// The position of what is appended next.
    std::size_t GetSize() const { return itsBytes.size(); }
    const Bytes& GetBytes() const { return itsBytes; }

private:
    Bytes StyleBytes(const Style& theStyle) const;
    Bytes StepsBytes(const Steps& kSteps) const;
    void PutComponent(Bytes& theBytes, int theComponent) const;

    Bytes itsBytes;
    bool itsIsWide;
};
