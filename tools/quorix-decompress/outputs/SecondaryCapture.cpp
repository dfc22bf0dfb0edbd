// SPDX-License-Identifier: Apache-2.0
#include "outputs/DICOMWriter.h"

#include <algorithm>
#include <array>
#include <random>

#include "toolkit/dicom/MVRFactory.h"

namespace
{
constexpr DICOMTag kStudyDate{0x0008, 0x0020};
constexpr DICOMTag kStudyTime{0x0008, 0x0030};
constexpr DICOMTag kAccessionNumber{0x0008, 0x0050};
constexpr DICOMTag kModality{0x0008, 0x0060};
constexpr DICOMTag kConversionType{0x0008, 0x0064};
constexpr DICOMTag kReferringPhysicianName{0x0008, 0x0090};
constexpr DICOMTag kPatientName{0x0010, 0x0010};
constexpr DICOMTag kPatientID{0x0010, 0x0020};
constexpr DICOMTag kPatientBirthDate{0x0010, 0x0030};
constexpr DICOMTag kPatientSex{0x0010, 0x0040};
constexpr DICOMTag kStudyInstanceUID{0x0020, 0x000d};
constexpr DICOMTag kSeriesInstanceUID{0x0020, 0x000e};
constexpr DICOMTag kStudyID{0x0020, 0x0010};
constexpr DICOMTag kSeriesNumber{0x0020, 0x0011};
constexpr DICOMTag kInstanceNumber{0x0020, 0x0013};
constexpr DICOMTag kPatientOrientation{0x0020, 0x0020};

const char* const kSecondaryCaptureUID = "1.2.840.10008.5.1.4.1.1.7";
} // namespace

RWCString SecondaryCapture::MakeUID()
{
    std::random_device aRandom;
    std::array<std::uint32_t, 4> aWords{}; // most significant first
    std::generate(aWords.begin(), aWords.end(), [&] { return static_cast<std::uint32_t>(aRandom()); });
    aWords[1] = (aWords[1] & 0xffff0fffU) | 0x00004000U; // version 4
    aWords[2] = (aWords[2] & 0x3fffffffU) | 0x80000000U; // the RFC 4122 variant
    RWCString aDigits;
    while (std::any_of(aWords.begin(), aWords.end(), [](std::uint32_t theWord) { return theWord != 0; }))
    {
        std::uint64_t aRemainder = 0;
        for (std::uint32_t& aWord : aWords)
        {
            const std::uint64_t aValue = aRemainder << 32 | aWord;
            aWord = static_cast<std::uint32_t>(aValue / 10);
            aRemainder = aValue % 10;
        }
        aDigits.push_back(static_cast<char>('0' + aRemainder));
    }
    std::reverse(aDigits.begin(), aDigits.end());
    return "2.25." + aDigits;
}

std::unique_ptr<DICOMDataObject> SecondaryCapture::MakeDataSet()
{
    auto aDataSet = std::make_unique<DICOMDataObject>();
    const MVRFactory aFactory(aDataSet->GetDataDictionary(), aDataSet->GetEndian(),
                              VR::GetDefaultMemoryAllocater());
    aDataSet->ReplaceVR(aFactory.CreateUID(DICOMTags::SOPClassUID, kSecondaryCaptureUID));
    for (const DICOMTag aTag : {kStudyInstanceUID, kSeriesInstanceUID})
    {
        aDataSet->ReplaceVR(aFactory.CreateUID(aTag, MakeUID()));
    }
    aDataSet->ReplaceVR(aFactory.CreateString(kModality, "OT"));
    aDataSet->ReplaceVR(aFactory.CreateString(kConversionType, "WSD"));
    aDataSet->ReplaceVR(aFactory.CreateString(kInstanceNumber, "1"));
    for (const DICOMTag aTag :
         {kStudyDate, kStudyTime, kAccessionNumber, kReferringPhysicianName, kPatientName, kPatientID,
          kPatientBirthDate, kPatientSex, kStudyID, kSeriesNumber, kPatientOrientation})
    {
        aDataSet->ReplaceVR(aFactory.CreateString(aTag, ""));
    }
    return aDataSet;
}
