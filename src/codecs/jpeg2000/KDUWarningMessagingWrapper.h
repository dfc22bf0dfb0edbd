// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "codecs/jpeg2000/KDUMessagingWrapper.h"

/// Makes a KDUWarningMessageCallbackException of every warning of the engine. One for the process, see
/// KDUMessagingWrapper::Register.
class QUORIX_API KDUWarningMessagingWrapper final : public KDUMessagingWrapper
{
public:
    ~KDUWarningMessagingWrapper() override;

    /// True: throws the calling thread's whole text and forgets it. False: nothing; the text stays.
    void flush(bool theEndOfMessage = false) override;

    MessageHolder& GetMessageHolder() override;
};
