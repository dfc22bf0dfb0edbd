// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/PixelInputStreamVR.h"

PixelInputStreamVR::~PixelInputStreamVR() = default;
