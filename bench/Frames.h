// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>
#include <vector>

#include "Inputs.h"
#include "toolkit/base/BaseTypes.h"

class DICOMDataObject;

/// One compressed frame of an input file.
struct Frame
{
    Bytes itsCompressed;
    RWCString itsTransferSyntaxUID;
    int itsBitsStored = 0;
    std::size_t itsSize = 0; ///< decoded bytes
};

/// The attributes of an input file, without its pixels.
bool LoadDataSet(const std::string& theName, DICOMDataObject& theDataSet);

/// The frames of an input, at least one.
std::vector<Frame> LoadFrames(const std::string& theName);

/// Decodes through the driver, as a decompressor does.
void DecodeWithOurs(const Frame& theFrame, DICOMDataObject& theDataSet, void* theOutput);

/// Benchmarks: an input's frames in turn into a buffer that is there already, by this library and by DCMTK.
void BenchOurs(benchmark::State& theState, const std::string& theName);
void BenchDcmtk(benchmark::State& theState, const std::string& theName);

void ReportSize(benchmark::State& theState, std::size_t theSize);
