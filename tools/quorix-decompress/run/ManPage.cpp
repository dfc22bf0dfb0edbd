// SPDX-License-Identifier: Apache-2.0
#include "run/ManPage.h"

#include <algorithm>
#include <cctype>
#include <sstream>

#include <CLI/CLI.hpp>

namespace
{
/// Text as man(7) wants it: a backslash is written in words, hyphens stay what they are when copied, and no
/// line begins with a character that would make it a request.
std::string Escape(const std::string& theText)
{
    std::string aResult;
    for (const char aCharacter : theText)
    {
        const bool isLineStart = aResult.empty() || aResult.back() == '\n';
        if (isLineStart && (aCharacter == '.' || aCharacter == '\''))
        {
            aResult += "\\&";
        }
        aResult += aCharacter == '\\' ? "\\e" : aCharacter == '-' ? "\\-" : std::string(1, aCharacter);
    }
    return aResult;
}

std::string ToUpper(std::string theText)
{
    std::transform(theText.begin(), theText.end(), theText.begin(),
                   [](unsigned char theCharacter) { return static_cast<char>(std::toupper(theCharacter)); });
    return theText;
}

/// One option: its names in bold, what it takes in italics, what it is for.
void AddOption(std::ostream& thePage, const CLI::Option& theOption)
{
    const bool isPositional = theOption.get_positional();
    thePage << ".TP\n\\fB" << Escape(theOption.get_name(isPositional, !isPositional)) << "\\fR";
    if (isPositional)
    {
        thePage << " ...";
    }
    else if (theOption.get_items_expected_max() > 0)
    {
        const std::string& aText = theOption.get_option_text();
        thePage << " \\fI" << Escape(aText.empty() ? theOption.get_type_name() : aText) << "\\fR";
    }
    thePage << '\n' << Escape(theOption.get_description()) << '\n';
}

void AddParagraph(std::ostream& thePage, const std::string& theParagraph)
{
    constexpr std::size_t kLongestHeading = 40;
    const std::size_t aColon = theParagraph.find(": ");
    if (aColon >= kLongestHeading || theParagraph.find('\n') < aColon)
    {
        thePage << ".PP\n" << Escape(theParagraph) << '\n';
        return;
    }
    std::string aText = theParagraph.substr(aColon + 2);
    aText[0] = ToUpper(aText.substr(0, 1))[0];
    thePage << ".SH \"" << Escape(ToUpper(theParagraph.substr(0, aColon))) << "\"\n" << Escape(aText) << '\n';
}
} // namespace

std::string MakeManPage(const CLI::App& theApp, const std::string& theVersion)
{
    std::ostringstream aPage;
    aPage << ".TH " << Escape(ToUpper(theApp.get_name())) << " 1 \"\" \"" << Escape(theVersion)
          << "\" \"User Commands\"\n.SH NAME\n"
          << Escape(theApp.get_name()) << " \\- decompress medical images\n.SH SYNOPSIS\n.B "
          << Escape(theApp.get_name()) << "\n.RI [ OPTIONS \"] [\" INPUT ...]\n.SH DESCRIPTION\n"
          << Escape(theApp.get_description()) << "\n.SH OPTIONS\n";
    for (const std::string& aGroup : theApp.get_groups())
    {
        const auto aMembers =
            theApp.get_options([&](const CLI::Option* theOption)
                               { return !aGroup.empty() && theOption->get_group() == aGroup; });
        if (!aMembers.empty())
        {
            aPage << ".SS " << Escape(aGroup) << '\n';
        }
        for (const CLI::Option* anOption : aMembers)
        {
            AddOption(aPage, *anOption);
        }
    }
    const std::string aFooter = theApp.get_footer();
    for (std::size_t aStart = 0; aStart < aFooter.size();)
    {
        const std::size_t anEnd = std::min(aFooter.find("\n\n", aStart), aFooter.size());
        AddParagraph(aPage, aFooter.substr(aStart, anEnd - aStart));
        aStart = anEnd + 2;
    }
    return aPage.str();
}
