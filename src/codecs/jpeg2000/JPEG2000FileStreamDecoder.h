// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "codecs/jpeg2000/JPEG2000Decoder.h"

/// The JPEG 2000 codec for files: walks the boxes of a JP2 file before the codestream is opened. A bare
/// codestream is taken as well.
class QUORIX_API JPEG2000FileStreamDecoder final : public JPEG2000Decoder
{
public:
    using JPEG2000Decoder::JPEG2000Decoder;
    ~JPEG2000FileStreamDecoder() override;

    /// Copies share the codestream, as those of the base class do.
    /// @{
    JPEG2000FileStreamDecoder(const JPEG2000FileStreamDecoder&);
    JPEG2000FileStreamDecoder& operator=(const JPEG2000FileStreamDecoder&);
    /// @}

protected:
    void SetSourceImpl() override;
};
