// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "engine/detail/blocks/CodedBlock.h"

/// Code-block coding written down plainly from the flow charts of T.800 Annexes C and D, for tests: slow, one
/// sample at a time, and the same walk for encoding and decoding.
namespace PlainBlockCoder
{
/// The samples of a block and what Annex D remembers of each. Row by row.
struct Samples
{
    struct Sample
    {
        std::uint32_t itsMagnitude = 0; ///< in units of plane 0
        bool itsIsNegative = false;
        bool itsIsSignificant = false;
        bool itsIsRefined = false;
        bool itsIsVisited = false; ///< in the current bit-plane
        int itsLastPlane = -1;     ///< the last one that coded the sample; -1 before any
    };

    Samples(std::uint32_t theWidth, std::uint32_t theHeight)
        : itsWidth(theWidth), itsHeight(theHeight), itsSamples(std::size_t{theWidth} * theHeight)
    {
    }

    Sample& At(std::uint32_t theX, std::uint32_t theY) { return itsSamples[theY * itsWidth + theX]; }

    std::uint32_t itsWidth;
    std::uint32_t itsHeight;
    std::vector<Sample> itsSamples;
};

/// One adaptive context (T.800 C.2.1): a row of table C.2 and the more probable symbol.
struct Context
{
    unsigned int itsRow = 0;
    unsigned int itsMps = 0;
};

/// A row of table C.2.
struct Probability
{
    std::uint32_t itsQe;
    unsigned int itsNextMps;
    unsigned int itsNextLps;
    unsigned int itsSwitch;
};
extern const std::array<Probability, 47> kProbabilities;

constexpr unsigned int kRunContext = 17;
constexpr unsigned int kUniformContext = 18;

/// The contexts of table D.7.
std::array<Context, 19> InitialContexts();

/// Codes one decision: an encoder writes theBit and returns it, a decoder returns what it reads.
class BitCoder
{
public:
    virtual ~BitCoder() = default;
    virtual unsigned int Code(Context& theContext, unsigned int theBit) = 0;
};

/// Walks over the samples in the order of Annex D, one coding pass after another.
class Passes
{
public:
    Passes(Samples& theSamples, j2k::Band theBand, std::uint8_t theStyle);

    /// Pass 0 is the cleanup pass of the first plane; three to a plane from there on.
    static bool IsCleanup(std::uint32_t thePass) { return thePass % 3 == 0; }
    static bool IsRaw(std::uint32_t thePass, std::uint8_t theStyle);
    static bool EndsSegment(std::uint32_t thePass, std::uint32_t thePasses, std::uint8_t theStyle);

    /// Codes one pass. Returns false when a segmentation symbol was wrong.
    bool Code(std::uint32_t thePass, unsigned int thePlane, BitCoder& theCoder);

private:
    void PropagateSignificance();
    void RefineMagnitudes();
    void CleanUp();
    unsigned int CodeColumnStart(std::uint32_t theX, std::uint32_t theY);
    void CodeZero(std::uint32_t theX, std::uint32_t theY);
    void CodeSign(std::uint32_t theX, std::uint32_t theY);
    unsigned int CodeBit(unsigned int theContext, unsigned int theBit);
    unsigned int GetPlaneBit(const Samples::Sample& theSample) const;
    void BecomeSignificant(std::uint32_t theX, std::uint32_t theY);

    bool IsSignificant(std::uint32_t theX, std::uint32_t theY, int theDx, int theDy);
    int GetSignContribution(std::uint32_t theX, std::uint32_t theY, int theDx, int theDy);
    bool HasNeighbour(std::uint32_t theX, std::uint32_t theY);
    unsigned int GetZeroContext(std::uint32_t theX, std::uint32_t theY);

    Samples& itsSamples;
    j2k::Band itsBand;
    std::uint8_t itsStyle;
    std::array<Context, 19> itsContexts;
    BitCoder* itsCoder = nullptr;
    bool itsRaw = false;
    unsigned int itsPlane = 0;
};

/// Decodes a block; theSamples' magnitudes hold the decoded planes, nothing added for what is missing.
/// Segments end where they say; decoding goes on with ones.
struct Decoded
{
    Samples itsSamples;
    bool itsBadSegmentationSymbol = false;

    /// Twice the reconstructed value: magnitude and half of the last plane that coded the sample.
    std::int64_t GetDoubled(std::uint32_t theX, std::uint32_t theY);
};
Decoded Decode(const j2k::CodedBlock& theBlock);
} // namespace PlainBlockCoder
