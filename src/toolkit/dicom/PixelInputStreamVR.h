// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include "toolkit/dicom/VR.h"
#include "toolkit/io/InputStream.h"

/// Native pixel data that is read as a stream: an element and an InputStream at once.
///
/// Bytes come as they are in the file; words keep the byte order GetEndian(). Positions count from the
/// first byte of the value.
class QUORIX_API PixelInputStreamVR : public VR, public InputStream
{
public:
    using VR::VR;
    ~PixelInputStreamVR() override;

    PixelInputStreamVR* GetPixelInputStream() override { return this; }

    /// The whole value read into memory as an ordinary element.
    virtual std::unique_ptr<VR> GetVR() = 0;
};
