// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <algorithm>
#include <functional>
#include <new>
#include <optional>

#include "decompressors/DecompressingPixelInputStreamVR.h"
#include "decompressors/detail/Part10FrontEnd.h"
#include "faults/FaultFiles.h"
#include "toolkit/base/Exceptions.h"

/// The frames of a movie read as if they were native, by a reader, a copy of it and the reader again,
/// whatever fails on the way. Takes no memory of its own between the fault and the end.
class PixelStreamRun
{
public:
    /// The value of a movie's pixel data: what its frames decode to, and the pad byte.
    static Bytes GetValue(const FaultFile& theFile)
    {
        Bytes aValue;
        for (const int aFrame : {0, 1, 2})
        {
            const Bytes aPixels = RunPart10(theFile.itsMovie, {aFrame}).Pixels();
            EXPECT_FALSE(aPixels.empty()) << theFile.itsName;
            aValue.insert(aValue.end(), aPixels.begin(), aPixels.end());
        }
        aValue.resize((aValue.size() + 1) / 2 * 2);
        return aValue;
    }

    /// What is delivered has to be part of theValue, wherever it stops.
    explicit PixelStreamRun(const Bytes& theValue)
        : itsTrusted(theValue.size()), itsValue(theValue), itsBuffer(theValue.size())
    {
    }

    /// theArm: called when the file has been opened, and before each step.
    void Run(
        InputStream& theFile, MemoryAllocater& theAllocator, const std::function<void()>& theArm = [] {})
    {
        DICOMDataObject aDataSet;
        DecompressionRequest aRequest(&theFile, &aDataSet, "", false, 1, 0, "", false);
        DecompressionResult aResult;
        Part10FrontEnd aFrontEnd(aRequest, theAllocator);
        ASSERT_TRUE(aFrontEnd.Open(aResult)) << aResult.getMessage();
        aFrontEnd.Parse();
        Read(aFrontEnd, theAllocator, theArm);
    }

    std::size_t itsTrusted; ///< so many bytes of the value are compared

    /// Steps, those that threw, bytes that were delivered, and what was wrong; null: nothing.
    int itsSteps = 0;
    int itsFailures = 0;
    std::size_t itsDelivered = 0;
    const char* itsFault = nullptr;

private:
    using Stream = DecompressingPixelInputStreamVR;

    void Read(Part10FrontEnd& theFrontEnd, MemoryAllocater& theAllocator, const std::function<void()>& theArm)
    {
        std::optional<Stream> aReader;
        std::optional<Stream> aCopy;
        const auto aTry = [&](const auto& theStep)
        {
            theArm();
            Try(theStep);
            ++itsSteps;
        };
        aTry(
            [&]
            {
                aReader.emplace(theFrontEnd.GetDataSet(), theFrontEnd.GetTransferSyntaxType(),
                                *theFrontEnd.GetPixelData()->GetPixelDataFragmentInputStream(), theAllocator);
            });
        if (aReader && theFrontEnd.GetRequest().getInputStream()->CanSeek() != 0)
        {
            aTry([&] { CheckWhole(*Stream(*aReader).GetVR()); });
        }
        // To the middle of the second frame; then what is left, twice, the second time in vain.
        aTry([&] { Read(aReader, itsValue.size() / 2); });
        if (aReader)
        {
            aTry([&] { aCopy.emplace(*aReader); });
        }
        for (std::optional<Stream>* const aStream : {&aCopy, &aReader, &aCopy, &aReader})
        {
            aTry([&] { Read(*aStream, itsValue.size()); });
        }
    }

    template <class Step>
    void Try(const Step& theStep)
    {
        try
        {
            theStep();
            return;
        }
        catch (const DICOMLibException& anException)
        {
            Require(FaultFiles::IsListed(anException.GetResultCode()), "a code that is not listed");
            Require(!anException.GetMessageText().empty(), "no text");
        }
        catch (const ExceptionBase& anException)
        {
            Require(!anException.GetMessageText().empty(), "no text");
        }
        catch (const std::bad_alloc&)
        {
        }
        ++itsFailures;
    }

    void Read(std::optional<Stream>& theStream, std::size_t theCount)
    {
        if (!theStream)
        {
            return;
        }
        const std::size_t aStart = theStream->GetStreamPosition();
        const auto aCheck = [&]
        {
            const std::size_t aCount = theStream->GetStreamPosition() - aStart;
            Require(aCount <= theCount && aStart + aCount <= itsValue.size() &&
                        std::equal(itsBuffer.begin(), itsBuffer.begin() + Trust(aStart, aCount),
                                   itsValue.begin() + static_cast<std::ptrdiff_t>(aStart)),
                    "bytes that are not those of the frames");
            itsDelivered += aCount;
        };
        try
        {
            theStream->Read(itsBuffer.data(), theCount);
        }
        catch (...)
        {
            aCheck(); // What came before the failure counts as well.
            throw;
        }
        aCheck();
    }

    void CheckWhole(VR& theWhole)
    {
        const auto* const aData = static_cast<const std::uint8_t*>(theWhole.GetData());
        Require(theWhole.GetLength() == itsValue.size() &&
                    std::equal(aData, aData + itsTrusted, itsValue.begin()),
                "an element that is not the frames");
    }

    /// How many of the bytes at a position are to be compared.
    std::ptrdiff_t Trust(std::size_t theStart, std::size_t theCount) const
    {
        return static_cast<std::ptrdiff_t>(std::min(theCount, itsTrusted - std::min(itsTrusted, theStart)));
    }

    void Require(bool theCondition, const char* theFault) { itsFault = theCondition ? itsFault : theFault; }

    const Bytes& itsValue;
    Bytes itsBuffer;
};
