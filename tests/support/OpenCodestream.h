// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <limits>
#include <utility>
#include <vector>

#include "engine/kdu_codestream.h"
#include "engine/kdu_line_buf.h"
#include "support/ByteSource.h"
#include "support/EngineReports.h"

/// A codestream over bytes of its own, which ends with this object. While it lives, every report of the
/// engine is thrown as an EngineReport.
class OpenCodestream
{
public:
    explicit OpenCodestream(std::vector<std::uint8_t> theBytes,
                            int theLargestRead = std::numeric_limits<int>::max())
        : itsSource(std::move(theBytes), theLargestRead)
    {
        itsCodestream.create(&itsSource);
    }
    ~OpenCodestream() { itsCodestream.destroy(); }
    OpenCodestream(const OpenCodestream&) = delete;
    OpenCodestream& operator=(const OpenCodestream&) = delete;

    kdu_codestream* operator->() { return &itsCodestream; }
    const ByteSource& GetSource() const { return itsSource; }

private:
    EngineReports itsReports;
    ByteSource itsSource;
    kdu_codestream itsCodestream;
};
