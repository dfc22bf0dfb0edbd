// SPDX-License-Identifier: Apache-2.0
#include "inputs/InputClassifier.h"

#include <algorithm>
#include <string_view>

namespace
{
bool HasAt(const std::vector<unsigned char>& theHead, std::size_t thePosition, std::string_view theBytes)
{
    return theHead.size() >= thePosition + theBytes.size() &&
           std::equal(theBytes.begin(), theBytes.end(), theHead.begin() + static_cast<long>(thePosition),
                      [](char theLeft, unsigned char theRight)
                      { return static_cast<unsigned char>(theLeft) == theRight; });
}

constexpr std::string_view kJPEGStart("\xff\xd8\xff", 3);
constexpr std::string_view kCodestreamStart("\xff\x4f\xff\x51", 4);
constexpr std::string_view kSignatureBox("\0\0\0\x0cjP  \r\n\x87\n", 12);
} // namespace

bool InputClassifier::IsPart10(const std::vector<unsigned char>& theHead)
{
    return HasAt(theHead, 128, "DICM");
}

bool InputClassifier::IsJP2(const std::vector<unsigned char>& theHead)
{
    return HasAt(theHead, 0, kSignatureBox);
}

InputKind InputClassifier::Classify(const std::vector<unsigned char>& theHead, InputType theType)
{
    switch (theType)
    {
    case InputType::DICOM:
        return InputKind::DICOM;
    case InputType::JPEG:
        return InputKind::JPEG;
    case InputType::J2K:
        return InputKind::JPEG2000;
    case InputType::J2K_LOSSLESS:
        return InputKind::JPEG2000_LOSSLESS;
    case InputType::AUTO:
        break;
    }
    // The preamble may hold anything, the start of another kind of file included: look behind it first.
    if (IsPart10(theHead))
    {
        return InputKind::DICOM;
    }
    if (HasAt(theHead, 0, kJPEGStart))
    {
        return InputKind::JPEG;
    }
    if (HasAt(theHead, 0, kCodestreamStart) || IsJP2(theHead))
    {
        return InputKind::JPEG2000;
    }
    return InputKind::DICOM;
}
