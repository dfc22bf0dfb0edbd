// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "codecs/jpeg2000/KDUMessagingWrapper.h"

/// Makes a KDUErrorMessageCallbackException of every error of the engine. One for the process, see
/// KDUMessagingWrapper::Register.
class QUORIX_API KDUErrorMessagingWrapper final : public KDUMessagingWrapper
{
public:
    ~KDUErrorMessagingWrapper() override;

    /// True: throws the calling thread's whole text and forgets it. False: nothing; the text stays.
    void flush(bool theEndOfMessage = false) override;

    MessageHolder& GetMessageHolder() override;
};
