// SPDX-License-Identifier: Apache-2.0
#include "run/Completion.h"

#include <algorithm>
#include <vector>

#include <CLI/CLI.hpp>

namespace
{
/// One option as completion wants it.
struct Entry
{
    std::vector<std::string> itsNames; ///< with their dashes
    std::string itsWords;              ///< that it takes, a blank between them; empty for any
    std::string itsValue;              ///< what its value is called; empty for a flag
    std::string itsText;               ///< the first line of what it is for
};

/// The words of a choice, out of the name of the option's type: "TEXT:{png,pnm}".
std::string FindWords(const CLI::Option& theOption)
{
    const std::string aType = theOption.get_type_name();
    const std::size_t aStart = aType.find('{');
    const std::size_t anEnd = aType.find('}');
    if (aStart == std::string::npos || anEnd == std::string::npos)
    {
        return "";
    }
    std::string aWords = aType.substr(aStart + 1, anEnd - aStart - 1);
    std::replace(aWords.begin(), aWords.end(), ',', ' ');
    return aWords;
}

std::vector<Entry> ListOptions(const CLI::App& theApp)
{
    std::vector<Entry> anEntries;
    for (const CLI::Option* anOption :
         theApp.get_options([](const CLI::Option* theOption)
                            { return !theOption->get_group().empty() && !theOption->get_positional(); }))
    {
        Entry anEntry;
        std::transform(anOption->get_snames().begin(), anOption->get_snames().end(),
                       std::back_inserter(anEntry.itsNames),
                       [](const std::string& theName) { return "-" + theName; });
        std::transform(anOption->get_lnames().begin(), anOption->get_lnames().end(),
                       std::back_inserter(anEntry.itsNames),
                       [](const std::string& theName) { return "--" + theName; });
        if (anOption->get_items_expected_max() > 0)
        {
            const std::string& aText = anOption->get_option_text();
            anEntry.itsValue = aText.empty() ? "FILE" : aText;
            anEntry.itsWords = FindWords(*anOption);
        }
        anEntry.itsText = anOption->get_description().substr(0, anOption->get_description().find('\n'));
        anEntries.push_back(std::move(anEntry));
    }
    return anEntries;
}

template <class Range>
std::string Join(const Range& theTexts, const char* theSeparator)
{
    std::string aResult;
    for (const std::string& aText : theTexts)
    {
        aResult += (aResult.empty() ? "" : theSeparator) + aText;
    }
    return aResult;
}

/// Text between single quotes, with nothing in it that _arguments would take for its own.
std::string QuoteForZsh(const std::string& theText)
{
    std::string aResult;
    for (const char aCharacter : theText)
    {
        if (aCharacter == '\'')
        {
            aResult += "'\\''";
            continue;
        }
        aResult +=
            std::string(aCharacter == '[' || aCharacter == ']' || aCharacter == ':' ? "\\" : "") + aCharacter;
    }
    return aResult;
}
} // namespace

std::string MakeBashCompletion(const CLI::App& theApp)
{
    std::string aCases;
    std::vector<std::string> aNames;
    for (const Entry& anEntry : ListOptions(theApp))
    {
        aNames.insert(aNames.end(), anEntry.itsNames.begin(), anEntry.itsNames.end());
        if (!anEntry.itsValue.empty())
        {
            aCases += "    " + Join(anEntry.itsNames, " | ") + ")\n        COMPREPLY=($(compgen " +
                      (anEntry.itsWords.empty() ? std::string("-f") : "-W '" + anEntry.itsWords + "'") +
                      " -- \"$word\"))\n        return ;;\n";
        }
    }
    return "# bash completion for " + theApp.get_name() +
           "\n_quorix_decompress() {\n    local word=${COMP_WORDS[COMP_CWORD]}\n"
           "    case ${COMP_WORDS[COMP_CWORD - 1]} in\n" +
           aCases + "    esac\n    if [[ $word == -* ]]; then\n        COMPREPLY=($(compgen -W '" +
           Join(aNames, " ") +
           "' -- \"$word\"))\n    else\n        COMPREPLY=($(compgen -f -- \"$word\"))\n    fi\n}\n"
           "complete -o filenames -F _quorix_decompress " +
           theApp.get_name() + "\n";
}

std::string MakeZshCompletion(const CLI::App& theApp)
{
    std::string aSpecifications;
    for (const Entry& anEntry : ListOptions(theApp))
    {
        for (const std::string& aName : anEntry.itsNames)
        {
            const std::string aChoice = anEntry.itsWords.empty() ? "_files" : "(" + anEntry.itsWords + ")";
            aSpecifications +=
                "    '" + aName + "[" + QuoteForZsh(anEntry.itsText) + "]" +
                (anEntry.itsValue.empty() ? "" : ":" + QuoteForZsh(anEntry.itsValue) + ":" + aChoice) +
                "' \\\n";
        }
    }
    return "#compdef " + theApp.get_name() + "\n_arguments \\\n" + aSpecifications + "    '*:input:_files'\n";
}
