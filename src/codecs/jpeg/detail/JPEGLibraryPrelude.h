// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// What the sources of the three builds of the IJG library have in common, up to the library's headers.
///
/// Those stand in a namespace of each source's own, so that the types of the three builds stay apart. What
/// they and the files of JPEGLibraryBuild.inc include themselves comes first, outside of it.

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "codecs/jpeg/JPEGDecoders.h"
#include "codecs/jpeg/detail/JPEGLibrary.h"
#include "codecs/jpeg/detail/JPEGLosslessScan.h"
#include "codecs/jpeg/detail/JPEGPaths.h"
#include "codecs/jpeg/detail/JPEGPresence.h"
#include "codecs/jpeg/detail/JPEGScanBudget.h"

// Without this the library's headers declare its memory manager without the operation for lossless
// images, and everything behind it in the wrong place.
#define JPEG_INTERNAL_OPTIONS
