// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <vector>

#include "toolkit/dicom/TransferSyntaxType.h"

/// The transfer syntaxes that are known: the native ones, deflated, the seven this library has codecs
/// for, and the standard's other encapsulated ones by name only. Immutable and shared by all threads.
class QUORIX_API TransferSyntaxManager
{
public:
    /// The one instance.
    static const TransferSyntaxManager& GetDefaultInstance();

    /// Null for a UID that is not known. The comparison is exact.
    const TransferSyntaxType* GetTransferSyntaxType(const RWCString& theUID) const;

private:
    TransferSyntaxManager();

    std::vector<TransferSyntaxType> itsTypes;
};
