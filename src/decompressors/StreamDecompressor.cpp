// SPDX-License-Identifier: Apache-2.0
#include "decompressors/StreamDecompressor.h"

StreamDecompressor::~StreamDecompressor() = default;
