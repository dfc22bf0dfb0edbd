// SPDX-License-Identifier: Apache-2.0
#include "inputs/InputClassifier.h"

#include "decoding/CodecTable.h"
#include "toolkit/base/CodestreamSignature.h"
#include "toolkit/dicom/Part10InputStream.h"

namespace
{
constexpr std::size_t kPreambleLength = 128;
} // namespace

bool InputClassifier::IsPart10(const std::vector<unsigned char>& theHead)
{
    return theHead.size() > kPreambleLength &&
           CodestreamSignature::Begins(theHead.data() + kPreambleLength, theHead.size() - kPreambleLength,
                                       "DICM");
}

bool InputClassifier::IsDICOM(const std::vector<unsigned char>& theHead)
{
    return IsPart10(theHead) || Part10InputStream::LooksLikeElements(theHead.data(), theHead.size());
}

bool InputClassifier::IsJP2(const std::vector<unsigned char>& theHead)
{
    return CodestreamSignature::Begins(theHead.data(), theHead.size(), CodestreamSignature::kJP2);
}

JImageType InputClassifier::Classify(const std::vector<unsigned char>& theHead, InputType theType)
{
    switch (theType)
    {
    case InputType::DICOM:
        return IMAGE_TYPE_DICOM_PART10;
    case InputType::JPEG:
        return IMAGE_TYPE_JPEG;
    case InputType::JPEGLS:
        return IMAGE_TYPE_JPEGLS;
    case InputType::J2K:
        return IMAGE_TYPE_JPEG2000;
    case InputType::J2K_LOSSLESS:
        return IMAGE_TYPE_JPEG2000_LOSSLESS;
    case InputType::AUTO:
        break;
    }
    // The preamble may hold anything, the start of another kind of file included: look behind it first.
    if (IsPart10(theHead))
    {
        return IMAGE_TYPE_DICOM_PART10;
    }
    const CodecRow* const aRow = CodecTable::Recognise(theHead.data(), theHead.size());
    return aRow != nullptr ? static_cast<JImageType>(aRow->itsImageType) : IMAGE_TYPE_DICOM_PART10;
}
