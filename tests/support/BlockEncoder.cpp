// SPDX-License-Identifier: Apache-2.0
#include "support/BlockEncoder.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <utility>

#include "engine/detail/markers/TileCoding.h"
#include "support/PlainBlockCoder.h"

namespace
{
using PlainBlockCoder::Context;
using PlainBlockCoder::kProbabilities;
using PlainBlockCoder::Probability;

class Writer : public PlainBlockCoder::BitCoder
{
public:
    /// Ends the segment and returns its bytes.
    virtual std::vector<std::uint8_t> Finish(bool thePredictable) = 0;
};

/// Annex C.2 as its flow charts have it.
class MqEncoder final : public Writer
{
public:
    unsigned int Code(Context& theContext, unsigned int theBit) override
    {
        const Probability& aRow = kProbabilities[theContext.itsRow];
        itsA -= aRow.itsQe;
        if (theBit == theContext.itsMps)
        {
            if (itsA >= 0x8000)
            {
                itsC += aRow.itsQe;
                return theBit;
            }
            TakeUpper(itsA >= aRow.itsQe, aRow.itsQe);
            theContext.itsRow = aRow.itsNextMps;
        }
        else
        {
            TakeUpper(itsA < aRow.itsQe, aRow.itsQe);
            theContext.itsMps ^= aRow.itsSwitch;
            theContext.itsRow = aRow.itsNextLps;
        }
        Renormalise();
        return theBit;
    }

    std::vector<std::uint8_t> Finish(bool thePredictable) override
    {
        if (thePredictable)
        {
            FlushPredictably();
        }
        else
        {
            Flush();
        }
        if (itsBytes.back() == 0xFF)
        {
            itsBytes.pop_back();
        }
        itsBytes.erase(itsBytes.begin());
        return itsBytes;
    }

private:
    void TakeUpper(bool theUpper, std::uint32_t theQe)
    {
        itsC += theUpper ? theQe : 0;
        itsA = theUpper ? itsA : theQe;
    }

    void Renormalise()
    {
        do
        {
            itsA <<= 1;
            itsC <<= 1;
            if (--itsCount == 0)
            {
                ByteOut();
            }
        } while (itsA < 0x8000);
    }

    void ByteOut()
    {
        if (itsBytes.back() != 0xFF && itsC >= 0x8000000)
        {
            ++itsBytes.back();
            itsC &= 0x7FFFFFF;
        }
        const unsigned int aShift = itsBytes.back() == 0xFF ? 20 : 19;
        itsBytes.push_back(static_cast<std::uint8_t>(itsC >> aShift));
        itsC &= (1U << aShift) - 1;
        itsCount = 27 - aShift;
    }

    void Flush()
    {
        const std::uint32_t anEnd = itsC + itsA;
        itsC |= 0xFFFF;
        itsC -= itsC >= anEnd ? 0x8000 : 0;
        for (int i = 0; i < 2; ++i)
        {
            itsC <<= itsCount;
            ByteOut();
        }
    }

    /// D.4.2.
    void FlushPredictably()
    {
        for (int aLeft = 12 - static_cast<int>(itsCount); aLeft > 0; aLeft -= static_cast<int>(itsCount))
        {
            itsC <<= itsCount;
            ByteOut();
        }
    }

    std::vector<std::uint8_t> itsBytes{0}; ///< starts with a byte that is none of the segment's
    std::uint32_t itsA = 0x8000;
    std::uint32_t itsC = 0;
    unsigned int itsCount = 12;
};

class RawEncoder final : public Writer
{
public:
    unsigned int Code(Context&, unsigned int theBit) override
    {
        itsByte = itsByte << 1 | theBit;
        if (--itsCount == 0)
        {
            itsBytes.push_back(static_cast<std::uint8_t>(itsByte));
            itsCount = itsByte == 0xFF ? 7 : 8;
            itsByte = 0;
        }
        return theBit;
    }

