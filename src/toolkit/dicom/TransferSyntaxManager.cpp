// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/TransferSyntaxManager.h"

namespace
{
/// Encapsulated transfer syntaxes of PS3.6 Annex A, explicit little endian around compressed frames: those
/// with a name in this library, and the others.
constexpr const char* kNamedUIDs[] = {
    TransferSyntaxType::TSJPEG50UID,
    TransferSyntaxType::TSJPEG51UID,
    TransferSyntaxType::TSJPEG57UID,
    TransferSyntaxType::TSJPEG70UID,
    TransferSyntaxType::TSJPEGLSLosslessUID,
    TransferSyntaxType::TSJPEGLSUID,
    TransferSyntaxType::TSJPEG2KLosslessUID,
    TransferSyntaxType::TSJPEG2KUID,
    TransferSyntaxType::TSHTJ2KLosslessUID,
    TransferSyntaxType::TSHTJ2KLosslessRPCLUID,
    TransferSyntaxType::TSHTJ2KUID,
    TransferSyntaxType::TSRLEUID,
    TransferSyntaxType::TSEncapsulatedUncompressedUID,
    TransferSyntaxType::TSDeflatedImageFrameUID,
};
constexpr const char* kOtherUIDs[] = {
    "1.2.840.10008.1.2.4.52",    "1.2.840.10008.1.2.4.53",    "1.2.840.10008.1.2.4.54",
    "1.2.840.10008.1.2.4.55",    "1.2.840.10008.1.2.4.56",    "1.2.840.10008.1.2.4.58",
    "1.2.840.10008.1.2.4.59",    "1.2.840.10008.1.2.4.60",    "1.2.840.10008.1.2.4.61",
    "1.2.840.10008.1.2.4.62",    "1.2.840.10008.1.2.4.63",    "1.2.840.10008.1.2.4.64",
    "1.2.840.10008.1.2.4.65",    "1.2.840.10008.1.2.4.66",    "1.2.840.10008.1.2.4.92",
    "1.2.840.10008.1.2.4.93",    "1.2.840.10008.1.2.4.94",    "1.2.840.10008.1.2.4.100",
    "1.2.840.10008.1.2.4.100.1", "1.2.840.10008.1.2.4.101",   "1.2.840.10008.1.2.4.101.1",
    "1.2.840.10008.1.2.4.102",   "1.2.840.10008.1.2.4.102.1", "1.2.840.10008.1.2.4.103",
    "1.2.840.10008.1.2.4.103.1", "1.2.840.10008.1.2.4.104",   "1.2.840.10008.1.2.4.104.1",
    "1.2.840.10008.1.2.4.105",   "1.2.840.10008.1.2.4.105.1", "1.2.840.10008.1.2.4.106",
    "1.2.840.10008.1.2.4.106.1", "1.2.840.10008.1.2.4.107",   "1.2.840.10008.1.2.4.108",
    "1.2.840.10008.1.2.4.110",   "1.2.840.10008.1.2.4.111",   "1.2.840.10008.1.2.4.112",
    "1.2.840.10008.1.2.4.204",
};

/// Those whose data set is deflated as a whole (JPIP Referenced Deflate).
constexpr const char* kDeflatedEncapsulatedUIDs[] = {"1.2.840.10008.1.2.4.95", "1.2.840.10008.1.2.4.205"};
} // namespace

const TransferSyntaxManager& TransferSyntaxManager::GetDefaultInstance()
{
    static const TransferSyntaxManager aManager;
    return aManager;
}

TransferSyntaxManager::TransferSyntaxManager()
{
    constexpr auto aLittle = DLEndian::LITTLE_ENDIAN_ORDER;
    itsTypes.emplace_back(TransferSyntaxType::TSImplicitLittleEndianUID, aLittle, false, false, false);
    itsTypes.emplace_back(TransferSyntaxType::TSExplicitLittleEndianUID, aLittle, true, false, false);
    itsTypes.emplace_back(TransferSyntaxType::TSDeflatedUID, aLittle, true, false, true);
    itsTypes.emplace_back(TransferSyntaxType::TSExplicitBigEndianUID, DLEndian::BIG_ENDIAN_ORDER, true, false,
                          false);
    for (const char* aUID : kNamedUIDs)
    {
        itsTypes.emplace_back(aUID, aLittle, true, true, false);
    }
    for (const char* aUID : kOtherUIDs)
    {
        itsTypes.emplace_back(aUID, aLittle, true, true, false);
    }
    for (const char* aUID : kDeflatedEncapsulatedUIDs)
    {
        itsTypes.emplace_back(aUID, aLittle, true, true, true);
    }
}

const TransferSyntaxType* TransferSyntaxManager::GetTransferSyntaxType(const RWCString& theUID) const
{
    for (const TransferSyntaxType& aType : itsTypes)
    {
        if (aType.GetUID() == theUID)
        {
            return &aType;
        }
    }
    return nullptr;
}
