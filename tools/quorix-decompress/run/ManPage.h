// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

namespace CLI
{
class App;
}

/// The manual page of a command line, in the language of man(7): everything that its help says. A paragraph
/// of the footer that begins with a few words and a colon becomes a section with these words as its heading.
std::string MakeManPage(const CLI::App& theApp, const std::string& theVersion);