    /// The last byte is filled with zeros and ones in turn (D.6).
    std::vector<std::uint8_t> Finish(bool) override
    {
        Context anUnused;
        const unsigned int aFull = !itsBytes.empty() && itsBytes.back() == 0xFF ? 7 : 8;
        for (unsigned int aBit = 0; itsCount != aFull && itsCount != 0 && !IsAligned(); aBit ^= 1)
        {
            Code(anUnused, aBit);
        }
        if (!itsBytes.empty() && itsBytes.back() == 0xFF)
        {
            itsBytes.pop_back();
        }
        return itsBytes;
    }

private:
    bool IsAligned() const { return itsCount == (!itsBytes.empty() && itsBytes.back() == 0xFF ? 7U : 8U); }

    std::vector<std::uint8_t> itsBytes;
    std::uint32_t itsByte = 0;
    unsigned int itsCount = 8;
};
} // namespace

BlockEncoder::BlockEncoder(const Request& theRequest)
{
    PlainBlockCoder::Samples aSamples(theRequest.itsWidth, theRequest.itsHeight);
    for (std::size_t i = 0; i < aSamples.itsSamples.size(); ++i)
    {
        aSamples.itsSamples[i].itsMagnitude =
            static_cast<std::uint32_t>(std::llabs(std::int64_t{theRequest.itsSamples[i]}));
        aSamples.itsSamples[i].itsIsNegative = theRequest.itsSamples[i] < 0;
    }
    PlainBlockCoder::Passes aWalk(aSamples, theRequest.itsBand, theRequest.itsStyle);
    const std::uint32_t aPasses =
        std::min(theRequest.itsPasses, theRequest.itsBitPlanes == 0 ? 0 : 3 * theRequest.itsBitPlanes - 2);
    std::unique_ptr<Writer> aWriter;
    for (std::uint32_t aPass = 0; aPass < aPasses; ++aPass)
    {
        if (aWriter == nullptr)
        {
            itsSegments.emplace_back();
            if (PlainBlockCoder::Passes::IsRaw(aPass, theRequest.itsStyle))
            {
                aWriter = std::make_unique<RawEncoder>();
            }
            else
            {
                aWriter = std::make_unique<MqEncoder>();
            }
        }
        aWalk.Code(aPass, theRequest.itsBitPlanes - 1 - (aPass + 2) / 3, *aWriter);
        ++itsSegments.back().itsPasses;
        if (PlainBlockCoder::Passes::EndsSegment(aPass, aPasses, theRequest.itsStyle))
        {
            itsSegments.back().itsBytes =
                aWriter->Finish((theRequest.itsStyle & j2k::CBS_PREDICTABLE_TERMINATION) != 0);
            aWriter.reset();
        }
    }
    LayOut(theRequest);
}

BlockEncoder::BlockEncoder(const Request& theRequest, std::vector<Segment> theSegments)
    : itsSegments(std::move(theSegments))
{
    LayOut(theRequest);
}

void BlockEncoder::LayOut(const Request& theRequest)
{
    for (const Segment& aSegment : itsSegments)
    {
        constexpr std::size_t kLead = j2k::CodedSegment::kLead;
        const std::size_t anEnd = kLead + aSegment.itsBytes.size();
        std::vector<std::uint8_t> aBytes(anEnd + j2k::CodedSegment::kTail, 0xFF);
        std::fill_n(aBytes.begin(), kLead, std::uint8_t{0});
        std::copy(aSegment.itsBytes.begin(), aSegment.itsBytes.end(),
                  aBytes.begin() + static_cast<std::ptrdiff_t>(kLead));
        itsBytes.push_back(std::move(aBytes));
        itsCodedSegments.push_back({itsBytes.back().data() + kLead,
                                    static_cast<std::uint32_t>(aSegment.itsBytes.size()),
                                    aSegment.itsPasses});
    }
    itsBlock.itsWidth = theRequest.itsWidth;
    itsBlock.itsHeight = theRequest.itsHeight;
    itsBlock.itsBand = theRequest.itsBand;
    itsBlock.itsStyle = theRequest.itsStyle;
    itsBlock.itsBitPlanes = theRequest.itsBitPlanes;
    itsBlock.itsSegments = itsCodedSegments;
}
