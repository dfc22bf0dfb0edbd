// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "decompressors/DecompressionRequest.h"
#include "jni/natives/detail/DecodeCall.h"

/// Frames of a Part 10 stream on their way to the method renderableAvailable of a call's result object.
class FrameDelivery
{
public:
    FrameDelivery() = delete;

    /// Every outcome is in theCall. theRequest: its stream, which is not closed, data set, scale and region.
    static void Run(DecodeCall& theCall, DecompressionRequest theRequest, jint theFirstFrame);
};
