// SPDX-License-Identifier: Apache-2.0
#include "toolkit/base/CaughtException.h"

#include <new>

namespace
{
CaughtException Describe(const ExceptionBase& theException, CaughtException::Kind theKind)
{
    return {theKind,
            DLRC_SUCCESS,
            0,
            theException.ClassName(),
            theException.GetMessageText(),
            theException.ToString()};
}

CaughtException Describe(const std::exception& theException, CaughtException::Kind theKind)
{
    return {theKind, DLRC_SUCCESS, 0, "std::exception", theException.what(), theException.what()};
}
} // namespace

CaughtException CaughtException::Current()
{
    try
    {
        throw;
    }
    catch (const DecodingInterruptedException& anException)
    {
        return Describe(anException, Kind::INTERRUPTED);
    }
    catch (const DICOMLibException& anException)
    {
        const bool isStream = dynamic_cast<const StreamIOException*>(&anException) != nullptr;
        CaughtException aCaught = Describe(anException, isStream ? Kind::STREAM : Kind::OWN);
        aCaught.itsResultCode = anException.GetResultCode();
        aCaught.itsSystemErrorCode = anException.GetSystemErrorCode();
        return aCaught;
    }
    catch (const ExceptionBase& anException)
    {
        return Describe(anException, Kind::OWN);
    }
    catch (const std::bad_alloc& anException)
    {
        return Describe(anException, Kind::OUT_OF_MEMORY);
    }
    catch (const std::exception& anException)
    {
        return Describe(anException, Kind::STANDARD);
    }
    catch (...)
    {
        return {};
    }
}
