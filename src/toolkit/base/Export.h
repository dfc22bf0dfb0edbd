// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// What the library exports.

/// Marks what the shared library exports; everything else is hidden.
#if defined(__GNUC__)
#define QUORIX_API __attribute__((visibility("default")))
#else
#define QUORIX_API
#endif
