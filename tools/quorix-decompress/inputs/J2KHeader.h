// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <optional>

#include "toolkit/io/InputStream.h"

/// Image size and sample layout of a JPEG 2000 codestream (ITU-T T.800, A.5.1), bare or in a JP2 file.
struct J2KHeader
{
    int itsRows = 0;
    int itsColumns = 0;
    int itsComponents = 0;
    int itsPrecision = 0; ///< bits a sample of the first component
    bool itsSigned = false;

    /// Looks for the codestream's start near the start of theStream. Nothing when it is not there or its
    /// sizes make no sense. What the stream throws passes through.
    static std::optional<J2KHeader> Read(InputStream& theStream);
};
