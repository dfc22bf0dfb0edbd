// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace CLI
{
class App;
}

/// What lets a shell complete a command line: options, the words that an option takes, and files everywhere
/// else.
/// @{
std::string MakeBashCompletion(const CLI::App& theApp);
std::string MakeZshCompletion(const CLI::App& theApp);
/// @}
