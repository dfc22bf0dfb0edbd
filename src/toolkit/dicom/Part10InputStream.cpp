// SPDX-License-Identifier: Apache-2.0
#include "toolkit/dicom/Part10InputStream.h"

#include "toolkit/dicom/detail/Part10InputStreamState.h"

Part10InputStream::Part10InputStream() : itsState(std::make_unique<State>()) {}

Part10InputStream::~Part10InputStream() = default;

bool Part10InputStream::DefaultsToLenientParsing()
{
    return true;
}

const RWCString& Part10InputStream::GetTransferSyntaxUID() const
{
    return itsState->itsTransferSyntaxUID;
}
