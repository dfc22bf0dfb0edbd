// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <vector>

#include <dcmtk/config/osconfig.h>

#include <dcmtk/dcmdata/dcostrma.h>

#include "toolkit/base/BaseTypes.h"
#include "toolkit/io/LFStream.h"

/// Where a data set is written to: a file behind a buffer, which DCMTK's elements write to as well.
///
/// The first failure sticks, later writes are ignored, and Close throws it as a StreamIOException (code
/// 67 with the errno of the failure). Internal to this room.
class FileConsumer final : public DcmConsumer
{
public:
    explicit FileConsumer(const RWCString& thePath);
    ~FileConsumer() override;

    void Put(const void* theBytes, std::size_t theCount);
    void Close();

    // DCMTK's side: takes everything, so that no element ever has to be written in two goes.
    OFBool good() const override { return OFTrue; }
    OFCondition status() const override;
    OFBool isFlushed() const override { return OFTrue; }
    offile_off_t avail() const override;
    offile_off_t write(const void* theBuffer, offile_off_t theLength) override;
    void flush() override {}

private:
    void WriteThrough(const void* theBytes, std::size_t theCount);
    void FlushBuffer();
    void Fail(const char* theWhat, int theError);

    LFStream itsFile;
    std::vector<std::uint8_t> itsBuffer;
    RWCString itsPath;
    RWCString itsFailure;
    int itsError = 0;
};
