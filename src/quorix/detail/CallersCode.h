// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <exception>

#include "toolkit/base/Exceptions.h"

/// Brings exceptions of the caller's own streams and callbacks through the library, which knows only its own
/// and makes result codes of all others: they are kept on the way in and thrown again on the way out.
class CallersCode
{
public:
    /// What theWork returns. What it throws is kept, and the library gets an exception of its own, now and
    /// whenever it comes again.
    template <class Work>
    auto Call(const Work& theWork) -> decltype(theWork())
    {
        if (!itsException)
        {
            try
            {
                return theWork();
            }
            catch (...)
            {
                itsException = std::current_exception();
            }
        }
        throw StreamIOException("the caller's code has thrown an exception", DLRC_TERMINATED_BY_SUBCLASS, 0);
    }

    /// Throws what was kept; does nothing where there is nothing.
    void Rethrow() const
    {
        if (itsException)
        {
            std::rethrow_exception(itsException);
        }
    }

private:
    std::exception_ptr itsException;
};
