// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <benchmark/benchmark.h>

#include <memory>
#include <optional>
#include <string>

#include "image/VMMemoryAllocator.h"
#include "toolkit/base/PixelRegion.h"

class InputStream;
class Renderable;

/// One request: a Part 10 stream to a finished image. Null, and the benchmark ends with the library's
/// message, when there is none.
std::unique_ptr<Renderable>
DecodePart10(benchmark::State& theState, InputStream& theStream, int theFrame,
             const std::optional<PixelRegion>& theRegion = std::nullopt,
             MemoryAllocater& thePixelAllocator = VMMemoryAllocator::GetDefaultInstance());

/// Benchmark: a Part 10 file in memory to a finished Renderable, its buffer mapped afresh each time. Each
/// thread of the benchmark serves its own requests.
void BenchPart10(benchmark::State& theState, const std::string& theName);

/// The same with pixels from theAllocator.
void BenchPart10From(benchmark::State& theState, const std::string& theName, MemoryAllocater& theAllocator);
