// SPDX-License-Identifier: Apache-2.0
// Prints the first sample of every frame of a file, or the code of the failure and how many exceptions are in
// flight then.
#include <exception>
#include <iostream>

#include "quorix/decode.h"

static_assert(__cplusplus == 201703L, "the installed target must not ask for more");

// Names that the library has outside its namespace, and that the program may have for itself.
struct InputStream;
struct Renderable;
enum Limits
{
};

int main(int, char** theArguments)
try
{
    std::cout << quorix::decode(theArguments[1]).attribute(0x0028, 0x0008).value_or("one") << " frames:";
    quorix::decodeFrames(theArguments[1], {},
                         [](int, const quorix::Image& theImage)
                         {
                             std::cout << ' ' << int{theImage.pixels()[0]};
                             return true;
                         });
}
catch (const quorix::DecodeError& anError)
{
    std::cout << "code " << anError.code() << ' ' << std::uncaught_exceptions();
}
