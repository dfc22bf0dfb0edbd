// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

/// How much of an image is there whose data may end early.
///
/// Every component comes in pieces of one size, row by row: MCUs, blocks or whole lines. A pixel is there
/// where all of its components are. A plain record.
class JPEGPresence
{
public:
    /// The pieces of one component, and how many are there.
    struct Component
    {
        std::uint64_t itsPieces = 0;
        std::uint64_t itsPiecesPerRow = 1;
        std::uint64_t itsPieceWidth = 0; ///< pixels of the image
        std::uint64_t itsPieceHeight = 0;
    };

    /// theWidth, theHeight: of the image. Nothing of theComponents, at most kMaxComponents, is there.
    JPEGPresence(std::uint64_t theWidth, std::uint64_t theHeight, std::size_t theComponents)
        : itsWidth(theWidth), itsHeight(theHeight), itsCount(std::min(theComponents, kMaxComponents))
    {
    }

    static constexpr std::size_t kMaxComponents = 10;

    Component& Get(std::size_t theComponent) { return itsComponents.at(theComponent); }

    std::uint64_t CountPixels() const { return itsWidth * itsHeight; }

    /// Pixels that are not there, all of them behind the last one that is.
    std::uint64_t CountMissing() const
    {
        std::uint64_t aMost = 0;
        for (std::size_t i = 0; i < itsCount; ++i)
        {
            aMost = std::max(aMost, CountPixels() - CountWhole(itsComponents[i]));
        }
        return aMost;
    }

    /// Sets the pixels that are not there to 0; theImage has rows without gaps.
    void Blank(std::uint8_t* theImage, std::size_t thePixelBytes) const
    {
        for (std::size_t i = 0; i < itsCount; ++i)
        {
            const Component& aComponent = itsComponents[i];
            for (std::uint64_t y = GetTop(aComponent); y < itsHeight; ++y)
            {
                const bool isInBand = y < GetTop(aComponent) + aComponent.itsPieceHeight;
                const std::uint64_t aLeft = isInBand ? GetLeft(aComponent) : 0;
                std::fill(theImage + (y * itsWidth + aLeft) * thePixelBytes,
                          theImage + (y + 1) * itsWidth * thePixelBytes, std::uint8_t{0});
            }
        }
    }

private:
    std::uint64_t GetTop(const Component& theComponent) const
    {
        return std::min(itsHeight,
                        theComponent.itsPieces / theComponent.itsPiecesPerRow * theComponent.itsPieceHeight);
    }

    std::uint64_t GetLeft(const Component& theComponent) const
    {
        return std::min(itsWidth,
                        theComponent.itsPieces % theComponent.itsPiecesPerRow * theComponent.itsPieceWidth);
    }

    std::uint64_t CountWhole(const Component& theComponent) const
    {
        const std::uint64_t aTop = GetTop(theComponent);
        return aTop * itsWidth +
               GetLeft(theComponent) * std::min(theComponent.itsPieceHeight, itsHeight - aTop);
    }

    std::uint64_t itsWidth;
    std::uint64_t itsHeight;
    std::size_t itsCount;
    std::array<Component, kMaxComponents> itsComponents{};
};
