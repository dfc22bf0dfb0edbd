// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "toolkit/dicom/DICOMTag.h"

/// Writes small DICOM files into memory for tests, byte by byte and without any help from the library's
/// own writer, wrong ones included.
///
/// Elements are written in the order in which they are added; nothing is sorted, checked or padded except
/// where stated. One builder is one data set or one sequence item.
class DicomBuilder
{
public:
    using Bytes = std::vector<std::uint8_t>;

    enum class Syntax
    {
        IMPLICIT_LITTLE,
        EXPLICIT_LITTLE,
        EXPLICIT_BIG,
        DEFLATED ///< explicit little endian inside a raw deflate stream
    };

    static constexpr std::uint32_t UNDEFINED_LENGTH = 0xffffffff;

    /// theTransferSyntaxUID: what the file meta information says; the syntax's own UID when empty. Give
    /// the UID of an encapsulated syntax together with EXPLICIT_LITTLE.
    explicit DicomBuilder(Syntax theSyntax, std::string theTransferSyntaxUID = "");

    static const char* UIDOf(Syntax theSyntax);

    /// An element with its value as given; theValue of odd length gets a zero byte. theVR is two letters.
    DicomBuilder& AddBytes(DICOMTag theTag, const std::string& theVR, Bytes theValue);

    /// Text, padded to even length with a space (UI: a zero byte).
    DicomBuilder& AddString(DICOMTag theTag, const std::string& theVR, std::string theValue);

    /// Numbers in this builder's byte order; theVR as stated (US and SS, UL and SL are the same bytes).
    DicomBuilder& AddUS(DICOMTag theTag, const std::vector<std::uint16_t>& theValues,
                        const std::string& theVR = "US")
    {
        return AddNumbers(theTag, theVR, theValues);
    }
    DicomBuilder& AddUL(DICOMTag theTag, const std::vector<std::uint32_t>& theValues)
    {
        return AddNumbers(theTag, "UL", theValues);
    }
    DicomBuilder& AddOV(DICOMTag theTag, const std::vector<std::uint64_t>& theValues)
    {
        return AddNumbers(theTag, "OV", theValues);
    }

    /// A sequence of items, which were built with the same syntax.
    DicomBuilder& AddSequence(DICOMTag theTag, const std::vector<DicomBuilder>& theItems,
                              bool theUndefinedLength = false);

    /// Tag, VR and length only: for lengths that lie and for values that never come.
    DicomBuilder& AddHeader(DICOMTag theTag, const std::string& theVR, std::uint32_t theLength);

    /// Bytes as they are.
    DicomBuilder& AddRaw(const Bytes& theBytes);

    /// (7FE0,0010) with a value of defined length; the bytes are written as they are.
    DicomBuilder& AddNativePixelData(Bytes theValue, const std::string& theVR = "OW");

    /// (7FE0,0010) of undefined length: the Basic Offset Table item, one item a fragment (lengths are not
    /// padded) and, if asked for, the delimiter.
    DicomBuilder& AddEncapsulatedPixelData(const std::vector<Bytes>& theFragments,
                                           const std::vector<std::uint32_t>& theBasicOffsets = {},
                                           bool theDelimiter = true);

    /// The usual image attributes: Samples per Pixel, Photometric Interpretation, (Planar Configuration 0
    /// for colour,) Number of Frames when not 1, Rows, Columns, Bits Allocated, Bits Stored, High Bit,
    /// Pixel Representation.
    DicomBuilder& AddImageAttributes(std::uint16_t theSamples, const std::string& thePhotometric,
                                     std::uint16_t theRows, std::uint16_t theColumns,
                                     std::uint16_t theBitsAllocated, std::uint16_t theBitsStored,
                                     std::uint16_t thePixelRepresentation = 0, int theFrames = 1);

    /// The data set alone, never deflated.
    const Bytes& DataSet() const { return itsBytes; }

    /// Preamble, "DICM", file meta information and the data set (deflated where the syntax says so).
    Bytes Build() const;

    /// The file meta information alone, group length included.
    Bytes FileMeta() const;

private:
    template <class Number>
    DicomBuilder& AddNumbers(DICOMTag theTag, const std::string& theVR, const std::vector<Number>& theValues)
    {
        AddHeader(theTag, theVR, static_cast<std::uint32_t>(theValues.size() * sizeof(Number)));
        for (const Number aValue : theValues)
        {
            Put(aValue, sizeof(Number));
        }
        return *this;
    }

    DicomBuilder& Put(std::uint64_t theValue, int theBytes);

    Syntax itsSyntax;
    std::string itsUID;
    Bytes itsBytes;
};
