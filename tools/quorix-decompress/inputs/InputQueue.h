// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>

/// One input as it was named.
struct Input
{
    std::string itsPath;
    std::size_t itsIndex = 0; ///< its place among all inputs
    std::string itsRefusal;   ///< why nothing is to be made of it; mostly empty
};

/// Hands out inputs to the threads that ask for one. Thread-safe.
class InputQueue
{
public:
    virtual ~InputQueue() = default;

    /// False when there are no more. Throws OutputError when more cannot be found out.
    virtual bool Next(Input& theInput) = 0;
};
