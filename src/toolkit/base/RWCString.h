// SPDX-License-Identifier: Apache-2.0
#pragma once

/// @file
/// The string class of the interfaces.

#include <string>

/// The 8-bit string of all interfaces and messages. Bytes are kept as they are: text that comes from a
/// data set stays in the data set's own character set.
using RWCString = std::string;
