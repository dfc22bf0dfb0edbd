// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "toolkit/base/Exceptions.h"

/// What an operation throws as an Exception, in one line: the text, and " [result code, system error]" where
/// there are codes; "(nothing)" when nothing is thrown. Other exceptions pass.
template <class Exception = StreamIOException, class Operation>
std::string FailureOf(Operation theOperation)
{
    try
    {
        theOperation();
    }
    catch (const Exception& anException)
    {
        std::string aText = anException.what();
        if constexpr (requires { anException.GetResultCode(); })
        {
            aText += " [" + std::to_string(anException.GetResultCode()) + ", " +
                     std::to_string(anException.GetSystemErrorCode()) + "]";
        }
        return aText;
    }
    return "(nothing)";
}
