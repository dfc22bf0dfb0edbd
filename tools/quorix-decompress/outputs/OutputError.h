// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdexcept>

/// An output could not be written, or an image cannot be held by the format asked for.
class OutputError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};
