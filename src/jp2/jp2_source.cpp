// SPDX-License-Identifier: Apache-2.0
#include "jp2/jp2_source.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "engine/kdu_message.h"
#include "jp2/detail/JP2BoxWalker.h"
#include "toolkit/base/CodestreamSignature.h"

namespace
{
[[noreturn]] void Fail(const std::string& theText)
{
    kdu_report_error("Error in Kakadu File Format Support: " + theText);
}
} // namespace

void jp2_family_src::open(kdu_compressed_source* theSource)
{
    close();
    itsSource = theSource;
}

void jp2_family_src::put_back(const std::uint8_t* theBytes, std::size_t theCount)
{
    itsFront.assign(theBytes, theBytes + theCount);
    itsFrontPosition = 0;
}

void jp2_family_src::close()
{
    itsSource = nullptr;
    itsFront.clear();
    itsFrontPosition = 0;
    itsPosition = 0;
}

std::size_t jp2_family_src::read(std::uint8_t* theBytes, std::size_t theCount)
{
    constexpr std::size_t kLargestRead = std::size_t{1} << 20;
    std::size_t aGot = std::min(theCount, itsFront.size() - itsFrontPosition);
    std::copy_n(itsFront.begin() + static_cast<std::ptrdiff_t>(itsFrontPosition), aGot, theBytes);
    itsFrontPosition += aGot;
    while (aGot < theCount && itsSource != nullptr)
    {
        const auto aWanted = static_cast<int>(std::min(theCount - aGot, kLargestRead));
        const int aCount = itsSource->read(theBytes + aGot, aWanted);
        if (aCount < 0)
        {
            Fail("the source answered a read with " + std::to_string(aCount));
        }
        if (aCount == 0)
        {
            break;
        }
        aGot += static_cast<std::size_t>(std::min(aCount, aWanted));
    }
    itsPosition += aGot;
    return aGot;
}

namespace
{
std::uint32_t Number(const std::uint8_t* theBytes)
{
    return std::uint32_t{theBytes[0]} << 24 | std::uint32_t{theBytes[1]} << 16 |
           std::uint32_t{theBytes[2]} << 8 | theBytes[3];
}
} // namespace

/// One pass over the boxes before the codestream.
class jp2_source::HeaderReader
{
public:
    HeaderReader(jp2_source& theOwner, jp2_family_src& theFile) : itsOwner(theOwner), itsBoxes(theFile) {}

    void Run()
    {
        ReadSignature();
        for (GoOn(); !IsCodestream(); GoOn())
        {
            // Further boxes of the header, and boxes that are not known, are not interpreted.
            if (itsBoxes.GetDepth() == 0 && itsBoxes.GetType() == JP2BoxTypes::FileType)
            {
                itsHasFileType = true;
            }
            else if (itsBoxes.GetDepth() == 0 && itsBoxes.GetType() == JP2BoxTypes::Header && !itsHasHeader)
            {
                ReadImageHeader();
                itsHasHeader = true;
            }
            else if (itsBoxes.GetDepth() == 1 && JP2Colours::IsOfInterest(itsBoxes.GetType()))
            {
                ReadColours();
            }
        }
        if (!itsHasFileType || !(itsHasHeader || itsOwner.itsMayLackHeader))
        {
            Fail(std::string("there is no ") + (itsHasFileType ? "JP2 header" : "file type") +
                 " box before the codestream");
        }
        itsOwner.itsLacksHeader = !itsHasHeader;
        itsOwner.itsCodestreamLength = itsBoxes.GetRemaining();
    }

private:
    void GoOn() { Next("before a contiguous codestream box"); }

    bool IsCodestream() const
    {
        return itsBoxes.GetDepth() == 0 && itsBoxes.GetType() == JP2BoxTypes::Codestream;
    }

    void Next(const char* theEndText)
    {
        const JP2BoxWalker::Step aStep = itsBoxes.Next();
        if (aStep == JP2BoxWalker::Step::BROKEN)
        {
            Fail(itsBoxes.GetProblem());
        }
        if (aStep == JP2BoxWalker::Step::END)
        {
            Fail(std::string("the file ends ") + theEndText);
        }
    }

    void ReadSignature()
    {
        constexpr std::string_view kSignature = CodestreamSignature::kJP2;
        Next("before the signature box");
        std::array<std::uint8_t, 4> aContents{};
        if (itsBoxes.GetType() != JP2BoxTypes::Signature || itsBoxes.GetLength() != kSignature.size() ||
            itsBoxes.Read(aContents.data(), aContents.size()) != aContents.size() ||
            !CodestreamSignature::Begins(aContents.data(), aContents.size(), kSignature.substr(8)))
        {
            Fail("the file does not begin with a JP2 signature box");
        }
    }

    void ReadImageHeader()
    {
        constexpr std::size_t kContentsLength = 14;
        if (!itsBoxes.Enter())
        {
            Fail("the JP2 header box has no length");
        }
        std::array<std::uint8_t, kContentsLength> aContents{};
        Next("inside the JP2 header box");
        if (itsBoxes.GetDepth() != 1 || itsBoxes.GetType() != JP2BoxTypes::ImageHeader ||
            itsBoxes.GetRemaining() != kContentsLength ||
            itsBoxes.Read(aContents.data(), kContentsLength) != kContentsLength)
        {
            Fail("the JP2 header box does not begin with an image header box");
        }
        itsOwner.itsHeight = Number(aContents.data());
        itsOwner.itsWidth = Number(aContents.data() + 4);
        itsOwner.itsComponents = aContents[8] * 256 + aContents[9];
    }

    void ReadColours()
    {
        // More than the largest palette has.
        constexpr std::uint64_t kMostContents = std::uint64_t{1} << 20;
        const std::uint32_t aType = itsBoxes.GetType();
        std::vector<std::uint8_t> aContents(
            static_cast<std::size_t>(std::min(itsBoxes.GetRemaining(), kMostContents)));
        aContents.resize(itsBoxes.Read(aContents.data(), aContents.size()));
        itsOwner.itsColours.Add(aType, std::move(aContents));
    }

    jp2_source& itsOwner;
    JP2BoxWalker itsBoxes;
    bool itsHasFileType = false;
    bool itsHasHeader = false;
};

void jp2_source::open(jp2_family_src* theFile, jp2_locator theLocator)
{
    if (theFile == nullptr || !theFile->exists())
    {
        Fail("there is no open file");
    }
    if (theLocator.itsFilePosition != theFile->get_pos())
    {
        Fail("a sequential file cannot be opened at byte " + std::to_string(theLocator.itsFilePosition));
    }
    itsFile = theFile;
}

void jp2_source::read_header()
{
    if (itsFile == nullptr)
    {
        Fail("the header is read before the file was opened");
    }
    HeaderReader(*this, *itsFile).Run();
}

void jp2_source::close()
{
    itsFile = nullptr;
}
